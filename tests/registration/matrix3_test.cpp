#include "registration/source/matrix3.h"

#include <gtest/gtest.h>

#include <cmath>

#include "registration/call_support.h"
#include "velmora_sr/homography.h"

namespace velmora::test {
namespace {

TEST(MatInverse3x3, InvertsAndPrintsTheDeterminant) {
  const struct {
    Matrix3 matrix, inverse;
    const char* printed;
  } cases[] = {
      {{1, 0, 0, 0, 1, 0, 0, 0, 1}, {1, 0, 0, 0, 1, 0, 0, 0, 1}, "det: 1.000000\n"},
      {{0, 0, 2, 4, 0, 0, 0, 8, 0}, {0, .25, 0, 0, 0, .125, .5, 0, 0}, "det: 64.000000\n"},
      {{1, 2, 3, 0, 1, 4, 5, 6, 0}, {-24, 18, 5, 20, -15, -4, -5, 4, 1}, "det: 1.000000\n"},
      {{1, 0, 7, 0, 1, -9, 0, 0, 1}, {1, 0, -7, 0, 1, 9, 0, 0, 1}, "det: 1.000000\n"},
  };
  for (const auto& c : cases) {
    Matrix3 matrix = c.matrix;
    EXPECT_EQ(printedBy([&] { MatInverse_3x3(matrix.data(), matrix.data()); }), c.printed);
    EXPECT_EQ(matrix, c.inverse);  // in place
  }
}

TEST(MatInverse3x3, RoundsTheFirstProductOfACofactorAndFusesTheSecond) {
  const float e = 1.0f + 0x1p-12f;  // e * e = 1 + 2^-11 + 2^-24 rounds to 1 + 2^-11
  Matrix3 first = {1, 0, 0, 0, e, 1, 0, 1, e};
  EXPECT_EQ(invert(first.data()).determinant, 0x1p-11f);
  Matrix3 second = {1, 0, 0, 0, 1, e, 0, e, 1};
  EXPECT_EQ(invert(second.data()).determinant, -(0x1p-11f + 0x1p-24f));
}

TEST(MatInverse3x3, GivesValuesThatAreNotFiniteForSingularMatrices) {
  for (Matrix3 matrix : {Matrix3{}, Matrix3{1, 2, 3, 2, 4, 6, 0, 0, 1}}) {
    EXPECT_FALSE(std::isfinite(invert(matrix.data()).matrix[0]));
  }
}

TEST(Multiply, MultipliesRowsByColumns) {
  EXPECT_EQ(multiply({1, 2, 3, 4, 5, 6, 7, 8, 9}, {2, 0, 1, 0, 1, 3, 5, 0, 2}),
            (Matrix3{17, 2, 13, 38, 5, 31, 59, 8, 49}));
}

}  // namespace
}  // namespace velmora::test
