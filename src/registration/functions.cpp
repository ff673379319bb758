// The tables of this folder's functions.
#include "registration/functions.h"

#include "cpu/cpu_functions.h"
#include "registration/features/feature_functions.h"
#include "registration/function_sets.h"
#include "registration/homography/position_functions.h"
#include "registration/matching/matching_functions.h"

namespace velmora {
namespace {

using Table = CpuFunctions<RegistrationFunctions>;

constexpr RegistrationFunctions kScalar = {
    // features
    .reduceBox4 = scalar::reduceBox4,
    .integrateRow = scalar::integrateRow,
    .addRow = scalar::addRow,
    .hessianRow = scalar::hessianRow,
    .maximaInRow = scalar::maximaInRow,
    .reducePatch = scalar::reducePatch,
    .haarSums = scalar::haarSums,
    // kd-trees
    .descriptorDistance = scalar::descriptorDistance,
    .descriptorSums = scalar::descriptorSums,
    .descriptorSpreads = scalar::descriptorSpreads,
    .firstSmallest = scalar::firstSmallest,
    // position maps
    .positionRow = scalar::positionRow,
    // namespace velmora
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

const RegistrationFunctions& registrationFunctions() {
  return table().inUse();
}

const RegistrationFunctions& registrationFunctions(CpuSet set) {
  return table().of(set);
}

}  // namespace velmora
