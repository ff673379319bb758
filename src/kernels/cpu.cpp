#include "kernels/cpu.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <utility>
#include <vector>

namespace velmora {
namespace {

constexpr std::array<std::pair<KernelSet, std::string_view>, 4> kNames = {{
    {KernelSet::scalar, "scalar"},
    {KernelSet::neon, "neon"},
    {KernelSet::avx2, "avx2"},
    {KernelSet::avx512, "avx512"},
}};

std::vector<KernelSet> detect() {
  return {KernelSet::scalar};
}

}  // namespace

std::string_view name(KernelSet set) {
  for (const auto& [value, text] : kNames) {
    if (value == set) return text;
  }
  return "unknown";
}

std::optional<KernelSet> kernelSetByName(std::string_view wanted) {
  for (const auto& [value, text] : kNames) {
    if (text == wanted) return value;
  }
  return std::nullopt;
}

std::span<const KernelSet> availableKernelSets() {
  static const std::vector<KernelSet> sets = detect();
  return sets;
}

KernelSet chosenKernelSet() {
  const auto sets = availableKernelSets();
  if (const char* wanted = std::getenv("VELMORA_SR_CPU")) {
    const auto set = kernelSetByName(wanted);
    if (set && std::find(sets.begin(), sets.end(), *set) != sets.end()) return *set;
  }
  return sets.back();
}

}  // namespace velmora
