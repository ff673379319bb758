// Feature extraction: integral image, SURF key points and descriptors of luma planes.
//
// The way of one picture: a picture of at least 400 x 400 pixels may be reduced by four in both
// directions (DownScaleNewX16_neon_surf_asm); its integral image (IntegralMat_multi) answers every
// box sum of the detector in four reads; luma statistics (GetImageLumaInfo) adapt the detector's
// threshold to dark and bright scenes; SURF_detect_neon finds the key points, and
// GenerateDiscriptor_Simple_neon_multi describes them. GetFeatureSurf does all of it for a pair.
// The method is SURF (Bay, Tuytelaars, Van Gool, "Speeded-Up Robust Features", CVIU 110, 2008) in
// integers: box filters for second derivatives, maxima of the determinant of the Hessian over place
// and scale, upright descriptors of weighted Haar responses.
//
// Common rules. Pointers are not null and belong to the caller unless a line says otherwise; arrays
// do not overlap; nothing is kept after a call. Pictures are 8-bit and packed: row y begins at
// data + y * width. A picture of any size from 1 x 1 up is safe; one that is too small for a filter
// has no key points. Sums and products wrap to the width of their type. The same input gives the
// same bytes for every form of a function, on every machine and for every timing of the threads.
//
// Forms. A name with _neon gives the values of the plain name; a name with _multi spreads its work
// over slots 12 to 15 of the thread pool (thread_pool.h) and collects it before it returns. Without
// a running pool the same jobs run on the calling thread.
//
// Memory. The integral image, the detector's response planes and the reduced picture come from the
// allocator of the process call in progress (zelkParamPrivate.pub, records.h) with the tag
// "SR_Process"; without a call or without an allocator they count as failed allocations. Small
// scratch comes from the C heap.
//
// Threads. Functions that use the pool or the allocator: one thread at a time. The others may run
// anywhere at once on different data.
#ifndef VELMORA_SR_FEATURES_H
#define VELMORA_SR_FEATURES_H

#include <cstdint>

#include "velmora_sr/export.h"
#include "velmora_sr/feature_jobs.h"
#include "velmora_sr/feature_records.h"
#include "velmora_sr/pictures.h"

// --- Reduction -----------------------------------------------------------------------------------

/// Reduces a plane by four in both directions: every output sample is the mean of a 4 x 4 block,
/// (sum + 8) >> 4. Rows and columns that fill no block are dropped.
/// @param src     width * height samples
/// @param height  rows; mind the order: height comes before width
/// @param width   pixels per row
/// @param dst     (width / 4) * (height / 4) samples, packed
/// Nothing is written when a size is below 4.
VELMORA_API void DownScaleNewX16_neon_surf_asm(uint8_t* src, int32_t height, int32_t width,
                                               uint8_t* dst);

// --- Integral image ------------------------------------------------------------------------------

/// Builds the integral image of a picture on the calling thread.
/// @param pic  at least 1 x 1
/// @param out  width and height are set first; data is taken from the allocator of the process call
///             and belongs to the caller, who returns it with the tag "SR_Process"; null on failure
/// @return 0; VELMORA_SR_RESULT_ALLOC_FAILED; SR_RET_PARAMS_OUT_OF_RANGE for a picture without
/// pixels
VELMORA_API int32_t IntegralMat(tagST_PIC* pic, tagIntegralMat* out);

/// Builds the integral image with its row pass on slots 12 to 15; else as IntegralMat.
VELMORA_API int32_t IntegralMat_multi(tagST_PIC* pic, tagIntegralMat* out);

/// Row pass: sums along each row, from row 1 on; row 0 is not touched.
/// @param src  (W - 1) * (H - 1) samples
/// @param dst  the integral image, W * H values
/// @param W,H  size of the integral image
VELMORA_API void IntegralMat_partH(uint8_t* src, int32_t* dst, int32_t W, int32_t H);

/// Column pass: adds each row from row 1 on to the row below it, top to bottom.
/// @param dst  the integral image after the row pass, W * H values
/// @param W,H  size of the integral image
VELMORA_API void IntegralMat_partV(int32_t* dst, int32_t W, int32_t H);
/// Column pass, the values of IntegralMat_partV.
VELMORA_API void IntegralMat_partV_neon(int32_t* dst, int32_t W, int32_t H);

/// Thread job of the row pass. With B = (height - 1) / 4, slot 12 + t fills rows t * B + 1 up to,
/// but not including, (t + 1) * B + 1; slot 15 runs to the end. Other slot numbers do nothing.
/// @param job  an IntegralRowsJob, shared by the four slots
VELMORA_API void IntegralMat_partH_multi_impl(void* job, int32_t slot);

// --- Luma statistics -----------------------------------------------------------------------------

/// Adapts the detector and the matcher to dark and bright scenes, from 31 x 32 blocks of the
/// picture's lower half. More than a third of the blocks dark (mean below about 31): threshold 50,
/// ratio at most 0.4. Otherwise a mean over 200, or more than a quarter of the blocks bright (mean
/// above about 217): threshold 150, ratio at most 0.4. Otherwise both keep their values, so that
/// what a first picture changed stays in force for a second one. Logs its decision at level 2.
/// @param im                not changed
/// @param hessianThreshold  in and out
/// @param matchRatio        in and out
VELMORA_API void GetImageLumaInfo(tagIntegralMat* im, float* hessianThreshold, float* matchRatio);

/// Counts the values of a sub-sampled plane: adds 1 to hist[v] for the sample v at every xStep-th
/// column of every yStep-th row, beginning with 0.
/// @param data           height rows, stride bytes apart
/// @param width,height   in samples; nothing is counted when one is below 1
/// @param stride         bytes from row to row
/// @param hist           256 counters, not cleared here
/// @param xStep,yStep    at least 1; nothing is counted otherwise
VELMORA_API void StatHistogram(uint8_t* data, int32_t width, int32_t height, int32_t stride,
                               uint32_t* hist, int32_t xStep, int32_t yStep);

// --- Detector ------------------------------------------------------------------------------------

/// Finds the key points of a picture on the calling thread: octave by octave, layer by layer, row
/// by row, left to right.
/// @param im     integral image of the picture
/// @param p      threshold, octaves and layers; without octaves or layers there are no points
/// @param out    room for VELMORA_SR_MAX_KEYPOINTS; x, y and size of the first *count are set. The
/// record
///               behind the last one may have been used as scratch
/// @param count  0 on entry (read and continued from); the points found, at most 11999, whatever
///               was left out. Values outside 0..11999 find nothing
/// @return 0, or VELMORA_SR_RESULT_ALLOC_FAILED with *count untouched (logged at level 0)
VELMORA_API int32_t SURF_detect(const tagIntegralMat* im, const tagSURFParams* p, ST_KEYPOINT* out,
                                int32_t* count);

/// Finds key points like SURF_detect, on the thread pool: the responses of up to four layers on
/// slots 12 to 15, the search of the first two middle layers on slots 12 and 13. The same points in
/// the same order with up to two middle layers; this form does not search further ones.
VELMORA_API int32_t SURF_detect_neon(const tagIntegralMat* im, const tagSURFParams* p,
                                     ST_KEYPOINT* out, int32_t* count);

/// Computes the responses of one layer at all grid points whose filter lies in the picture.
/// @param im     integral image of the picture
/// @param layer  size (at least 9), step (at least 1), cols, rows, and det with room for
///               cols * rows values. Grid point (i, j) is written at row (size / 2) / step + i and
///               column (size / 2) / step + j; other entries stay as they are
/// The response is ((Dxx * Dyy * c1) >> 16) - ((Dxy^2 * c2) >> 16) in 1/16 units, with Dxx * Dyy
/// cut to 32 bits and c1, c2 from the areas of the filter's lobes, the mixed term weighted by 0.81.
VELMORA_API void CalcLayerDet_0123_neon(const tagIntegralMat* im, tagOctaveLayer* layer);

/// Thread job of CalcLayerDet_0123_neon; the three names do the same.
/// @param job   a LayerDetJob
/// @param slot  not read
VELMORA_API void CalcLayerDet_0123_neon_multi(void* job, int32_t slot);
VELMORA_API void CalcLayerDet_0123_neon_multi_dxdydxy(void* job, int32_t slot);
VELMORA_API void CalcLayerDet_0123_neon_multi_dxdy_dxy(void* job, int32_t slot);

/// Searches one layer for responses above the threshold that are strictly greater than their 26
/// neighbours in place and scale, refines each and appends those that the refinement keeps.
/// @param im          not read
/// @param p           hessianThreshold; compared in 1/16 units, rounded
/// @param layers      at least the layer and its two neighbours, with responses, of one octave
/// @param layerIndex  at least 1
/// @param out         room for VELMORA_SR_MAX_KEYPOINTS; the record at *count is used as scratch
/// @param count       in and out, 0..11999; the search ends at 11999
VELMORA_API void FindMaximaInLayer(const tagIntegralMat* im, const tagSURFParams* p,
                                   tagOctaveLayer* layers, int32_t layerIndex, ST_KEYPOINT* out,
                                   int32_t* count);
VELMORA_API void FindMaximaInLayer_neon(const tagIntegralMat* im, const tagSURFParams* p,
                                        tagOctaveLayer* layers, int32_t layerIndex,
                                        ST_KEYPOINT* out, int32_t* count);

/// Thread job of FindMaximaInLayer_neon.
/// @param job   a LayerMaximaJob
/// @param slot  not read
VELMORA_API void FindMaximaInLayer_neon_multi(void* job, int32_t slot);

/// Moves a key point to the extremum of the quadratic through its neighbourhood (M. Brown, D. Lowe,
/// "Invariant features from interest point groups", BMVC 2002).
/// @param n   3 x 3 blocks of responses, row-major: the layer below, the point's own, the one above
/// @param dx  pixels between columns
/// @param dy  pixels between rows
/// @param ds  difference of filter size between layers, pixels
/// @param kp  in and out: x and y in Q6 pixels, size in pixels; untouched when the point is dropped
/// @return 1 when the point is kept; 0 when the system is singular or the extremum lies more than
///         one sample away in any direction
VELMORA_API int32_t InterpolateKeypoint(int32_t n[3][9], int32_t dx, int32_t dy, int32_t ds,
                                        ST_KEYPOINT* kp);

/// Solves A x = b by Cramer's rule in 64-bit integers.
/// @param A  3 x 3, row-major
/// @param b  3 values
/// @param x  3 values in Q6 (1/64), cut to 32 bits; untouched when there is no solution
/// @return 1 when solved, 0 when the determinant of A shifted right by 6 bits is 0
VELMORA_API int32_t SolveFixed(int32_t* A, int32_t* b, int32_t* x);

// --- Descriptor ----------------------------------------------------------------------------------

/// Describes key points: upright, 64 values each, scaled to length 2^23. The 16 sub-regions follow
/// each other row by row, each with its sums of dx, dy, |dx|, |dy|.
/// @param pic   the picture in which the points were found; beyond its edges the edge repeats
/// @param kps   n points with any position and size
/// @param desc  64 * n values, cleared by the caller: a point of size 3 or less is left out and
///              keeps what stands there. From size 1924 on nothing is left of the samples, and all
///              values are 0
/// @param dp    patchSize must be 20; the other words are not read
/// @param im    not read
/// @param n     number of points; nothing is done when it is below 1
/// @return 0; VELMORA_SR_RESULT_ALLOC_FAILED when the scratch for the largest point cannot be had
/// (logged at
///         level 0); SR_RET_PARAMS_OUT_OF_RANGE for another patchSize or a picture without pixels
VELMORA_API int32_t GenerateDiscriptor_Simple(const tagST_PIC* pic, ST_KEYPOINT* kps, int32_t* desc,
                                              const tagDISCRIPTOR_PARAMS* dp,
                                              const tagIntegralMat* im, int32_t n);
VELMORA_API int32_t GenerateDiscriptor_Simple_neon(const tagST_PIC* pic, ST_KEYPOINT* kps,
                                                   int32_t* desc, const tagDISCRIPTOR_PARAMS* dp,
                                                   const tagIntegralMat* im, int32_t n);

/// Describes key points like GenerateDiscriptor_Simple, on slots 12 to 15. The first failure in
/// slot order is returned; the other slots' points are described all the same.
VELMORA_API int32_t GenerateDiscriptor_Simple_neon_multi(const tagST_PIC* pic, ST_KEYPOINT* kps,
                                                         int32_t* desc,
                                                         const tagDISCRIPTOR_PARAMS* dp,
                                                         const tagIntegralMat* im, int32_t n);

/// Thread job of the descriptor. With B = count / 4, slot 12 + t describes points t * B up to, but
/// not including, (t + 1) * B; slot 15 runs to the end. Other slot numbers do nothing.
/// @param job  a DescriptorsJob
VELMORA_API void GenerateDiscriptor_Simple_neon_multi_inside(void* job, int32_t slot);

// --- Extraction ----------------------------------------------------------------------------------

/// Tells the scratch that a registration reserves for features and matches.
/// @param scratchSize  set to 12432064 bytes
/// @param extraSize    set to 0
/// @param width,height not used
/// @return 0
VELMORA_API int32_t GetFeatureSurf_Query(int32_t* scratchSize, int32_t* extraSize, int32_t width,
                                         int32_t height);

/// Extracts the features of a pair.
/// @param in      the pictures; scaleFactor 4 reduces both before the analysis unless the first is
///                less than 400 pixels wide or high, and then both must have one size. With
///                extractFirst 0 the first set is taken as it stands
/// @param first   feature set of the first picture, positions in pixels of the analysed picture:
///                multiply by the factor for full-size positions
/// @param second  feature set of the second picture
/// @param p       set to the defaults, then changed by the luma statistics of the first picture and
///                of the second, which starts from what the first one left
/// @return 0; VELMORA_SR_RESULT_ALLOC_FAILED; VELMORA_SR_RESULT_TOO_FEW_POINTS when a set holds
/// fewer than 5 points (the
///         second picture is not looked at when the first set does);
///         SR_RET_PARAMS_OUT_OF_RANGE for another factor (nothing is changed then), for a picture
///         without pixels, or for a second picture of another size where both are reduced. All
///         failures are logged except that of the integral image
VELMORA_API int32_t GetFeatureSurf(tagST_GETFEATURE_PARAMS_IN* in, ST_IMAGEFEATURES* first,
                                   ST_IMAGEFEATURES* second, tagSURFParams& p);

/// Extracts the features of one picture with the thread pool; prints the number of points.
/// @param pic  the picture, analysed at its own size
/// @param f    keypoints and descriptors are the caller's; count is set once the points are known
/// @param p    threshold and ratio are adapted by the luma statistics
/// @return 0 or the code of the stage that failed
VELMORA_API int32_t GetSurfFeature_neon(tagST_PIC* pic, ST_IMAGEFEATURES* f, tagSURFParams* p);

/// Extracts the features of one picture on the calling thread alone, else as GetSurfFeature_neon;
/// prints and logs the number of points.
VELMORA_API int32_t GetSurfFeature(tagST_PIC* pic, ST_IMAGEFEATURES* f, tagSURFParams* p);

#endif  // VELMORA_SR_FEATURES_H
