// A digest of numbers, to pin results that have to be the same on every machine.
#ifndef VELMORA_TESTS_SUPPORT_DIGEST_H
#define VELMORA_TESTS_SUPPORT_DIGEST_H

#include <bit>
#include <cstdint>
#include <string>

#include "support/crc32.h"

namespace velmora::test {

/// CRC-32 of 32-bit numbers, by their bits, and of text.
class Digest {
 public:
  template <typename Range>
  void addAll(const Range& numbers) {
    for (const auto number : numbers)
      add(number);
  }
  template <typename Number>
  void add(Number number) {
    const auto bits = std::bit_cast<uint32_t>(number);
    for (int shift = 0; shift < 32; shift += 8)
      crc_.add(static_cast<uint8_t>(bits >> shift & 0xFF));
  }
  void addText(const std::string& text) {
    for (const char c : text)
      crc_.add(static_cast<uint8_t>(c));
  }
  [[nodiscard]] uint32_t value() const { return crc_.value(); }

 private:
  Crc32 crc_;
};

}  // namespace velmora::test

#endif  // VELMORA_TESTS_SUPPORT_DIGEST_H
