#include "velmora_sr/plane_conversion.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "interpolation/reference.h"
#include "support/page_buffer.h"
#include "support/random.h"

namespace velmora::test {
namespace {

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

// Two frames, bands and kernels of all widths are the drivers' test.
TEST(PlaneConversion, LeavesOutASecondFrameThatIsNotThere) {
  const Bytes source = {1, 2, 3, 4, 5, 6, 7, 8};
  Bytes y(4), u(2), v(2);
  SR_LumaCopyBand copy = {y.data(), nullptr, source.data(), nullptr, 2, 2, 0, 2};
  YNV12TO420EdgeMirror_ThreadFunc(&copy, 0);
  copy.width = 0;
  YNV12TO420EdgeMirror_ThreadFunc(&copy, 0);
  EXPECT_EQ(y, (Bytes{1, 2, 3, 4}));
  SR_ChromaSplitBand split = {u.data(), v.data(), nullptr, nullptr, source.data(),
                              nullptr,  1,        1,       0,       2};
  UVNV12TO420EdgeMirror_ThreadFunc(&split, 0);
  EXPECT_EQ(u, (Bytes{1, 3}));
  EXPECT_EQ(v, (Bytes{2, 4}));
}

}  // namespace
}  // namespace velmora::test
