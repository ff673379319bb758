// Work in strips against passes over whole bands: the same output from few rows of memory.
#include "interpolation/separable_passes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "interpolation/column_plan.h"
#include "interpolation/reference.h"
#include "support/random.h"
#include "velmora_sr/plane_conversion.h"

namespace velmora {
namespace {

using test::Random;

std::vector<uint8_t> randomSamples(std::size_t count, Random& random) {
  std::vector<uint8_t> samples(count);
  for (uint8_t& sample : samples)
    sample = static_cast<uint8_t>(random.range(0, 255));
  return samples;
}

/// Two images of one geometry as pairs, as padded planes, and what becomes of them.
class StripsTest : public testing::Test {
 protected:
  void setUp(const PlaneGeometry& geometry) {
    geometry_ = geometry;
    const auto imageSize = static_cast<std::size_t>(geometry.inW) * geometry.inH;
    const auto paddedSize =
        static_cast<std::size_t>(geometry.paddedWidth()) * geometry.paddedHeight();
    Random random(imageSize);
    pairs_ = randomSamples(2 * imageSize, random);
    for (std::size_t plane = 0; plane < 2; ++plane) {
      images_[plane].resize(imageSize);
      for (std::size_t i = 0; i < imageSize; ++i)
        images_[plane][i] = pairs_[2 * i + plane];
      padded_[plane].resize(paddedSize);
      EdgeMirror(images_[plane].data(), padded_[plane].data(), geometry.pad / 2, geometry.inW,
                 geometry.inH);
      intermediate_[plane].resize(static_cast<std::size_t>(geometry.outW) *
                                  geometry.paddedHeight());
    }
    ASSERT_TRUE(columns_.build(geometry, sharpTable()));
  }

  /// Both passes; the bands of a pass in an order of their own.
  void runBands(const SeparablePlanes& planes) {
    for (const int32_t thread : {14, 12, 15, 13})
      horizontalBand(geometry_, sharpTable(), columns_.plan(), planes, thread);
    for (const int32_t thread : {13, 15, 14, 12})
      verticalBand(geometry_, sharpTable(), planes, thread);
  }

  /// The output planes of `count` padded planes.
  std::array<std::vector<uint8_t>, 2> outputOf(int32_t count, const StripWork* strips,
                                               std::array<std::vector<uint8_t>, 2>& padded) {
    const auto size = static_cast<std::size_t>(geometry_.outW) * geometry_.outH;
    std::array<std::vector<uint8_t>, 2> output = {std::vector<uint8_t>(size),
                                                  std::vector<uint8_t>(size)};
    for (auto& plane : intermediate_)
      std::fill(plane.begin(), plane.end(), int16_t{-7777});
    runBands({.count = count,
              .source = {padded[0].data(), padded[1].data()},
              .intermediate = {intermediate_[0].data(), intermediate_[1].data()},
              .destination = {output[0].data(), output[1].data()},
              .destinationPitch = geometry_.outW,
              .strips = strips});
    return output;
  }

  // Any taps: the default ones weight few of the outermost rows.
  const test::Kernels kernels_ = test::Kernels::random(50, 3);
  PlaneGeometry geometry_ = {};
  ColumnPlanOwner columns_;
  std::vector<uint8_t> pairs_;
  std::array<std::vector<uint8_t>, 2> images_, padded_;
  std::array<std::vector<int16_t>, 2> intermediate_;
};

/// Bands of many strips and of less than one, enlarged and reduced, upside down, regions inside
/// and beyond the image, a border wider than the image.
const std::vector<PlaneGeometry> kGeometries = {
    {4, 40, 300, 61, 451, 0, 0, 39, 299},  {4, 33, 257, 50, 300, 3, 7, 30, 250},
    {4, 40, 300, 41, 77, 0, 0, 39, 299},   {4, 40, 300, 41, 9, 0, 0, 39, 299},
    {4, 40, 203, 41, 500, 0, 202, 39, 0},  {4, 40, 130, 41, 200, -20, -40, 60, 190},
    {4, 20, 29, 33, 47, 0, 0, 19, 28},     {4, 9, 7, 20, 31, 0, 0, 8, 6},
    {4, 5, 1, 9, 12, 0, 0, 4, 0},          {4, 6, 3, 6, 1, 0, 0, 5, 2},
    {12, 5, 4, 9, 40, 0, 0, 4, 3},         {4, 40, 500, 17, 2000, 0, 100, 39, 101},
    {4, 40, 200, 17, 150, 0, 500, 39, 900}};

TEST_F(StripsTest, EqualPassesOverWholeBands) {
  for (std::size_t i = 0; i < kGeometries.size(); ++i) {
    SCOPED_TRACE("geometry " + std::to_string(i));
    setUp(kGeometries[i]);
    const auto whole = outputOf(2, nullptr, padded_);
    const StripWork filled;
    EXPECT_EQ(outputOf(2, &filled, padded_), whole);

    // From rows of one image, of which only a few pass through the padded plane.
    auto scratch = padded_;
    for (auto& plane : scratch)
      std::fill(plane.begin(), plane.end(), uint8_t{99});
    const StripWork fromRows = {.rows = images_[0].data(), .padded = {scratch[0].data()}};
    EXPECT_EQ(outputOf(1, &fromRows, scratch)[0], whole[0]);

    // From pairs to pairs.
    std::vector<uint8_t> out(2 * whole[0].size());
    const StripWork fromPairs = {.rows = pairs_.data(),
                                 .padded = {scratch[0].data(), scratch[1].data()},
                                 .pairs = out.data()};
    outputOf(2, &fromPairs, scratch);
    for (std::size_t k = 0; k < whole[0].size(); ++k) {
      ASSERT_EQ(out[2 * k], whole[0][k]) << k;
      ASSERT_EQ(out[2 * k + 1], whole[1][k]) << k;
    }
  }
}

/// What lies between stays in few rows: that is what strips are for.
TEST_F(StripsTest, UseFewRowsOfTheIntermediatePlane) {
  setUp({4, 40, 600, 61, 900, 0, 0, 39, 599});
  const StripWork filled;
  outputOf(1, &filled, padded_);
  int32_t used = 0;
  for (int32_t row = 0; row < geometry_.paddedHeight(); ++row)
    used += intermediate_[0][static_cast<std::size_t>(row) * geometry_.outW] != -7777 ? 1 : 0;
  EXPECT_LE(used, 4 * 4 * 8);
}

}  // namespace
}  // namespace velmora
