// A handle with the test allocator, made current for the plane functions while it lives; a running
// thread pool; a plane to be written, under watch.
#ifndef VELMORA_TESTS_INTERPOLATION_HANDLE_H
#define VELMORA_TESTS_INTERPOLATION_HANDLE_H

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/page_buffer.h"
#include "support/test_allocator.h"
#include "velmora_sr/records.h"
#include "velmora_sr/thread_pool.h"

namespace velmora::test {

struct Handle {
  Handle() {
    TestAllocator::reset();
    pub.alloc = TestAllocator::alloc;
    pub.free = TestAllocator::free;
    priv.pub = &pub;
    zelkParamPrivate.pub = &pub;
  }
  ~Handle() { zelkParamPrivate.pub = nullptr; }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;

  /// What a call left behind: empty when all blocks came back intact, each once.
  static std::string leftovers() {
    std::string text = TestAllocator::faults();
    if (TestAllocator::live() != 0) text += std::to_string(TestAllocator::live()) + " blocks live";
    return text;
  }

  SR_ParamsPublic pub = {};
  SR_ParamsPrivate priv = {};
};

/// The workers of the thread pool, while it lives. What they print is dropped.
class RunningPool {
 public:
  RunningPool() {
    testing::internal::CaptureStdout();
    EXPECT_EQ(MultiThread_Init(16), 0);
    testing::internal::GetCapturedStdout();
  }
  ~RunningPool() {
    testing::internal::CaptureStdout();
    MultiThread_destory();
    testing::internal::GetCapturedStdout();
  }
  RunningPool(const RunningPool&) = delete;
  RunningPool& operator=(const RunningPool&) = delete;
};

/// h rows of w samples, `pitch` from row to row, up to the last sample.
class Destination {
 public:
  static inline const uint8_t kUnwritten = PageBuffer<uint8_t>::unwritten();

  Destination(int w, int h, int pitch)
      : w_(w),
        pitch_(pitch),
        bytes_(static_cast<std::size_t>(w < 1 || h < 1 ? 0 : (h - 1) * pitch + w)) {}

  [[nodiscard]] uint8_t* data() const { return bytes_.data(); }
  [[nodiscard]] bool untouched() const {
    return std::count(data(), data() + bytes_.size(), kUnwritten) ==
           static_cast<std::ptrdiff_t>(bytes_.size());
  }
  /// The samples; fails the test if any byte but these was written.
  [[nodiscard]] std::vector<uint8_t> packed() const {
    std::vector<uint8_t> samples;
    bool clean = bytes_.intact();
    for (std::size_t i = 0; i < bytes_.size(); ++i) {
      if (static_cast<int>(i) % pitch_ < w_) {
        samples.push_back(data()[i]);
      } else {
        clean = clean && data()[i] == kUnwritten;
      }
    }
    EXPECT_TRUE(clean) << "written outside the rows";
    return samples;
  }

 private:
  int w_, pitch_;
  PageBuffer<uint8_t> bytes_;
};

}  // namespace velmora::test

#endif  // VELMORA_TESTS_INTERPOLATION_HANDLE_H
