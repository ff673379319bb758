// Vector operations of the minimiser. Sums run from the first element to the last, in float.
#ifndef VELMORA_SRC_REGISTRATION_VECTOR_MATH_H
#define VELMORA_SRC_REGISTRATION_VECTOR_MATH_H

#include <cstddef>
#include <span>

namespace velmora {

/// The sum of a[i] * b[i] over the elements of a; b may be longer.
inline float dot(std::span<const float> a, std::span<const float> b) {
  float sum = 0.0f;
  for (std::size_t i = 0; i < a.size(); ++i)
    sum += a[i] * b[i];
  return sum;
}

/// y[i] += factor * x[i] over the elements of x; y may be longer.
inline void addScaled(float factor, std::span<const float> x, std::span<float> y) {
  for (std::size_t i = 0; i < x.size(); ++i)
    y[i] += factor * x[i];
}

/// out[i] = a[i] * b[i] over the elements of out.
inline void multiplyElements(std::span<const float> a, std::span<const float> b,
                             std::span<float> out) {
  for (std::size_t i = 0; i < out.size(); ++i)
    out[i] = a[i] * b[i];
}

/// Euclidean norm that neither overflows nor underflows where the result is representable.
float euclideanNorm(std::span<const float> x);

}  // namespace velmora

#endif  // VELMORA_SRC_REGISTRATION_VECTOR_MATH_H
