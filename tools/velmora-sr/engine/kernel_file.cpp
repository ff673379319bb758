#include "engine/kernel_file.h"

namespace velmora::tool {

KernelFile readKernelFile(std::span<const uint8_t> bytes) {
  KernelFile file;
  uint32_t count = 0;
  for (std::size_t i = 0; i < 4 && bytes.size() >= 4; ++i)
    count |= uint32_t{bytes[i]} << (8 * i);
  if (count < 1 || count > kMaxPhases) {
    file.fault = "is no kernel file: it should begin with a count of 1 to " +
                 std::to_string(kMaxPhases) + " phases";
    return file;
  }
  file.phases = static_cast<int>(count);
  const std::size_t wanted = kernelFileSize(file.phases);
  if (bytes.size() != wanted) {
    file.fault = "has " + std::to_string(bytes.size()) + " bytes, but a kernel file of " +
                 std::to_string(file.phases) + " phases has " + std::to_string(wanted);
  }
  return file;
}

}  // namespace velmora::tool
