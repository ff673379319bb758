// Tables of the functions that have variants for instruction sets: every hot loop of the library is
// called through one.
//
// A subsystem that has such functions declares their types and one table of its own, made of this
// template; the scalar functions live with the stages they belong to, vector variants in arm/ and
// x86/ beside them. Which set is in use is decided here, once and for all subsystems.
#ifndef VELMORA_SRC_CPU_CPU_FUNCTIONS_H
#define VELMORA_SRC_CPU_CPU_FUNCTIONS_H

#include <array>
#include <cstddef>

#include "cpu/cpu_set.h"

namespace velmora {

/// The set whose functions are in use: the chosen one, unless forceCpuSet() was called.
CpuSet cpuSetInUse();

/// Puts the functions of another set in use; for tests and benchmarks, while no call is in
/// progress.
void forceCpuSet(CpuSet set);

/// One table per set: the scalar functions, overwritten by what the set speeds up. Each x86
/// set builds on the one before it.
template <typename Functions>
class CpuFunctions {
 public:
  /// Overwrites the entries that a set has of its own; null where the build lacks the set.
  using Install = void (*)(Functions& table);
  struct Variants {
    Install neon = nullptr;
    Install avx2 = nullptr;
    Install avx512 = nullptr;
    Install avx512vbmi = nullptr;
  };

  /// Installs only what this CPU runs: the installers themselves are compiled for their sets.
  CpuFunctions(const Functions& scalar, const Variants& variants) {
    tables_.fill(scalar);
    for (const CpuSet set : availableCpuSets()) {
      if (set == CpuSet::neon) install(set, variants.neon);
      if (set >= CpuSet::avx2) install(set, variants.avx2);
      if (set >= CpuSet::avx512) install(set, variants.avx512);
      if (set >= CpuSet::avx512vbmi) install(set, variants.avx512vbmi);
    }
  }

  [[nodiscard]] const Functions& of(CpuSet set) const { return tables_[index(set)]; }
  [[nodiscard]] const Functions& inUse() const { return of(cpuSetInUse()); }

 private:
  static constexpr std::size_t index(CpuSet set) { return static_cast<std::size_t>(set); }
  void install(CpuSet set, Install variant) {
    if (variant != nullptr) variant(tables_[index(set)]);
  }

  std::array<Functions, kCpuSets> tables_;
};

}  // namespace velmora

#endif  // VELMORA_SRC_CPU_CPU_FUNCTIONS_H
