// Typed arrays cut off one block, each at its alignment.
#ifndef VELMORA_SRC_MEMORY_CARVER_H
#define VELMORA_SRC_MEMORY_CARVER_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <type_traits>

namespace velmora {

/// Cuts arrays off the front of a block, in the order of the calls. The block is large enough: the
/// sizes of blocks are part of the stages' contracts, so the carver checks nothing.
class Carver {
 public:
  explicit Carver(void* block) : next_(static_cast<std::byte*>(block)) {}

  /// `count` values of a trivial type, uninitialised; what is skipped for their alignment is lost.
  template <typename T>
  std::span<T> take(std::size_t count) {
    static_assert(std::is_trivial_v<T>);
    const auto misplaced = reinterpret_cast<uintptr_t>(next_) % alignof(T);
    if (misplaced != 0) next_ += alignof(T) - misplaced;
    auto* const values = static_cast<T*>(static_cast<void*>(next_));
    next_ += count * sizeof(T);
    return {values, count};
  }

 private:
  std::byte* next_;
};

}  // namespace velmora

#endif  // VELMORA_SRC_MEMORY_CARVER_H
