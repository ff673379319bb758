// The caller's allocator pair.
#ifndef VELMORA_SRC_MEMORY_ALLOCATOR_H
#define VELMORA_SRC_MEMORY_ALLOCATOR_H

#include "velmora_sr/records.h"

namespace velmora {

/// Where the blocks of a process call come from and go back to. Stages are handed one; only the
/// exported functions look the current one up.
struct Allocator {
  SR_AllocFxn alloc = nullptr;
  SR_FreeFxn free = nullptr;

  /// The pair of a handle; without a handle nothing can be taken.
  static Allocator of(const SR_ParamsPublic* handle) {
    return handle == nullptr ? Allocator{} : Allocator{handle->alloc, handle->free};
  }
};

/// The allocator of the process call in progress, for exported functions that are not handed one;
/// without a call nothing can be taken.
inline Allocator currentAllocator() {
  return Allocator::of(zelkParamPrivate.pub);
}

}  // namespace velmora

#endif  // VELMORA_SRC_MEMORY_ALLOCATOR_H
