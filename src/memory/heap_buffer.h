// A block of stage-private scratch on the C heap, for stages without a caller's allocator.
#ifndef VELMORA_SRC_MEMORY_HEAP_BUFFER_H
#define VELMORA_SRC_MEMORY_HEAP_BUFFER_H

#include <cstddef>
#include <cstdlib>
#include <limits>
#include <memory>
#include <type_traits>

namespace velmora {

/// Owns `count` uninitialised values of a trivial type T; empty when they could not be had. A
/// buffer of no values is not empty in this sense.
template <typename T>
class HeapBuffer {
  static_assert(std::is_trivial_v<T>);

 public:
  HeapBuffer() = default;
  explicit HeapBuffer(std::size_t count) {
    if (count > std::numeric_limits<std::size_t>::max() / sizeof(T)) return;
    const std::size_t bytes = count == 0 ? sizeof(T) : count * sizeof(T);
    data_.reset(static_cast<T*>(std::malloc(bytes)));
  }
  [[nodiscard]] T* data() const { return data_.get(); }
  explicit operator bool() const { return data_ != nullptr; }

 private:
  struct Free {
    void operator()(T* block) const { std::free(block); }
  };
  std::unique_ptr<T, Free> data_;
};

}  // namespace velmora

#endif  // VELMORA_SRC_MEMORY_HEAP_BUFFER_H
