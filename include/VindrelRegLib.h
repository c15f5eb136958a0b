/*
 * VindrelRegLib: registration of photographs, flat C interface.
 *
 * Every function below has C linkage. Arguments are trusted: nothing is checked beyond what a contract says.
 */
#ifndef VINDREL_REG_LIB_H
#define VINDREL_REG_LIB_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Everything else in the shared object is hidden. */
#if defined(__GNUC__)
#pragma GCC visibility push(default)
#endif

/* ---- Types ----------------------------------------------------------------------------------------------- */

typedef struct { float x, y; } PointF;                        /* passed by value */
typedef void (*ProgressCallback)(int *cancel, double fraction);

typedef struct {              /* one per rank position; an array of nImages, entry 0 unused */
    int32_t  count;
    int32_t *xA, *yA, *xB, *yB;
    float   *dist;
    float    transform[8];
    float    error;
    int32_t  link;
} PairRecord;

typedef struct { int64_t index; int64_t sum; } RankEntry;     /* classementCompareSums */
typedef struct { int32_t index; float error; } FitEntry;      /* compareErrorRec */

typedef struct {              /* evaluate_transform */
    const int32_t *srcX, *srcY, *dstX, *dstY;
    const float   *refTrans;
    int32_t width, height;
    float   maxAngle;
    int32_t shapeResiduals;
} PerspFitData;

typedef struct { const int32_t *srcX, *srcY, *dstX, *dstY; } AffineFitData;

typedef struct { int32_t index; uint32_t mt[624]; } MtState;

typedef struct {              /* evaluate_resize; a caller may append fields of its own */
    int frameWidth, frameHeight, imageCount;
    const float    *transforms;
    const uint32_t *chain;
} ResizeData;

typedef struct {              /* align_with_transf_threaded */
    int srcWidth, srcHeight, srcStride, dstWidth, rowCount;
    int channels, bitsPerSample, offsetX, offsetY, perspective, imageIndex;
    int64_t srcOffset;
    const uint32_t *slotTable;
    const float    *transforms;
    const void     *srcBase;
    void           *dst;
    int threadIndex, threadCount, result;
} WarpThreadArgs;

typedef struct {
    double ftol, xtol, gtol, epsilon, stepbound;
    int maxcall, scale_diag, printflags;
} lm_control_struct;
typedef struct { double fnorm; int nfev; int info; } lm_status_struct;
typedef void lm_evaluate_ftype(const double *par, int m_dat, const void *data, double *fvec, int *userbreak);
typedef void lm_printout_ftype(int n_par, const double *par, int m_dat, const void *data, const double *fvec,
                               int printflags, int iflag, int iter, int nfev);

/* ---- Settings -------------------------------------------------------------------------------------------- */

extern int MAX_MATCHES_OPTIMIZED;   /* 60 */
extern int pinToEdge;               /* 0 */

/* ---- Stack alignment ------------------------------------------------------------------------------------- */

int  rt_align(int nThreads, int maxShiftX, int maxShiftY, int perspective, int nImages, int width, int height,
              int channels, int bitsPerSample, int *outSize, void *images, ProgressCallback progressCallback);
int  progress(ProgressCallback callback, double fraction);
void ProfileLog(int level, const char *format, ...);
void matrix_mult(int n, const float *A, const float *B, float *C);
int  classementImages(int nImages, int width, int height, int channels, int bitsPerSample, const void *images,
                      float *scores, uint32_t *rankOrder);
int  mostSuitableTransform(int nImages, const PairRecord *records, int k, int count,
                           const int32_t *xA, const int32_t *yA, const int32_t *xB, const int32_t *yB);
int  classementCompareSums(const void *a, const void *b);
int  compareErrorRec(const void *a, const void *b);
int  compareIntRev(const void *a, const void *b);

/* ---- Features -------------------------------------------------------------------------------------------- */

unsigned int greyscale(int width, int height, int channels, int bitDepth, int64_t offset, const void *src, uint8_t *dst);
uint32_t vdsubcalc(int x1, int y1, int x2, int y2, unsigned int centre, unsigned int width, const uint32_t *integral);
int  vddetect(int levels, int width, int height, int maxPoints, int reserved1, int reserved2, const uint8_t *grey,
              int reserved3, int32_t *x, int32_t *y, int32_t *scaleCode, float *descriptor);
void vddescriptor(int count, unsigned int width, const int32_t *x, const int32_t *y, int32_t *scaleCode,
                  const uint32_t *integral, float *descriptor);
int  descr_diff5(const float *a, int aStart, const float *b, int bStart, int n, float *result);
int  find_paires(int maxPairs, int rangeX, int rangeY,
                 int nA, const int32_t *xA, const int32_t *yA, const int32_t *scaleA, const float *descA,
                 int nB, const int32_t *xB, const int32_t *yB, const int32_t *scaleB, const float *descB,
                 int32_t *outXA, int32_t *outYA, int32_t *outXB, int32_t *outYB, float *outDist);

/* ---- Transforms ------------------------------------------------------------------------------------------ */

void make_identity(float *t, int n);
void convert_trans_6to8(const float *t6, float *t8);
void calcAdj(const double *m, double *adj);
void MultMatrixVector(const double *m, const double *v, double *out);
void MultMatrixMatrix(const double *A, const double *B, double *C);
int  gauss_elim(int n, double *A, double *b, double *x);
int  calc_transform3(float *out, PointF s0, PointF d0, PointF s1, PointF d1, PointF s2, PointF d2);
void calc_transform4(float *out, PointF s0, PointF d0, PointF s1, PointF d1, PointF s2, PointF d2, PointF s3, PointF d3);
int  calc_transform4_old(float *out, PointF s0, PointF d0, PointF s1, PointF d1, PointF s2, PointF d2, PointF s3, PointF d3);
void inverse_transform_perspect(const float *t, float *out);
void transformRectPerspectF(float x0, float y0, float x1, float y1, const float *t, float *tlx, float *tly,
                            float *trx, float *try_, float *blx, float *bly, float *brx, float *bry);
void transformRectPerspectD(float x0, float y0, float x1, float y1, const double *t, float *tlx, float *tly,
                            float *trx, float *try_, float *blx, float *bly, float *brx, float *bry);
void getCurPointsBoundingRect(const int32_t *x, const int32_t *y, int n, int *minX, int *minY, int *maxX, int *maxY);
int  print_transform(const float *t, int n);
int  print_transform_dbl(const double *t, int n);

int  find_at7(int width, int height, int nPairs, const int32_t *xA, const int32_t *yA, const int32_t *xB,
              const int32_t *yB, const float *dist, float *result);
int  find_affine(int nParams, int nPts, const int32_t *xA, const int32_t *yA, const int32_t *xB, const int32_t *yB,
                 const float *start, float *result);
int  calc_diff4trans(int nParams, int nPts, const float *params, int first, const int32_t *xA, const int32_t *yA,
                     const int32_t *xB, const int32_t *yB);
int  find_transform(int nParams, int nPts, const int32_t *xA, const int32_t *yA, const int32_t *xB, const int32_t *yB,
                    const float *start, float *result);
int  calc_diff8trans(int nParams, int nPts, const float *params, int first, const int32_t *xA, const int32_t *yA,
                     const int32_t *xB, const int32_t *yB);
float find_at9(int width, int height, int nPairs, const int32_t *xA, const int32_t *yA, const int32_t *xB,
               const int32_t *yB, const float *dist, float *result, int nThreads, PairRecord *records, int k,
               int nImages, int mode, const float *initialGuess, int *flag);

float angleBetweenVectors(float x0, float y0, float x1, float y1, float x2, float y2);
void getPerspectTransformDiff(int w, int h, const float *tA, const double *tB, float *dTL, float *dTR, float *dBL,
                              float *dBR, float *aTL, float *aBLv, float *aBLh, float *aBR,
                              float *qTL, float *qTR, float *qBR, float *qBL);
float perspectTransformTooDifferentAmount(int w, int h, const float *tA, const double *tB, float maxDist, float maxAngle);
void evaluate_transform(const double *par, int m, const void *data, double *fvec, int *userbreak);
void evaluate_transform6(const double *par, int m, const void *data, double *fvec, int *userbreak);
void evaluate_single_transform8(const double *par, int m, const void *data, double *fvec, int *userbreak);
int  trRot(PointF s0, PointF s1, PointF d0, PointF d1, float *out);

void     mt_init(MtState *s);
uint64_t mt_random(MtState *s);

/* ---- Warping --------------------------------------------------------------------------------------------- */

int  align_with_transf_orig(int srcWidth, int srcHeight, int srcStride, int dstWidth, int rowStart, int rowEnd,
                            int64_t channels, int64_t bitsPerSample, int offsetX, int offsetY, int perspective,
                            const uint32_t *slotTable, const float *transforms, int imageIndex, int64_t srcOffset,
                            const void *srcBase, void *dst);
int  align_with_transf(int nThreads, int srcWidth, int srcHeight, int srcStride, int dstWidth, int rowStart,
                       int rowEnd, int channels, int bitsPerSample, int offsetX, int offsetY, int perspective,
                       const uint32_t *slotTable, const float *transforms, int imageIndex, int64_t srcOffset,
                       const void *srcBase, void *dst);
void *align_with_transf_threaded(void *record);   /* a WarpThreadArgs; ends with pthread_exit(NULL) */
void multi_transform_point_perspect(int count, const float *transforms, const uint32_t *chain, float *outX,
                                    float *outY, float x, float y);
void evaluate_resize(const double *par, int m_dat, const void *data, double *fvec, int *userbreak);

/* ---- Translation ----------------------------------------------------------------------------------------- */

int  tr_align(int nImages, int width, int height, int channels, int bitDepth, int *size, uint8_t *pixels,
              int64_t reserved, float searchFraction);
int  tr_align_impl(int nImages, int width, int height, int channels, int bitDepth, int *size, int *lastError,
                   uint8_t *pixels, float searchFraction);
int  verifPercentile2(const uint32_t *histograms, unsigned int image, unsigned int startRound, int count);
int  remplPyram(int width, int height, int channels, int bitDepth, unsigned int sampleOffset, uint32_t *histogram,
                uint8_t *grey, uint8_t *grey2, const uint8_t *pixels, uint8_t *pyramid, int levels, int count);

/* ---- Straightening --------------------------------------------------------------------------------------- */

int  straightenImage(int nThreads, int width, int height, int stride, int channels, int bitsPerSample,
                     int *sizeInOut, const void *src, void *dst, float factorV, float factorH, float angle);
int  calcOptimalCropRect(const float *transform, int w, int h, float *cropX, float *cropY, int *cropW, int *cropH,
                         float factorV, float factorH);
int  calcIntersection(int checkFirst, int checkSecond, double *outX, double *outY, double x1, double y1,
                      double x2, double y2, double x3, double y3, double x4, double y4);
int  setPinToEdge(int value);
void transformViaArray(const float *t, double *outX, double *outY, double x, double y);
void transformViaArrayF(const float *t, float *outX, float *outY, double x, double y);
void transform9ViaArrayF(const float *m, float *outX, float *outY, double x, double y);
void transform4ViaArrayF(const float *m, float *outX, float *outY, double x, double y);
void calcInverseTransform(const float *t, float *out);
void matrixMult33(const float *A, const float *B, float *C);
int  printMat(const double *m);
int  logPointCross(int d, double x, double y, float z);

/* ---- The least-squares symbols the shared object also exports -------------------------------------------- */

void lmmin(int n_par, double *par, int m_dat, const void *data, lm_evaluate_ftype *evaluate,
           const lm_control_struct *control, lm_status_struct *status, lm_printout_ftype *printout);
void lm_printout_std(int n_par, const double *par, int m_dat, const void *data, const double *fvec,
                     int printflags, int iflag, int iter, int nfev);
extern const lm_control_struct lm_control_double, lm_control_float;
extern const char *lm_shortmsg[12], *lm_infmsg[12];


#if defined(__GNUC__)
#pragma GCC visibility pop
#endif

#ifdef __cplusplus
}
#endif

#endif
