// A buffer of exactly the given size with canaries on both sides: any write past it is seen.
#ifndef VELMORA_TESTS_SUPPORT_GUARDED_BUFFER_H
#define VELMORA_TESTS_SUPPORT_GUARDED_BUFFER_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace velmora::test {

/// `count` values of a trivial type T, each filled with one byte pattern, so that a test can tell
/// what was written.
template <typename T>
class GuardedBuffer {
 public:
  static constexpr uint8_t kFill = 0xA5;

  explicit GuardedBuffer(std::size_t count)
      : count_(count), bytes_(2 * kGuard + count * sizeof(T), kCanary) {
    std::memset(bytes_.data() + kGuard, kFill, count * sizeof(T));
  }
  explicit GuardedBuffer(const std::vector<T>& values) : GuardedBuffer(values.size()) {
    if (!values.empty()) std::memcpy(data(), values.data(), count_ * sizeof(T));
  }

  /// Never null, also for no values.
  [[nodiscard]] T* data() { return static_cast<T*>(static_cast<void*>(bytes_.data() + kGuard)); }
  [[nodiscard]] std::vector<T> values() { return std::vector<T>(data(), data() + count_); }
  [[nodiscard]] bool intact() const {
    for (std::size_t i = 0; i < kGuard; ++i) {
      if (bytes_[i] != kCanary || bytes_[bytes_.size() - 1 - i] != kCanary) return false;
    }
    return true;
  }
  /// What a value that nobody wrote looks like.
  [[nodiscard]] static T unwritten() {
    T value;
    std::memset(&value, kFill, sizeof value);
    return value;
  }

 private:
  static constexpr std::size_t kGuard = 64;
  static constexpr uint8_t kCanary = 0x3C;

  std::size_t count_;
  std::vector<uint8_t> bytes_;
};

}  // namespace velmora::test

#endif  // VELMORA_TESTS_SUPPORT_GUARDED_BUFFER_H
