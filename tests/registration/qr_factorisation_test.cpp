#include "registration/source/qr_factorisation.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "registration/source/damping_parameter.h"
#include "support/random.h"

namespace velmora::test {
namespace {

constexpr std::size_t kRows = 20;
constexpr std::size_t kColumns = 4;

/// A x = b with columns of very different size, the factorisation of A, and the scale D.
struct System {
  std::vector<float> a, factors, b, qtb, d = {1, 3, 0.5f, 20}, x, sDiagonal, work1, work2;
  std::vector<int32_t> pivots;
  ColumnMatrix r;

  explicit System(uint64_t seed)
      : a(kRows * kColumns),
        b(kRows),
        x(kColumns),
        sDiagonal(kColumns),
        work1(kColumns),
        work2(kColumns),
        pivots(kColumns),
        r(nullptr, 0, 0) {
    Random random(seed);
    for (std::size_t i = 0; i < a.size(); ++i)
      a[i] = static_cast<float>((random.unit() - 0.5) * std::pow(10.0, double(i / kRows)));
    for (float& value : b)
      value = static_cast<float>(random.unit() - 0.5);
    factors = a;
    qtb = b;
    r = ColumnMatrix(factors.data(), kRows, kColumns);
    factoriseQr(r, pivots, sDiagonal, work1, work2);
    applyQTransposed(r, qtb);
    for (std::size_t j = 0; j < kColumns; ++j)
      r.at(j, j) = sDiagonal[j];
  }
  /// A^T A x + p D D x - A^T b, relative to A^T b: 0 at the minimum of |A x - b|^2 + p |D x|^2.
  [[nodiscard]] double gradient(double p) const {
    double worst = 0;
    for (std::size_t j = 0; j < kColumns; ++j) {
      double sum = p * d[j] * d[j] * x[j];
      double size = std::abs(sum);
      for (std::size_t i = 0; i < kRows; ++i) {
        double residual = -double{b[i]};
        for (std::size_t k = 0; k < kColumns; ++k)
          residual += double{a[k * kRows + i]} * x[k];
        sum += a[j * kRows + i] * residual;
        size += std::abs(a[j * kRows + i] * double{b[i]});
      }
      worst = std::max(worst, std::abs(sum) / size);
    }
    return worst;
  }
  [[nodiscard]] double length() const {
    return std::hypot(std::hypot(d[0] * x[0], d[1] * x[1]), std::hypot(d[2] * x[2], d[3] * x[3]));
  }
};

TEST(SolveDamped, SolvesTheNormalEquations) {
  for (uint64_t seed = 1; seed < 10; ++seed) {
    System s(seed);
    if (seed % 3 == 0) s.d.assign(kColumns, 0.0f);
    const std::vector<float> before = s.factors;
    solveDamped(s.r, s.pivots, s.d, s.qtb, s.x, s.sDiagonal, s.work1);
    EXPECT_LT(s.gradient(1), 1e-5);
    for (std::size_t j = 0; j < kColumns; ++j) {
      for (std::size_t i = 0; i <= j; ++i)
        EXPECT_EQ(s.r.at(i, j), before[j * kRows + i]);  // R itself is kept
    }
  }
}

TEST(FindDamping, KeepsTheStepWithinATenthOfTheBound) {
  for (uint64_t seed = 1; seed < 10; ++seed) {
    System s(seed);
    const auto find = [&](float bound, float guess) {
      return findDamping({s.r, s.pivots, s.d, s.qtb}, bound, guess, s.x, s.sDiagonal, s.work1,
                         s.work2);
    };
    EXPECT_EQ(find(1e9f, 5.0f), 0.0f);
    EXPECT_LT(s.gradient(0), 1e-5);
    const double free = s.length();
    for (const double share : {0.8, 0.3, 0.01}) {
      for (const float guess : {0.0f, 1e-3f, 1e3f}) {
        const auto bound = static_cast<float>(share * free);
        const float damping = find(bound, guess);
        EXPECT_GT(damping, 0.0f);
        EXPECT_NEAR(s.length(), bound, 0.101 * bound);
        EXPECT_LT(s.gradient(damping), 1e-4);
      }
    }
  }
}

}  // namespace
}  // namespace velmora::test
