// A plane for the plane functions to write, with everything around its samples under watch.
#ifndef VELMORA_TESTS_INTERPOLATION_DESTINATION_H
#define VELMORA_TESTS_INTERPOLATION_DESTINATION_H

#include <gtest/gtest.h>

#include <algorithm>

#include "interpolation/reference.h"

namespace velmora::test {

inline constexpr uint8_t kUntouched = 0xE1;

class Destination {
 public:
  /// h rows of w samples, `pitch` from row to row (0: w rounded up to 8).
  Destination(int w, int h, int pitch = 0)
      : w_(w),
        h_(h),
        pitch_(pitch == 0 ? std::max((w + 7) / 8 * 8, 8) : pitch),
        bytes_(static_cast<std::size_t>(pitch_ * h) + 16, kUntouched) {}

  uint8_t* data() { return bytes_.data(); }
  [[nodiscard]] bool untouched() const {
    return std::all_of(bytes_.begin(), bytes_.end(), [](uint8_t b) { return b == kUntouched; });
  }
  /// The samples; fails the test if any byte but these was written.
  [[nodiscard]] Bytes packed() const {
    Bytes samples;
    for (std::size_t i = 0; i < bytes_.size(); ++i) {
      const auto row = static_cast<int>(i) / pitch_;
      if (row < h_ && static_cast<int>(i) % pitch_ < w_) {
        samples.push_back(bytes_[i]);
      } else if (bytes_[i] != kUntouched) {
        ADD_FAILURE() << "written outside the rows, at byte " << i;
      }
    }
    return samples;
  }

 private:
  int w_, h_, pitch_;
  Bytes bytes_;
};

}  // namespace velmora::test

#endif  // VELMORA_TESTS_INTERPOLATION_DESTINATION_H
