// The tables of this folder's functions.
#include "burst/alignment/functions.h"

#include "burst/alignment/function_sets.h"
#include "cpu/cpu_functions.h"

namespace velmora::burst {
namespace {

using Table = CpuFunctions<AlignmentFunctions>;

constexpr AlignmentFunctions kScalar = {
    .halveBytes = scalar::halveBytes,
    .halve = scalar::halve,
    .smooth = scalar::smooth,
    .smoothBytes = scalar::smoothBytes,
    .widenMask = scalar::widenMask,
    .countSteep = scalar::countSteep,
    .takeSteep = scalar::takeSteep,
    .residuals = scalar::residuals,
    .addUp = scalar::addUp,
    .addCells = scalar::addCells,
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

const AlignmentFunctions& alignmentFunctions() {
  return table().inUse();
}

const AlignmentFunctions& alignmentFunctions(CpuSet set) {
  return table().of(set);
}

}  // namespace velmora::burst
