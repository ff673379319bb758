// A buffer that ends at the end of a page (or begins at its begin), with an unreadable page beyond
// and a known pattern on the other side: a read or write past its end faults, a write before it
// shows.
#ifndef VELMORA_TESTS_SUPPORT_PAGE_BUFFER_H
#define VELMORA_TESTS_SUPPORT_PAGE_BUFFER_H

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <vector>

namespace velmora::test {

enum class Against { pageEnd, pageBegin };

/// `count` values of a trivial type T, filled with the pattern, so that a test can tell what was
/// written.
template <typename T>
class PageBuffer {
 public:
  explicit PageBuffer(std::size_t count, Against against = Against::pageEnd) : count_(count) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t bytes = count * sizeof(T);
    usable_ = (bytes + page - 1) / page * page + page;
    total_ = usable_ + 2 * page;
    void* block = mmap(nullptr, total_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (block == MAP_FAILED) throw std::bad_alloc();
    block_ = static_cast<uint8_t*>(block);
    begin_ = block_ + page;
    mprotect(begin_, usable_, PROT_READ | PROT_WRITE);
    std::memset(begin_, kPattern, usable_);
    offset_ = against == Against::pageEnd ? usable_ - bytes : 0;
  }
  explicit PageBuffer(const std::vector<T>& values) : PageBuffer(values.size()) {
    std::copy(values.begin(), values.end(), data());
  }
  ~PageBuffer() { munmap(block_, total_); }
  PageBuffer(const PageBuffer&) = delete;
  PageBuffer& operator=(const PageBuffer&) = delete;

  /// Never null, also for no values.
  [[nodiscard]] T* data() const { return static_cast<T*>(static_cast<void*>(begin_ + offset_)); }
  [[nodiscard]] std::size_t size() const { return count_; }
  [[nodiscard]] std::vector<T> values() const { return {data(), data() + count_}; }
  /// What a value that nobody wrote looks like.
  [[nodiscard]] static T unwritten() {
    T value;
    std::memset(&value, kPattern, sizeof value);
    return value;
  }
  /// Whether the readable bytes around the buffer still hold the pattern.
  [[nodiscard]] bool intact() const {
    const std::size_t end = offset_ + count_ * sizeof(T);
    for (std::size_t i = 0; i < usable_; ++i) {
      if ((i < offset_ || i >= end) && begin_[i] != kPattern) return false;
    }
    return true;
  }

 private:
  static constexpr uint8_t kPattern = 0xC5;
  std::size_t count_;
  std::size_t usable_ = 0;
  std::size_t total_ = 0;
  std::size_t offset_ = 0;
  uint8_t* block_ = nullptr;
  uint8_t* begin_ = nullptr;
};

}  // namespace velmora::test

#endif  // VELMORA_TESTS_SUPPORT_PAGE_BUFFER_H
