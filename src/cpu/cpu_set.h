// Which instruction sets this build has functions for, this machine can run, and which one is
// wanted.
#ifndef VELMORA_SRC_CPU_CPU_SET_H
#define VELMORA_SRC_CPU_CPU_SET_H

#include <cstddef>
#include <optional>
#include <span>
#include <string_view>

namespace velmora {

/// Instruction sets that functions are written for; scalar is plain C++. avx512 is F, BW, VL and
/// DQ, which all servers with AVX-512 have; avx512vbmi adds byte permutes and dot products.
enum class CpuSet { scalar, neon, avx2, avx512, avx512vbmi };
inline constexpr std::size_t kCpuSets = 5;

/// The set's name, as users write it: "scalar", "neon", "avx2", "avx512", "avx512vbmi".
std::string_view name(CpuSet set);
std::optional<CpuSet> cpuSetByName(std::string_view wanted);

/// The sets that this build holds and this CPU runs, in order of preference, scalar first.
std::span<const CpuSet> availableCpuSets();

/// The set to use: the one named by the environment variable VELMORA_SR_CPU if it is available,
/// otherwise the best available one.
CpuSet chosenCpuSet();

}  // namespace velmora

#endif  // VELMORA_SRC_CPU_CPU_SET_H
