// A digest of numbers, to pin results that have to be the same on every machine.
#ifndef VELMORA_TESTS_SUPPORT_DIGEST_H
#define VELMORA_TESTS_SUPPORT_DIGEST_H

#include <bit>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace velmora::test {

/// CRC-32 (IEEE 802.3, reflected) of the bytes of integers of any width and of singles, least
/// significant first.
class Digest {
 public:
  template <typename Range>
  void addAll(const Range& numbers) {
    for (const auto number : numbers)
      add(number);
  }
  template <typename Number>
  void add(Number number) {
    if constexpr (std::is_floating_point_v<Number>) {
      add(std::bit_cast<uint32_t>(number));
    } else {
      for (std::size_t i = 0; i < sizeof number; ++i)
        addByte(static_cast<uint8_t>(static_cast<uint64_t>(number) >> 8 * i));
    }
  }
  [[nodiscard]] uint32_t value() const { return ~state_; }

 private:
  void addByte(uint8_t byte) {
    state_ ^= byte;
    for (int bit = 0; bit < 8; ++bit)
      state_ = (state_ >> 1) ^ ((state_ & 1u) != 0 ? 0xEDB88320u : 0u);
  }

  uint32_t state_ = ~0u;
};

}  // namespace velmora::test

#endif  // VELMORA_TESTS_SUPPORT_DIGEST_H
