// The most memory that a call holds: as docs/memory.md tells hosts to plan for, to the byte.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "interface/session.h"
#include "interface/textured_frame.h"
#include "support/test_allocator.h"
#include "velmora_sr/matching.h"
#include "velmora_sr/records.h"

namespace velmora::test {
namespace {

struct Job {
  int64_t W, H;  // input
  int64_t w, h;  // output
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

int64_t peakOf(const Job& job, int32_t scene, bool related) {
  const auto W = static_cast<int32_t>(job.W), H = static_cast<int32_t>(job.H);
  const Session session(W, H, scene);
  Call call(W, H, VELMORA_SR_FORMAT_NV12, whole(W, H), static_cast<int32_t>(job.w),
            static_cast<int32_t>(job.h));
  std::vector<uint8_t> first = texturedFrame(W, H, 0, 0);
  std::vector<uint8_t> second =
      related ? texturedFrame(W, H, 3, 2) : std::vector<uint8_t>(first.size(), 120);
  call.input.leftData = first.data();
  call.input.leftData2 = call.input.rightData = second.data();
  EXPECT_EQ(call.run(session, scene == VELMORA_SR_SCENE_SINGLE ? 1 : 2), 0);
  EXPECT_EQ(zelkParamPrivate.registFailed, scene == VELMORA_SR_SCENE_SINGLE ? 1 : related ? 0 : 1);
  EXPECT_EQ(TestAllocator::live(), 0u);
  return static_cast<int64_t>(TestAllocator::peakBytes());
}

TEST(PeakMemory, OfOneFrameFollowsFromTheSizes) {
  for (const Job& job : {Job{200, 150, 400, 300}, Job{500, 400, 600, 1000}}) {
    EXPECT_EQ(peakOf(job, VELMORA_SR_SCENE_SINGLE, true), oneFrame(job)) << job.W << " wide";
  }
}

TEST(PeakMemory, OfTwoFramesFollowsFromTheSizes) {
  // Registration holds more than the fusion of small frames, less than that of a large output.
  for (const Job& job :
       {Job{480, 400, 720, 600}, Job{1004, 1000, 2000, 2000}, Job{480, 400, 6000, 6000}}) {
    EXPECT_EQ(peakOf(job, VELMORA_SR_SCENE_LEFT_LEFT, true), twoFrames(job)) << job.w << " wide";
  }
}

TEST(PeakMemory, OfAFailedPairIsNoMore) {
  const Job job = {480, 400, 720, 600};
  EXPECT_LE(peakOf(job, VELMORA_SR_SCENE_LEFT_RIGHT, false), twoFrames(job));
}

}  // namespace
}  // namespace velmora::test
