// The kernel file.
#ifndef VELMORA_SRC_CONFIGURATION_KERNEL_FILE_H
#define VELMORA_SRC_CONFIGURATION_KERNEL_FILE_H

namespace velmora {

/// Installs the tables of a kernel file, or the compiled-in ones; see ParseConfigFile.
/// @param path  null: the compiled-in tables
void loadKernelFile(const char* path);

}  // namespace velmora

#endif  // VELMORA_SRC_CONFIGURATION_KERNEL_FILE_H
