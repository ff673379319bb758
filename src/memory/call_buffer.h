// A block of one process call, taken from the caller's allocator and returned to it exactly once.
#ifndef VELMORA_SRC_MEMORY_CALL_BUFFER_H
#define VELMORA_SRC_MEMORY_CALL_BUFFER_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <type_traits>
#include <utility>

#include "memory/allocator.h"

namespace velmora {

inline constexpr const char* kProcessTag = "SR_Process";

/// Owns `count` uninitialised values of a trivial type T. Empty when the allocator pair is missing,
/// the size does not fit the allocator's 32 bits, or the allocator returns null.
template <typename T>
class CallBuffer {
  static_assert(std::is_trivial_v<T>);

 public:
  CallBuffer() = default;
  CallBuffer(const Allocator& allocator, uint64_t count) : free_(allocator.free) {
    if (allocator.alloc == nullptr || allocator.free == nullptr) return;
    if (count > std::numeric_limits<uint32_t>::max() / sizeof(T)) return;
    data_ =
        static_cast<T*>(allocator.alloc(static_cast<uint32_t>(count * sizeof(T)), kProcessTag, 0));
    count_ = data_ == nullptr ? 0 : static_cast<std::size_t>(count);
  }
  /// A plane of width * height values, both >= 0. A plane without values takes one, so that an
  /// allocator that answers a size of 0 with null is no failure.
  static CallBuffer plane(const Allocator& allocator, int32_t width, int32_t height) {
    return {allocator,
            std::max<uint64_t>(1, static_cast<uint64_t>(width) * static_cast<uint64_t>(height))};
  }
  CallBuffer(CallBuffer&& other) noexcept
      : data_(std::exchange(other.data_, nullptr)),
        count_(std::exchange(other.count_, 0)),
        free_(other.free_) {}
  CallBuffer& operator=(CallBuffer&& other) noexcept {
    if (this != &other) {
      reset();
      data_ = std::exchange(other.data_, nullptr);
      count_ = std::exchange(other.count_, 0);
      free_ = other.free_;
    }
    return *this;
  }
  CallBuffer(const CallBuffer&) = delete;
  CallBuffer& operator=(const CallBuffer&) = delete;
  ~CallBuffer() { reset(); }

  void reset() {
    if (data_ != nullptr) free_(data_, kProcessTag, 0);
    data_ = nullptr;
    count_ = 0;
  }
  /// Hands the block over to whoever returns it to the allocator by hand.
  [[nodiscard]] T* release() {
    count_ = 0;
    return std::exchange(data_, nullptr);
  }
  [[nodiscard]] T* data() const { return data_; }
  [[nodiscard]] std::size_t size() const { return count_; }
  [[nodiscard]] std::span<T> span() const { return {data_, count_}; }
  explicit operator bool() const { return data_ != nullptr; }

 private:
  T* data_ = nullptr;
  std::size_t count_ = 0;
  SR_FreeFxn free_ = nullptr;
};

}  // namespace velmora

#endif  // VELMORA_SRC_MEMORY_CALL_BUFFER_H
