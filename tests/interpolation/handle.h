// A handle with the test allocator, made current for the plane functions while it lives; a running
// thread pool.
#ifndef VELMORA_TESTS_INTERPOLATION_HANDLE_H
#define VELMORA_TESTS_INTERPOLATION_HANDLE_H

#include <gtest/gtest.h>

#include <string>

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
    priv.kernelRadius = 2;
    priv.kernelTaps = 4;
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

}  // namespace velmora::test

#endif  // VELMORA_TESTS_INTERPOLATION_HANDLE_H
