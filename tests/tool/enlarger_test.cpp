#include "engine/enlarger.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <utility>

#include "errors.h"
#include "support/random.h"
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

Case whole(Size input, Size output) {
  return {input, wholeOf(input), output};
}

// Every size goes through the library and must come out as the definition says, on a chroma grid of
// half the size, rounded up. Every frame gets the same treatment.
TEST(Enlarger, FollowsTheDefinition) {
  const Case cases[] = {
      // even and large enough: one library call
      whole({100, 100}, {200, 200}),
      whole({120, 100}, {242, 130}),
      // odd inputs, odd outputs, both; smaller outputs
      whole({131, 117}, {262, 234}),
      whole({130, 117}, {261, 235}),
      whole({131, 116}, {75, 71}),
      // smaller than the library takes; single rows, columns and samples, in and out
      whole({99, 99}, {198, 198}),
      whole({17, 5}, {34, 10}),
      whole({7, 130}, {21, 260}),
      whole({3, 3}, {3, 3}),
      whole({1, 40}, {2, 80}),
      whole({40, 1}, {80, 2}),
      whole({1, 1}, {3, 2}),
      whole({120, 120}, {1, 200}),
      whole({120, 120}, {200, 1}),
      // regions: even, odd, small, one pixel, at the far corner
      {{160, 140}, {10, 20, 129, 135}, {240, 232}},
      {{160, 140}, {11, 21, 130, 136}, {240, 232}},
      {{161, 141}, {1, 0, 160, 140}, {300, 280}},
      {{160, 140}, {33, 43, 61, 64}, {87, 45}},
      {{160, 140}, {77, 66, 77, 66}, {4, 4}},
      {{161, 141}, {160, 140, 160, 140}, {3, 3}}};
  for (const auto& [size, r, output] : cases) {
    SCOPED_TRACE(testing::Message() << size.width << "x" << size.height << " from " << r.left << ","
                                    << r.top << " to " << output.width << "x" << output.height);
    Enlarger enlarger(size, r, output, {});
    Picture result;
    for (const uint64_t seed : {5, 6}) {
      const Picture picture = randomPicture(size, seed);
      enlarger.enlarge(picture, result);
      ASSERT_EQ(result.size(), output);
      const Plane luma = PlainResampler(picture.y, Lanczos1D_4_2_Fix_sharp)
                             .run(r.left, r.top, r.right, r.bottom, output);
      ASSERT_EQ(result.y.samples, luma.samples);
      for (const auto& [from, to] : {std::pair{&picture.u, &result.u}, {&picture.v, &result.v}}) {
        const Plane chroma =
            PlainResampler(*from, Lanczos1D_4_2_Fix)
                .run(r.left / 2, r.top / 2, r.right / 2, r.bottom / 2, chromaSize(output));
        ASSERT_EQ(to->samples, chroma.samples);
      }
    }
  }
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

}  // namespace
}  // namespace velmora::tool
