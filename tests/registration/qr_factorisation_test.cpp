#include "registration/source/qr_factorisation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "registration/source/damping_parameter.h"
#include "support/random.h"

namespace {

using velmora::ColumnMatrix;
using velmora::LinearProblem;
using velmora::test::Random;

/// A matrix with its factorisation and the right-hand side that belongs to it.
struct System {
  std::size_t m, n;
  std::vector<float> a, factors, b, qtb, rDiagonal, norms, work;
  std::vector<int32_t> pivots;

  System(std::size_t rows, std::size_t columns, uint64_t seed)
      : m(rows), n(columns), a(m * n), b(m), rDiagonal(n), norms(n), work(n), pivots(n) {
    Random random(seed);
    for (std::size_t i = 0; i < a.size(); ++i)  // columns of very different size
      a[i] = static_cast<float>((random.unit() - 0.5) * std::pow(10.0, double(i / m)));
    for (float& value : b)
      value = static_cast<float>(random.unit() - 0.5);
    factorise();
  }
  void factorise() {
    factors = a;
    qtb = b;
    velmora::factoriseQr(matrix(), pivots, rDiagonal, norms, work);
    velmora::applyQTransposed(matrix(), qtb);
  }
  ColumnMatrix matrix() { return {factors.data(), m, n}; }
  /// R with its diagonal in place.
  ColumnMatrix triangle() {
    for (std::size_t j = 0; j < n; ++j)
      matrix().at(j, j) = rDiagonal[j];
    return matrix();
  }
  /// A^T A x + p D D x - A^T b, relative to A^T b per parameter.
  double gradient(const std::vector<float>& x, const std::vector<float>& d, double p) const {
    double worst = 0;
    for (std::size_t j = 0; j < n; ++j) {
      double sum = p * d[j] * d[j] * x[j];
      double size = std::abs(sum);
      for (std::size_t i = 0; i < m; ++i) {
        double residual = -double{b[i]};
        for (std::size_t k = 0; k < n; ++k)
          residual += double{a[k * m + i]} * x[k];
        sum += a[j * m + i] * residual;
        size += std::abs(a[j * m + i] * double{b[i]});
      }
      worst = std::max(worst, std::abs(sum) / size);
    }
    return worst;
  }
};

TEST(FactoriseQr, KeepsTheInnerProductsOfTheColumns) {
  // R^T R = P^T A^T A P, with the magnitudes on R's diagonal falling.
  for (const auto& [rows, columns] : {std::pair<std::size_t, std::size_t>{1, 1}, {4, 4}, {30, 9}}) {
    System s(rows, columns, rows);
    const ColumnMatrix r = s.triangle();
    for (std::size_t j = 0; j < columns; ++j) {
      if (j > 0) {
        EXPECT_LE(std::abs(s.rDiagonal[j]), std::abs(s.rDiagonal[j - 1]) * 1.001f);
      }
      for (std::size_t k = 0; k <= j; ++k) {
        const auto p = static_cast<std::size_t>(s.pivots[j]);
        const auto q = static_cast<std::size_t>(s.pivots[k]);
        double expected = 0;
        for (std::size_t i = 0; i < rows; ++i)
          expected += double{s.a[p * rows + i]} * s.a[q * rows + i];
        double product = 0;
        for (std::size_t i = 0; i <= k; ++i)
          product += double{r.at(i, j)} * r.at(i, k);
        EXPECT_NEAR(product, expected, 2e-6 * double{s.norms[p]} * s.norms[q]);
      }
    }
    std::vector<int32_t> sorted = s.pivots;
    std::sort(sorted.begin(), sorted.end());
    for (std::size_t j = 0; j < columns; ++j)
      EXPECT_EQ(sorted[j], static_cast<int32_t>(j));
  }
}

TEST(FactoriseQr, MeetsZeroColumns) {
  System s(6, 3, 1);
  std::fill(s.a.begin() + 6, s.a.begin() + 12, 0.0f);
  s.factorise();
  EXPECT_EQ(s.norms[1], 0.0f);
  EXPECT_EQ(s.pivots[2], 1);
  EXPECT_EQ(s.rDiagonal[2], 0.0f);
  std::vector<float> x = s.qtb;
  EXPECT_EQ(velmora::solveUpper(s.triangle(), x), 2u);
  EXPECT_EQ(x[2], 0.0f);
}

TEST(SolveDamped, SolvesTheNormalEquations) {
  for (uint64_t seed = 1; seed < 10; ++seed) {
    System s(20, 5, seed);
    Random random(seed);
    std::vector<float> d(5), x(5), sDiagonal(5);
    for (float& value : d)
      value = seed % 3 == 0 ? 0.0f : static_cast<float>(random.unit() * 100);
    const ColumnMatrix r = s.triangle();
    const std::vector<float> before = s.factors;
    velmora::solveDamped(r, s.pivots, d, s.qtb, x, sDiagonal, s.work);
    EXPECT_LT(s.gradient(x, d, 1), 1e-5);
    for (std::size_t j = 0; j < 5; ++j) {
      for (std::size_t i = 0; i <= j; ++i)
        EXPECT_EQ(r.at(i, j), before[j * 20 + i]);  // R itself is kept
    }
  }
}

TEST(FindDamping, KeepsTheStepWithinATenthOfTheBound) {
  for (uint64_t seed = 1; seed < 10; ++seed) {
    System s(20, 4, seed);
    std::vector<float> d = {1, 3, 0.5f, 20}, x(4), sDiagonal(4), work1(4), work2(4);
    const LinearProblem problem = {s.triangle(), s.pivots, d, s.qtb};
    const auto length = [&] {
      double sum = 0;
      for (std::size_t j = 0; j < 4; ++j)
        sum += std::pow(double{d[j]} * x[j], 2);
      return std::sqrt(sum);
    };
    EXPECT_EQ(velmora::findDamping(problem, 1e9f, 5.0f, x, sDiagonal, work1, work2), 0.0f);
    EXPECT_LT(s.gradient(x, d, 0), 1e-5);
    const double free = length();
    for (const double share : {0.8, 0.3, 0.01}) {
      for (const float guess : {0.0f, 1e-3f, 1e3f}) {
        const auto bound = static_cast<float>(share * free);
        const float damping =
            velmora::findDamping(problem, bound, guess, x, sDiagonal, work1, work2);
        EXPECT_GT(damping, 0.0f);
        EXPECT_NEAR(length(), bound, 0.101 * bound);
        EXPECT_LT(s.gradient(x, d, damping), 1e-4);
      }
    }
  }
}

}  // namespace
