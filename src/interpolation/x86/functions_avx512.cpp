// AVX-512 functions of the interpolation family. Intrinsics and static functions only: see
// cmake/VelmoraCpu.cmake.
#include "interpolation/function_sets.h"
#include "interpolation/x86/filter_rows_avx512.h"

namespace velmora {

void installAvx512(InterpolationFunctions& table) {
  table.filterRows = filterRows;
}

}  // namespace velmora
