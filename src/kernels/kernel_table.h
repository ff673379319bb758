// The one table of kernels: every hot loop of the library is called through it.
//
// This folder holds the types only (one file of pointer types per family of kernels), so that any
// stage can call through the table. The scalar kernels live with the stage they belong to, vector
// variants in arm/ and x86/ beside them; dispatch/kernel_table.cpp fills the table.
#ifndef VELMORA_SRC_KERNELS_KERNEL_TABLE_H
#define VELMORA_SRC_KERNELS_KERNEL_TABLE_H

#include "kernels/cpu.h"
#include "kernels/interpolation_kernels.h"
#include "kernels/registration_kernels.h"

namespace velmora {

struct KernelTable {
  InterpolationKernels interpolation;
  RegistrationKernels registration;
};

/// The table in use: filled once, scalar set first, then overwritten by what the chosen set offers.
const KernelTable& kernels();

/// The table of one set (scalar entries where the set has no variant of its own).
KernelTable kernelTableFor(KernelSet set);

/// Replaces the table in use; for tests and benchmarks, while no call is in progress.
void forceKernels(KernelSet set);

}  // namespace velmora

#endif  // VELMORA_SRC_KERNELS_KERNEL_TABLE_H
