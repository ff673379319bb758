// The memory of a burst handle: blocks from the host's allocator, counted.
#ifndef VELMORA_SRC_BURST_MEMORY_H
#define VELMORA_SRC_BURST_MEMORY_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>
#include <span>
#include <type_traits>
#include <utility>

#include "burst/plane.h"
#include "velmora_sr/burst.h"

namespace velmora::burst {

/// Where a handle's blocks come from. Used by the thread of the call only; workers find their
/// scratch prepared.
class Memory {
 public:
  explicit Memory(const Velmora_SR_BurstAllocator& allocator) : allocator_(allocator) {}
  Memory(const Memory&) = delete;
  Memory& operator=(const Memory&) = delete;

  /// Never null; throws std::bad_alloc.
  void* take(std::size_t bytes) {
    void* const block = allocator_.alloc(allocator_.user, bytes);
    if (block == nullptr) throw std::bad_alloc();
    held_ += bytes;
    peak_ = std::max(peak_, held_);
    return block;
  }
  void giveBack(void* block, std::size_t bytes) {
    held_ -= bytes;
    allocator_.free(allocator_.user, block);
  }
  [[nodiscard]] uint64_t held() const { return held_; }
  [[nodiscard]] uint64_t peak() const { return peak_; }

 private:
  Velmora_SR_BurstAllocator allocator_;
  uint64_t held_ = 0;
  uint64_t peak_ = 0;
};

/// Owns `count` uninitialised values of a trivial type, aligned for vectors.
template <typename T>
class Buffer {
  static_assert(std::is_trivial_v<T>);
  static constexpr std::size_t kAlignment = 64;

 public:
  Buffer() = default;
  /// Throws std::bad_alloc. The memory outlives the buffer.
  Buffer(Memory& memory, std::size_t count) : memory_(&memory), count_(count) {
    if (count > (std::numeric_limits<std::size_t>::max() - kAlignment) / sizeof(T)) {
      throw std::bad_alloc();
    }
    block_ = memory.take(bytes());
    const auto address = reinterpret_cast<uintptr_t>(block_);
    data_ = reinterpret_cast<T*>((address + kAlignment - 1) / kAlignment * kAlignment);
  }
  Buffer(Buffer&& other) noexcept { *this = std::move(other); }
  Buffer& operator=(Buffer&& other) noexcept {
    std::swap(memory_, other.memory_);
    std::swap(block_, other.block_);
    std::swap(data_, other.data_);
    std::swap(count_, other.count_);
    return *this;
  }
  Buffer(const Buffer&) = delete;
  Buffer& operator=(const Buffer&) = delete;
  ~Buffer() {
    if (block_ != nullptr) memory_->giveBack(block_, bytes());
  }

  [[nodiscard]] T* data() const { return data_; }
  [[nodiscard]] std::size_t size() const { return count_; }
  [[nodiscard]] std::span<T> span() const { return {data_, count_}; }
  T& operator[](std::size_t i) const { return data_[i]; }

 private:
  [[nodiscard]] std::size_t bytes() const { return count_ * sizeof(T) + kAlignment; }

  Memory* memory_ = nullptr;
  void* block_ = nullptr;
  T* data_ = nullptr;
  std::size_t count_ = 0;
};

/// A plane with the memory behind it. Rows start aligned for vectors and have room for a whole
/// vector of 64 bytes behind their last sample.
template <typename T>
class PlaneBuffer {
 public:
  PlaneBuffer() = default;
  PlaneBuffer(Memory& memory, Size size)
      : pitch_(static_cast<std::ptrdiff_t>((size.width * sizeof(T) + 127) / 64 * 64 / sizeof(T))),
        size_(size),
        values_(memory, static_cast<std::size_t>(pitch_) * static_cast<std::size_t>(size.height)) {}
  [[nodiscard]] Plane<T> plane() const { return {values_.data(), pitch_, size_}; }
  [[nodiscard]] Size size() const { return size_; }
  [[nodiscard]] bool empty() const { return values_.data() == nullptr; }

 private:
  std::ptrdiff_t pitch_ = 0;
  Size size_ = {};
  Buffer<T> values_;
};

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_MEMORY_H
