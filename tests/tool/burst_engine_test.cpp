// The burst stage as the tool calls it.
#include "engine/burst_engine.h"

#include <gtest/gtest.h>

#include "demo/reference.h"
#include "errors.h"
#include "support/random.h"

namespace velmora::tool {
namespace {

// Soft blobs, and noise of its own for every seed.
Picture frame(Size size, uint64_t seed) {
  test::Random random(seed);
  Picture picture(size);
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      const int blob = (x / 12 + y / 9) % 2 == 0 ? 70 : 150;
      picture.y.row(y)[x] = static_cast<uint8_t>(blob + random.range(-12, 12));
    }
  }
  return picture;
}

TEST(BurstEngine, MoreFramesComeCloserToTheScene) {
  constexpr Size kSize = {161, 121};  // odd
  Picture clean(kSize);
  for (int y = 0; y < kSize.height; ++y)
    for (int x = 0; x < kSize.width; ++x)
      clean.y.row(y)[x] = (x / 12 + y / 9) % 2 == 0 ? 70 : 150;
  const std::vector<Picture> frames = {frame(kSize, 1), frame(kSize, 2), frame(kSize, 3),
                                       frame(kSize, 4)};
  BurstEngine engine({kSize, wholeOf(kSize), kSize, false, {}, 0.0});
  const int32_t first = engine.add(frames[0]);
  Picture one;
  engine.render(first, one);
  const int32_t second = engine.add(frames[1]);
  engine.add(frames[2]);
  const int32_t last = engine.add(frames[3]);
  Picture four;
  engine.render(first, four);
  EXPECT_EQ(four.size(), kSize);
  EXPECT_GT(psnr(four.y, clean.y, 8), psnr(one.y, clean.y, 8) + 1);
  EXPECT_EQ(engine.report().framesUsed, 4);
  EXPECT_EQ(engine.verdict(first).use, FrameVerdict::Use::reference);
  EXPECT_EQ(engine.verdict(last).use, FrameVerdict::Use::used);
  EXPECT_EQ(engine.weights(first).samples, Plane(kSize, 255).samples);

  engine.drop(second);
  EXPECT_THROW(static_cast<void>(engine.verdict(second)), Failure);
  engine.render(first, one);
  EXPECT_EQ(engine.report().framesUsed, 3);
}

TEST(BurstEngine, SaysWhatItCannotDo) {
  const auto fault = [](Region region, Size output) {
    return BurstEngine::fault({{100, 100}, region, output, false, {}, {}});
  };
  EXPECT_EQ(fault({0, 0, 15, 15}, {64, 16}), "");
  EXPECT_EQ(fault({0, 0, 14, 15}, {30, 32}), "it takes 16x16 pixels and more, not 15x16");
  EXPECT_EQ(fault({0, 0, 99, 99}, {401, 200}), "it enlarges 1 to 4 times, not 100x100 to 401x200");
  EXPECT_EQ(fault({0, 0, 99, 99}, {200, 99}), "it enlarges 1 to 4 times, not 100x100 to 200x99");
  EXPECT_THROW(BurstEngine({{100, 100}, {0, 0, 14, 99}, {30, 200}, false, {}, {}}), Failure);
}

}  // namespace
}  // namespace velmora::tool
