// AVX2 functions of restoration. Intrinsics and static functions only: see cmake/VelmoraCpu.cmake.
#include "burst/restoration/function_sets.h"
#include "burst/restoration/vector_functions.h"
#include "burst/restoration/x86/phases.h"
#include "burst/restoration/x86/vectors256.h"

namespace velmora::burst {

void installAvx2(RestorationFunctions& table) {
  using Functions = VectorFunctions<Vectors256>;
  table.split = avx2::split;
  table.merge = avx2::merge;
  table.transformColumns = Functions::transformColumns;
  table.shrinkByThreshold = Functions::shrinkByThreshold;
  table.shrinkByPilot = Functions::shrinkByPilot;
  table.addColumns = Functions::addColumns;
  table.divide = Functions::divide;
}

}  // namespace velmora::burst
