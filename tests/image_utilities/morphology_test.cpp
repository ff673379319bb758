#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "support/guarded_buffer.h"
#include "support/random.h"
#include "velmora_sr/image_utilities.h"

namespace {

using testing::Each;
using velmora::test::GuardedBuffer;
using velmora::test::Random;

using Plane = std::vector<uint8_t>;
using Function = void (*)(uint8_t*, uint8_t*, int32_t, int32_t, int32_t);

struct Operation {
  const char* name;
  Function function;
  bool erodes;
  bool cross;
};

const Operation kOperations[] = {{"ErodeWith3x3Cross", ErodeWith3x3Cross, true, true},
                                 {"ErodeWith3x3Rect", ErodeWith3x3Rect, true, false},
                                 {"DilateWith3x3Cross", DilateWith3x3Cross, false, true},
                                 {"DilateWith3x3Rect", DilateWith3x3Rect, false, false}};

Plane apply(Function function, const Plane& plane, int width, int height, int iterations) {
  GuardedBuffer<uint8_t> image(plane);
  GuardedBuffer<uint8_t> scratch(plane.size());
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
      int value = operation.erodes ? 255 : 0;
      for (int dy = -1; dy <= 1; ++dy) {
        for (int dx = -1; dx <= 1; ++dx) {
          if (operation.cross && dx != 0 && dy != 0) continue;
          value = operation.erodes ? value & at(y + dy, x + dx) : value | at(y + dy, x + dx);
        }
      }
      result[static_cast<std::size_t>(y * width + x)] = static_cast<uint8_t>(value);
    }
  }
  return result;
}

/// A mask from a drawing: # is 255, . is 0.
Plane mask(const std::string& drawing) {
  Plane plane;
  for (const char c : drawing)
    plane.push_back(c == '#' ? 255 : 0);
  return plane;
}

TEST(Dilate, GrowsOneSampleIntoTheElement) {
  const Plane dot = mask(
      "......."
      "......."
      "......."
      "...#..."
      "......."
      "......."
      ".......");
  EXPECT_EQ(apply(DilateWith3x3Cross, dot, 7, 7, 1), mask("......."
                                                          "......."
                                                          "...#..."
                                                          "..###.."
                                                          "...#..."
                                                          "......."
                                                          "......."));
  EXPECT_EQ(apply(DilateWith3x3Cross, dot, 7, 7, 2), mask("......."
                                                          "...#..."
                                                          "..###.."
                                                          ".#####."
                                                          "..###.."
                                                          "...#..."
                                                          "......."));
  EXPECT_EQ(apply(DilateWith3x3Rect, dot, 7, 7, 1), mask("......."
                                                         "......."
                                                         "..###.."
                                                         "..###.."
                                                         "..###.."
                                                         "......."
                                                         "......."));
  // The border is cleared even where the element reaches it.
  EXPECT_EQ(apply(DilateWith3x3Rect, dot, 7, 7, 9), mask("......."
                                                         ".#####."
                                                         ".#####."
                                                         ".#####."
                                                         ".#####."
                                                         ".#####."
                                                         "......."));
}

TEST(Erode, ShrinksAFullPlaneFromItsBorder) {
  const Plane full(36, 255);
  for (const Function erode : {ErodeWith3x3Cross, ErodeWith3x3Rect}) {
    EXPECT_EQ(apply(erode, full, 6, 6, 1), mask("......"
                                                ".####."
                                                ".####."
                                                ".####."
                                                ".####."
                                                "......"));
    EXPECT_EQ(apply(erode, full, 6, 6, 2), mask("......"
                                                "......"
                                                "..##.."
                                                "..##.."
                                                "......"
                                                "......"));
    EXPECT_THAT(apply(erode, full, 6, 6, 3), Each(0));
  }
}

TEST(Morphology, EqualsThePlainLoopOnRandomPlanes) {
  constexpr int kLeast = std::numeric_limits<int>::min();
  Random random(3);
  for (const Operation& operation : kOperations) {
    for (const int width : {1, 2, 3, 4, 17, 18, 19, 34, 67}) {
      for (const int height : {1, 2, 3, 5, 8}) {
        SCOPED_TRACE(testing::Message() << operation.name << " " << width << "x" << height);
        Plane plane = random.bytes(static_cast<std::size_t>(width * height));
        // Sparse enough that erosion and dilation both leave something to see.
        for (uint8_t& value : plane)
          value = static_cast<uint8_t>(operation.erodes ? value | random.next() | random.next()
                                                        : value & random.next() & random.next());
        Plane expected = plane;
        EXPECT_EQ(apply(operation.function, plane, width, height, kLeast), plane);
        for (int iterations = 0; iterations <= 3; ++iterations) {
          ASSERT_EQ(apply(operation.function, plane, width, height, iterations), expected)
              << iterations;
          expected = plain(operation, expected, width, height);
        }
      }
    }
  }
}

TEST(Morphology, ErosionAndDilationAreDualAwayFromTheBorder) {
  Random random(4);
  const int width = 40;
  const int height = 20;
  Plane plane = random.bytes(width * height);
  for (uint8_t& value : plane)
    value = value < 128 ? 0 : 255;
  Plane inverse = plane;
  for (uint8_t& value : inverse)
    value = static_cast<uint8_t>(255 - value);
  const Plane eroded = apply(ErodeWith3x3Cross, plane, width, height, 1);
  const Plane dilated = apply(DilateWith3x3Cross, inverse, width, height, 1);
  const Plane erodedRect = apply(ErodeWith3x3Rect, plane, width, height, 1);
  const Plane dilatedRect = apply(DilateWith3x3Rect, inverse, width, height, 1);
  for (int y = 1; y < height - 1; ++y) {
    for (int x = 1; x < width - 1; ++x) {
      const auto i = static_cast<std::size_t>(y * width + x);
      EXPECT_EQ(eroded[i], 255 - dilated[i]);
      EXPECT_EQ(erodedRect[i], 255 - dilatedRect[i]);
    }
  }
}

TEST(Morphology, HugeCountsEnd) {
  Plane dot(25 * 25, 0);
  dot[12 * 25 + 12] = 7;
  Plane expected(25 * 25, 0);
  for (std::size_t y = 1; y < 24; ++y) {
    for (std::size_t x = 1; x < 24; ++x)
      expected[y * 25 + x] = 7;
  }
  constexpr int kHuge = std::numeric_limits<int>::max();
  EXPECT_EQ(apply(DilateWith3x3Cross, dot, 25, 25, kHuge), expected);
  EXPECT_THAT(apply(ErodeWith3x3Rect, Plane(25 * 25, 255), 25, 25, kHuge), Each(0));
}

TEST(Morphology, EmptyPlanesAreLeftAlone) {
  Plane samples(4, 255);
  Plane scratch(4, 1);
  for (const Operation& operation : kOperations) {
    operation.function(samples.data(), scratch.data(), 0, 4, 1);
    operation.function(samples.data(), scratch.data(), 4, 0, 1);
    operation.function(samples.data(), scratch.data(), -2, -2, 1);
    operation.function(nullptr, scratch.data(), 2, 2, 1);
    operation.function(samples.data(), nullptr, 2, 2, 1);
  }
  EXPECT_THAT(samples, Each(255));
  EXPECT_THAT(scratch, Each(1));
}

}  // namespace
