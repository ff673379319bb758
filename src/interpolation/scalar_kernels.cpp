// Fills the interpolation family with its scalar kernels.
#include "interpolation/kernels.h"

namespace velmora {

void installScalarKernels(InterpolationKernels& table) {
  table = {
      .splitPairs = scalar::splitPairs,
      .mergePairs = scalar::mergePairs,
      .filterColumns = scalar::filterColumns,
      .filterRows = scalar::filterRows,
      .fuseRow = scalar::fuseRow,
      .deghostBlocks = scalar::deghostBlocks,
  };
}

}  // namespace velmora
