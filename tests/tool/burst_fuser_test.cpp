// Which frames of a burst go in, and what is said of them.
#include "engine/burst_fuser.h"

#include <gtest/gtest.h>

#include <limits>

#include "engine/sharpness.h"
#include "errors.h"
#include "support/random.h"
#include "verdict.h"

namespace velmora::tool {
namespace {

std::vector<BurstFrame> framesOf(std::initializer_list<double> sharpnesses) {
  std::vector<BurstFrame> frames;
  for (const double sharpness : sharpnesses) {
    frames.emplace_back();
    frames.back().sharpness = sharpness;
  }
  return frames;
}

TEST(Frames, TheLeastSharpAreLeftOutButNeverTheReference) {
  auto frames = framesOf({1, 9, 8, 2, 7, 3, 6, 4, 5, 5});
  leaveLeastSharpOut(frames, 0);
  for (std::size_t i = 0; i < frames.size(); ++i)
    EXPECT_EQ(frames[i].leftOut.empty(), i != 3 && i != 5) << i;
  EXPECT_EQ(sharpest(frames), 1u);
  frames = framesOf({1, 9, 8, 2, 7, 3, 6, 4, 5, 5});
  leaveLeastSharpOut(frames, std::nullopt);
  EXPECT_EQ(frames[0].leftOut, "eight frames are sharper");
  EXPECT_EQ(frames[3].leftOut, "eight frames are sharper");
  EXPECT_EQ(frames[5].leftOut, "");
}

TEST(Sharpness, IsTheGradientAboveTheNoise) {
  // A slope of 3 across and 2 down.
  Plane slope({40, 30});
  for (int y = 0; y < 30; ++y)
    for (int x = 0; x < 40; ++x)
      slope.row(y)[x] = static_cast<uint8_t>(20 + 3 * x + 2 * y);
  EXPECT_DOUBLE_EQ(sharpnessOf(slope), 13);
  // White noise alone has a mean square gradient of 12 / 64 * 2 per unit of variance, here 27.
  Plane noise({320, 240});
  test::Random random(7);
  for (uint8_t& sample : noise.samples)
    sample = static_cast<uint8_t>(random.range(113, 143));
  EXPECT_LT(sharpnessOf(noise), 4);
  EXPECT_EQ(sharpnessOf(Plane({2, 2}, 9)), 0);
}

TEST(Verdict, TellsTheMotionOfTheFarthestCorner) {
  EXPECT_DOUBLE_EQ(largestMotion({1, 0, 3, 0, 1, -4, 0, 0, 1}, {100, 50}), 5);
  // Twice as large: the last corner moves by its own distance.
  EXPECT_DOUBLE_EQ(largestMotion({2, 0, 0, 0, 2, 0, 0, 0, 1}, {31, 41}), 50);
}

TEST(Verdict, IsTextAndJson) {
  std::vector<FrameVerdict> frames(2);
  frames[0].file = "a\"b.jpg";
  frames[0].use = FrameVerdict::Use::reference;
  frames[0].share = 0.6;
  EXPECT_EQ(verdictText(frames[0]), "reference, 60 % of the picture");
  EXPECT_NO_THROW(requireAllUsed({frames.data(), 1}));
  frames[1].file = "c.jpg";
  frames[1].number = 2;
  frames[1].reason = "no motion";
  frames[1].gain = std::numeric_limits<double>::infinity();
  EXPECT_EQ(verdictText(frames[1]), "left out: no motion");
  EXPECT_THROW(requireAllUsed(frames), Failure);
  const std::string unknown =
      R"("motion":null,"residual":{"before":null,"after":null},"gain":null,"bias":null,"weight":null,)";
  EXPECT_EQ(fusionJson({"burst", "o.png", {0, 1, 2, 3}, {6, 6}, 1.5, frames}),
            R"({"method":"burst","output":"o.png","reference":1,"region":{"left":0,"top":1,)"
            R"("right":2,"bottom":3},"width":6,"height":6,"noise":1.5,"frames":[{"number":1,)"
            R"("file":"a\"b.jpg","use":"reference","reason":null,)" +
                unknown + R"("share":0.6,"homography":null},{"number":2,"file":"c.jpg",)" +
                R"("use":"left out","reason":"no motion",)" + unknown +
                R"("share":null,"homography":null}]})" + "\n");
}

}  // namespace
}  // namespace velmora::tool
