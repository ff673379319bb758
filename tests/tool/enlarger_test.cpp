#include "engine/enlarger.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>

#include "errors.h"
#include "support/random.h"
#include "support/scratch_directory.h"
#include "velmora_sr/kernel_tables.h"

namespace velmora::tool {
namespace {

using velmora::test::Random;

Picture randomPicture(Size size, uint64_t seed) {
  Random random(seed);
  Picture picture(size);
  picture.y.samples = random.bytes(picture.y.samples.size());
  picture.u.samples = random.bytes(picture.u.samples.size());
  picture.v.samples = random.bytes(picture.v.samples.size());
  return picture;
}

// One plane resampled sample by sample from the definition: positions in 16.16, four taps of Q12
// along each axis, borders mirrored, 16 bits between the passes.
class PlainResampler {
 public:
  PlainResampler(const Plane& plane, const int16_t* const* table) : plane_(plane), table_(table) {}

  Plane run(int x0, int y0, int x1, int y1, Size output) const {
    const int stepX = step(x1 - x0, output.width);
    const int stepY = step(y1 - y0, output.height);
    Plane result(output);
    for (int y = 0; y < output.height; ++y) {
      for (int x = 0; x < output.width; ++x)
        result.row(y)[x] = sample(x0, y0, int64_t{x} * stepX, int64_t{y} * stepY);
    }
    return result;
  }

 private:
  static int step(int span, int count) {
    return count < 2 ? 0 : static_cast<int>(span * 65536.0 / (count - 1));
  }
  static int mirror(int i, int count) {
    while (count > 1 && (i < 0 || i >= count))
      i = i < 0 ? -i : 2 * (count - 1) - i;
    return count > 1 ? i : 0;
  }
  [[nodiscard]] const int16_t* taps(int64_t position) const {
    return table_[(G_QUANTIZATION * (position & 0xFFFF)) >> 16];
  }
  [[nodiscard]] int between(int x0, int row, int64_t position) const {
    const int16_t* k = taps(position);
    const int first = x0 + static_cast<int>(position >> 16) - 1;
    int sum = 2048;
    for (int i = 0; i < 4; ++i)
      sum +=
          k[i] * plane_.row(mirror(row, plane_.size.height))[mirror(first + i, plane_.size.width)];
    return static_cast<int16_t>(sum >> 12);
  }
  [[nodiscard]] uint8_t sample(int x0, int y0, int64_t px, int64_t py) const {
    const int16_t* k = taps(py);
    const int first = y0 + static_cast<int>(py >> 16) - 1;
    int sum = 2048;
    for (int i = 0; i < 4; ++i)
      sum += k[i] * between(x0, first + i, px);
    return static_cast<uint8_t>(std::clamp(sum >> 12, 0, 255));
  }

  const Plane& plane_;
  const int16_t* const* table_;
};

struct Case {
  Size input;
  Region region;
  Size output;
};

class Enlarging : public testing::TestWithParam<Case> {};

// Every size goes through the library and must come out as the definition says, on a chroma grid of
// half the size, rounded up.
TEST_P(Enlarging, FollowsTheDefinition) {
  const auto& [size, region, output] = GetParam();
  const Picture picture = randomPicture(size, 5);
  Enlarger enlarger(size, region, output, {});
  Picture result;
  enlarger.enlarge(picture, result);
  ASSERT_EQ(result.size(), output);

  const auto& r = region;
  const Plane luma = PlainResampler(picture.y, Lanczos1D_4_2_Fix_sharp)
                         .run(r.left, r.top, r.right, r.bottom, output);
  EXPECT_EQ(result.y.samples, luma.samples);
  const auto chroma = [&](const Plane& plane) {
    return PlainResampler(plane, Lanczos1D_4_2_Fix)
        .run(r.left / 2, r.top / 2, r.right / 2, r.bottom / 2, chromaSize(output))
        .samples;
  };
  EXPECT_EQ(result.u.samples, chroma(picture.u));
  EXPECT_EQ(result.v.samples, chroma(picture.v));
}

std::string caseName(const testing::TestParamInfo<Case>& tested) {
  const Case& c = tested.param;
  const auto number = [](int value) { return "_" + std::to_string(value); };
  return "in" + number(c.input.width) + number(c.input.height) + "_from" + number(c.region.left) +
         number(c.region.top) + "_out" + number(c.output.width) + number(c.output.height);
}

Case whole(Size input, Size output) {
  return {input, wholeOf(input), output};
}

INSTANTIATE_TEST_SUITE_P(
    Sizes, Enlarging,
    testing::Values(
        // even and large enough: one library call
        whole({100, 100}, {200, 200}), whole({132, 118}, {264, 236}),
        whole({120, 100}, {121 * 2, 130}),
        // odd inputs, odd outputs, both
        whole({131, 117}, {262, 234}), whole({130, 117}, {261, 235}), whole({131, 116}, {197, 173}),
        // smaller than the library takes
        whole({99, 99}, {198, 198}), whole({64, 48}, {128, 96}), whole({17, 5}, {34, 10}),
        whole({7, 130}, {21, 260}), whole({2, 2}, {5, 4}), whole({3, 3}, {3, 3}),
        // single rows, columns and samples, in and out
        whole({1, 40}, {2, 80}), whole({40, 1}, {80, 2}), whole({1, 1}, {3, 2}),
        whole({120, 120}, {1, 1}), whole({120, 120}, {1, 200}), whole({120, 120}, {200, 1}),
        // smaller outputs
        whole({150, 140}, {75, 71}),
        // regions: even, odd, small, one pixel, at the far corner
        Case{{160, 140}, {10, 20, 129, 135}, {240, 232}},
        Case{{160, 140}, {11, 21, 130, 136}, {240, 232}},
        Case{{161, 141}, {1, 0, 160, 140}, {300, 280}},
        Case{{160, 140}, {30, 40, 61, 63}, {64, 48}}, Case{{160, 140}, {33, 43, 61, 64}, {87, 45}},
        Case{{160, 140}, {77, 66, 77, 66}, {4, 4}}, Case{{160, 140}, {158, 138, 159, 139}, {4, 4}},
        Case{{161, 141}, {160, 140, 160, 140}, {3, 3}}),
    caseName);

TEST(Enlarger, GivesEveryFrameTheSameTreatment) {
  const Size size = {101, 77};
  Enlarger enlarger(size, wholeOf(size), {151, 99}, {});
  const Picture first = randomPicture(size, 1);
  Picture once;
  Picture again;
  enlarger.enlarge(first, once);
  enlarger.enlarge(randomPicture(size, 2), again);
  enlarger.enlarge(first, again);
  EXPECT_EQ(again.y.samples, once.y.samples);
  EXPECT_EQ(again.u.samples, once.u.samples);
  EXPECT_EQ(again.v.samples, once.v.samples);
}

TEST(Enlarger, PassesGreyAndRangeOn) {
  Picture picture = randomPicture({120, 110}, 3);
  picture.u.reset(picture.u.size, 128);
  picture.v.reset(picture.v.size, 128);
  picture.grey = true;
  picture.range = Range::limited;
  Picture result;
  Enlarger(picture.size(), wholeOf(picture.size()), {241, 221}, {}).enlarge(picture, result);
  EXPECT_TRUE(result.grey);
  EXPECT_EQ(result.range, Range::limited);
  EXPECT_EQ(result.u.samples, std::vector<uint8_t>(121 * 111, 128));
}

TEST(Enlarger, RefusesWhatWouldTakeTooMuchMemory) {
  EXPECT_THROW(Enlarger({2, 2}, wholeOf({2, 2}), {20000, 20000}, {}), Failure);
  EXPECT_THROW(Enlarger({30000, 15000}, wholeOf({30000, 15000}), {30000, 20001}, {}), Failure);
}

TEST(PlanAxis, LengthensInProportion) {
  // 32 samples, 31 steps: four times as long is the first above 99; the output grows alike.
  const AxisPlan plan = planAxis(10, 41, 64, 99);
  EXPECT_EQ(plan.start, 10);
  EXPECT_EQ(plan.end, 10 + 4 * 31);
  EXPECT_EQ(plan.produced, 4 * 63 + 1);
  EXPECT_EQ(plan.wanted, 64);
  const AxisPlan enough = planAxis(0, 99, 250, 99);
  EXPECT_EQ(enough.end, 99);
  EXPECT_EQ(enough.produced, 250);
}

TEST(TuningFiles, AreCheckedBeforeTheLibraryReplacesThem) {
  const test::ScratchDirectory folder;
  const auto refused = [&](const TuningFiles& files) {
    try {
      requireUsable(files);
    } catch (const Failure& failure) {
      return std::string(failure.what());
    }
    return std::string();
  };
  EXPECT_NE(refused({folder.path("none.xml"), ""}).find("cannot open"), std::string::npos);
  test::writeFile(folder.path("a.xml"), std::string("LowThr = 4"));
  EXPECT_NE(refused({folder.path("a.xml"), ""}).find("no XML"), std::string::npos);
  test::writeFile(folder.path("b.xml"), std::string("<Config/>"));
  EXPECT_EQ(refused({folder.path("b.xml"), ""}), "");

  EXPECT_NE(refused({"", folder.path("none")}).find("cannot open"), std::string::npos);
  std::vector<uint8_t> kernel(4 + 2 * 2 * 34 + 2 * 2 * 8);
  kernel[0] = 2;
  test::writeFile(folder.path("k"), kernel);
  EXPECT_EQ(refused({"", folder.path("k")}), "");
  kernel.pop_back();
  test::writeFile(folder.path("k"), kernel);
  EXPECT_NE(refused({"", folder.path("k")}).find("171 bytes"), std::string::npos);
  for (const uint8_t count : {uint8_t{0}, uint8_t{255}}) {
    kernel[0] = count;
    kernel[3] = count;
    test::writeFile(folder.path("k"), kernel);
    EXPECT_NE(refused({"", folder.path("k")}).find("count of 1 to 1024"), std::string::npos);
  }
}

}  // namespace
}  // namespace velmora::tool
