#include "interpolation/phase.h"

#include <gtest/gtest.h>

namespace {

using velmora::kernelPhase;
using velmora::kernelSample;

TEST(KernelPhase, TruncatesTheFraction) {
  const struct {
    int32_t position;
    int32_t phases;
    int32_t sample;
    int32_t phase;
  } cases[] = {
      {0, 50, 0, 0},
      {7 << 16, 50, 7, 0},
      {0xFFFF, 50, 0, 49},                // never the next sample
      {(3 << 16) | 1310, 50, 3, 0},       // 50 * 1310 is just below 65536
      {(3 << 16) | 1311, 50, 3, 1},       //
      {(3 << 16) | 0x8000, 50, 3, 25},    //
      {(3 << 16) | 0x7FFF, 50, 3, 24},    //
      {0x8000, 1, 0, 0},                  // one phase: always itself
      {0xFFFF, 1, 0, 0},                  //
      {0xFFFF, 10, 0, 9},                 //
      {0xFFFF, 1024, 0, 1023},            //
      {-1, 50, -1, 49},                   // just left of sample 0
      {-(1 << 16), 50, -1, 0},            //
      {0x7FFFFFFF, 1024, 0x7FFF, 1023},   //
      {-0x7FFFFFFF - 1, 50, -0x8000, 0},  //
  };
  for (const auto& c : cases) {
    EXPECT_EQ(kernelSample(c.position), c.sample) << c.position;
    EXPECT_EQ(kernelPhase(c.position, c.phases), c.phase) << c.position << " of " << c.phases;
  }
}

TEST(KernelPhase, StaysInsideTheTableForEveryFractionAndCount) {
  for (int32_t phases = 1; phases <= velmora::kMaxKernelPhases; ++phases) {
    ASSERT_EQ(kernelPhase(0, phases), 0);
    ASSERT_EQ(kernelPhase(0xFFFF, phases), phases - 1);
  }
}

}  // namespace
