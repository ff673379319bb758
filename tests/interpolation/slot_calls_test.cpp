// Which slots of the thread pool the stages take, for which jobs, in which order.
#include <gtest/gtest.h>

#include <array>
#include <initializer_list>
#include <string>

#include "interpolation/driver_call.h"
#include "velmora_sr/deghosting.h"
#include "velmora_sr/interpolation.h"
#include "velmora_sr/plane_conversion.h"
#include "velmora_sr/thread_pool.h"

namespace {

std::string* transcript = nullptr;  // of the calls while it is set

const char* nameOf(SR_ThreadJob job) {
  if (job == YNV12TO420EdgeMirror_ThreadFunc) return "copy luma";
  if (job == UVNV12TO420EdgeMirror_ThreadFunc) return "split chroma";
  if (job == UVNV12TO420_ThreadFunc) return "merge chroma";
  return job == DeGhostThreadFunc ? "deghost" : "interpolate";  // whose jobs are internal
}

void note(const char* call, int32_t slot) {
  if (transcript == nullptr) return;
  *transcript += std::string(call) + " " + std::to_string(slot) + "\n";
}

}  // namespace

// The pool's functions as the stages see them: the linker puts these in between.
extern "C" {
int32_t __real__Z16MultiThread_waiti(int32_t slot);
int32_t __real__Z16MultiThread_posti(int32_t slot);
int32_t __real__Z17MultiThread_cleani(int32_t slot);
void __real__Z15MultiThread_setiPFvPviES_(int32_t slot, SR_ThreadJob job, void* arg);

int32_t __wrap__Z16MultiThread_waiti(int32_t slot) {
  note("wait", slot);
  return __real__Z16MultiThread_waiti(slot);
}
int32_t __wrap__Z16MultiThread_posti(int32_t slot) {
  note("post", slot);
  return __real__Z16MultiThread_posti(slot);
}
int32_t __wrap__Z17MultiThread_cleani(int32_t slot) {
  note("clean", slot);
  return __real__Z17MultiThread_cleani(slot);
}
void __wrap__Z15MultiThread_setiPFvPviES_(int32_t slot, SR_ThreadJob job, void* arg) {
  note(nameOf(job), slot);
  __real__Z15MultiThread_setiPFvPviES_(slot, job, arg);
}
}

namespace velmora::test {
namespace {

/// The transcript of one job after the other on three slots.
std::string jobsOn(const std::array<int, 3>& slots, std::initializer_list<const char*> jobs) {
  std::string text;
  const auto add = [&text](const char* call, int slot) {
    text += std::string(call) + " " + std::to_string(slot) + "\n";
  };
  for (const char* job : jobs) {
    for (const int slot : slots)
      add("wait", slot);
    for (const int slot : slots) {
      add(job, slot);
      add("post", slot);
    }
    for (const int slot : slots)
      add("clean", slot);
  }
  return text;
}

template <typename Call>
std::string slotCallsOf(Call call) {
  std::string calls;
  transcript = &calls;
  call();
  transcript = nullptr;
  return calls;
}

constexpr std::array kConversion = {0, 1, 2};
constexpr std::array kInterpolation = {13, 14, 15};

TEST(SlotCalls, OfTheDriversFollowTheirStages) {
  const RunningPool pool;
  const Kernels kernels = Kernels::lanczos(5);
  const auto callsOf = [](DriverCall::Driver driver, int format) {
    DriverCall call = {40, 30, format, 60, 50, 0, 0, 39, 29};
    call.addSecondFrame(0, 0);
    return slotCallsOf([&] { call.run(driver); });
  };
  const std::string oneFrame =
      jobsOn(kInterpolation, {"interpolate", "interpolate", "interpolate", "interpolate"});
  const std::string twoFrames =
      jobsOn(kInterpolation, {"interpolate", "interpolate", "interpolate"});
  for (const int format : {4, 5, 0})
    EXPECT_EQ(callsOf(SRInterpolation_Single, format), oneFrame) << format;
  EXPECT_EQ(callsOf(SRInterpolation, 4), jobsOn(kConversion, {"copy luma", "split chroma"}) +
                                             twoFrames + jobsOn(kConversion, {"merge chroma"}));
  EXPECT_EQ(callsOf(SRInterpolation, 5), twoFrames) << "NV21 is converted on the calling thread";
}

TEST(SlotCalls, OfDeghosting) {
  Handle handle;
  Bytes frames[2] = {Bytes(8 * 8 * 3 / 2), Bytes(8 * 8 * 3 / 2)};
  const std::vector<int32_t> map(64, 0);
  const std::string calls = slotCallsOf([&] {
    DeGhost(frames[0].data(), frames[1].data(), &handle.priv, 8, 8, map.data(), map.data());
  });
  EXPECT_EQ(calls, jobsOn({12, 13, 14}, {"deghost"}));
}

}  // namespace
}  // namespace velmora::test
