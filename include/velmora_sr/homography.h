// Homographies from pairs of points: a Levenberg-Marquardt minimiser, and the refinement by it.
//
// A homography is 9 floats, row-major, mapping reference coordinates (x, y, 1) to coordinates of
// the registered picture, in pixels.
//
// Common rules: pointers are not null and belong to the caller unless a line says otherwise,
// nothing is kept after a call, and no function allocates or uses threads or shared state (the
// ones that print write to standard output). All arithmetic is in single precision in a fixed
// order: the same input gives the same bits on every machine.
#ifndef VELMORA_SR_HOMOGRAPHY_H
#define VELMORA_SR_HOMOGRAPHY_H

#include <cstdint>

#include "velmora_sr/export.h"
#include "velmora_sr/matching.h"

/// What LM_Minimize is asked to do, and how it ended.
struct lm_control_type {
  float ftol;       ///< relative tolerance on the sum of squares, >= 0
  float xtol;       ///< relative tolerance on the parameters, >= 0
  float gtol;       ///< bound on the cosine between residuals and Jacobian columns, >= 0
  float epsilon;    ///< relative error of the residuals; sqrt(epsilon) is the difference step
  float stepbound;  ///< first step bound, in units of the scaled start point, > 0; usually 0.1..100
  float fnorm;      ///< written: norm of the residuals at the returned parameters
  int32_t maxcall;  ///< evaluations allowed: maxcall * (n + 1), tested after every step
  int32_t nfev;     ///< written: evaluations done
  int32_t info;     ///< written: the status, an index into lm_shortmsg
};

static_assert(sizeof(lm_control_type) == 9 * 4);  // nine words wherever it runs

/// Status texts, indexed by lm_control_type::info.
VELMORA_API extern const char* const lm_shortmsg[11];
/// Long status texts, shorter by one: 4 and 5 share entry 4. From status 6 on the text of a status
/// stands one entry before its number.
VELMORA_API extern const char* const lm_infmsg[10];

/// Computes the residuals.
/// @param par   the parameters
/// @param m     number of residuals
/// @param fvec  m values to write
/// @param data  the pointer given to LM_Minimize
/// @param info  0 on entry; a negative value ends the run
using lm_evaluate_ftype = void (*)(float* par, int32_t m, float* fvec, void* data, int32_t* info);

/// Watches a run.
/// @param iflag  0 after the evaluation at the start, 1 when an iteration begins, 2 after a trial
///               step (par and fvec are the trial's), -1 at the end
/// @param iter   iteration, from 1
/// @param nfev   evaluations so far
using lm_print_ftype = void (*)(int32_t n, float* par, int32_t m, float* fvec, void* data,
                                int32_t iflag, int32_t iter, int32_t nfev);

/// Minimises the sum of squares of m residuals over n parameters: the Levenberg-Marquardt method of
/// MINPACK (More, "The Levenberg-Marquardt algorithm: implementation and theory", 1978) with a
/// forward-difference Jacobian, in single precision.
/// @param m,n       m >= n >= 1
/// @param par       n values, the start point on entry, the best parameters found on return
/// @param evaluate  called with par-sized and m-sized arrays; never null
/// @param printout  may be null
/// @param data      passed on; may be null
/// @param control   see the record. Its info becomes 0 for refused input, 1 when the sum of squares
///                  converged, 2 when the parameters did, 3 when both did, 4 when the residuals are
///                  orthogonal to the Jacobian (or zero), 5 when the calls are used up, 6, 7, 8
///                  when ftol, xtol, gtol ask for more than the precision holds, 10 when the
///                  evaluation asked for the end
/// @param scratch   4 * (n * m + 2 * m + 6 * n) bytes, aligned to 4; not read on entry
VELMORA_API void LM_Minimize(int32_t m, int32_t n, float* par, lm_evaluate_ftype evaluate,
                             lm_print_ftype printout, void* data, lm_control_type* control,
                             unsigned char* scratch);

/// Computes the residuals of a homography, the x and y error of each pair: the function that
/// RefineHomography hands to LM_Minimize.
/// @param par   9 values, row-major; the last one counts, too
/// @param m     not read
/// @param fvec  2 * count values, written: projected minus registered point, in pixels. Not finite
///              where the denominator of the projection is 0
/// @param data  a tagST_MATCH_PAIRS, only read; not null
/// @param info  neither read nor written, may be null: the evaluation cannot fail
/// Any thread.
VELMORA_API void LM_Evaluate(float* par, int32_t m, float* fvec, void* data, int32_t* info);

/// Fits one homography to all pairs: normalised direct linear transform, then Levenberg-Marquardt
/// on the reprojection errors.
/// @param pairs       count >= 5 for a useful result; with four the linear fit stands as it is
/// @param homography  9 values, last one 1; untouched when there is no pair or the points of a
///                    picture share one x or one y. May hold values that are not finite for other
///                    degenerate pairs
/// @param scratch     (44 * count + 56) * 4 bytes, aligned to 4
VELMORA_API void RefineHomography(tagST_MATCH_PAIRS* pairs, float* homography,
                                  unsigned char* scratch);

/// Calls RansacEstimation, then RefineHomography, and prints the mean reprojection error ("project
/// error after lmmin:"; 0 without pairs).
/// @param pairs       compacted to the inliers
/// @param homography  9 values, read for the report even where neither step writes it
/// @param params      as in RansacEstimation
/// @param scratch     the larger of 80 * count and (44 * count + 56) * 4 bytes, aligned to 4
/// @return 0, also when RANSAC found no valid sample
VELMORA_API int32_t HomographyEstimation(tagST_MATCH_PAIRS* pairs, float* homography,
                                         tagRANSAC_PARAMS* params, unsigned char* scratch);

/// Inverts a 3 x 3 matrix by cofactors; prints "det: %f\n".
/// @param m        9 values, row-major. A singular matrix gives values that are not finite
/// @param inverse  9 values; may be m
VELMORA_API void MatInverse_3x3(float* m, float* inverse);

#endif  // VELMORA_SR_HOMOGRAPHY_H
