// Kernel files for tests.
#ifndef VELMORA_TESTS_CONFIGURATION_KERNEL_FILE_BYTES_H
#define VELMORA_TESTS_CONFIGURATION_KERNEL_FILE_BYTES_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "velmora_sr/kernel_tables.h"

namespace velmora::test {

inline void appendLittleEndian(std::string& bytes, uint32_t value, int count) {
  for (int i = 0; i < count; ++i)
    bytes.push_back(static_cast<char>(value >> (8 * i) & 0xFF));
}

/// The installed tables as a kernel file.
inline std::string installedKernelFile() {
  std::string bytes;
  appendLittleEndian(bytes, static_cast<uint32_t>(G_QUANTIZATION), 4);
  const auto append = [&bytes](int16_t** rows, int count, int length) {
    for (int i = 0; i < count; ++i) {
      for (int k = 0; k < length; ++k)
        appendLittleEndian(bytes, static_cast<uint16_t>(rows[i][k]), 2);
    }
  };
  append(Lanczos2D_4_2_Fix_Sharp, G_QUANTIZATION * G_QUANTIZATION, 17);
  append(Lanczos1D_4_2_Fix_sharp, G_QUANTIZATION, 4);
  append(Lanczos1D_4_2_Fix, G_QUANTIZATION, 4);
  return bytes;
}

/// A file of `phases` phases whose values count up from -3000 and start over at 9000.
inline std::string countingKernelFile(int phases) {
  std::string bytes;
  appendLittleEndian(bytes, static_cast<uint32_t>(phases), 4);
  const int values = phases * phases * 17 + 2 * phases * 4;
  for (int i = 0; i < values; ++i)
    appendLittleEndian(bytes, static_cast<uint16_t>(i % 12000 - 3000), 2);
  return bytes;
}

}  // namespace velmora::test

#endif  // VELMORA_TESTS_CONFIGURATION_KERNEL_FILE_BYTES_H
