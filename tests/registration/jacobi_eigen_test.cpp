#include "registration/source/jacobi_eigen.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "support/random.h"

namespace velmora::test {
namespace {

EigenMatrix randomSymmetric(uint64_t seed) {
  Random random(seed);
  EigenMatrix matrix;
  for (std::size_t i = 0; i < kEigenOrder; ++i) {
    for (std::size_t j = i; j < kEigenOrder; ++j)
      matrix[i][j] = matrix[j][i] = static_cast<float>(random.unit() * 2 - 1);
  }
  return matrix;
}

TEST(JacobiEigen, SatisfiesTheDefinitionOfAnEigensystem) {
  for (uint64_t seed = 1; seed <= 20; ++seed) {
    SCOPED_TRACE(seed);
    const EigenMatrix matrix = randomSymmetric(seed);
    EigenMatrix upper = matrix;  // the lower triangle is not read
    for (std::size_t i = 0; i < kEigenOrder; ++i)
      std::fill_n(upper[i].begin(), i, 100.0f);
    const EigenSystem system = jacobiEigen(upper, 162);
    EXPECT_TRUE(std::is_sorted(system.values.rbegin(), system.values.rend()));
    for (std::size_t e = 0; e < kEigenOrder; ++e) {
      const auto& v = system.vectors[e];
      for (std::size_t i = 0; i < kEigenOrder; ++i) {
        double image = 0;
        for (std::size_t j = 0; j < kEigenOrder; ++j)
          image += double{matrix[i][j]} * v[j];
        EXPECT_NEAR(image, double{system.values[e]} * v[i], 4e-6);
      }
      for (std::size_t other = 0; other <= e; ++other) {
        double product = 0;
        for (std::size_t j = 0; j < kEigenOrder; ++j)
          product += double{v[j]} * system.vectors[other][j];
        EXPECT_NEAR(product, e == other ? 1 : 0, 4e-6);
      }
    }
  }
}

TEST(JacobiEigen, RotatesNoMoreThanAllowed) {
  EigenMatrix matrix{};
  matrix[0][1] = 2;
  matrix[0][0] = 1;
  matrix[1][1] = 1;
  EXPECT_EQ(jacobiEigen(matrix, 0).values[0], 1.0f);
  const EigenSystem system = jacobiEigen(matrix, 1);
  EXPECT_FLOAT_EQ(system.values[0], 3.0f);
  EXPECT_FLOAT_EQ(system.values[8], -1.0f);
}

TEST(JacobiEigen, EndsForValuesThatAreNotFinite) {
  for (const float value :
       {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
    EigenMatrix matrix = randomSymmetric(1);
    matrix[0][1] = value;
    EXPECT_TRUE(std::isnan(jacobiEigen(matrix, 2430).vectors[0][0]));
  }
}

}  // namespace
}  // namespace velmora::test
