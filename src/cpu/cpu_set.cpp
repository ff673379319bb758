#include "cpu/cpu_set.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <utility>

// The build says which sets it holds.
#ifndef VELMORA_HAVE_NEON
#define VELMORA_HAVE_NEON 0
#endif
#ifndef VELMORA_HAVE_AVX2
#define VELMORA_HAVE_AVX2 0
#endif

#if VELMORA_HAVE_NEON && !defined(__aarch64__)
#include <sys/auxv.h>
#endif

namespace velmora {
namespace {

constexpr std::array<std::pair<CpuSet, std::string_view>, kCpuSets> kNames = {{
    {CpuSet::scalar, "scalar"},
    {CpuSet::neon, "neon"},
    {CpuSet::avx2, "avx2"},
    {CpuSet::avx512, "avx512"},
    {CpuSet::avx512vbmi, "avx512vbmi"},
}};

/// A list that takes no memory: a table of functions may first be needed where there is none.
struct KernelSets {
  std::array<CpuSet, kNames.size()> sets{};
  std::size_t count = 0;

  void push_back(CpuSet set) { sets[count++] = set; }
};

KernelSets detect() {
  KernelSets sets;
  sets.push_back(CpuSet::scalar);
#if VELMORA_HAVE_NEON && defined(__aarch64__)
  sets.push_back(CpuSet::neon);
#elif VELMORA_HAVE_NEON
  // HWCAP_NEON of 32-bit ARM Linux; the value is part of the kernel's interface.
  if ((getauxval(AT_HWCAP) & (1ul << 12)) != 0) sets.push_back(CpuSet::neon);
#endif
#if VELMORA_HAVE_AVX2
  if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma")) {
    sets.push_back(CpuSet::avx2);
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
        __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512dq")) {
      sets.push_back(CpuSet::avx512);
      if (__builtin_cpu_supports("avx512vbmi") && __builtin_cpu_supports("avx512vnni"))
        sets.push_back(CpuSet::avx512vbmi);
    }
  }
#endif
  return sets;
}

}  // namespace

std::string_view name(CpuSet set) {
  for (const auto& [value, text] : kNames) {
    if (value == set) return text;
  }
  return "unknown";
}

std::optional<CpuSet> cpuSetByName(std::string_view wanted) {
  for (const auto& [value, text] : kNames) {
    if (text == wanted) return value;
  }
  return std::nullopt;
}

std::span<const CpuSet> availableCpuSets() {
  static const KernelSets sets = detect();
  return std::span(sets.sets).first(sets.count);
}

CpuSet chosenCpuSet() {
  const auto sets = availableCpuSets();
  if (const char* wanted = std::getenv("VELMORA_SR_CPU")) {
    const auto set = cpuSetByName(wanted);
    if (set && std::find(sets.begin(), sets.end(), *set) != sets.end()) return *set;
  }
  return sets.back();
}

}  // namespace velmora
