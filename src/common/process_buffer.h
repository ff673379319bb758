// A block of one process call, taken from the caller's allocator and returned to it exactly once.
#ifndef VELMORA_SRC_COMMON_PROCESS_BUFFER_H
#define VELMORA_SRC_COMMON_PROCESS_BUFFER_H

#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <utility>

#include "velmora_sr/velmora_sr.h"

namespace velmora {

inline constexpr const char* kProcessTag = "SR_Process";

/// Owns `count` uninitialised values of a trivial type T. Empty when the allocator pair is missing,
/// the size does not fit the allocator's 32 bits, or the allocator returns null.
template <typename T>
class ProcessBuffer {
 public:
  ProcessBuffer() = default;
  ProcessBuffer(SR_AllocFxn alloc, SR_FreeFxn free, std::size_t count) : free_(free) {
    if (alloc == nullptr || free == nullptr) return;
    if (count > std::numeric_limits<uint32_t>::max() / sizeof(T)) return;
    data_ = static_cast<T*>(alloc(static_cast<uint32_t>(count * sizeof(T)), kProcessTag, 0));
    count_ = data_ == nullptr ? 0 : count;
  }
  ProcessBuffer(ProcessBuffer&& other) noexcept
      : data_(std::exchange(other.data_, nullptr)),
        count_(std::exchange(other.count_, 0)),
        free_(other.free_) {}
  ProcessBuffer& operator=(ProcessBuffer&& other) noexcept {
    if (this != &other) {
      reset();
      data_ = std::exchange(other.data_, nullptr);
      count_ = std::exchange(other.count_, 0);
      free_ = other.free_;
    }
    return *this;
  }
  ProcessBuffer(const ProcessBuffer&) = delete;
  ProcessBuffer& operator=(const ProcessBuffer&) = delete;
  ~ProcessBuffer() { reset(); }

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

#endif  // VELMORA_SRC_COMMON_PROCESS_BUFFER_H
