// The most memory that a call holds: as docs/memory.md tells hosts to plan for, to the byte.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>

#include "interface/session.h"
#include "interface/textured_frame.h"
#include "support/test_allocator.h"
#include "velmora_sr/matching.h"
#include "velmora_sr/records.h"

namespace velmora::test {
namespace {

struct Job {
  int64_t W, H, w, h;  // of the input and the output
};

int64_t paddedPlanes(const Job& job) {
  return (job.W + 4) * (job.H + 4) + 2 * (job.W / 2 + 4) * (job.H / 2 + 4);
}
int64_t outputChroma(const Job& job) {
  return job.w * job.h / 2;
}

int64_t oneFrame(const Job& job) {
  const int64_t rows = 2 * job.w * (job.H + 4) + 2 * job.w * (job.H / 2 + 4);
  return paddedPlanes(job) + outputChroma(job) + rows + int64_t{sizeof(void*)};
}

int64_t twoFrames(const Job& job) {
  const int64_t quarterW = job.W / 4, quarterH = job.H / 4;
  // Header of the response layers: two lists of 4 and 2, aligned to the longer records.
  const int64_t layers = sizeof(void*) == 8 ? 104 : 88;
  const int64_t features = quarterW * quarterH + 68 * (quarterW + 1) * (quarterH + 1) + layers;
  const int64_t trees = 144'000 * int64_t{sizeof(ST_NODE)} + 4 * int64_t{sizeof(void*)};
  const int64_t registration = 12'432'064 + 3 * job.W * job.H / 2 + std::max(features, trees) +
                               int64_t{sizeof(void*)} + 9 * int64_t{sizeof(float)};
  const int64_t fusion = 2 * paddedPlanes(job) + outputChroma(job) + 2 * job.w * (job.H / 2 + 4);
  return 8 * job.W * job.H + std::max(registration, fusion) + 2 * int64_t{sizeof(void*)};
}

TEST(PeakMemory, FollowsFromTheSizes) {
  const struct {
    Job job;
    int32_t scene;
    int64_t peak;
    bool related = true;
  } cases[] = {
      {{200, 150, 400, 300}, VELMORA_SR_SCENE_SINGLE, oneFrame({200, 150, 400, 300})},
      {{500, 400, 600, 1000}, VELMORA_SR_SCENE_SINGLE, oneFrame({500, 400, 600, 1000})},
      // Registration holds more than the fusion of small frames, less than that of a large output.
      {{480, 400, 720, 600}, VELMORA_SR_SCENE_LEFT_LEFT, twoFrames({480, 400, 720, 600})},
      {{1004, 1000, 2000, 2000}, VELMORA_SR_SCENE_LEFT_LEFT, twoFrames({1004, 1000, 2000, 2000})},
      {{480, 400, 6000, 6000}, VELMORA_SR_SCENE_LEFT_LEFT, twoFrames({480, 400, 6000, 6000})},
      {{480, 400, 720, 600}, VELMORA_SR_SCENE_LEFT_RIGHT, twoFrames({480, 400, 720, 600}), false},
  };
  for (const auto& [job, scene, peak, related] : cases) {
    const auto W = static_cast<int32_t>(job.W), H = static_cast<int32_t>(job.H);
    const Session session(W, H, scene);
    Call call(W, H, VELMORA_SR_FORMAT_NV12, whole(W, H), static_cast<int32_t>(job.w),
              static_cast<int32_t>(job.h), texturedFrame(W, H, 0, 0), texturedFrame(W, H, 3, 2));
    if (!related) std::fill(call.second.begin(), call.second.end(), uint8_t{120});
    EXPECT_EQ(call.run(session), 0);
    EXPECT_EQ(zelkParamPrivate.registFailed, scene != VELMORA_SR_SCENE_SINGLE && related ? 0 : 1);
    const auto held = static_cast<int64_t>(TestAllocator::peakBytes());
    EXPECT_TRUE(related ? held == peak : held <= peak) << job.w << " wide: " << held;
  }
}

}  // namespace
}  // namespace velmora::test
