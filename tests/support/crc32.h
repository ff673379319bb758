// CRC-32 (IEEE 802.3, reflected) of bytes and of little-endian 16-bit values.
#ifndef VELMORA_TESTS_SUPPORT_CRC32_H
#define VELMORA_TESTS_SUPPORT_CRC32_H

#include <cstdint>
#include <span>

namespace velmora::test {

class Crc32 {
 public:
  void add(uint8_t byte) {
    state_ ^= byte;
    for (int bit = 0; bit < 8; ++bit)
      state_ = (state_ >> 1) ^ ((state_ & 1u) != 0 ? 0xEDB88320u : 0u);
  }
  void add(std::span<const uint8_t> bytes) {
    for (const uint8_t byte : bytes)
      add(byte);
  }
  void add(std::span<const int16_t> values) {
    for (const int16_t value : values) {
      const auto bits = static_cast<uint16_t>(value);
      add(static_cast<uint8_t>(bits & 0xFF));
      add(static_cast<uint8_t>(bits >> 8));
    }
  }
  [[nodiscard]] uint32_t value() const { return ~state_; }

 private:
  uint32_t state_ = ~0u;
};

}  // namespace velmora::test

#endif  // VELMORA_TESTS_SUPPORT_CRC32_H
