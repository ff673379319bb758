// The tables of this folder's functions.
#include "interpolation/functions.h"

#include "cpu/cpu_functions.h"
#include "interpolation/function_sets.h"

namespace velmora {
namespace {

using Table = CpuFunctions<InterpolationFunctions>;

constexpr InterpolationFunctions kScalar = {
    .splitPairs = scalar::splitPairs,
    .mergePairs = scalar::mergePairs,
    .filterColumns = scalar::filterColumns,
    .filterRows = scalar::filterRows,
    .fuseRow = scalar::fuseRow,
    .deghostBlocks = scalar::deghostBlocks,
};

constexpr Table::Variants kVariants = {
#ifdef VELMORA_HAVE_NEON
    .neon = installNeon,
#endif
#ifdef VELMORA_HAVE_AVX2
    .avx2 = installAvx2,
    .avx512 = installAvx512,
    .avx512vbmi = installAvx512Vbmi,
#endif
};

const Table& table() {
  static const Table instance(kScalar, kVariants);
  return instance;
}

}  // namespace

const InterpolationFunctions& interpolationFunctions() {
  return table().inUse();
}

const InterpolationFunctions& interpolationFunctions(CpuSet set) {
  return table().of(set);
}

}  // namespace velmora
