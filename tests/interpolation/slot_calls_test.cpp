// Which slots of the thread pool the stages take, for which jobs, in which order.
#include <gtest/gtest.h>

#include <array>
#include <initializer_list>
#include <string>

#include "interpolation/call.h"
#include "velmora_sr/deghosting.h"
#include "velmora_sr/interpolation.h"
#include "velmora_sr/plane_conversion.h"

namespace {

std::string* transcript = nullptr;  // of the calls while it is set

const char* nameOf(SR_ThreadJob job) {
  if (job == YNV12TO420EdgeMirror_ThreadFunc) return "copy luma";
  if (job == UVNV12TO420EdgeMirror_ThreadFunc) return "split chroma";
  if (job == UVNV12TO420_ThreadFunc) return "merge chroma";
  if (job == InterPolationY1Frame_H_ThreadFunc) return "luma across";
  if (job == InterPolationY1Frame_V_ThreadFunc) return "luma down";
  if (job == InterPolationUV1Frame_H_ThreadFunc) return "chroma across";
  if (job == InterPolationUV1Frame_V_ThreadFunc) return "chroma down";
  if (job == InterPolationY_ThreadFunc) return "fuse";
  return job == DeGhostThreadFunc ? "deghost" : "?";
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

template <typename Job>
std::string slotCallsOf(Job job) {
  std::string calls;
  transcript = &calls;
  job();
  transcript = nullptr;
  return calls;
}

constexpr std::array kConversion = {0, 1, 2};
constexpr std::array kInterpolation = {13, 14, 15};

// Frames in NV21 are converted on the calling thread.
TEST(SlotCalls, OfTheEntryPointsFollowTheirStages) {
  const RunningPool pool;
  const Kernels kernels = Kernels::lanczos(5);
  for (const EntryPoint& entry : entryPoints()) {
    const bool converts = entry.fuses && entry.format == 4;
    std::string expected;
    if (converts) expected += jobsOn(kConversion, {"copy luma", "split chroma"});
    if (entry.luma && entry.fuses) expected += jobsOn(kInterpolation, {"fuse"});
    if (entry.luma && !entry.fuses)
      expected += jobsOn(kInterpolation, {"luma across", "luma down"});
    if (entry.chroma) expected += jobsOn(kInterpolation, {"chroma across", "chroma down"});
    if (converts) expected += jobsOn(kConversion, {"merge chroma"});
    Call call(entry, {40, 30, {0, 39, 60}, {0, 29, 50}}, mapsOf(0, 40, 30));
    EXPECT_EQ(slotCallsOf([&] { call.run(); }), expected) << entry.name << entry.format;
  }
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
