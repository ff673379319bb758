#include "burst/weights/row_functions.h"

#include "burst/weights/row_loops.h"
#include "cpu/cpu_functions.h"

namespace velmora::burst {

// Built where the target can have the set.
void installWeightsAvx2(WeightFunctions& table);
void installWeightsAvx512(WeightFunctions& table);

namespace {

using Table = CpuFunctions<WeightFunctions>;

constexpr Table::Variants kVariants = {
#ifdef VELMORA_HAVE_AVX2
    .avx2 = installWeightsAvx2,
    .avx512 = installWeightsAvx512,
#endif
};

const Table& table() {
  static const Table instance(kLoops, kVariants);
  return instance;
}

}  // namespace

const WeightFunctions& weightFunctions() {
  return table().inUse();
}

const WeightFunctions& weightFunctions(CpuSet set) {
  return table().of(set);
}

}  // namespace velmora::burst
