// The tables of this folder's functions.
#include "burst/resampling/functions.h"

#include "burst/resampling/function_sets.h"
#include "cpu/cpu_functions.h"

namespace velmora::burst {
namespace {

using Table = CpuFunctions<ResamplingFunctions>;

constexpr ResamplingFunctions kScalar = {
    .positions = scalar::positions,
    .windowSums = scalar::windowSums,
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

const ResamplingFunctions& resamplingFunctions() {
  return table().inUse();
}

const ResamplingFunctions& resamplingFunctions(CpuSet set) {
  return table().of(set);
}

}  // namespace velmora::burst
