// The kernel file: its size, and its phase count.
#ifndef VELMORA_TOOL_ENGINE_KERNEL_FILE_H
#define VELMORA_TOOL_ENGINE_KERNEL_FILE_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace velmora::tool {

inline constexpr int kMaxPhases = 1024;

/// Bytes of a kernel file.
constexpr std::size_t kernelFileSize(int phases) {
  const auto n = static_cast<std::size_t>(phases);
  return 4 + n * n * 34 + n * 16;
}

struct KernelFile {
  int phases = 0;     ///< as the file begins, if that is a possible count; else 0
  std::string fault;  ///< why it is no whole kernel file; empty when it is one
};

/// Looks at the count and the size.
KernelFile readKernelFile(std::span<const uint8_t> bytes);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_ENGINE_KERNEL_FILE_H
