#include <gtest/gtest.h>

#include <climits>
#include <vector>

#include "support/page_buffer.h"
#include "support/random.h"
#include "velmora_sr/image_utilities.h"

namespace {

using velmora::test::PageBuffer;

using Plane = std::vector<uint8_t>;
using Function = void (*)(uint8_t*, uint8_t*, int32_t, int32_t, int32_t);

struct Operation {
  Function function;
  bool erodes, cross;
};
const Operation kOperations[] = {{ErodeWith3x3Cross, true, true},
                                 {ErodeWith3x3Rect, true, false},
                                 {DilateWith3x3Cross, false, true},
                                 {DilateWith3x3Rect, false, false}};

Plane apply(Function function, const Plane& plane, int width, int height, int iterations) {
  const PageBuffer<uint8_t> image(plane);
  const PageBuffer<uint8_t> scratch(plane.size());
  function(image.data(), scratch.data(), width, height, iterations);
  EXPECT_TRUE(image.intact() && scratch.intact());
  return image.values();
}

/// One iteration, sample by sample.
Plane plain(const Operation& operation, const Plane& plane, int width, int height) {
  Plane result(plane.size(), 0);
  const auto at = [&](int y, int x) { return plane[static_cast<std::size_t>(y * width + x)]; };
  for (int y = 1; y < height - 1; ++y) {
    for (int x = 1; x < width - 1; ++x) {
      int value = at(y, x);
      for (int i = 0; i < 9; ++i) {
        if (operation.cross && i % 2 == 0) continue;
        const int other = at(y + i / 3 - 1, x + i % 3 - 1);
        value = operation.erodes ? value & other : value | other;
      }
      result[static_cast<std::size_t>(y * width + x)] = static_cast<uint8_t>(value);
    }
  }
  return result;
}

TEST(Morphology, EqualsThePlainLoopOnRandomPlanes) {
  velmora::test::Random random(3);
  for (const Operation& operation : kOperations) {
    for (const int width : {1, 2, 3, 4, 17, 34, 67}) {
      for (const int height : {1, 2, 3, 5, 8}) {
        Plane plane = random.bytes(static_cast<std::size_t>(width * height));
        // Sparse enough that erosion and dilation both leave something to see.
        for (uint8_t& value : plane)
          value = static_cast<uint8_t>(operation.erodes ? value | random.next() | random.next()
                                                        : value & random.next() & random.next());
        Plane expected = plane;
        EXPECT_EQ(apply(operation.function, plane, width, height, INT_MIN), plane);
        for (int iterations = 0; iterations <= 3; ++iterations) {
          ASSERT_EQ(apply(operation.function, plane, width, height, iterations), expected)
              << width << "x" << height << ", erodes: " << operation.erodes << ", " << iterations;
          expected = plain(operation, expected, width, height);
        }
      }
    }
  }
}

TEST(Morphology, EndsHugeCountsAndLeavesEmptyPlanesAlone) {
  const Plane expected = {0, 0, 0, 0, 0, 7, 7, 0, 0, 0, 0, 0};
  Plane samples = apply(DilateWith3x3Cross, {0, 0, 0, 0, 0, 7, 0, 0, 0, 0, 0, 0}, 4, 3, INT_MAX);
  Plane scratch = expected;
  for (const Operation& operation : kOperations) {
    for (const auto& [width, height] : {std::pair{0, 4}, {4, 0}, {-2, -2}})
      operation.function(samples.data(), scratch.data(), width, height, 1);
    operation.function(nullptr, scratch.data(), 2, 2, 1);
    operation.function(samples.data(), nullptr, 2, 2, 1);
  }
  EXPECT_EQ(samples, expected);
  EXPECT_EQ(scratch, expected);
}

}  // namespace
