// The bytes of an input as numbers: how a harness lets them choose what it does.
#ifndef VELMORA_FUZZ_BYTES_H
#define VELMORA_FUZZ_BYTES_H

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>

namespace velmora::fuzz {

/// Takes numbers off the front; behind the end everything is 0.
class Bytes {
 public:
  Bytes(const uint8_t* data, std::size_t size) : rest_(data, size) {}

  [[nodiscard]] bool empty() const { return rest_.empty(); }
  [[nodiscard]] std::span<const uint8_t> rest() const { return rest_; }

  uint8_t byte() {
    if (rest_.empty()) return 0;
    const uint8_t value = rest_.front();
    rest_ = rest_.subspan(1);
    return value;
  }
  bool flag() { return (byte() & 1) != 0; }
  /// Little-endian.
  uint32_t word() {
    uint32_t value = 0;
    for (unsigned shift = 0; shift < 32; shift += 8)
      value |= uint32_t{byte()} << shift;
    return value;
  }
  int32_t integer() { return static_cast<int32_t>(word()); }
  /// Any value of single precision, infinities and those that are no number among them.
  float real() { return std::bit_cast<float>(word()); }
  /// In [low, high], which are less than 65536 apart; takes one byte where that can tell.
  int32_t range(int32_t low, int32_t high) {
    const uint32_t count = static_cast<uint32_t>(high - low) + 1;
    uint32_t value = byte();
    if (count > 256) value |= uint32_t{byte()} << 8;
    return low + static_cast<int32_t>(value % count);
  }
  template <typename T>
  T oneOf(std::initializer_list<T> values) {
    return values.begin()[byte() % values.size()];
  }
  /// Up to `count` bytes.
  std::span<const uint8_t> take(std::size_t count) {
    const auto taken = rest_.first(std::min(count, rest_.size()));
    rest_ = rest_.subspan(taken.size());
    return taken;
  }

 private:
  std::span<const uint8_t> rest_;
};

}  // namespace velmora::fuzz

#endif  // VELMORA_FUZZ_BYTES_H
