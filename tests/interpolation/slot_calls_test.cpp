// Which slots of the thread pool the stages take, in which order.
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "interpolation/call.h"
#include "velmora_sr/deghosting.h"
#include "velmora_sr/thread_pool.h"

namespace {

std::optional<std::string> transcript;  // of the calls while it is there

void note(const char* call, int32_t slot) {
  if (transcript) *transcript += std::string(call) + " " + std::to_string(slot) + "\n";
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
  note("set", slot);
  __real__Z15MultiThread_setiPFvPviES_(slot, job, arg);
}
}

namespace velmora::test {
namespace {

/// The transcript of so many jobs, one after the other, on three slots from `first` on.
std::string jobsOn(int first, int jobs) {
  std::string text;
  for (; jobs > 0; --jobs) {
    for (const std::string call : {"wait ", "set ", "clean "}) {
      for (int slot = first; slot < first + 3; ++slot) {
        text += call + std::to_string(slot) + "\n";
        if (call == "set ") text += "post " + std::to_string(slot) + "\n";
      }
    }
  }
  return text;
}

// Conversion takes the slots from 0 on, of frames in NV12 only: NV21 is converted on the calling
// thread. Each pass over luma or chroma takes those from 13 on.
TEST(SlotCalls, OfTheEntryPointsFollowTheirStages) {
  const RunningPool pool;
  const Kernels kernels = Kernels::lanczos(5);
  for (const EntryPoint& entry : entryPoints()) {
    const bool converts = entry.fuses && entry.format == 4;
    Call call(entry, {40, 30, {0, 39, 60}, {0, 29, 50}}, mapsOf(0, 40, 30));
    transcript = "";
    call.run();
    EXPECT_EQ(transcript, jobsOn(0, converts ? 2 : 0) + jobsOn(13, entry.passes()) +
                              jobsOn(0, converts ? 1 : 0))
        << entry.name << entry.format;
    transcript.reset();
  }
}

TEST(SlotCalls, OfDeghosting) {
  Handle handle;
  Bytes frames[2] = {Bytes(8 * 8 * 3 / 2), Bytes(8 * 8 * 3 / 2)};
  const std::vector<int32_t> map(64, 0);
  transcript = "";
  DeGhost(frames[0].data(), frames[1].data(), &handle.priv, 8, 8, map.data(), map.data());
  EXPECT_EQ(transcript, jobsOn(12, 1));
  transcript.reset();
}

}  // namespace
}  // namespace velmora::test
