#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "support/random.h"
#include "velmora_sr/plane_conversion.h"

namespace {

using velmora::test::Random;

/// The sample of an image at a position outside it: reflected at the edge it lies behind, and held
/// at the opposite edge where the image is too small for that.
int mirrored(int i, int n) {
  if (i < 0) return std::min(-i, n - 1);
  if (i >= n) return std::max(2 * (n - 1) - i, 0);
  return i;
}

template <typename T>
std::vector<T> expectedPlane(const std::vector<T>& image, int b, int w, int h) {
  std::vector<T> plane;
  for (int y = -b; y < h + b; ++y) {
    for (int x = -b; x < w + b; ++x)
      plane.push_back(image[static_cast<std::size_t>(mirrored(y, h) * w + mirrored(x, w))]);
  }
  return plane;
}

template <typename T>
class EdgeMirrorOf : public testing::Test {};
using SampleTypes = testing::Types<uint8_t, int16_t, float>;
TYPED_TEST_SUITE(EdgeMirrorOf, SampleTypes);

TYPED_TEST(EdgeMirrorOf, ReflectsWithoutRepeatingTheEdge) {
  const std::vector<TypeParam> image = {1, 2,  3,  4,  //
                                        5, 6,  7,  8,  //
                                        9, 10, 11, 12};
  const std::vector<TypeParam> expected = {
      11, 10, 9, 10, 11, 12, 11, 10,  //
      7,  6,  5, 6,  7,  8,  7,  6,   //
      3,  2,  1, 2,  3,  4,  3,  2,   //
      7,  6,  5, 6,  7,  8,  7,  6,   //
      11, 10, 9, 10, 11, 12, 11, 10,  //
      7,  6,  5, 6,  7,  8,  7,  6,   //
      3,  2,  1, 2,  3,  4,  3,  2,   //
  };
  std::vector<TypeParam> plane(8 * 7, TypeParam{77});
  EdgeMirror(image.data(), plane.data(), 2, 4, 3);
  EXPECT_EQ(plane, expected);
}

TYPED_TEST(EdgeMirrorOf, FillsEveryBorderInBothForms) {
  Random random(1);
  const int sizes[][2] = {{1, 1}, {1, 5}, {5, 1}, {2, 2}, {3, 2}, {4, 4}, {7, 5}, {33, 9}};
  for (const auto& size : sizes) {
    const int w = size[0];
    const int h = size[1];
    std::vector<TypeParam> image(static_cast<std::size_t>(w * h));
    for (auto& sample : image)
      sample = static_cast<TypeParam>(random.range(0, 127));
    for (const int b : {0, 1, 2, 3, 5}) {
      const auto expected = expectedPlane(image, b, w, h);
      std::vector<TypeParam> copied(expected.size(), TypeParam{99});
      EdgeMirror(image.data(), copied.data(), b, w, h);
      EXPECT_EQ(copied, expected) << w << "x" << h << " border " << b;

      std::vector<TypeParam> inPlace(expected.size(), TypeParam{99});
      const int pitch = w + 2 * b;
      for (int y = 0; y < h; ++y)
        std::copy_n(&image[static_cast<std::size_t>(y * w)], w,
                    &inPlace[static_cast<std::size_t>((y + b) * pitch + b)]);
      EdgeMirror(inPlace.data(), b, w, h);
      EXPECT_EQ(inPlace, expected) << w << "x" << h << " border " << b << " in place";
    }
  }
}

TYPED_TEST(EdgeMirrorOf, LeavesAPlaneWithoutAnImageAlone) {
  std::vector<TypeParam> plane(64, TypeParam{9});
  const std::vector<TypeParam> image(16, TypeParam{1});
  for (const auto& size : {std::pair{0, 4}, {4, 0}, {-3, 4}, {4, -3}}) {
    EdgeMirror(image.data(), plane.data(), 2, size.first, size.second);
    EdgeMirror(plane.data(), 2, size.first, size.second);
  }
  EXPECT_EQ(plane, std::vector<TypeParam>(64, TypeParam{9}));
}

}  // namespace
