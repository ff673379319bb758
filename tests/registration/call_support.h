// What the tests of registration share: a process call in progress, a running pool, what a call
// prints and logs, and calls whose memory fails.
#ifndef VELMORA_TESTS_REGISTRATION_CALL_SUPPORT_H
#define VELMORA_TESTS_REGISTRATION_CALL_SUPPORT_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "support/heap_faults.h"
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

/// The source and the text of an error line; both empty where nothing is logged.
struct Report {
  std::string source, text;
};

/// Makes a call with each of its heap requests failing in turn, then with none: request n that
/// fails gives -1000 and reports[n], and no failure leaves a block behind.
template <typename Call>
void expectEachHeapFailureReported(const std::vector<Report>& reports, Call call) {
  InitLogParams(nullptr, 1);
  for (std::size_t n = 0; n <= reports.size(); ++n) {
    SCOPED_TRACE(n);
    LogCapture log;
    const HeapFaults heap(static_cast<int>(n));
    const int result = call();
    EXPECT_EQ(heap.live(), 0u);
    const auto logged = log.takeTexts();
    if (n == reports.size()) {
      EXPECT_EQ(result, 0);
      EXPECT_EQ(heap.requests(), static_cast<int>(n));
    } else {
      EXPECT_EQ(result, -1000);
      const auto& [source, text] = reports[n];
      if (source.empty()) {
        EXPECT_THAT(logged, testing::IsEmpty());
      } else {
        EXPECT_THAT(logged, testing::ElementsAre(logLine("error", source, text)));
      }
    }
  }
}

}  // namespace velmora::test

#endif  // VELMORA_TESTS_REGISTRATION_CALL_SUPPORT_H
