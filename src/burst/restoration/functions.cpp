// The tables of this folder's functions.
#include "burst/restoration/functions.h"

#include "burst/restoration/function_sets.h"
#include "cpu/cpu_functions.h"

namespace velmora::burst {
namespace {

using Table = CpuFunctions<RestorationFunctions>;

constexpr RestorationFunctions kScalar = {
    .split = scalar::split,
    .merge = scalar::merge,
    .transformColumns = scalar::transformColumns,
    .shrinkByThreshold = scalar::shrinkByThreshold,
    .shrinkByPilot = scalar::shrinkByPilot,
    .addColumns = scalar::addColumns,
    .divide = scalar::divide,
};

constexpr Table::Variants kVariants = {
#ifdef VELMORA_HAVE_NEON
    .neon = installNeon,
#endif
#ifdef VELMORA_HAVE_AVX2
    .avx2 = installAvx2,
    .avx512 = installAvx512,
#endif
};

const Table& table() {
  static const Table instance(kScalar, kVariants);
  return instance;
}

}  // namespace

const RestorationFunctions& restorationFunctions() {
  return table().inUse();
}

const RestorationFunctions& restorationFunctions(CpuSet set) {
  return table().of(set);
}

}  // namespace velmora::burst
