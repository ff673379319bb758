// The caller's allocator pair, and planes taken from it.
#ifndef VELMORA_SRC_INTERPOLATION_ALLOCATION_H
#define VELMORA_SRC_INTERPOLATION_ALLOCATION_H

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "common/process_buffer.h"
#include "velmora_sr/records.h"

namespace velmora {

struct Allocator {
  SR_AllocFxn alloc = nullptr;
  SR_FreeFxn free = nullptr;

  /// The pair of a handle; without a handle nothing can be taken.
  static Allocator of(const SR_ParamsPublic* handle) {
    return handle == nullptr ? Allocator{} : Allocator{handle->alloc, handle->free};
  }

  /// An uninitialised plane of width * height values; empty when it cannot be had. A plane without
  /// values takes one, so that an allocator that answers a size of 0 with null is no failure.
  template <typename T>
  [[nodiscard]] ProcessBuffer<T> plane(int32_t width, int32_t height) const {
    const uint64_t count = std::max<uint64_t>(
        uint64_t{1}, static_cast<uint64_t>(width) * static_cast<uint64_t>(height));
    if (count > UINT32_MAX / sizeof(T)) return {};
    return {alloc, free, static_cast<std::size_t>(count)};
  }
};

}  // namespace velmora

#endif  // VELMORA_SRC_INTERPOLATION_ALLOCATION_H
