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

Picture randomPicture(Size size, uint64_t seed) {
  velmora::test::Random random(seed);
  Picture picture(size);
  picture.y.samples = random.bytes(picture.y.samples.size());
  picture.u.samples = random.bytes(picture.u.samples.size());
  picture.v.samples = random.bytes(picture.v.samples.size());
  return picture;
}

/// A sample of an axis of n, which goes on mirrored.
int mirrored(int i, int n) {
  while (n > 1 && (i < 0 || i >= n))
    i = i < 0 ? -i : 2 * (n - 1) - i;
  return n > 1 ? i : 0;
}

/// Where output sample k of an axis lies, 16.16.
int64_t position(int first, int last, int count, int k) {
  const int step = count < 2 ? 0 : static_cast<int>((last - first) * 65536.0 / (count - 1));
  return int64_t{first} * 65536 + int64_t{k} * step;
}

// One plane resampled sample by sample from the definition: positions in 16.16, four taps of Q12
// along each axis, borders mirrored, 16 bits between the passes.
Plane resampled(const Plane& plane, const int16_t* const* table, Region r, Size output) {
  const auto taps = [&](int64_t at) { return table[(G_QUANTIZATION * (at & 0xFFFF)) >> 16]; };
  Plane result(output);
  for (int k = 0; k < output.width * output.height; ++k) {
    const int64_t x = position(r.left, r.right, output.width, k % output.width);
    const int64_t y = position(r.top, r.bottom, output.height, k / output.width);
    int sum = 2048;
    for (int i = 0; i < 4; ++i) {
      const uint8_t* row =
          plane.row(mirrored(static_cast<int>(y >> 16) - 1 + i, plane.size.height));
      int across = 2048;
      for (int j = 0; j < 4; ++j)
        across += taps(x)[j] * row[mirrored(static_cast<int>(x >> 16) - 1 + j, plane.size.width)];
      sum += taps(y)[i] * static_cast<int16_t>(across >> 12);
    }
    result.samples[static_cast<std::size_t>(k)] =
        static_cast<uint8_t>(std::clamp(sum >> 12, 0, 255));
  }
  return result;
}

// Every size goes through the library and must come out as the definition says, on a chroma grid of
// half the size, rounded up. Every frame gets the same treatment.
TEST(Enlarger, FollowsTheDefinition) {
  const struct {
    Size input;
    Region region;
    Size output;
  } cases[] = {// large enough and even, which takes one library call; odd; a smaller output
               {{120, 100}, {0, 0, 119, 99}, {242, 130}},
               {{131, 116}, {0, 0, 130, 115}, {75, 71}},
               {{130, 117}, {0, 0, 129, 116}, {261, 235}},
               // smaller than the library takes; single rows, columns and samples, in and out
               {{99, 99}, {0, 0, 98, 98}, {198, 198}},
               {{17, 5}, {0, 0, 16, 4}, {34, 10}},
               {{3, 3}, {0, 0, 2, 2}, {3, 3}},
               {{1, 40}, {0, 0, 0, 39}, {2, 80}},
               {{40, 1}, {0, 0, 39, 0}, {80, 2}},
               {{120, 120}, {0, 0, 119, 119}, {1, 200}},
               {{120, 120}, {0, 0, 119, 119}, {200, 1}},
               // regions: even, odd, small, one pixel at the far corner
               {{160, 140}, {10, 20, 129, 135}, {240, 232}},
               {{161, 141}, {11, 21, 130, 136}, {241, 232}},
               {{160, 140}, {33, 43, 61, 64}, {87, 45}},
               {{161, 141}, {160, 140, 160, 140}, {3, 3}}};
  for (const auto& [size, r, output] : cases) {
    SCOPED_TRACE(testing::Message() << size.width << "x" << size.height << " from " << r.left << ","
                                    << r.top << " to " << output.width << "x" << output.height);
    Enlarger enlarger(size, r, output, {});
    Picture result;
    for (const uint64_t seed : {5, 6}) {
      Picture picture = randomPicture(size, seed);
      if (seed == 6) picture.alpha = randomPicture(size, 7).y;
      enlarger.enlarge(picture, result);
      ASSERT_EQ(result.size(), output);
      ASSERT_EQ(result.y.samples, resampled(picture.y, Lanczos1D_4_2_Fix_sharp, r, output).samples);
      if (seed == 6) {
        ASSERT_EQ(result.alpha.samples,
                  resampled(picture.alpha, Lanczos1D_4_2_Fix_sharp, r, output).samples);
      }
      const Region half = {r.left / 2, r.top / 2, r.right / 2, r.bottom / 2};
      for (const auto& [from, to] : {std::pair{&picture.u, &result.u}, {&picture.v, &result.v}}) {
        const Plane chroma = resampled(*from, Lanczos1D_4_2_Fix, half, chromaSize(output));
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
