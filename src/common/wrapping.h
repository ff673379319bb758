// Signed arithmetic that wraps, as the fixed-point code of the features and the trees wants it.
#ifndef VELMORA_SRC_COMMON_WRAPPING_H
#define VELMORA_SRC_COMMON_WRAPPING_H

#include <concepts>
#include <cstdint>
#include <type_traits>

namespace velmora {

template <std::signed_integral T>
constexpr T wrappingAdd(T a, T b) {
  using U = std::make_unsigned_t<T>;
  return static_cast<T>(static_cast<U>(a) + static_cast<U>(b));
}

template <std::signed_integral T>
constexpr T wrappingSub(T a, T b) {
  using U = std::make_unsigned_t<T>;
  return static_cast<T>(static_cast<U>(a) - static_cast<U>(b));
}

template <std::signed_integral T>
constexpr T wrappingMul(T a, T b) {
  using U = std::make_unsigned_t<T>;
  return static_cast<T>(static_cast<U>(a) * static_cast<U>(b));
}

/// Truncating quotient; the smallest value divided by -1 is the smallest value. b is not 0.
template <std::signed_integral T>
constexpr T wrappingDiv(T a, T b) {
  return b == -1 ? wrappingSub(T{0}, a) : static_cast<T>(a / b);
}

/// The low 32 bits of a 64-bit value.
constexpr int32_t low32(int64_t value) {
  return static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint64_t>(value)));
}

}  // namespace velmora

#endif  // VELMORA_SRC_COMMON_WRAPPING_H
