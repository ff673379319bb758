// Counts the threads that the library starts and joins, and lets starts fail.
#ifndef VELMORA_TESTS_THREAD_POOL_THREAD_FAULTS_H
#define VELMORA_TESTS_THREAD_POOL_THREAD_FAULTS_H

#include <cstddef>
#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include "velmora_sr/thread_pool.h"

namespace velmora::test {

struct ThreadFaults {
  int created = 0;                ///< threads started
  int joined = 0;                 ///< threads joined
  int liveAttributes = 0;         ///< attribute objects initialised and not destroyed
  std::size_t stackSize = 0;      ///< of the first thread started; 0: the system's own
  int failCreateAt = -1;          ///< the n-th start (0: the first) fails; -1: none
  bool refuseStackSizes = false;  ///< threads start with the system's stack only
  bool failAttributeInit = false;
  bool failAttributeDestroy = false;
};

/// Reset it before each use; not while threads start or end.
inline ThreadFaults threadFaults;

/// Runs MultiThread_Init or MultiThread_destory and gives what it printed to standard output.
inline std::string printedBy(int32_t (*call)(), int32_t expectedResult) {
  testing::internal::CaptureStdout();
  EXPECT_EQ(call(), expectedResult);
  return testing::internal::GetCapturedStdout();
}
inline std::string startPool(int32_t expectedResult = 0) {
  return printedBy([] { return MultiThread_Init(4); }, expectedResult);
}
inline std::string stopPool() {
  return printedBy([] { return MultiThread_destory(); }, 0);
}

}  // namespace velmora::test

#endif  // VELMORA_TESTS_THREAD_POOL_THREAD_FAULTS_H
