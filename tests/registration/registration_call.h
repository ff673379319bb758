// One call of RegisterImgOnePlane or HomographyRegistration as the process driver makes it.
#ifndef VELMORA_TESTS_REGISTRATION_REGISTRATION_CALL_H
#define VELMORA_TESTS_REGISTRATION_REGISTRATION_CALL_H

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "registration/synthetic_scene.h"
#include "support/test_allocator.h"
#include "velmora_sr/records.h"
#include "velmora_sr/registration.h"
#include "velmora_sr/thread_pool.h"

namespace velmora::test {

/// A handle with the test allocator, installed as the call in progress while this lives.
class CallInProgress {
 public:
  CallInProgress() {
    TestAllocator::reset();
    handle_.alloc = TestAllocator::alloc;
    handle_.free = TestAllocator::free;
    zelkParamPrivate.pub = &handle_;
  }
  ~CallInProgress() { zelkParamPrivate = {}; }
  CallInProgress(const CallInProgress&) = delete;
  CallInProgress& operator=(const CallInProgress&) = delete;

  SR_ParamsPublic& handle() { return handle_; }

 private:
  SR_ParamsPublic handle_ = {};
};

/// The thread pool, running while this lives; its progress lines are swallowed.
class RunningPool {
 public:
  RunningPool() {
    testing::internal::CaptureStdout();
    MultiThread_Init(0);
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

/// What a registration gave.
struct Registered {
  static constexpr int32_t kUnset = -77;
  int32_t result = kUnset;
  bool failed = false;
  std::array<int32_t, 4> area = {kUnset, kUnset, kUnset, kUnset};
  std::vector<int32_t> posX, posY;
  std::string printed;
};

inline Registered registerFrames(Frame& first, Frame& second) {
  const auto pixels =
      static_cast<std::size_t>(first.width) * static_cast<std::size_t>(first.height);
  Registered r;
  r.posX.assign(pixels, Registered::kUnset);
  r.posY.assign(pixels, Registered::kUnset);
  uint8_t* firstFrame = first.data.data();
  uint8_t* secondFrame = second.data.data();
  Velmora_SR_CInputImage input = {&firstFrame, &secondFrame, 1, 1, first.width, first.height, 4};
  testing::internal::CaptureStdout();
  r.result = RegisterImgOnePlane(&input, &zelkParamPrivate, r.posX.data(), r.posY.data(), r.area[0],
                                 r.area[1], r.area[2], r.area[3]);
  r.printed = testing::internal::GetCapturedStdout();
  r.failed = zelkParamPrivate.registFailed != 0;
  return r;
}

}  // namespace velmora::test

#endif  // VELMORA_TESTS_REGISTRATION_REGISTRATION_CALL_H
