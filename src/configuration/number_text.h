// Decimal numbers at the front of a text, the same in every locale.
#ifndef VELMORA_SRC_CONFIGURATION_NUMBER_TEXT_H
#define VELMORA_SRC_CONFIGURATION_NUMBER_TEXT_H

#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>

namespace velmora {

/// Takes white space and then an integer, [+-]digits, off the front of `text`; saturated at 64
/// bits. Nothing, and the text as it was, if there is none.
std::optional<int64_t> takeInteger(std::string_view& text);

/// The same for [+-]digits[.digits][e[+-]digits], digits on one side of the point at least.
/// Saturated at the largest finite value; what is too small is 0.
std::optional<double> takeReal(std::string_view& text);

/// The nearest value of a narrower integer type.
template <typename T>
T saturate(int64_t value) {
  using Limits = std::numeric_limits<T>;
  return static_cast<T>(
      std::clamp(value, static_cast<int64_t>(Limits::min()), static_cast<int64_t>(Limits::max())));
}

/// The nearest finite single.
inline float saturateToFloat(double value) {
  constexpr double kLargest = std::numeric_limits<float>::max();
  return static_cast<float>(std::clamp(value, -kLargest, kLargest));
}

}  // namespace velmora

#endif  // VELMORA_SRC_CONFIGURATION_NUMBER_TEXT_H
