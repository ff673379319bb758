// Linear fit of a homography to pairs of points.
#ifndef VELMORA_SRC_REGISTRATION_HOMOGRAPHY_FIT_H
#define VELMORA_SRC_REGISTRATION_HOMOGRAPHY_FIT_H

#include <cstdint>
#include <optional>

#include "registration/homography/matrix3.h"

namespace velmora {

/// The normalised direct linear transform over `count` pairs of points (x, y pairs each), in single
/// precision: the homography from reference to registered picture, its last entry 1.
///
/// Nothing for count below 1 or when either picture's points share one x or one y.
/// `eigenSweeps` bounds the eigen solver to 81 rotations each. Coordinates or a result that are not
/// finite pass through.
std::optional<Matrix3> fitHomography(const float* refPoints, const float* matchPoints,
                                     int32_t count, int32_t eigenSweeps);

}  // namespace velmora

#endif  // VELMORA_SRC_REGISTRATION_HOMOGRAPHY_FIT_H
