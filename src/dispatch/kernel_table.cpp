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
#ifdef VELMORA_HAVE_NEON
  if (set == KernelSet::neon) {
    installNeonKernels(table.interpolation);
    installNeonKernels(table.registration);
  }
#endif
#ifdef VELMORA_HAVE_AVX2
  if (set == KernelSet::avx2 || set == KernelSet::avx512) {
    installAvx2Kernels(table.interpolation);
    installAvx2Kernels(table.registration);
  }
  if (set == KernelSet::avx512) {
    installAvx512Kernels(table.interpolation);
    installAvx512Kernels(table.registration);
  }
#endif
  return table;
}

const KernelTable& kernels() {
  return activeTable();
}

void forceKernels(KernelSet set) {
  activeTable() = kernelTableFor(set);
}

}  // namespace velmora
