// The kernel file.
#ifndef VELMORA_SRC_CONFIGURATION_KERNEL_FILE_H
#define VELMORA_SRC_CONFIGURATION_KERNEL_FILE_H

#include "configuration/tuning.h"

namespace velmora {

/// Installs the tables of a kernel file, or the compiled-in ones; see ParseConfigFile.
/// @param input  without name and bytes: the compiled-in tables
void loadKernels(const TuningInput& input);
inline void loadKernelFile(const char* path) {
  loadKernels({path, {}});
}

}  // namespace velmora

#endif  // VELMORA_SRC_CONFIGURATION_KERNEL_FILE_H
