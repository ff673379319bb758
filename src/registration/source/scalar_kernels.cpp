// Fills the registration family with its scalar kernels.
#include "registration/source/feature_kernels.h"
#include "registration/source/kernels.h"
#include "registration/source/matching_kernels.h"
#include "registration/source/position_kernels.h"

namespace velmora {

void installScalarKernels(RegistrationKernels& table) {
  table = {};

  // features
  table.reduceBox4 = scalar::reduceBox4;
  table.integrateRow = scalar::integrateRow;
  table.addRow = scalar::addRow;
  table.hessianRow = scalar::hessianRow;
  table.maximaInRow = scalar::maximaInRow;
  table.reducePatch = scalar::reducePatch;
  table.haarSums = scalar::haarSums;

  // kd-trees
  table.descriptorDistance = scalar::descriptorDistance;
  table.descriptorSums = scalar::descriptorSums;
  table.descriptorSpreads = scalar::descriptorSpreads;
  table.firstSmallest = scalar::firstSmallest;

  // position maps
  table.positionRow = scalar::positionRow;
}

}  // namespace velmora
