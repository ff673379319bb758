// The tables of this folder's functions.
#include "burst/reconstruction/functions.h"

#include "burst/reconstruction/function_sets.h"
#include "cpu/cpu_functions.h"

namespace velmora::burst {
namespace {

using Table = CpuFunctions<ReconstructionFunctions>;

constexpr ReconstructionFunctions kScalar = {
    .blendWeights = scalar::blendWeights,
    .sampleWeights = scalar::sampleWeights,
    .lookUpSums = scalar::lookUpSums,
    .shareRow = scalar::shareRow,
    .addProducts = scalar::addProducts,
    .limitPositions = scalar::limitPositions,
    .residualRow = scalar::residualRow,
    .roundRow = scalar::roundRow,
};

constexpr Table::Variants kVariants = {
#ifdef VELMORA_HAVE_NEON
    .neon = installNeon,
#endif
#ifdef VELMORA_HAVE_AVX2
    .avx2 = installAvx2,
#endif
};

const Table& table() {
  static const Table instance(kScalar, kVariants);
  return instance;
}

}  // namespace

const ReconstructionFunctions& reconstructionFunctions() {
  return table().inUse();
}

const ReconstructionFunctions& reconstructionFunctions(CpuSet set) {
  return table().of(set);
}

}  // namespace velmora::burst
