// The table of this folder's functions.
#include "burst/weights/functions.h"

#include "burst/weights/loops.h"
#include "cpu/cpu_functions.h"

namespace velmora::burst {
namespace {

using Table = CpuFunctions<WeightFunctions>;

constexpr Table::Variants kVariants = {
#ifdef VELMORA_HAVE_AVX2
    .avx2 = installAvx2,
    .avx512 = installAvx512,
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
