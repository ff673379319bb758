// The Levenberg-Marquardt parameter: how strongly a step is damped to respect the step bound.
#ifndef VELMORA_SRC_REGISTRATION_DAMPING_PARAMETER_H
#define VELMORA_SRC_REGISTRATION_DAMPING_PARAMETER_H

#include <cstdint>
#include <span>

#include "registration/homography/qr_factorisation.h"

namespace velmora {

/// The linearised problem of one iteration: A P = Q R of the Jacobian A and Q^T b.
struct LinearProblem {
  ColumnMatrix r;  ///< R with its diagonal; the lower triangle is used as work space
  std::span<const int32_t> pivots;
  std::span<const float> diagonal;  ///< scale of each parameter, > 0
  std::span<const float> qtb;
};

/// Finds the damping p for which the minimiser x of |A x - b|^2 + p |D x|^2 has a scaled length
/// |D x| within a tenth of `stepBound`, or p = 0 when the undamped minimiser is short enough.
///  - damping: a first guess (0 if there is none), 0 or above.
///  - x: the minimiser for the returned damping.
///  - sDiagonal, work1, work2: one value per column each.
float findDamping(const LinearProblem& problem, float stepBound, float damping, std::span<float> x,
                  std::span<float> sDiagonal, std::span<float> work1, std::span<float> work2);

}  // namespace velmora

#endif  // VELMORA_SRC_REGISTRATION_DAMPING_PARAMETER_H
