#include "cpu/cpu_functions.h"

#include <atomic>

namespace velmora {
namespace {

std::atomic<CpuSet>& inUse() {
  static std::atomic<CpuSet> set = chosenCpuSet();
  return set;
}

}  // namespace

CpuSet cpuSetInUse() {
  return inUse().load(std::memory_order_relaxed);
}

void forceCpuSet(CpuSet set) {
  inUse().store(set, std::memory_order_relaxed);
}

}  // namespace velmora
