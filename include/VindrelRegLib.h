/**
 * @file VindrelRegLib.h
 * @brief Registration of photographs: the flat C interface of the shared object VindrelRegLib-QVA.so.1.
 *
 * The library brings photographs of one scene, taken by hand at different exposures, into register, so that a host can
 * merge them pixel for pixel, and it straightens single photographs. There are four services:
 *
 * - rt_align() finds points in the frames of a stack, matches them, and warps every frame onto the brightest one, by an
 *   affine or a perspective transform; the stack shrinks to the rectangle that all frames share.
 * - tr_align() shifts the frames of a stack by whole pixels, comparing threshold bitmaps from coarse to fine.
 * - align_with_transf() resamples one image through a given transform, on several threads.
 * - straightenImage() corrects converging lines and rotation of one image and crops it.
 *
 * Everything that the services are made of is exported too: detector, descriptors, matching, consensus searches,
 * solvers, transform algebra, crop search, random source and the least-squares minimiser.
 *
 * @par Example
 * Three exposures of 4000 x 3000 pixels, 8 bits, RGB, aligned in place on four threads:
 * @code
 * #include <VindrelRegLib.h>
 * #include <stddef.h>
 *
 * // frames: three images of 4000 x 3000 x 3 bytes back to back. Returns 1 when they are aligned.
 * int alignBracket(unsigned char *frames, int *width, int *height)
 * {
 *     int size[2] = {0, 0};               // 0: shrink to the common rectangle; {1, ...} would keep the size
 *     int result = rt_align(4, 400, 300,  // threads; largest shift between frames, in pixels
 *                           1,            // perspective; 0 for affine
 *                           3, 4000, 3000, 3, 8, size, frames, NULL);
 *     if (result < 0)
 *         return 0;                       // -4: no memory, -1000: cancelled
 *     *width = size[0];                   // the frames now lie back to back at this size
 *     *height = size[1];
 *     return 1;
 * }
 * @endcode
 *
 * @par Linking
 * With CMake: find_package(VindrelRegLib) and the target VindrelRegLib::VindrelRegLib. Otherwise:
 * `cc program.c $(pkg-config --cflags --libs VindrelRegLib)`. A host that loads the library at run time opens
 * "VindrelRegLib-QVA.so.1" by that name. The header is valid C11 and C++; every function has C linkage.
 *
 * @par Images
 * Every image is described by separate arguments. Samples are interleaved, pixel after pixel, the top row first:
 * `channels` samples a pixel, each an unsigned 8-bit value or an unsigned 16-bit value in the machine's byte order, as
 * an argument for the bits a sample says (8 or 16). A row stride or an element offset counts samples and not bytes;
 * where there is no stride argument, rows follow each other without padding. A stack is one block, image after image.
 * A grey image has one byte a pixel: (54 r + 183 g + 19 b) >> 8, of which 16-bit images contribute the high byte. Each
 * function says which samples it takes for r, g and b when there are not three a pixel.
 *
 * @par Coordinates
 * Pixels, with the origin at the centre of the top-left pixel, x to the right and y downward: the sample of column 3,
 * row 2 is at (3, 2). The corners of a frame are taken to be (0, 0), (w, 0), (0, h) and (w, h).
 *
 * @par Transforms
 * Arrays of numbers, with one rule throughout for what they do to a point:
 * - 6 floats a b c d e f, affine: x' = a x + b y + c, y' = d x + e y + f.
 * - 8 floats (or doubles) a b c d e f g h, perspective: w = (g x + h y) 0.00001 + 1, x' = (a x + b y + c) / w,
 *   y' = (d x + e y + f) / w. The last two are stored multiplied by 100000, which brings the coefficients of a
 *   photograph's transform to comparable sizes for the fits.
 * - 9 values, a 3 x 3 matrix, row after row.
 *
 * The warp works backwards: its transform maps a point of the output frame to the point of the source where the sample
 * is read. In a stack it therefore maps the reference frame's coordinates to those of the frame to be aligned. Pairs
 * of points are parallel arrays; a transform estimated from them maps (xA, yA) to (xB, yB). Each function says in which
 * precision it maps.
 *
 * @par Status values
 * Solvers and kernels return 1 for success and -1 for failure. Calls that need working memory return -4 when there is
 * none. -1000 means that the caller cancelled through its ProgressCallback. Services return a value of 0 or more on
 * success, warps the number of rows produced. Where a function keeps to other numbers, its contract says so.
 *
 * @par What is checked
 * Arguments are trusted: sizes, counts, pointers and depths have to be what the contract of the function asks for, and
 * nothing else is checked. No exception leaves the library, and it never ends the process; the OpenMP runtime does,
 * when the system refuses it a thread.
 *
 * @par Memory
 * The caller owns every buffer that it passes; no pointer is kept after the call. Working memory is taken from the heap
 * and given back before the call returns, also when it fails or is cancelled. The exceptions are a small scratch list
 * that a thread reuses from call to call, see mostSuitableTransform(), and what the threads of a warp need when not all
 * of them could be started, see align_with_transf().
 *
 * @par Threads
 * A call starts the threads it was asked for, OpenMP teams and POSIX threads, and joins them before it returns, with
 * that one exception; between calls nothing runs. Calls on different buffers may run at the same time, with two
 * reservations: the settings below are plain integers without a lock, of which rt_align() rewrites one from the frame
 * size, and the affine search draws from the C library's rand(), which rt_align() seeds with 0. Calls of rt_align() at
 * the same time therefore need not give what each of them gives alone.
 *
 * @par Diagnostics
 * rt_align(), the detector and the transform prints write lines to standard error; straightenImage(), printMat() and
 * lm_printout_std() write to standard output. ProfileLog() prints nothing.
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

/** A point in pixels, passed by value. */
typedef struct { float x, y; } PointF;

/**
 * Hears how far a call has come, and can stop it.
 *
 * @param cancel   Points to 0. Set it to another value and the call ends as soon as it can, with -1000.
 * @param fraction The part done, 0 to 1; values above 1 may come before the end, see rt_align().
 *
 * The calling thread or a thread of the call's own OpenMP team calls it, never two at once. It must not leave by
 * longjmp(); an exception out of it counts as a request to stop.
 */
typedef void (*ProgressCallback)(int *cancel, double fraction);

/**
 * What is known of the image at one rank of a stack (0 is the brightest, the reference) against the image one rank
 * before it. Always an array with one record a rank; that of rank 0 is never read.
 */
typedef struct {
    int32_t  count;               /**< Pairs matched, and in the arrays below unless these are NULL: not kept. */
    int32_t *xA, *yA, *xB, *yB;   /**< The pairs: A in the image of the previous rank, B in this rank's. */
    float   *dist;                /**< Descriptor distance of each pair. */
    float    transform[8];        /**< Maps A to B; the affine model uses the first 6. */
    float    error;               /**< Of the search that found it; -1: there is no transform. */
    int32_t  link;                /**< The rank whose transform it was last derived from. */
} PairRecord;

/** What classementCompareSums() sorts: an image and its brightness. */
typedef struct { int64_t index; int64_t sum; } RankEntry;

/** What compareErrorRec() sorts: the index of a pair and the squared distance that a transform leaves it. */
typedef struct { int32_t index; float error; } FitEntry;

/** The data of evaluate_transform(): pairs, and optionally a transform that the fit must not stray from. */
typedef struct {
    const int32_t *srcX, *srcY, *dstX, *dstY;   /**< The coordinates, pixels. */
    const float   *refTrans;                    /**< The 8 values of the transform to stay near, or NULL. */
    int32_t width, height;                      /**< Frame size, pixels. */
    float   maxAngle;                           /**< Tolerated deviation of a corner angle from 90, degrees. */
    int32_t shapeResiduals;                     /**< Not 0: 8 more residuals, for the frame's shape. */
} PerspFitData;

/** The data of evaluate_transform6() and evaluate_single_transform8(): the pairs' coordinates, pixels. */
typedef struct { const int32_t *srcX, *srcY, *dstX, *dstY; } AffineFitData;

/** The state of a Mersenne Twister; mt_init() sets it, mt_random() advances it. One for each thread. */
typedef struct { int32_t index; uint32_t mt[624]; } MtState;

/** The data of evaluate_resize(). A caller may append fields of its own, which are not looked at. */
typedef struct {
    int frameWidth, frameHeight;   /**< Size of every image, pixels. */
    int imageCount;                /**< Images whose corners count, 0 or more. */
    const float    *transforms;    /**< Slots of 8 values; each carries output coordinates a link further. */
    const uint32_t *chain;         /**< Slot by link, see multi_transform_point_perspect(); imageCount of them. */
} ResizeData;

/**
 * The argument of align_with_transf_threaded(): one thread's share of a warp. The fields have the meaning of the
 * arguments of align_with_transf_orig() by the same name, but for those described here.
 */
typedef struct {
    int srcWidth, srcHeight, srcStride, dstWidth;
    int rowCount;                  /**< Rows of the whole output, numbered from 0, of all threads together. */
    int channels, bitsPerSample, offsetX, offsetY, perspective, imageIndex;
    int64_t srcOffset;
    const uint32_t *slotTable;
    const float    *transforms;
    const void     *srcBase;
    void           *dst;           /**< The whole output; the thread finds its own rows in it. */
    int threadIndex, threadCount;  /**< Which share, from 0, and of how many, 1 or more. */
    int result;                    /**< Out: what align_with_transf_orig() returns for the share's rows. */
} WarpThreadArgs;

/** How lmmin() minimises; lm_control_double and lm_control_float are sound sets of values to copy and change. */
typedef struct {
    double ftol;        /**< Relative error in the sum of squares that ends the fit. */
    double xtol;        /**< Relative error between two iterates that ends the fit. */
    double gtol;        /**< Orthogonality between residuals and Jacobian columns that ends the fit. */
    double epsilon;     /**< Relative error of the residuals, from which the derivatives' step is taken. */
    double stepbound;   /**< First step bound, relative to the size of the parameters. */
    int maxcall;        /**< Residual evaluations allowed, in units of n_par + 1. */
    int scale_diag;     /**< 1: the minimiser scales the parameters; 0: scale factors of 1. */
    int printflags;     /**< Passed to the printout function. */
} lm_control_struct;

/** What lmmin() reports. */
typedef struct {
    double fnorm;   /**< Euclidean norm of the residuals at the parameters returned. */
    int nfev;       /**< Residual evaluations made. */
    int info;       /**< Index into lm_shortmsg and lm_infmsg: why the fit ended. */
} lm_status_struct;

/** Computes the m_dat residuals fvec at the parameters par; setting *userbreak to another value than 0 ends the fit. */
typedef void lm_evaluate_ftype(const double *par, int m_dat, const void *data, double *fvec, int *userbreak);

/** Called as a fit proceeds; see lm_printout_std(). */
typedef void lm_printout_ftype(int n_par, const double *par, int m_dat, const void *data, const double *fvec,
                               int printflags, int iflag, int iter, int nfev);

/* ---- Settings -------------------------------------------------------------------------------------------- */

/**
 * How many matched pairs an image's transform is estimated from, at most. 60 until the first rt_align(), which sets it
 * to max(20, (width + height) >> 4) and leaves it so; the searches find_at7() and find_at9() read it too. No lock.
 */
extern int MAX_MATCHES_OPTIMIZED;

/**
 * Where calcOptimalCropRect() centres its search, and straightenImage() with it: 0, the default, in the middle of what
 * the corrected picture covers of the frame; any other value, in the middle of the frame. No lock; set it through
 * setPinToEdge() before a straightening starts.
 */
extern int pinToEdge;

/* ---- Stack alignment ------------------------------------------------------------------------------------- */

/**
 * Aligns a stack of photographs of one scene, taken with different exposures, in place: finds for every image an affine
 * or perspective transform onto the brightest one from matched feature points, and warps all into the rectangle that
 * every image covers.
 *
 * The images are ranked by brightness, and each is matched against its neighbour one rank brighter, tile by tile
 * (1024 x 1024 pixels). An image for which no transform can be found stays where it lies, or follows its brighter
 * neighbour; the call then still succeeds. Callers that need to know which images those are use the C++ interface. When
 * the rectangle would be narrower or lower than 30 % of the frame, no image is moved at all.
 *
 * Written for three samples a pixel. With four or more, source rows are taken to be 3 x width samples apart all the
 * same, which shears the result; with one or two, the true row length is used, and the ranking weighs the samples of
 * the following pixels. Whatever the count, nothing outside the block is read or written.
 *
 * The last column and row of an output image may be white: the warp needs a right and a lower neighbour.
 *
 * @param nThreads   OpenMP threads of the feature pass and warp threads, 1 and up; 1 warps on the calling thread. No
 *                   more are started than there are tiles, anchor pairs or rows to share. The affine result is the same
 *                   for any number, the perspective result is for a fixed one.
 * @param maxShiftX,maxShiftY  Largest displacement between the points of two neighbours in brightness, pixels.
 * @param perspective  0: affine transforms; other values: perspective ones.
 * @param nImages    Images in the stack. One is warped by the identity.
 * @param width,height,channels  Of every image: pixels, pixels, samples a pixel.
 * @param bitsPerSample  8 or 16. With any other value nothing is done: outSize is set to the images' size, and 0
 *                   returned.
 * @param outSize    Two ints. In: outSize[0] = 1 keeps the size of the images, and the border shows white where an
 *                   image does not reach. Out, on success: width and height of the output images.
 * @param images     nImages x width x height x channels samples, image after image, rows packed. Holds the output
 *                   images afterwards, packed from the start at their new size; what lies behind them is undefined.
 * @param progressCallback  Told the fraction done: up to about 0.9 while features are matched, counting one tile
 *                   ahead (so with few tiles beyond it), then from 0.9 to 1 while images are warped; sets *cancel to
 *                   stop. Called on worker threads too, one call at a time. NULL: no reports. An exception out of it
 *                   counts as a request to stop.
 * @return 0 or more on success: the columns plus the rows by which the output is smaller than the input.
 *         -4 when memory ran out; the images are untouched. -1000 when the callback asked to stop: before the first
 *         image is warped the images are untouched, afterwards those warped so far are in their new form.
 *
 * Sets MAX_MATCHES_OPTIMIZED, seeds the standard generator (srand(0)) and, with perspective 0, draws from it: calls in
 * several threads at once disturb each other's results. Prints one summary line to standard error.
 *
 * Working memory: the points, about 0.7 bytes for each pixel of an image, and rows of the output that wait until the
 * rows below them are read: some megabytes for the motions of a hand, up to one output image for a frame that was
 * turned over or has four samples a pixel. Five images of 24 megapixels take 24 MB beside their own 348.
 */
int  rt_align(int nThreads, int maxShiftX, int maxShiftY, int perspective, int nImages, int width, int height,
              int channels, int bitsPerSample, int *outSize, void *images, ProgressCallback progressCallback);

/**
 * Reports progress the way rt_align() does.
 * @param callback  Receives a flag that holds 0, and the fraction. May be NULL.
 * @return 1 to go on; 0 when the callback set its flag or threw.
 */
int  progress(ProgressCallback callback, double fraction);

/** The timing hook. Does nothing: format and arguments are not looked at. */
void ProfileLog(int level, const char *format, ...);

/**
 * C = A x B in single precision, the terms of an element added in order.
 * @param n      Rows and columns; below 1 nothing is written.
 * @param A,B,C  n x n floats each, row-major; C must not overlap A or B.
 */
void matrix_mult(int n, const float *A, const float *B, float *C);

/**
 * Ranks a stack by brightness. A pixel's brightness is (54 s0 + 183 s1 + 19 s2) >> 8 of its first three samples,
 * whatever the channel count; 16-bit samples count with their high byte. With one or two channels s1 and s2 are the
 * next pixels' samples, and past the block's end its last one.
 *
 * @param nImages,width,height,channels,bitsPerSample,images  The stack, as for rt_align(); only read. With a depth
 *                   other than 8 and 16, or a height below 1, all sums are 0.
 * @param scores     nImages floats: the mean brightness of each image, in storage order.
 * @param rankOrder  nImages storage indices, the brightest first; equal ones in storage order.
 * @return nImages; 0 when it is below 1 (nothing is written); -4 when memory ran out.
 */
int  classementImages(int nImages, int width, int height, int channels, int bitsPerSample, const void *images,
                      float *scores, uint32_t *rankOrder);

/**
 * The rank whose transform explains a list of pairs best, by the mean of the five smallest squared distances between
 * a mapped A point and its partner.
 *
 * @param nImages,records  The stack's records, indexed by rank; records[0] is not read. Passed over are rank k, records
 *                   whose error is exactly -1 and records whose xA is not NULL.
 * @param count,xA,yA,xB,yB  The pairs.
 * @return The rank, of equal ones the lowest; -1 when none qualifies or nImages is below 2; -4 when memory ran out. The
 *         calling thread keeps its scratch memory for the next call and releases it when it ends.
 */
int  mostSuitableTransform(int nImages, const PairRecord *records, int k, int count,
                           const int32_t *xA, const int32_t *yA, const int32_t *xB, const int32_t *yB);

/** Compares two RankEntry for qsort: -1 when a's sum is larger, 1 when it is smaller, 0 when equal. */
int  classementCompareSums(const void *a, const void *b);

/** Compares two FitEntry for qsort: -1 when a's error is larger, 1 when it is smaller, 0 when equal. */
int  compareErrorRec(const void *a, const void *b);

/** Compares two int32_t for qsort: -1 when a is larger, 1 when it is smaller, 0 when equal. */
int  compareIntRev(const void *a, const void *b);

/* ---- Features -------------------------------------------------------------------------------------------- */

/*
 * Feature points. A tile of a photograph becomes a grey image, the grey image a set of points with descriptors, and two
 * sets become pairs. A set is held as parallel arrays that the caller owns, point i being x[i], y[i], scaleCode[i] and
 * the 64 floats from descriptor[64 * i]:
 *
 *     x, y        column and row of the grey image, whole pixels
 *     scaleCode   offset in filter size in hundredths of a step (100 * level is added on further levels); its sign is
 *                 that of the Laplacian: negative for a spot brighter than its surroundings
 *     descriptor  what the point's surroundings look like; of unit length, or all zero where they are uniform
 *
 * These functions keep nothing between calls and may run on any number of threads at once, each with its own output.
 */

/**
 * Converts interleaved samples to an 8-bit grey image: grey = (54 * first + 183 * middle + 19 * last) >> 8 with samples
 * 0, (channels - 1) / 2 and channels - 1 of each pixel, in stored order. The weights add up to 256. So three channels
 * are weighed 54, 183 and 19, four channels by their samples 0, 1 and 3, and one channel is copied. Of 16-bit samples
 * the high byte counts.
 *
 * @param width    Pixels a row; below 1 nothing is written.
 * @param height   Rows.
 * @param channels Interleaved samples a pixel, from 1. Not checked.
 * @param bitDepth 8, or 16 for unsigned samples in native byte order (little-endian on x86-64), aligned as uint16_t.
 * @param offset   Samples (not bytes) from src to the first pixel.
 * @param src      offset + width * height * channels samples, rows packed; only read. Must not overlap dst.
 * @param dst      Receives width * height bytes, rows packed.
 * @return height; 0, with nothing written, when bitDepth is neither 8 nor 16 or height is below 1.
 */
unsigned int greyscale(int width, int height, int channels, int bitDepth, int64_t offset, const void *src,
                       uint8_t *dst);

/**
 * The sum of the grey values in a box, from four entries of an integral image (Crow 1984, "Summed-area tables for
 * texture mapping"; Viola and Jones 2001, "Rapid object detection using a boosted cascade of simple features"). Entry
 * (column, row) of an integral image, at index row * width + column, is the sum of all grey values at columns up to
 * column and rows up to row, modulo 2^32.
 *
 * Nothing is checked: the box must lie inside the image and keep one pixel from its left and top border.
 *
 * @param x1,y1,x2,y2 The box relative to the reference pixel: its first and last column and row, all inclusive.
 * @param centre      Index of the reference pixel.
 * @param width       Entries a row.
 * @param integral    The integral image; only read.
 * @return The sum, modulo 2^32.
 */
uint32_t vdsubcalc(int x1, int y1, int x2, int y2, unsigned int centre, unsigned int width, const uint32_t *integral);

/**
 * Finds the feature points of a grey image: local extrema, over position and filter size, of the determinant of the
 * Hessian, whose second derivatives are differences of box sums (Bay, Ess, Tuytelaars and Van Gool 2008, "Speeded-Up
 * Robust Features (SURF)"). Three filter sizes are computed, 9, 15 and 21 pixels; an extremum lies at size 15, has a
 * magnitude of at least 10000 and stands out strictly, up or down, from all its 26 neighbours. It is then refined by
 * the quadratic through those neighbours (Brown and Lowe 2002, "Invariant features from interest point groups") and
 * dropped if it moves further than the tolerances allow: at first 0.6 pixels along either axis and half a step of
 * filter size. They are adjusted while the image is scanned, so that the share of maxPoints used follows the share
 * of pixels seen.
 *
 * Points come in the order of the scan, rows from top to bottom and columns from left to right. A refined coordinate is
 * cut to hundredths of a pixel, then to whole pixels, and 1 is added: an offset above -0.01 yields the column after
 * the extremum's, any other the extremum's own. Points keep 21 pixels from the left and top border, 20 from the right
 * and bottom one, and an image below 43 pixels in width or height has none. The descriptors are vddescriptor()'s.
 *
 * levels is 1 for all ordinary use. Level s > 0 does not look at a smaller image: it reads the responses of the full
 * image with rows of width >> s entries, scales the coordinates found by 2^s, and after each level the coordinates of
 * all points so far are divided by 100 once more.
 *
 * Side effects: for an extremum whose refinement has no solution, a line "row  column rejete - resolution impossible"
 * on standard error. Arguments are not checked beyond what is said here; a width or height below 1 counts as an image
 * without pixels. Allocates about 4 bytes a pixel and releases them before it returns, whatever the outcome.
 *
 * @param levels     Levels to scan; any value, none below 1.
 * @param width      Pixels a row.
 * @param height     Rows.
 * @param maxPoints  The budget. The scan stops when it is exceeded, so up to maxPoints + 1 points are found; none if it
 *                   is negative.
 * @param reserved1  Ignored, as are reserved2 and reserved3; pass 0.
 * @param reserved2  Ignored.
 * @param grey       width * height bytes, rows packed; only read.
 * @param reserved3  Ignored.
 * @param x          maxPoints + 1 elements. In this and the other outputs, entries beyond the count may have been
 *                   written too.
 * @param y          maxPoints + 1 elements.
 * @param scaleCode  maxPoints + 1 elements.
 * @param descriptor 64 * (maxPoints + 1) elements.
 * @return The number of points, 0 to maxPoints + 1; -4 when memory ran out, the outputs then being undefined.
 */
int  vddetect(int levels, int width, int height, int maxPoints, int reserved1, int reserved2, const uint8_t *grey,
              int reserved3, int32_t *x, int32_t *y, int32_t *scaleCode, float *descriptor);

/**
 * Describes points, and gives their scale codes the sign of the Laplacian there (zero counts as positive).
 *
 * A descriptor covers columns x - 16 to x + 15 and rows y - 16 to y + 15, whatever the point's scale, without
 * orientation: 4 x 4 cells of 8 x 8 pixels in row-major order, four values a cell (after Bay et al. 2008, see
 * vddetect()). They are the sums over the cell's four 4 x 4 sub-cells of dx, |dx|, dy and |dy|, dx being the sub-cell's
 * left half minus its right half and dy its top half minus its bottom half. The 64 values are divided by the root of
 * their sum of squares: the squares are added in single precision in order, the reciprocal root is 1 / sqrt in single
 * precision, correctly rounded.
 *
 * The squares must not reach beyond the right and bottom border; this is not checked. Entries before the first of the
 * integral image count as zero, so that points near the top-left corner may be described. Allocates nothing.
 *
 * @param count      Points; below 1 nothing is done, and all pointers may be NULL.
 * @param width      Entries a row of the integral image.
 * @param x          count columns; only read.
 * @param y          count rows; only read.
 * @param scaleCode  count elements, whose signs are rewritten.
 * @param integral   The integral image, see vdsubcalc(); only read.
 * @param descriptor Receives 64 * count elements.
 */
void vddescriptor(int count, unsigned int width, const int32_t *x, const int32_t *y, int32_t *scaleCode,
                  const uint32_t *integral, float *descriptor);

/**
 * The squared Euclidean distance of two descriptors, added up in single precision in the order of the elements. Between
 * unit descriptors it runs from 0, alike, to 4, opposite.
 *
 * @param a      At least aStart + n elements; only read.
 * @param aStart First element of a to take: 64 * the point's number.
 * @param b      At least bStart + n elements; only read.
 * @param bStart First element of b to take.
 * @param n      Elements to compare, 64 for whole descriptors.
 * @param result Receives the distance; 0 when n is below 1.
 * @return n; 0 when n is below 1.
 */
int  descr_diff5(const float *a, int aStart, const float *b, int bStart, int n, float *result);

/**
 * Pairs the points of set A with those of set B that look alike and lie near, and writes the best pairs by ascending
 * distance; of equal distances, the pair whose B point was matched first comes first.
 *
 * The candidates of an A point are the B points with a scale code within 50 of its own and displaced by at most
 * rangeX and rangeY, all inclusive. The nearest descriptor among them is the match, unless it displaced a candidate
 * as the nearest one so far and its own distance is more than 0.4 times that one's. This is a ratio test in the
 * manner of Lowe 2004, "Distinctive image features from scale-invariant keypoints", but against the candidate that
 * was best before it in the order of B: a runner-up that comes later does not count. The ratio is formed in single
 * precision and compared in double. A B point goes to the A point of the smallest distance, on equal distances to
 * the earlier one.
 *
 * Both sets are in the order of vddetect(), rows ascending. In any order, B is no longer looked at for an A point from
 * the first B point on whose scale code is more than 50 above, or whose scale code is not more than 50 below and whose
 * row is more than rangeY below. Matching ends with 100001 matches. Distances from 1e8 on never match.
 *
 * Side effects: asks for the calendar time and drops it. Allocates about 270 bytes a point of B and releases them
 * before it returns, whatever the outcome.
 *
 * @param maxPairs Most pairs to write.
 * @param rangeX   Largest horizontal displacement, pixels; any value, below 0 nothing matches.
 * @param rangeY   Largest vertical displacement, pixels; likewise.
 * @param nA       Points of set A; below 1 there are no matches and the arrays of both sets may be NULL.
 * @param xA       nA columns; only read, as are all arrays of the sets.
 * @param yA       nA rows.
 * @param scaleA   nA scale codes.
 * @param descA    64 * nA descriptor elements.
 * @param nB       Points of set B; likewise.
 * @param xB       nB columns.
 * @param yB       nB rows.
 * @param scaleB   nB scale codes.
 * @param descB    64 * nB descriptor elements.
 * @param outXA    Receives the column of each pair's A point: maxPairs elements, as for the other outputs. None may
 *                 overlap the sets.
 * @param outYA    Receives its row.
 * @param outXB    Receives the column of its B point.
 * @param outYB    Receives its row.
 * @param outDist  Receives the squared descriptor distance, see descr_diff5().
 * @return The number of pairs, the smaller of maxPairs and the matches found; so maxPairs itself, with nothing written,
 *         when it is below 1. -4 when memory ran out, with nothing written.
 */
int  find_paires(int maxPairs, int rangeX, int rangeY,
                 int nA, const int32_t *xA, const int32_t *yA, const int32_t *scaleA, const float *descA,
                 int nB, const int32_t *xB, const int32_t *yB, const int32_t *scaleB, const float *descB,
                 int32_t *outXA, int32_t *outYA, int32_t *outXB, int32_t *outYB, float *outDist);

/* ---- Transforms ------------------------------------------------------------------------------------------ */

/*
 * Unless a function says otherwise, those below keep no state, may be called from any number of threads at a time,
 * obtain no memory, and check no pointer: NULL is only allowed where it is mentioned. Output arrays must not overlap
 * the input, and nothing is written beyond the elements named. Degenerate geometry is not an error: it yields infinite
 * or undefined coefficients, for which the caller tests.
 */

/**
 * Writes the transform that leaves every point where it is.
 *
 * @param t Out: 8 floats when n is 8, the perspective identity; 6 floats for any other n, the affine one.
 */
void make_identity(float *t, int n);

/** Makes a perspective transform of an affine one: t8[0] to t8[5] are t6[0] to t6[5], t8[6] and t8[7] are 0. */
void convert_trans_6to8(const float *t6, float *t8);

/**
 * The adjugate of a 3 x 3 matrix: the transpose of its cofactors. Divided by the determinant it would be the inverse;
 * as a projective map is only defined up to scale, it serves as the inverse without that division. adj may be m.
 *
 * @param m   9 doubles, row after row.
 * @param adj Out: 9 doubles.
 */
void calcAdj(const double *m, double *adj);

/** out = m v, for a 3 x 3 matrix, row after row, and vectors of 3. Each sum runs from left to right. */
void MultMatrixVector(const double *m, const double *v, double *out);

/** C = A B, for 3 x 3 matrices, row after row. Each sum runs from left to right. */
void MultMatrixMatrix(const double *A, const double *B, double *C);

/**
 * Solves the linear system A x = b by Gaussian elimination with row exchanges and back substitution.
 *
 * The search for a pivot differs from the usual one: it starts with the magnitude on the diagonal, and a row below wins
 * when its magnitude exceeds the best value so far, but that value is then remembered with its sign. After a negative
 * one the next row wins whatever it holds. The rule can pass over the largest pivot, and even pick a zero where a sound
 * one stood; which systems count as singular is part of what the searches' results rest on.
 *
 * @param n Unknowns. Below 1 nothing is touched and the result is 1.
 * @param A n x n doubles, row after row; destroyed.
 * @param b n doubles; destroyed.
 * @param x Out: n doubles; untouched when the result is -1.
 * @return 1, or -1 when one of the first n - 1 pivots is zero or not a number. The last pivot is not looked at: a zero
 *         there makes x infinite or undefined, and the result is 1.
 */
int  gauss_elim(int n, double *A, double *b, double *x);

/**
 * The affine transform that maps three points onto three others, by gauss_elim() in double precision, narrowed.
 *
 * @param out   Out: 6 floats; untouched when the result is -1.
 * @param s0,s1,s2 The source points, in pixels.
 * @param d0,d1,d2 The destination of each.
 * @return 1, or -1 when gauss_elim() fails: for three sources on a line, unless rounding hides it, and for a few sound
 *         triples that its choice of pivots does not get through.
 */
int  calc_transform3(float *out, PointF s0, PointF d0, PointF s1, PointF d1, PointF s2, PointF d2);

/**
 * The perspective transform that maps four points onto four others, by the four-point basis method in double precision,
 * narrowed. Three points on a line, on either side, and a map that sends the origin to infinity are not detected; the
 * coefficients are then infinite, undefined or wild.
 *
 * @param out Out: 8 floats.
 * @param s0,s1,s2,s3 The source points, in pixels.
 * @param d0,d1,d2,d3 The destination of each.
 */
void calc_transform4(float *out, PointF s0, PointF d0, PointF s1, PointF d1, PointF s2, PointF d2, PointF s3,
                     PointF d3);

/**
 * A perspective transform through four pairs by least squares: starts from the affine transform of the first three
 * pairs and adjusts all eight coefficients with lmmin(). For the fit, though not for its start, every coordinate is
 * truncated toward zero to a whole pixel. calc_transform4() is exact and faster. Obtains about 1 KB of memory.
 *
 * @param out Out: 8 floats, also when the fit is not accepted. Untouched when there was no fit: the first three pairs
 *            have no affine transform, or a coordinate exceeds int or is not a number.
 * @return 1 when the Euclidean norm of the eight residuals is at most 10 pixels; otherwise -1, also without memory.
 */
int  calc_transform4_old(float *out, PointF s0, PointF d0, PointF s1, PointF d1, PointF s2, PointF d2, PointF s3,
                         PointF d3);

/**
 * The inverse of a perspective transform, as the calc_transform4() solution that takes the images of the square
 * (0, 0) to (1000, 1000) back onto its corners.
 *
 * @param t   8 floats.
 * @param out Out: 8 floats; infinite or undefined for a t that has no inverse. May be t.
 */
void inverse_transform_perspect(const float *t, float *out);

/**
 * Maps the corners (x0, y0), (x1, y0), (x0, y1), (x1, y1) of a rectangle through a perspective transform, in double
 * precision, and narrows the results. A corner for which the denominator is 0 becomes infinite or undefined.
 *
 * @param t 8 floats.
 * @param tlx,tly,trx,try_,blx,bly,brx,bry Out: the images of the corners, in this order.
 */
void transformRectPerspectF(float x0, float y0, float x1, float y1, const float *t, float *tlx, float *tly,
                            float *trx, float *try_, float *blx, float *bly, float *brx, float *bry);

/** transformRectPerspectF() for a transform of 8 doubles. */
void transformRectPerspectD(float x0, float y0, float x1, float y1, const double *t, float *tlx, float *tly,
                            float *trx, float *try_, float *blx, float *bly, float *brx, float *bry);

/**
 * The least and the greatest coordinates among n points.
 *
 * @param x,y n whole-pixel coordinates each; not read when n is below 1.
 * @param minX,minY,maxX,maxY Out: the box, whose limits are coordinates of points; all 0 when n is below 1.
 */
void getCurPointsBoundingRect(const int32_t *x, const int32_t *y, int n, int *minX, int *minY, int *maxX, int *maxY);

/**
 * Prints a transform to standard error as two formulas, one a line. The last two coefficients of a perspective
 * transform appear as they are stored, 100000 times larger than they act. Decimal points follow the process's locale.
 *
 * @param t 8 floats when n is 8; 6 for any other n.
 * @return What fprintf() returned: the characters written, or a negative value.
 */
int  print_transform(const float *t, int n);

/**
 * Narrows n doubles and prints them as print_transform() does. Of fewer than 6 the missing ones print as 0; n may be
 * 0, and beyond 8 the rest is not read.
 */
int  print_transform_dbl(const double *t, int n);

/**
 * Finds the affine transform that most of the matched pairs agree on, wrong pairs among them or not.
 *
 * Random sample consensus after M. Fischler and R. Bolles, "Random sample consensus", Communications of the ACM 24(6),
 * 1981. Of the m = min(nPairs, MAX_MATCHES_OPTIMIZED) best pairs each of the first m - 1 is an anchor once: of six
 * drawn couples of partners the one farthest from it is taken, calc_transform3() solves the three, and the pairs that
 * the solution places within 2 pixels are counted (2 for the sample itself). The candidates with at least 80 % of the
 * largest count are pooled, with the pairs they were solved from; find_affine() polishes up to seven of them on those
 * pairs.
 *
 * The samples are drawn with rand(), whose state the whole process shares, and nothing is seeded here: call srand()
 * before to repeat a result. Calls at a time from several threads are safe but draw from one sequence.
 *
 * @param width,height Of the area that the pairs come from, pixels; both above 0. They only bound the translation.
 * @param nPairs       Pairs in the arrays; below 2 there is nothing to search.
 * @param xA,yA,xB,yB  nPairs whole-pixel coordinates each. The transform maps A onto B.
 * @param dist         nPairs descriptor distances, the smaller the better; the order of the pairs does not matter.
 *                     Values of -99999999 or less and undefined ones never anchor a sample.
 * @param result       Out: 6 floats. The identity when fewer than two pairs are usable, when no candidate counts more
 *                     than four pairs, or when the best one shifts by more than a fifth of the width or the height.
 *                     Untouched when the result is -4.
 * @return The anchors tried, m - 1, or 0 without two usable pairs: no measure of success, and more than 0 with an
 *         identity in result as well. -4 when memory ran out.
 */
int  find_at7(int width, int height, int nPairs, const int32_t *xA, const int32_t *yA, const int32_t *xB,
              const int32_t *yB, const float *dist, float *result);

/**
 * Polishes affine transforms: minimises calc_diff4trans() by a downhill simplex search of at most 15 moves, in single
 * precision (J. Nelder and R. Mead, "A simplex method for function minimization", The Computer Journal 7(4), 1965). It
 * ends early when the costs of all its points are within 0.1 % of each other or one is 0, so the result is an
 * improvement on the starts, and not a converged minimum.
 *
 * @param nParams     6.
 * @param nPts        Pairs; below 1 every transform costs 0.
 * @param xA,yA,xB,yB nPts whole-pixel coordinates each.
 * @param start       nParams + 1 = 7 transforms of nParams floats, one after the other.
 * @param result      Out: nParams floats, the transform of least cost; may be start. Untouched when the result is -4.
 * @return 1, or -4 when memory ran out.
 */
int  find_affine(int nParams, int nPts, const int32_t *xA, const int32_t *yA, const int32_t *xB, const int32_t *yB,
                 const float *start, float *result);

/**
 * How badly an affine transform fits pairs: the sum of |xB - x'| + |yB - y'| in pixels, x' and y' being the image of
 * (xA, yA), in single precision and in the order of the pairs, truncated.
 *
 * @param nParams     Ignored.
 * @param params      The transform's 6 floats begin at params[first].
 * @param xA,yA,xB,yB nPts whole-pixel coordinates each; not read when nPts is below 1.
 * @return The sum; 0 when nPts is below 1; INT_MAX when the sum is beyond int or undefined.
 */
int  calc_diff4trans(int nParams, int nPts, const float *params, int first, const int32_t *xA, const int32_t *yA,
                     const int32_t *xB, const int32_t *yB);

/**
 * find_affine() for perspective transforms and calc_diff8trans(): nParams is 8, and start holds 9 transforms of 8
 * floats, for example a transform found and 8 small variations of it.
 */
int  find_transform(int nParams, int nPts, const int32_t *xA, const int32_t *yA, const int32_t *xB, const int32_t *yB,
                    const float *start, float *result);

/**
 * calc_diff4trans() for the perspective transform of the 8 floats from params[first]: points are mapped in double
 * precision and their images narrowed; the rest is single precision.
 */
int  calc_diff8trans(int nParams, int nPts, const float *params, int first, const int32_t *xA, const int32_t *yA,
                     const int32_t *xB, const int32_t *yB);

/**
 * The perspective transform that most matched pairs agree on: random samples anchored on each of the best pairs in
 * turn, implausible candidates refused, agreement counted within 2 pixels, and the pairs that agree with the best
 * candidate fitted by least squares (M. Fischler and R. Bolles, see find_at7(); local refinement after O. Chum, J.
 * Matas and J. Kittler, "Locally optimized RANSAC", DAGM 2003).
 *
 * Repeats exactly for a fixed number of threads; the draws for an anchor depend on its place in its thread's share, so
 * another number may give a slightly different transform.
 *
 * @param width,height  Size of the frame that the pairs come from, pixels; bounds shift, scale, rotation and shear.
 * @param nPairs        Number of pairs; below 8 there is no transform.
 * @param xA,yA,xB,yB   nPairs whole-pixel positions each: points of the one frame and their partners in the other.
 * @param dist          nPairs descriptor distances: the MAX_MATCHES_OPTIMIZED pairs of least distance are anchors.
 * @param result        8 floats, written unless memory ran out: maps A onto B; the identity when none was found.
 * @param nThreads      OpenMP threads of the search; below 1 counts as 1.
 * @param records,k,nImages  Not looked at; may be NULL and 0.
 * @param mode          Bit 0 set: samples of three pairs and affine candidates, a hundred an anchor, for pairs that
 *                      gave no perspective transform; clear: samples of four, five an anchor. From 2 on, the last
 *                      member of a sample may repeat another.
 * @param initialGuess  8 floats that the result must stay near (200 pixels and 1 degree at the frame's corners), or
 *                      NULL for anything a hand-held camera can have done.
 * @param flag          One int, set to 1 when the result has too little support to be relied on, otherwise left alone.
 * @return The mean over all pairs of the squared residual, each capped at 400 square pixels, so that 200 or more means
 *         that most pairs disagree; -1 when there is no transform; -4 when memory ran out.
 */
float find_at9(int width, int height, int nPairs, const int32_t *xA, const int32_t *yA, const int32_t *xB,
               const int32_t *yB, const float *dist, float *result, int nThreads, PairRecord *records, int k,
               int nImages, int mode, const float *initialGuess, int *flag);

/**
 * The angle at (x0, y0) between the rays to (x1, y1) and to (x2, y2), by the law of cosines in single precision.
 *
 * @return Degrees, 0 to 180; not a number when a ray has no length or rounding takes the cosine beyond 1.
 */
float angleBetweenVectors(float x0, float y0, float x1, float y1, float x2, float y2);

/**
 * Compares what two perspective transforms A and B do to the frame (0, 0) to (w, h): how far apart they put its
 * corners, and how differently they turn its edges.
 *
 * @param w,h             Frame size, pixels.
 * @param tA              8 floats, or NULL for the frame as it is.
 * @param tB              8 doubles.
 * @param dTL,dTR,dBL,dBR Out: the squared distance, pixels, between the two images of the top-left, top-right,
 *                        bottom-left and bottom-right corner.
 * @param aTL             Out: the absolute difference, degrees, of the angle between the top edge and the vertical.
 * @param aBLv            Out: the same of the bottom edge and the vertical.
 * @param aBLh            Out: the same of the left edge and the horizontal.
 * @param aBR             Out: the same of the right edge and the horizontal.
 * @param qTL,qTR,qBR,qBL Out, each or NULL: the angles, degrees, of B's image of the frame at its corners, each made of
 *                        the directions of edges; 90 for a rectangle.
 */
void getPerspectTransformDiff(int w, int h, const float *tA, const double *tB, float *dTL, float *dTR, float *dBL,
                              float *dBR, float *aTL, float *aBLv, float *aBLh, float *aBR,
                              float *qTL, float *qTR, float *qBR, float *qBL);

/**
 * One number for how much further transform B strays from A than it may: for each squared corner distance of
 * getPerspectTransformDiff() its excess over maxDist squared, and for each of the four edge angles 30000 times its
 * excess over maxAngle. Values at their limit, and undefined ones, add nothing.
 *
 * @param w,h      Frame size, pixels.
 * @param tA       8 floats, or NULL for the frame as it is.
 * @param tB       8 doubles.
 * @param maxDist  Tolerated distance of a corner, pixels.
 * @param maxAngle Tolerated turn of an edge, degrees.
 * @return 0 when B stays within the limits.
 */
float perspectTransformTooDifferentAmount(int w, int h, const float *tA, const double *tB, float maxDist,
                                          float maxAngle);

/**
 * Residuals of a perspective transform, for lmmin(). Each pair makes two, 0.001 times the distance in pixels from the
 * image of its source to its destination in x and in y. They grow with the transform's implausibility: by 1 % for each
 * unit of perspectTransformTooDifferentAmount() against refTrans with the limits 200 pixels and 1 degree, and by 10
 * plus the sum of the four corner angles' deviations from 90 degrees once one of these exceeds maxAngle.
 *
 * @param par       8 doubles.
 * @param m         Residuals: two a pair, and 8 more when shapeResiduals is not 0.
 * @param data      A PerspFitData.
 * @param fvec      Out: the pairs' residuals; with shapeResiduals two more after them, for corner angles off by more
 *                  than half a degree and for corners more than 200 pixels from the frame's. The last six are not
 *                  written: lmmin() takes them as 0.
 * @param userbreak Not touched; may be NULL.
 */
void evaluate_transform(const double *par, int m, const void *data, double *fvec, int *userbreak);

/**
 * Residuals of an affine transform, for lmmin(): one a pair, 0.001 times the city-block distance in pixels from the
 * image of its source to its destination.
 *
 * @param par       6 doubles.
 * @param m         Pairs; below 1 nothing is written.
 * @param data      An AffineFitData with m pairs.
 * @param fvec      Out: m doubles.
 * @param userbreak Not touched; may be NULL.
 */
void evaluate_transform6(const double *par, int m, const void *data, double *fvec, int *userbreak);

/**
 * Residuals of a perspective transform in plain pixels, for lmmin(): two a pair, destination minus image, x then y.
 *
 * @param par       8 doubles.
 * @param m         Residuals, two a pair; below 2 nothing is written.
 * @param data      An AffineFitData with m / 2 pairs.
 * @param fvec      Out: m doubles.
 * @param userbreak Not touched; may be NULL.
 */
void evaluate_single_transform8(const double *par, int m, const void *data, double *fvec, int *userbreak);

/**
 * Rotation and translation from two pairs of points, in single precision. s0 is carried onto d0, and the direction of
 * s0 - s1 turned into that of d0 - d1. Distances are not divided out: the result means something only when the sources
 * are as far apart as the destinations. The angle is taken from the arcsine or the arccosine, whichever is smaller in
 * magnitude, and from the arccosine, which is never negative, where they are equal: for turns to the negative side
 * rounding decides whether the sign is kept.
 *
 * @param s0,s1 The source points, which must differ in x and in y.
 * @param d0,d1 The destination of each.
 * @param out   Out: 6 floats, an affine transform; untouched when the result is -1.
 * @return 1; -1 when the sources share a coordinate, or when the destinations are so far apart that the rotation's sine
 *         would exceed 1.
 */
int  trRot(PointF s0, PointF s1, PointF d0, PointF d1, float *out);

/**
 * Starts the random source of find_at9(): the recurrence of MT19937 (M. Matsumoto and T. Nishimura, "Mersenne Twister",
 * ACM TOMACS 8(1), 1998) on the state 0, 1, ..., 623. There is no seed: every generator draws the same sequence.
 *
 * @param s Out: the state. It belongs to one thread at a time.
 */
void     mt_init(MtState *s);

/**
 * The next number of the sequence, from 0 to 4294967295. The state's words are handed out as they are: the published
 * generator's tempering is left out, and its numbers are others.
 *
 * @param s A state that mt_init() has started.
 */
uint64_t mt_random(MtState *s);

/* ---- Warping --------------------------------------------------------------------------------------------- */

/**
 * Warps one image on the calling thread: produces rows rowStart to rowEnd - 1 of an output frame, mapping each output
 * pixel into the source and interpolating there between four pixels (bilinear interpolation).
 *
 * Output pixel (x, y) is mapped from (x', y') = (x - offsetX, y - offsetY) by the image's transform:
 *
 *     affine       a b c d e f        X = a x' + b y' + c           Y = d x' + e y' + f
 *     perspective  a b c d e f g h    X = (a x' + b y' + c) / w     Y = (d x' + e y' + f) / w
 *                                     w = 1 + (g x' + h y') 0.00001
 *
 * X and Y are single precision; w and the divisions are double precision. With ix and iy, X and Y cut to whole numbers
 * toward zero, the pixel is inside when ix >= 0, ix + 1 < srcWidth, iy >= 0 and iy + 1 < srcHeight. So coordinates
 * between -1 and 0 are inside and extrapolate from the first two columns or rows, while the last column and the last
 * row of the source are outside; and so is a coordinate that is not a number or too large for an int.
 *
 * All samples of an inside pixel, alpha included, are interpolated alike, in double precision, and clamped to the range
 * of the sample. 8-bit samples round to the nearest, halves up; 16-bit samples round down.
 *
 * Of an outside pixel, samples 0, (channels - 1) / 2 and channels - 1 become white, 255 or 65535, and the others keep
 * what the output held. So one to three channels become white as a whole, and the third of four stays untouched.
 *
 * Re-entrant: several threads may produce rows of one output as long as no row is produced twice. Allocates nothing.
 * Source and output must not overlap.
 *
 * @param srcWidth      Source width, pixels.
 * @param srcHeight     Source height, pixels.
 * @param srcStride     Samples (not bytes) from the start of one source row to the start of the next.
 * @param dstWidth      Output width, pixels.
 * @param rowStart      First output row.
 * @param rowEnd        One past the last output row.
 * @param channels      Interleaved samples a pixel, of source and output; any number from 1.
 * @param bitsPerSample 8 or 16, of source and output.
 * @param offsetX       Subtracted from output columns before the transform, pixels.
 * @param offsetY       Subtracted from output rows before the transform, pixels.
 * @param perspective   0: the image's transform is the 6 values at 6 * imageIndex of the table; otherwise the 8 values
 *                      at 8 * slotTable[imageIndex].
 * @param slotTable     More than imageIndex elements; may be NULL when perspective is 0.
 * @param transforms    The table. Its transforms map output coordinates to source coordinates.
 * @param imageIndex    Whose transform to take.
 * @param srcOffset     Samples from srcBase to source pixel (0, 0).
 * @param srcBase       The source's samples; only read.
 * @param dst           First sample of output row rowStart; receives (rowEnd - rowStart) * dstWidth * channels samples,
 *                      rows packed.
 * @return rowEnd; rowStart when the band is empty (rowStart >= rowEnd); 0 when bitsPerSample is neither 8 nor 16.
 *         In the last two cases nothing is written.
 */
int  align_with_transf_orig(int srcWidth, int srcHeight, int srcStride, int dstWidth, int rowStart, int rowEnd,
                            int64_t channels, int64_t bitsPerSample, int offsetX, int offsetY, int perspective,
                            const uint32_t *slotTable, const float *transforms, int imageIndex, int64_t srcOffset,
                            const void *srcBase, void *dst);

/**
 * Warps one image on several threads. The arguments after nThreads are those of align_with_transf_orig(), and every
 * pixel is computed as there. With nThreads below 2 it is that very call, on the calling thread.
 *
 * From 2 threads on the rows are split into nThreads strips, one POSIX thread each, all joined before the return. With
 * q = (rowEnd - rowStart) / nThreads, thread i produces rows i q to (i + 1) q - 1, and the last thread the rest, which
 * is all rows when there are fewer rows than threads. Strips are numbered from row 0: what is produced at dst are rows
 * 0 to rowEnd - rowStart - 1 of the output frame and not rows rowStart to rowEnd - 1. The two agree when rowStart is 0.
 *
 * When a thread cannot be started, or there is no memory for the threads' records, the calling thread produces the
 * whole band as in the direct case, rows rowStart to rowEnd - 1, and the call returns that result at once unless it is
 * 0. Threads already started are then neither joined nor waited for: they go on reading the source and writing their
 * strips to dst after the return (the tables they need no more, and what they need of the library's they release). The
 * result does not tell. A host that runs near its limit of threads should pass nThreads 1.
 *
 * Re-entrant. Source and output must not overlap.
 *
 * @param nThreads Threads to start, without an upper limit; 0 and 1: none.
 * @return With threads: the number of rows, rowEnd - rowStart. Without, and when one could not be started: as
 *         align_with_transf_orig(); in the second case, when that is 0, the threads already started have been joined.
 *         0 when bitsPerSample is neither 8 nor 16; nothing is written.
 */
int  align_with_transf(int nThreads, int srcWidth, int srcHeight, int srcStride, int dstWidth, int rowStart,
                       int rowEnd, int channels, int bitsPerSample, int offsetX, int offsetY, int perspective,
                       const uint32_t *slotTable, const float *transforms, int imageIndex, int64_t srcOffset,
                       const void *srcBase, void *dst);

/**
 * A thread body for pthread_create(): produces one share of a warp, split as align_with_transf() splits it, and stores
 * the result in the record. It ends the thread by pthread_exit(NULL) and does not return.
 *
 * @param record A WarpThreadArgs of this thread's own, valid until the thread has ended.
 */
void *align_with_transf_threaded(void *record);

/**
 * Carries a point through a chain of perspective transforms: links 1, 2, ... count, in this order. A count of 0 stands
 * for link 0 alone. So the point of a stack's image i passes links 1 to i, and link 0 serves image 0 only.
 *
 * Each link maps as the perspective warp does, in the same precisions. A denominator of 0 gives infinities or values
 * that are not numbers. Re-entrant.
 *
 * @param count      The last link, 0 or more.
 * @param transforms Slots of 8 values.
 * @param chain      chain[k] is the slot of link k; count + 1 elements.
 * @param outX       Out: the point carried; not NULL.
 * @param outY       Out: likewise.
 * @param x          The point, pixels.
 * @param y          Likewise.
 */
void multi_transform_point_perspect(int count, const float *transforms, const uint32_t *chain, float *outX,
                                    float *outY, float x, float y);

/**
 * The residuals, for lmmin(), of the search for the largest upright rectangle of the output frame whose corners fall
 * inside every image of a stack, so that the aligned images can be cut to it without fill.
 *
 * The rectangle's upper-left corner is (-x0, -y0), its size W x H. Each corner is carried into image i as
 * multi_transform_point_perspect() does with count i, and penalised by the pixels that it lies beyond its own two edges
 * of the image: the upper-left corner by those beyond the left and the upper edge, and so on. A corner on an edge is
 * inside. With S the sum of all penalties and area = frameWidth * frameHeight, the size's residual is
 * S + area * 0.00001 when S >= 0.01, otherwise (area - W H) * 0.00001, which is least for the largest rectangle.
 *
 * Coordinates, single penalties and area - W H are single precision, the sums and the last product double precision.
 * Re-entrant.
 *
 * @param par       x0, y0, W, H in pixels; rounded to single precision.
 * @param m_dat     Not read: the number of residuals, 4 * imageCount + 1.
 * @param data      A ResizeData.
 * @param fvec      Out: the penalties of the upper-left, upper-right, lower-left and lower-right corner of each image
 *                  in turn, then the size's residual; 4 * imageCount + 1 elements.
 * @param userbreak Not used; may be NULL.
 */
void evaluate_resize(const double *par, int m_dat, const void *data, double *fvec, int *userbreak);

/* ---- Translation ----------------------------------------------------------------------------------------- */

/**
 * Aligns a stack of exposures of one scene by whole-pixel shifts and rewrites it in place: cropped to what all images
 * show, or moved within their size.
 *
 * Each image becomes a bitmap, bits set where its grey value exceeds a brightness percentile, which hardly depends on
 * the exposure. Neighbours in order of brightness are compared from coarse to fine: at every level of a pyramid nine
 * shifts are tried, and the one with the fewest differing bits is doubled for the next level. The shifts are then
 * chained along the order. After G. Ward, "Fast, robust image registration for compositing high dynamic range
 * photographs from hand-held exposures", Journal of Graphics Tools 8(2), 2003. Rotation, scale and perspective are left
 * as they are: that is rt_align()'s task. There is no sign of a shift that is wrong, as between unrelated images.
 *
 * The percentile is the median (50 % of the pixels); 17 % for an image whose median is above grey 235, and 90 % below
 * grey 15. Both images of a pair use one pixel count, see verifPercentile2(). Every image is placed on the next
 * brighter one, except for the brightest, which is placed on the second brightest.
 *
 * L = trunc(log2(width * searchFraction / 2)) levels are searched, but none that has no pixels. The product is single
 * precision; the logarithm is the natural one times 1.4426950408889634. A pair can be shifted by 2^L - 1 pixels each
 * way. With L < 1, for a fraction of 0 or less or a NaN, and for a single image, nothing is searched: all shifts are 0.
 *
 * Output pixel (x, y) of an image is its pixel (x, y) + shift - (minX, minY), where minX and maxX are the least and the
 * greatest of 0 and all shifts, and minY and maxY likewise. The cropped size is width - (maxX - minX) by
 * height - (maxY - minY). At full size, pixels without a source become white, every sample all ones, the fourth channel
 * included. So they do where the images have no pixel in common: nothing can be cropped then, and the size stays.
 *
 * Runs on the calling thread alone and keeps nothing between calls; threads may align different stacks at a time. It
 * prints nothing. Working memory: at most as much as one image takes, but about 1.4 bytes a pixel of one image in any
 * case, and some 1.3 KB an image. Not checked: that width, height and channels are at least 1, that width * height fits
 * an int, that the pointers are valid.
 *
 * @param nImages        Images in the stack.
 * @param width          Of every image, pixels.
 * @param height         Of every image, pixels.
 * @param channels       Interleaved samples a pixel. Grey is made of the first three, (54 s0 + 183 s1 + 19 s2) >> 8; of
 *                       one or two samples the last is repeated. All channels move.
 * @param bitDepth       8, or 16 in native byte order. Of a 16-bit sample the comparison uses the high byte.
 * @param size           In: size[0] is 1 to keep the size; any other value crops. Out: width and height of the output
 *                       images. Two elements; left as they are when the call fails.
 * @param pixels         nImages * width * height * channels samples: the images in any order of brightness, back to
 *                       back, rows packed, top row first. May be beyond 2^32 samples. Out: the output images, in the
 *                       same order, back to back from the start; what follows the last one is left as it was. Aligned
 *                       for its samples; not NULL.
 * @param reserved       Ignored.
 * @param searchFraction Largest shift to expect between neighbours in brightness, as a fraction of the width.
 * @return (maxX - minX) + (maxY - minY), the columns and rows by which the shifts differ, at full size too; 0 when
 *         nothing moved; -4 when memory ran out: the pixels are then untouched.
 */
int  tr_align(int nImages, int width, int height, int channels, int bitDepth, int *size, uint8_t *pixels,
              int64_t reserved, float searchFraction);

/**
 * tr_align(), and how well the last pair fits.
 *
 * @param lastError Receives the least number of differing bits found at the last level searched, that is, at full size
 *                  between the two darkest images (of two images: between them); 0 when nothing was searched. Compare
 *                  it with width * height: unrelated bitmaps cut at their medians differ in about half of their bits.
 *                  Untouched when the call fails. Not NULL.
 * @return As tr_align(), whose contract holds for all other parameters.
 */
int  tr_align_impl(int nImages, int width, int height, int channels, int bitDepth, int *size, int *lastError,
                   uint8_t *pixels, float searchFraction);

/**
 * Moves a pixel count until the threshold that it stands for lies in the middle of the brightness range, grey 15 to
 * 235.
 *
 * The threshold is the first grey level up to which the histogram holds more than count pixels. Above 235, or where
 * there is none, the count is multiplied by 0.95; below 15 by 1.05; in double precision, truncated toward zero each
 * time. At most 40 adjustments, after which the threshold may still lie outside, as for an image that is all dark. A
 * result that would leave the range of int stays at its end.
 *
 * @param histograms 256 counts an image, image i at 256 * i; only read.
 * @param image      Whose histogram to use.
 * @param startRound Adjustments to count as already made; 0 for all 40, from 40 on the count is returned as it is.
 * @param count      Pixels that should lie at or below the threshold.
 * @return The adjusted count.
 */
int  verifPercentile2(const uint32_t *histograms, unsigned int image, unsigned int startRound, int count);

/**
 * Turns an image into a pyramid of bitmaps: its grey image, compared with one threshold at full size and repeatedly
 * halved.
 *
 * The threshold is the first grey level up to which there are more than count pixels, 256 when there is none. Bits are
 * set for grey values strictly greater, at all levels.
 *
 * Level l + 1 has half the width and height of level l, rounded down. Its pixel (c, r) is the average with weights
 * 1 2 1, 2 4 2, 1 2 1 (of 16) round pixel (2c + 1, 2r + 1), rounded down. The last column leaves out the right-hand
 * weights and the last row the lower ones, in 256ths: 21 for a diagonal neighbour, 43 for a direct one, 85 for the
 * centre; in the corner, where both are left out, 28, 57 and 114.
 *
 * Works on the calling thread and allocates nothing.
 *
 * @param width        Pixels, at least 1.
 * @param height       Pixels, at least 1; width * height must fit an int.
 * @param channels     Samples a pixel; grey is made of the first three as in tr_align().
 * @param bitDepth     8 or 16.
 * @param sampleOffset Samples (not bytes) from pixels to the image's first one. For an image that starts beyond 2^32
 *                     samples, pass a pixels pointer that is already advanced, and 0.
 * @param histogram    256 elements; overwritten by the image's grey histogram.
 * @param grey         width * height bytes of working memory; overwritten.
 * @param grey2        As grey. Not the same memory; (width / 2) * (height / 2) bytes of it are used.
 * @param pixels       The samples, rows packed, top row first; only read.
 * @param pyramid      Receives the levels back to back, level 0 first. A row takes ceil(width / 8) bytes, and pixel x
 *                     is the bit 0x80 >> (x % 8) of byte x / 8; unused bits become 0. Every byte of every level is
 *                     written.
 * @param levels       Levels to fill; below 1 counts as 1. Levels without pixels take no room.
 * @param count        Pixels that should lie at or below the threshold.
 * @return The threshold, 0 to 256.
 */
int  remplPyram(int width, int height, int channels, int bitDepth, unsigned int sampleOffset, uint32_t *histogram,
                uint8_t *grey, uint8_t *grey2, const uint8_t *pixels, uint8_t *pyramid, int levels, int count);

/* ---- Straightening --------------------------------------------------------------------------------------- */

/**
 * Corrects tilt and rotation of one image, and crops it.
 *
 * Three corrections are chained and resampled in one go: a tilt of the picture about its horizontal axis, which makes
 * converging verticals parallel; a tilt about its vertical axis, which does the same for horizontals; and a rotation in
 * the picture's plane. The crop is the rectangle of the source's aspect ratio that calcOptimalCropRect() finds. When it
 * is wider than the source, which happens where a correction stretches the picture, the picture is scaled down so that
 * the output is as wide as the source or, by rounding, one column narrower.
 *
 * The crop is nearly always free of fill but not by contract: mind the last column and row, offsets cut to whole
 * pixels, and strong corrections. docs/straightening.md lists measured cases; the program `vindrel straighten` and the
 * C++ interface replace such crops by ones without fill.
 *
 * When no crop is found, and also when it would be empty or beyond the range of int (factors that are no numbers
 * included), the output is the uncropped picture. With zero corrections and even sides the transform is the identity;
 * an odd side loses one pixel's length, because corners are placed at whole pixels from the middle.
 *
 * Prints to standard output "factorV=%f, factorH=%f\n", "\n" and
 * "align(%d, %d, %d, %d, %d, %d, %d, %d, %f, %f, %d...)\n" with the numbers 4 (whatever nThreads is), width, height,
 * output width, 0, output height, channels, bitsPerSample, the crop's x and y offset before they are cut to whole
 * pixels, and 1. Reads #pinToEdge. Otherwise keeps no state: several images may be straightened at once. Pointers,
 * stride and sizes are not checked; sides are expected to be below 2^24 pixels.
 *
 * @param nThreads      Threads to warp on; below 2 the calling thread does it alone, as it does the share of a thread
 *                      that cannot be started. The bytes are the same for any count.
 * @param width,height  Size of the source, pixels.
 * @param stride        Samples (not bytes) from the start of one source row to the start of the next.
 * @param channels      Samples a pixel, of source and output.
 * @param bitsPerSample 8 or 16.
 * @param sizeInOut     Two ints. In: sizeInOut[0] = 1 switches the crop off; the output then has the source's size and
 *                      shows fill wherever the corrected picture does not reach. The other element is not read. Out:
 *                      width and height of the output, never more than the source's.
 * @param src           Pixel (0, 0) of the source; only read.
 * @param dst           Room for width * height pixels, not overlapping the source. Rows are packed: output width *
 *                      channels samples each. Nothing is written beyond the output's last row. Pixels without four
 *                      source neighbours are filled as by align_with_transf().
 * @param factorV       Vertical correction, a tilt by 2 pi factorV / height radians. Negative values widen the
 *                      picture's top, for lines that converge upwards; positive ones its bottom. At 1 / pi (0.318) the
 *                      horizon reaches the frame's edge; useful values lie well below that.
 * @param factorH       Horizontal correction, a tilt by 2 pi factorH / width radians. Positive values widen the
 *                      picture's left side, negative ones its right.
 * @param angle         Rotation, degrees; positive values turn the picture anticlockwise.
 * @return The number of output rows; 0 for another bitsPerSample, when the size is written but no pixel.
 */
int  straightenImage(int nThreads, int width, int height, int stride, int channels, int bitsPerSample,
                     int *sizeInOut, const void *src, void *dst, float factorV, float factorH, float angle);

/**
 * The crop of a straightened picture: a rectangle of the source's aspect ratio inside the picture's outline.
 *
 * The corners of the source are carried into the output frame by the inverse of the transform. Two diagonals with the
 * source's aspect through a centre hit the outline at four points; the box between them is pushed outwards from each of
 * its corners as far as the outline reaches, and the largest rectangle of the aspect that shares a corner with the box
 * is taken. The construction expects each source edge on its own side of the outline: it finds good rectangles up to
 * rotations of some 20 degrees.
 *
 * Reads #pinToEdge: when it is not 0 the centre is the middle of the source frame (w / 2, h / 2, halves cut off),
 * otherwise the middle of the outline as far as it lies in the frame.
 *
 * @param transform       8 floats, from output-frame to source coordinates.
 * @param w,h             Size of the source, pixels.
 * @param cropX,cropY     Out: minus the position of the rectangle's upper-left corner in the output frame, pixels:
 *                        what, cut to whole pixels, align_with_transf() takes as offsets.
 * @param cropW,cropH     Out: size of the rectangle, pixels, each rounded towards zero. May be 0 or negative where the
 *                        outline is folded.
 * @param factorV,factorH Only their signs count, and choose the corner that the rectangle shares with the box: its
 *                        bottom for a negative factorV, else its top; its left for a negative factorH, else its right.
 * @return 1; 0, with nothing written, when a diagonal misses the edges or the size does not fit an int.
 */
int  calcOptimalCropRect(const float *transform, int w, int h, float *cropX, float *cropY, int *cropW, int *cropH,
                         float factorV, float factorH);

/**
 * Where the line through points 1 and 2 meets the line through points 3 and 4, in double precision.
 *
 * @param checkFirst  Not 0: the meeting point must lie in the bounding box of points 1 and 2, widened by 0.00001.
 * @param checkSecond Not 0: the same for points 3 and 4. With both 0 the lines are unbounded.
 * @param outX,outY   Out: the meeting point. Written also when a check fails; not when the lines are parallel (the
 *                    cross product of their directions is smaller than 0.0000001 in magnitude).
 * @param x1,y1,x2,y2 Two points of the first line.
 * @param x3,y3,x4,y4 Two points of the second line.
 * @return 1 when they meet and the checks pass, else 0.
 */
int  calcIntersection(int checkFirst, int checkSecond, double *outX, double *outY, double x1, double y1,
                      double x2, double y2, double x3, double y3, double x4, double y4);

/**
 * Sets #pinToEdge. No lock: to be called before straightening starts, not while another thread does it.
 *
 * @return value.
 */
int  setPinToEdge(int value);

/**
 * Maps (x, y) through a perspective transform of 8 floats, in double precision throughout. A point on the horizon,
 * where the denominator is 0, becomes infinite or undefined.
 */
void transformViaArray(const float *t, double *outX, double *outY, double x, double y);

/** transformViaArray() with the two results narrowed to single precision. */
void transformViaArrayF(const float *t, float *outX, float *outY, double x, double y);

/**
 * Maps (x, y) through a full 3 x 3 projective matrix of 9 floats, row after row, the third row being the denominator.
 * Double precision, the results narrowed. A denominator of 0 is not caught.
 */
void transform9ViaArrayF(const float *m, float *outX, float *outY, double x, double y);

/**
 * Maps (x, y) through a 2 x 2 matrix of 4 floats, column after column: x' = m0 x + m2 y and y' = m1 x + m3 y. Double
 * precision, the results narrowed.
 */
void transform4ViaArrayF(const float *m, float *outX, float *outY, double x, double y);

/**
 * The inverse of a perspective transform by the adjugate of its matrix, in double precision, narrowed. Unlike
 * inverse_transform_perspect(), which goes through the images of a square's corners.
 *
 * @param t   8 floats.
 * @param out Out: 8 floats; infinite or undefined for a singular t, and for one whose inverse has denominator 0 at the
 *            origin. May be t.
 */
void calcInverseTransform(const float *t, float *out);

/**
 * C = A B, for 3 x 3 matrices of 9 floats, row after row. Every product and sum is rounded to single precision, each
 * sum taken from left to right. C must not overlap A or B.
 */
void matrixMult33(const float *A, const float *B, float *C);

/**
 * Prints a 3 x 3 matrix to standard output: a line for each row, each value as "%12.8lf  ".
 *
 * @param m 9 doubles, row after row.
 * @return What the last character's output returned: the newline's code, or EOF.
 */
int  printMat(const double *m);

/**
 * Appends a diagonal cross round (x, y) to the debug file "c:\tempp.log". That is the literal file name, in the working
 * directory where it names no drive. Each stroke is two lines "x y z" and an empty line: from (x - d, y - d) to
 * (x + d, y + d), then from (x + d, y - d) to (x - d, y + d). Appends of several threads may mix.
 *
 * @return What closing the file returned, 0 when all is well; EOF when it cannot be opened.
 */
int  logPointCross(int d, double x, double y, float z);

/* ---- The least-squares symbols the shared object also exports -------------------------------------------- */

/**
 * Minimises the sum of the squares of m_dat residuals over n_par parameters by the Levenberg-Marquardt method, with
 * derivatives by forward differences. The minimiser is MINPACK's lmdif in the edition of cminpack (J. More, B. Garbow
 * and K. Hillstrom, "User guide for MINPACK-1", Argonne National Laboratory, ANL-80-74, 1980).
 *
 * Keeps no state: any number of threads may minimise at a time. Obtains about 8 (n_par + 2) m_dat bytes and releases
 * them. evaluate and printout run on the calling thread and must neither throw nor leave by longjmp().
 *
 * @param n_par    Parameters, at least 1.
 * @param par      In: the start. Out: the best parameters found, however the fit ended. n_par doubles.
 * @param m_dat    Residuals, at least n_par.
 * @param data     Handed to evaluate and printout; NULL is allowed.
 * @param evaluate Writes the m_dat residuals. Entries it leaves out count as 0. When it sets *userbreak, which is 0 on
 *                 entry, it is not called again, and the fit ends with the best parameters so far.
 * @param control  Tolerances and limits. Invalid are a negative tolerance, and a stepbound or maxcall of 0 or less.
 * @param status   Out: fnorm, the norm of the residuals at par (infinity when they were never evaluated, that is with
 *                 info 9 and 10); nfev, the evaluations made, which may exceed the limit by the n_par of a gradient
 *                 already begun; and info:
 *                 - 0: the sum of squares is below the smallest normal number, 2.2e-308;
 *                 - 1, 2, 3: converged within ftol, within xtol, within both;
 *                 - 4: the residuals are orthogonal to the columns of the Jacobian, within gtol;
 *                 - 5: maxcall (n_par + 1) evaluations were made;
 *                 - 6, 7, 8: ftol, xtol, gtol are too small for the arithmetic to get any further;
 *                 - 9: no memory, or more than 2^31 - 1 elements in the Jacobian;
 *                 - 10: invalid input, nothing was evaluated;
 *                 - 11: evaluate asked to end.
 * @param printout Called after each evaluation and once at the end, lm_printout_std() for example; may be NULL.
 */
void lmmin(int n_par, double *par, int m_dat, const void *data, lm_evaluate_ftype *evaluate,
           const lm_control_struct *control, lm_status_struct *status, lm_printout_ftype *printout);

/**
 * A printout function for lmmin(): reports on standard output.
 *
 * @param n_par,par   The parameters that were evaluated.
 * @param m_dat,fvec  Their residuals.
 * @param data        Ignored.
 * @param printflags  The control record's: 0 prints nothing. Sum of 1 for a line that says what the evaluation was made
 *                    for, 2 for the parameters and the norm on the same line, 4 for the residuals at the end, 8 for the
 *                    residuals after every evaluation.
 * @param iflag       0: the start; 1: an evaluation for the gradient; 2: an attempted step; -1: the end.
 * @param iter        Gradients begun before the present one.
 * @param nfev        Evaluations made.
 */
void lm_printout_std(int n_par, const double *par, int m_dat, const void *data, const double *fvec,
                     int printflags, int iflag, int iter, int nfev);

/**
 * A control record to copy and change, for residuals computed in double precision: tolerances of 30 times the machine
 * epsilon, stepbound 100, maxcall 100, parameters scaled by the minimiser, no printing.
 */
extern const lm_control_struct lm_control_double;

/**
 * A control record to copy and change, for residuals computed in single precision: tolerances of 1e-7 and scale factors
 * of 1, the rest as in lm_control_double.
 */
extern const lm_control_struct lm_control_float;

/** What each value of lm_status_struct::info, 0 to 11, means in a word or two. */
extern const char *lm_shortmsg[12];

/** What each value of lm_status_struct::info, 0 to 11, means in a sentence. */
extern const char *lm_infmsg[12];

#if defined(__GNUC__)
#pragma GCC visibility pop
#endif

#ifdef __cplusplus
}
#endif

#endif
