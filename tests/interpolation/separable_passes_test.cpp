// Work in strips keeps few rows in memory; that its output is that of whole bands is the drivers'
// test.
#include "interpolation/separable_passes.h"

#include <gtest/gtest.h>

#include <vector>

#include "interpolation/column_plan.h"
#include "interpolation/reference.h"

namespace velmora {
namespace {

TEST(Strips, UseFewRowsOfTheIntermediatePlane) {
  const test::Kernels kernels = test::Kernels::lanczos(50);
  const PlaneGeometry geometry = {4, 40, 600, 61, 900, 0, 0, 39, 599};
  constexpr int16_t kUnused = -7777;
  const std::vector<uint8_t> source(44 * 604, 128);
  std::vector<int16_t> intermediate(61 * 604, kUnused);
  std::vector<uint8_t> output(61 * 900);
  ColumnPlanOwner columns;
  ASSERT_TRUE(columns.build(geometry, sharpTable()));
  const StripWork strips;
  const SeparablePlanes planes = {.source = {source.data()},
                                  .intermediate = {intermediate.data()},
                                  .destination = {output.data()},
                                  .destinationPitch = 61,
                                  .strips = &strips};
  for (const int32_t thread : {14, 12, 15, 13})
    horizontalBand(geometry, sharpTable(), columns.plan(), planes, thread);
  int32_t used = 0;
  for (std::size_t row = 0; row < 604; ++row)
    used += intermediate[row * 61] != kUnused ? 1 : 0;
  EXPECT_GT(used, 0);
  EXPECT_LE(used, 4 * 3 * 8);  // three strips of eight rows in each of the four bands
}

}  // namespace
}  // namespace velmora
