// The small numerical routines below RANSAC and the minimiser.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "registration/call_support.h"
#include "registration/source/homography_fit.h"
#include "registration/source/jacobi_eigen.h"
#include "registration/source/matrix3.h"
#include "registration/source/natural_logarithm.h"
#include "registration/source/vector_math.h"
#include "registration/synthetic_pairs.h"
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

TEST(NaturalLogarithm, EqualsTheLibraryToAFewUnitsInTheLastPlace) {
  Random random(1);
  std::vector<double> arguments = {std::numeric_limits<double>::min(), 0x1p-126};
  for (int i = 0; i < 20000; ++i) {
    arguments.push_back(random.unit() + 0x1p-60);                         // shares
    arguments.push_back(1.0 - std::ldexp(random.unit(), -i % 50));        // close below 1
    arguments.push_back(std::ldexp(1 + random.unit(), i % 2000 - 1000));  // all magnitudes
  }
  for (const double x : arguments) {
    const double expected = std::log(x);
    EXPECT_NEAR(naturalLogarithm(x), expected, 4 * 0x1p-53 * std::abs(expected)) << x;
  }
  EXPECT_EQ(naturalLogarithm(1.0), 0.0);
}

TEST(Matrix3, IsMultipliedAndInverted) {
  EXPECT_EQ(multiply({1, 2, 3, 4, 5, 6, 7, 8, 9}, {2, 0, 1, 0, 1, 3, 5, 0, 2}),
            (Matrix3{17, 2, 13, 38, 5, 31, 59, 8, 49}));
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

/// The upper triangle of a random symmetric matrix; the lower one is not read.
EigenMatrix randomUpper(uint64_t seed) {
  Random random(seed);
  EigenMatrix matrix;
  for (std::size_t i = 0; i < kEigenOrder; ++i) {
    for (std::size_t j = 0; j < kEigenOrder; ++j)
      matrix[i][j] = j < i ? 100.0f : static_cast<float>(random.unit() * 2 - 1);
  }
  return matrix;
}

TEST(JacobiEigen, SatisfiesTheDefinitionOfAnEigensystem) {
  for (uint64_t seed = 1; seed <= 20; ++seed) {
    SCOPED_TRACE(seed);
    const EigenMatrix matrix = randomUpper(seed);
    const auto [values, vectors] = jacobiEigen(matrix, 162);
    EXPECT_TRUE(std::is_sorted(values.rbegin(), values.rend()));
    for (std::size_t e = 0; e < kEigenOrder; ++e) {
      for (std::size_t i = 0; i < kEigenOrder; ++i) {
        double image = 0, product = 0;  // with row i, and with eigenvector i
        for (std::size_t j = 0; j < kEigenOrder; ++j) {
          image += double{matrix[std::min(i, j)][std::max(i, j)]} * vectors[e][j];
          product += double{vectors[e][j]} * vectors[i][j];
        }
        EXPECT_NEAR(image, double{values[e]} * vectors[e][i], 4e-6);
        EXPECT_NEAR(product, e == i ? 1 : 0, 4e-6);
      }
    }
  }
}

TEST(JacobiEigen, EndsWhereItIsToldOrMust) {
  EigenMatrix matrix{};
  matrix[0][0] = matrix[1][1] = 1;
  matrix[0][1] = 2;
  EXPECT_EQ(jacobiEigen(matrix, 0).values[0], 1.0f);
  EXPECT_FLOAT_EQ(jacobiEigen(matrix, 1).values[0], 3.0f);
  EXPECT_FLOAT_EQ(jacobiEigen(matrix, 1).values[8], -1.0f);
  for (const float value : {kNan, INFINITY}) {
    matrix = randomUpper(1);
    matrix[0][1] = value;
    EXPECT_TRUE(std::isnan(jacobiEigen(matrix, 2430).vectors[0][0]));
  }
}

TEST(FitHomography, GivesTheSameBitsOnEveryMachine) {
  // The digests are those of a second implementation with full matrices. That the fit is a good one
  // is for the tests of its refinement.
  const struct {
    int count;
    int sweeps;
    uint32_t digest;
  } cases[] = {
      {4, 2, 0x7A0C337Au}, {5, 30, 0xC9EE577Du}, {23, 2, 0x22DDD1B2u}, {400, 30, 0xFE09DE21u}};
  for (const auto& c : cases) {
    Digest digest;
    for (uint64_t seed = 1; seed < 20; ++seed) {
      Random random(seed);
      Pairs pairs;
      fill(pairs,
           {.motion = tilted(4000, 3000, 1, 1.02, 5, -9, 4e-6, -3e-6),
            .count = c.count,
            .noise = 2,
            .wholePixels = true},
           random);
      const auto h = fitHomography(pairs.ref.data(), pairs.match.data(), c.count, c.sweeps);
      ASSERT_TRUE(h);
      digest.addAll(*h);
    }
    EXPECT_EQ(digest.value(), c.digest) << c.count << " pairs, " << c.sweeps << " sweeps";
  }
}

TEST(FitHomography, RefusesPointsOnOneAxis) {
  const std::vector<float> square = {0, 0, 100, 0, 100, 100, 0, 100},
                           broken = {0, 0, 9, 0, 9, kNan};
  const auto fit = [](const std::vector<float>& ref, const std::vector<float>& match, int count) {
    return fitHomography(ref.data(), match.data(), count, 2);
  };
  EXPECT_TRUE(fit(square, square, 4));
  for (const std::vector<float>& bad :
       {std::vector<float>{5, 0, 5, 10, 5, 20, 5, 70}, {5, 9, 4, 9, 80, 9, 2, 9}}) {
    EXPECT_FALSE(fit(square, bad, 4));
    EXPECT_FALSE(fit(bad, square, 4));
  }
  EXPECT_FALSE(fit(square, square, 0));
  EXPECT_FALSE(fit(square, square, -1));
  EXPECT_TRUE(std::isnan(fit(broken, broken, 3).value()[0]));
}

}  // namespace
}  // namespace velmora::test
