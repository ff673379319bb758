#include "velmora_sr/plane_conversion.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <vector>

#include "support/page_buffer.h"
#include "support/random.h"

namespace velmora::test {
namespace {

/// The sample of an image at a position outside it: reflected at the edge it lies behind, and held
/// at the opposite edge where the image is too small for that.
int mirrored(int i, int n) {
  if (i < 0) return std::min(-i, n - 1);
  if (i >= n) return std::max(2 * (n - 1) - i, 0);
  return i;
}

template <typename T>
class EdgeMirrorOf : public testing::Test {};
using SampleTypes = testing::Types<uint8_t, int16_t, float>;
TYPED_TEST_SUITE(EdgeMirrorOf, SampleTypes);

TYPED_TEST(EdgeMirrorOf, FillsEveryBorderInBothForms) {
  Random random(1);
  for (const auto& [w, h] : {std::pair{1, 1}, {1, 5}, {5, 1}, {2, 2}, {3, 2}, {4, 4}, {33, 9}}) {
    std::vector<TypeParam> image(static_cast<std::size_t>(w * h));
    for (auto& sample : image)
      sample = static_cast<TypeParam>(random.range(0, 127));
    for (const int b : {0, 1, 2, 3, 5}) {
      SCOPED_TRACE(testing::Message() << w << "x" << h << ", border " << b);
      std::vector<TypeParam> expected;
      for (int y = -b; y < h + b; ++y) {
        for (int x = -b; x < w + b; ++x)
          expected.push_back(image[static_cast<std::size_t>(mirrored(y, h) * w + mirrored(x, w))]);
      }
      const PageBuffer<TypeParam> copied(expected.size());
      EdgeMirror(image.data(), copied.data(), b, w, h);
      EXPECT_EQ(copied.values(), expected);
      const PageBuffer<TypeParam> inPlace(expected.size());
      for (int y = 0; y < h; ++y)
        std::copy_n(image.data() + y * w, w, inPlace.data() + (y + b) * (w + 2 * b) + b);
      EdgeMirror(inPlace.data(), b, w, h);
      EXPECT_EQ(inPlace.values(), expected);
      EXPECT_TRUE(copied.intact() && inPlace.intact());
    }
  }
}

TYPED_TEST(EdgeMirrorOf, LeavesAPlaneWithoutAnImageAlone) {
  std::vector<TypeParam> plane(64, TypeParam{9});
  const std::vector<TypeParam> image(16, TypeParam{1});
  for (const auto& [w, h] : {std::pair{0, 4}, {4, 0}, {-3, 4}, {4, -3}}) {
    EdgeMirror(image.data(), plane.data(), 2, w, h);
    EdgeMirror(plane.data(), 2, w, h);
  }
  EXPECT_EQ(plane, std::vector<TypeParam>(64, TypeParam{9}));
}

using Bytes = std::vector<uint8_t>;

constexpr int kRows = 11;
constexpr int kBorder = 2;

/// A padded plane whose interior is written, if any of it is.
struct Plane {
  explicit Plane(int w)
      : width(w), samples(static_cast<std::size_t>((kRows + 2 * kBorder) * (w + 2 * kBorder))) {}
  uint8_t* row(int y) const {
    return samples.data() + (kBorder + y) * (width + 2 * kBorder) + kBorder;
  }
  /// Expects every `step`-th of the bytes from `offset` on, and nothing around them; or nothing.
  void expect(const Bytes* bytes, int step, int offset) const {
    Plane expected(width);
    for (int i = 0; bytes != nullptr && i < kRows * width; ++i)
      expected.row(i / width)[i % width] = (*bytes)[static_cast<std::size_t>(step * i + offset)];
    EXPECT_EQ(samples.values(), expected.samples.values());
    EXPECT_TRUE(samples.intact());
  }
  int width;
  PageBuffer<uint8_t> samples;
};

// Widths around the blocks of 8 and 16 that vector code works in; one frame and two; bands that
// cover all rows, an empty one among them.
TEST(PlaneConversion, CopiesSplitsAndMergesBandByBand) {
  constexpr int kBandStarts[] = {0, 2, 2, 5, kRows};
  Random random(2);
  for (const int width : {1, 2, 7, 8, 9, 15, 16, 17, 31, 32, 33, 67}) {
    for (const bool two : {false, true}) {
      SCOPED_TRACE(testing::Message() << width << (two ? " samples, two frames" : " samples"));
      const Bytes luma[] = {random.bytes(kRows * width), random.bytes(kRows * width)};
      const Bytes chroma[] = {random.bytes(kRows * 2 * width), random.bytes(kRows * 2 * width)};
      const Plane y[] = {Plane(width), Plane(width)};
      const Plane u[] = {Plane(width), Plane(width)};
      const Plane v[] = {Plane(width), Plane(width)};
      const PageBuffer<uint8_t> merged(static_cast<std::size_t>(kRows * 2 * width));
      for (int i = 0; i < 4; ++i) {
        const int first = kBandStarts[i];
        const int end = kBandStarts[i + 1];
        const int pitch = width + 2 * kBorder;
        const auto from = [&](const Bytes& frame, int step) {
          return frame.data() + first * step * width;
        };
        SR_LumaCopyBand copy = {y[0].row(0),
                                two ? y[1].row(0) : nullptr,
                                from(luma[0], 1),
                                two ? from(luma[1], 1) : nullptr,
                                width,
                                pitch,
                                first,
                                end};
        YNV12TO420EdgeMirror_ThreadFunc(&copy, i);
        SR_ChromaSplitBand split = {u[0].row(0),
                                    v[0].row(0),
                                    two ? u[1].row(0) : nullptr,
                                    two ? v[1].row(0) : nullptr,
                                    from(chroma[0], 2),
                                    two ? from(chroma[1], 2) : nullptr,
                                    width,
                                    pitch,
                                    first,
                                    end};
        UVNV12TO420EdgeMirror_ThreadFunc(&split, i);
        SR_ChromaMergeBand merge = {from(luma[0], 1),
                                    from(luma[1], 1),
                                    merged.data() + first * 2 * width,
                                    width,
                                    first,
                                    end};
        UVNV12TO420_ThreadFunc(&merge, i);
      }
      for (const int frame : {0, 1}) {
        const bool written = frame == 0 || two;
        y[frame].expect(written ? &luma[frame] : nullptr, 1, 0);
        u[frame].expect(written ? &chroma[frame] : nullptr, 2, 0);
        v[frame].expect(written ? &chroma[frame] : nullptr, 2, 1);
      }
      const Bytes pairs = merged.values();
      for (std::size_t i = 0; i < pairs.size(); ++i)
        ASSERT_EQ(pairs[i], luma[i % 2][i / 2]) << i;
    }
  }
}

}  // namespace
}  // namespace velmora::test
