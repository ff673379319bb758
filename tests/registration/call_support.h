// What the tests of registration share: a process call in progress, a running pool, what a call
// prints and logs, and digests of results.
#ifndef VELMORA_TESTS_REGISTRATION_CALL_SUPPORT_H
#define VELMORA_TESTS_REGISTRATION_CALL_SUPPORT_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "support/digest.h"
#include "support/log_capture.h"
#include "support/test_allocator.h"
#include "velmora_sr/logging.h"
#include "velmora_sr/records.h"
#include "velmora_sr/thread_pool.h"

namespace velmora::test {

/// What a call prints on standard output.
template <typename Call>
std::string printedBy(Call call) {
  testing::internal::CaptureStdout();
  call();
  return testing::internal::GetCapturedStdout();
}

/// Digest of lists of 32-bit numbers.
template <typename... Ranges>
uint32_t digestOf(const Ranges&... ranges) {
  Digest digest;
  (digest.addAll(ranges), ...);
  return digest.value();
}

/// Stands for a process call whose allocator is the TestAllocator; everything taken has to be back
/// at its end.
class CallInProgress {
 public:
  CallInProgress() {
    TestAllocator::reset();
    pub_.alloc = TestAllocator::alloc;
    pub_.free = TestAllocator::free;
    zelkParamPrivate.pub = &pub_;
  }
  ~CallInProgress() {
    zelkParamPrivate = {};
    EXPECT_EQ(TestAllocator::live(), 0u);
    EXPECT_EQ(TestAllocator::faults(), "");
    TestAllocator::reset();
  }
  CallInProgress(const CallInProgress&) = delete;
  CallInProgress& operator=(const CallInProgress&) = delete;

 private:
  SR_ParamsPublic pub_ = {};
};

/// The thread pool, running if wanted; its progress lines are swallowed.
class Pool {
 public:
  explicit Pool(bool running = true) : running_(running) {
    if (running_) printedBy([] { EXPECT_EQ(MultiThread_Init(0), 0); });
  }
  ~Pool() {
    if (running_) printedBy([] { EXPECT_EQ(MultiThread_destory(), 0); });
  }
  Pool(const Pool&) = delete;
  Pool& operator=(const Pool&) = delete;

 private:
  bool running_;
};

/// A log line of an error or a warning, with the file of the sources that it names.
inline testing::Matcher<std::string> logLine(const std::string& level, const std::string& source,
                                             const std::string& text) {
  return testing::AllOf(
      testing::StartsWith(">>BRISOLE2[" + level + "][src/registration/source/" + source + "]["),
      testing::EndsWith("] : " + text + "\n"));
}

}  // namespace velmora::test

#endif  // VELMORA_TESTS_REGISTRATION_CALL_SUPPORT_H
