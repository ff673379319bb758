// Which sets of vector kernels this machine can run, and which one is wanted.
#ifndef VELMORA_SRC_KERNELS_CPU_H
#define VELMORA_SRC_KERNELS_CPU_H

#include <optional>
#include <span>
#include <string_view>

namespace velmora {

/// Sets of kernels, each a superset of the ones before it on its architecture.
enum class KernelSet { scalar, neon, avx2, avx512 };

/// The set's name, as users write it: "scalar", "neon", "avx2", "avx512".
std::string_view name(KernelSet set);
std::optional<KernelSet> kernelSetByName(std::string_view wanted);

/// The sets that this build holds and this CPU runs, in order of preference, scalar first.
std::span<const KernelSet> availableKernelSets();

/// The set to use: the one named by the environment variable VELMORA_SR_CPU if it is available,
/// otherwise the best available one.
KernelSet chosenKernelSet();

}  // namespace velmora

#endif  // VELMORA_SRC_KERNELS_CPU_H
