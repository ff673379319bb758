// Fills the registration family with its scalar kernels.
#include "registration/source/kernels.h"
#include "registration/source/matching_kernels.h"

namespace velmora {

void installScalarKernels(RegistrationKernels& table) {
  table = {};

  // kd-trees
  table.descriptorDistance = scalar::descriptorDistance;
  table.descriptorSums = scalar::descriptorSums;
  table.descriptorSpreads = scalar::descriptorSpreads;
  table.firstSmallest = scalar::firstSmallest;
}

}  // namespace velmora
