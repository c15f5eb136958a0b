/* Hosts in other languages rebuild the structures by hand: their layout on 64-bit Linux is part of the interface.
 * Valid C11 and C++20; compiling it is the test. */
#include "VindrelRegLib.h"

#include <assert.h>
#include <stddef.h>

#define AT(type, member, offset) static_assert(offsetof(type, member) == (offset), #type "." #member)
#define SIZE(type, size) static_assert(sizeof(type) == (size), #type)

static_assert(sizeof(int) == 4 && sizeof(float) == 4 && sizeof(double) == 8 && sizeof(void *) == 8, "LP64");

SIZE(PointF, 8);
AT(PointF, x, 0);
AT(PointF, y, 4);

SIZE(PairRecord, 88);
AT(PairRecord, count, 0);
AT(PairRecord, xA, 8);
AT(PairRecord, yA, 16);
AT(PairRecord, xB, 24);
AT(PairRecord, yB, 32);
AT(PairRecord, dist, 40);
AT(PairRecord, transform, 48);
AT(PairRecord, error, 80);
AT(PairRecord, link, 84);

SIZE(RankEntry, 16);
AT(RankEntry, index, 0);
AT(RankEntry, sum, 8);

SIZE(FitEntry, 8);
AT(FitEntry, index, 0);
AT(FitEntry, error, 4);

SIZE(PerspFitData, 56);
AT(PerspFitData, srcX, 0);
AT(PerspFitData, srcY, 8);
AT(PerspFitData, dstX, 16);
AT(PerspFitData, dstY, 24);
AT(PerspFitData, refTrans, 32);
AT(PerspFitData, width, 40);
AT(PerspFitData, height, 44);
AT(PerspFitData, maxAngle, 48);
AT(PerspFitData, shapeResiduals, 52);

SIZE(AffineFitData, 32);
AT(AffineFitData, srcX, 0);
AT(AffineFitData, srcY, 8);
AT(AffineFitData, dstX, 16);
AT(AffineFitData, dstY, 24);

SIZE(MtState, 2500);
AT(MtState, index, 0);
AT(MtState, mt, 4);

SIZE(ResizeData, 32);
AT(ResizeData, frameWidth, 0);
AT(ResizeData, frameHeight, 4);
AT(ResizeData, imageCount, 8);
AT(ResizeData, transforms, 16);
AT(ResizeData, chain, 24);

SIZE(WarpThreadArgs, 104);
AT(WarpThreadArgs, srcWidth, 0);
AT(WarpThreadArgs, srcHeight, 4);
AT(WarpThreadArgs, srcStride, 8);
AT(WarpThreadArgs, dstWidth, 12);
AT(WarpThreadArgs, rowCount, 16);
AT(WarpThreadArgs, channels, 20);
AT(WarpThreadArgs, bitsPerSample, 24);
AT(WarpThreadArgs, offsetX, 28);
AT(WarpThreadArgs, offsetY, 32);
AT(WarpThreadArgs, perspective, 36);
AT(WarpThreadArgs, imageIndex, 40);
AT(WarpThreadArgs, srcOffset, 48);
AT(WarpThreadArgs, slotTable, 56);
AT(WarpThreadArgs, transforms, 64);
AT(WarpThreadArgs, srcBase, 72);
AT(WarpThreadArgs, dst, 80);
AT(WarpThreadArgs, threadIndex, 88);
AT(WarpThreadArgs, threadCount, 92);
AT(WarpThreadArgs, result, 96);

SIZE(lm_control_struct, 56);
AT(lm_control_struct, ftol, 0);
AT(lm_control_struct, xtol, 8);
AT(lm_control_struct, gtol, 16);
AT(lm_control_struct, epsilon, 24);
AT(lm_control_struct, stepbound, 32);
AT(lm_control_struct, maxcall, 40);
AT(lm_control_struct, scale_diag, 44);
AT(lm_control_struct, printflags, 48);

SIZE(lm_status_struct, 16);
AT(lm_status_struct, fnorm, 0);
AT(lm_status_struct, nfev, 8);
AT(lm_status_struct, info, 12);
