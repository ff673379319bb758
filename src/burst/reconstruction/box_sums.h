// The forward model: what a frame's sample sees of the picture is its mean over the sample's
// square.
#ifndef VELMORA_SRC_BURST_RECONSTRUCTION_BOX_SUMS_H
#define VELMORA_SRC_BURST_RECONSTRUCTION_BOX_SUMS_H

#include <array>

#include "burst/resampling/taps.h"

namespace velmora::burst {

/// Weights of one axis, Q7, adding up to 128, for a square of a given side.
class BoxTaps {
 public:
  static constexpr int32_t kMost = 6;

  BoxTaps() = default;
  /// `side` in samples, 1 to 4.25. Samples count as constant over their own square.
  explicit BoxTaps(double side);

  /// The weights of phase p; entries from count() on are 0.
  [[nodiscard]] const std::array<int16_t, kMost>& of(int32_t phase) const {
    return taps_[static_cast<std::size_t>(phase)];
  }
  /// How many samples a square covers at most.
  [[nodiscard]] int32_t count() const { return count_; }

 private:
  std::array<std::array<int16_t, kMost>, kPhases> taps_ = {};
  int32_t count_ = 0;
};

/// What is added to the position of a square's centre so that the first sample the square covers
/// lies one before the whole part of the result and the fraction selects the taps.
constexpr double boxWindowOffset(double side) {
  return 1.5 - side / 2;
}

/// Means over squares of one size.
class BoxSums {
 public:
  BoxSums() = default;
  BoxSums(Memory& memory, double sideX, double sideY);

  /// out[i] = the mean over the square whose window (see boxWindowOffset()) begins at position i.
  /// `source`, `pitch`, `x` and `y` as in WindowRow; samples beyond those a square covers are
  /// multiplied by 0, up to reads() - 2 behind the whole part of the position.
  void row(const int16_t* source, std::ptrdiff_t pitch, const int32_t* x, const int32_t* y,
           int32_t count, int16_t* out) const;

  [[nodiscard]] int32_t countX() const { return x_.count(); }
  [[nodiscard]] int32_t countY() const { return y_.count(); }
  /// How many samples from the one before the whole part on are read on each axis.
  [[nodiscard]] int32_t reads() const {
    return windows_.taps.data() != nullptr ? 4 : BoxTaps::kMost;
  }

 private:
  BoxTaps x_;
  BoxTaps y_;
  WindowTable windows_;  ///< where no square covers more than 4 x 4 samples
};

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_RECONSTRUCTION_BOX_SUMS_H
