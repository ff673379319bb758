// The small numerical routines below RANSAC and the minimiser.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "registration/call_support.h"
#include "registration/homography/homography_fit.h"
#include "registration/homography/jacobi_eigen.h"
#include "registration/homography/matrix3.h"
#include "registration/homography/vector_math.h"
#include "velmora_sr/homography.h"

namespace velmora::test {
namespace {

constexpr float kMax = std::numeric_limits<float>::max();
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

TEST(EuclideanNorm, HoldsInAllThreeRanges) {
  const struct {
    std::vector<float> x;
    double norm;
  } cases[] = {
      {{}, 0},
      {{0, 0}, 0},
      {{-3, 4}, 5},
      {{3e-30f, 4e-30f}, 5e-30},  // squares underflow
      {{4e-30f, 0, 3e-30f}, 5e-30},
      {{3e30f, -4e30f, 1}, 5e30},  // squares overflow
      {{1, 4e30f, 3e30f}, 5e30},
      {{1e19f, 3e19f}, 3.1622777e19},  // across the upper limit
      {{3e-20f, 4e-20f}, 5e-20},       // across the lower limit
      {{kMax / 2, kMax / 2, kMax / 2}, 2.946931e38},
      {std::vector<float>(1000, 1e18f), 3.1622777e19},
      {{1e-45f}, 1.4013e-45},
  };
  for (const auto& c : cases)
    EXPECT_NEAR(euclideanNorm(c.x), c.norm, 1e-5 * c.norm) << testing::PrintToString(c.x);
  EXPECT_TRUE(std::isnan(euclideanNorm(std::vector{1.0f, kNan})));
  EXPECT_TRUE(std::isinf(euclideanNorm(std::vector{1.0f, INFINITY, 2.0f})));
}

TEST(Matrix3, IsInverted) {
  const struct {
    Matrix3 matrix, inverse;
    const char* printed;
  } cases[] = {
      {{0, 0, 2, 4, 0, 0, 0, 8, 0}, {0, .25, 0, 0, 0, .125, .5, 0, 0}, "det: 64.000000\n"},
      {{1, 2, 3, 0, 1, 4, 5, 6, 0}, {-24, 18, 5, 20, -15, -4, -5, 4, 1}, "det: 1.000000\n"},
  };
  for (const auto& c : cases) {
    Matrix3 matrix = c.matrix;
    EXPECT_EQ(printedBy([&] { MatInverse_3x3(matrix.data(), matrix.data()); }), c.printed);
    EXPECT_EQ(matrix, c.inverse);  // in place
  }
  for (const Matrix3& singular : {Matrix3{}, Matrix3{1, 2, 3, 2, 4, 6, 0, 0, 1}})
    EXPECT_FALSE(std::isfinite(invert(singular.data()).matrix[0]));
  // The first product of a cofactor is rounded, the second one fused: with e * e = 1 + 2^-11 +
  // 2^-24, which rounds to 1 + 2^-11, the determinants differ.
  const float e = 1.0f + 0x1p-12f;
  EXPECT_EQ(invert(Matrix3{1, 0, 0, 0, e, 1, 0, 1, e}.data()).determinant, 0x1p-11f);
  EXPECT_EQ(invert(Matrix3{1, 0, 0, 0, 1, e, 0, e, 1}.data()).determinant, -(0x1p-11f + 0x1p-24f));
}

TEST(JacobiEigen, EndsWhereItIsToldOrMust) {
  EigenMatrix matrix{};
  matrix[0][0] = matrix[1][1] = 1;
  matrix[0][1] = 2;
  EXPECT_EQ(jacobiEigen(matrix, 0).values[0], 1.0f);
  EXPECT_FLOAT_EQ(jacobiEigen(matrix, 1).values[0], 3.0f);
  EXPECT_FLOAT_EQ(jacobiEigen(matrix, 1).values[8], -1.0f);
  for (const float value : {kNan, INFINITY}) {
    matrix[0][1] = value;
    EXPECT_TRUE(std::isnan(jacobiEigen(matrix, 2430).vectors[0][0]));
  }
}

TEST(FitHomography, RefusesPointsOnOneAxis) {
  const auto fit = [](const std::vector<float>& ref, const std::vector<float>& match, int count) {
    return fitHomography(ref.data(), match.data(), count, 2);
  };
  const std::vector<float> square = {0, 0, 9, 0, 9, 9, 0, 9}, broken = {0, 0, 9, 0, 9, kNan, 0, 9};
  EXPECT_TRUE(fit(square, square, 4));
  EXPECT_FALSE(fit(square, square, 0));
  EXPECT_FALSE(fit(square, square, -1));
  EXPECT_TRUE(std::isnan(fit(broken, broken, 4).value()[0]));
  for (const std::vector<float>& bad :
       {std::vector<float>{5, 0, 5, 10, 5, 20, 5, 70}, {5, 9, 4, 9, 80, 9, 2, 9}}) {
    EXPECT_FALSE(fit(square, bad, 4));
    EXPECT_FALSE(fit(bad, square, 4));
  }
}

}  // namespace
}  // namespace velmora::test
