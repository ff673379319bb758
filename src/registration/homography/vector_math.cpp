#include "registration/homography/vector_math.h"

#include <cmath>

namespace velmora {
namespace {

/// A sum of squares kept as largest^2 * sum, so that no square leaves the range of floats.
class ScaledSquares {
 public:
  void add(float magnitude) {
    if (magnitude > largest_) {
      const float ratio = largest_ / magnitude;
      sum_ = 1.0f + sum_ * (ratio * ratio);
      largest_ = magnitude;
    } else if (magnitude != 0.0f) {
      const float ratio = magnitude / largest_;
      sum_ += ratio * ratio;
    }
  }
  [[nodiscard]] float largest() const { return largest_; }
  [[nodiscard]] float sum() const { return sum_; }

 private:
  float largest_ = 0.0f;
  float sum_ = 0.0f;
};

}  // namespace

// Three ranges, as in MINPACK: components whose squares are safe are summed plainly, very small and
// very large ones relative to their largest.
float euclideanNorm(std::span<const float> x) {
  constexpr float kSmall = 3.834e-20f;  // about the root of the smallest float
  constexpr float kLarge = 1.304e19f;   // about the root of the largest
  const float largeLimit = kLarge / (static_cast<float>(x.size()) + 1.1920929e-7f);
  ScaledSquares small;
  ScaledSquares large;
  float middle = 0.0f;
  for (const float component : x) {
    const float magnitude = std::abs(component);
    if (magnitude > kSmall && magnitude < largeLimit) {
      middle += magnitude * magnitude;
    } else if (magnitude <= kSmall) {
      small.add(magnitude);
    } else {
      large.add(magnitude);
    }
  }
  if (large.sum() != 0.0f) {
    const float top = large.largest();
    return top * std::sqrt(large.sum() + (middle / top) / top);
  }
  const float tiny = small.largest();
  if (middle == 0.0f) return tiny * std::sqrt(small.sum());
  if (middle >= tiny) return std::sqrt(middle * (1.0f + (tiny / middle) * (tiny * small.sum())));
  return std::sqrt(tiny * ((middle / tiny) + (tiny * small.sum())));
}

}  // namespace velmora
