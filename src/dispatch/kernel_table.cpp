// Fills the table of kernels: scalar first, then the variants of the chosen set.
#include "kernels/kernel_table.h"

#include "interpolation/kernels.h"
#include "registration/source/kernels.h"

namespace velmora {
namespace {

KernelTable& activeTable() {
  static KernelTable table = kernelTableFor(chosenKernelSet());
  return table;
}

}  // namespace

KernelTable kernelTableFor([[maybe_unused]] KernelSet set) {
  KernelTable table;
  installScalarKernels(table.interpolation);
  installScalarKernels(table.registration);
  return table;
}

const KernelTable& kernels() {
  return activeTable();
}

void forceKernels(KernelSet set) {
  activeTable() = kernelTableFor(set);
}

}  // namespace velmora
