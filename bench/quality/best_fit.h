// The homography that explains pairs of points best, as a yardstick for the one that was found.
#ifndef VELMORA_BENCH_QUALITY_BEST_FIT_H
#define VELMORA_BENCH_QUALITY_BEST_FIT_H

#include <span>

#include "known_motion.h"

namespace velmora::tool {

struct PointPair {
  Position first;
  Position second;
};

/// Sum of the squared distances between the second points and where the matrix puts the first ones.
double squaredErrors(std::span<const PointPair> pairs, const Matrix& matrix);

/// The matrix with the least sum, its last entry 1: the method of Levenberg and Marquardt in double
/// precision with exact derivatives, from a start that is about right. Wants four pairs or more.
Matrix bestFit(std::span<const PointPair> pairs, Matrix start);

}  // namespace velmora::tool

#endif  // VELMORA_BENCH_QUALITY_BEST_FIT_H
