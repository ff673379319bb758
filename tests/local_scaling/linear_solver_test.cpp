#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <utility>

#include "support/random.h"
#include "velmora_sr/local_scaling.h"

namespace {

using Matrix = std::array<float, 9>;
using Vector = std::array<float, 3>;

constexpr Vector kUntouched = {-7.0f, -8.0f, -9.0f};

/// What Solve returned and left.
using Result = std::pair<int, Vector>;

Result solve(Matrix a, Vector b) {
  Result result = {0, kUntouched};
  result.first = Solve(a.data(), b.data(), result.second.data(), 3, 0, -1);
  return result;
}

// E is the last bit of 1 + E: (1 + E)^2 is 1 + 2E + E^2, which rounds to 1 + 2E.
TEST(Solve, SolvesByHand) {
  constexpr float one = 1.0f + 0x1p-23f;
  const Vector extremes = {0.1f, -3e30f, 7e-40f};
  EXPECT_EQ(solve({1, 0, 0, 0, 1, 0, 0, 0, 1}, extremes), Result(1, extremes));
  EXPECT_EQ(solve({1, 2, 3, 4, 5, 6, 7, 8, 9}, {1, 2, 3}), Result(0, kUntouched));
  // The first product is fused and the second rounded: E^2 remains, the determinant. If both
  // were rounded, or both exact, it would be 0.
  EXPECT_EQ(solve({1, 0, 0, 0, one, one, 0, one, one}, {3, 0, 0}), Result(1, {3, 0, 0}));
}

/// The same arithmetic by the general formula of a cofactor.
Result reference(const Matrix& a, const Vector& b) {
  const auto cofactor = [&a](int row, int column) {
    const auto at = [&](int r, int c) { return a[static_cast<std::size_t>((r % 3) * 3 + c % 3)]; };
    // Cyclic indices carry the sign of the cofactor.
    const float second = at(row + 1, column + 2) * at(row + 2, column + 1);
    return std::fma(at(row + 1, column + 1), at(row + 2, column + 2), -second);
  };
  const float whole =
      std::fma(cofactor(0, 0), a[0], std::fma(cofactor(0, 1), a[1], cofactor(0, 2) * a[2]));
  if (whole == 0.0f) return {0, kUntouched};
  const auto unknown = [&](int i) {
    const float part =
        std::fma(cofactor(0, i), b[0], std::fma(cofactor(1, i), b[1], cofactor(2, i) * b[2]));
    return static_cast<float>(1.0 / double{whole} * double{part});
  };
  return {1, {unknown(0), unknown(1), unknown(2)}};
}

TEST(Solve, EqualsTheCofactorFormulaOnRandomSystems) {
  velmora::test::Random random(6);
  int solved = 0;
  for (int round = 0; round < 2000; ++round) {
    Matrix a;
    Vector b;
    // Small whole numbers make singular matrices, too.
    const auto fill = [&](auto& values) {
      for (float& value : values)
        value = round % 4 == 0 ? static_cast<float>(random.range(-1, 1))
                               : static_cast<float>(random.unit() * 200.0 - 100.0);
    };
    fill(a);
    fill(b);
    const Result actual = solve(a, b);
    ASSERT_EQ(actual, reference(a, b));
    solved += actual.first;
  }
  EXPECT_GT(solved, 1500);
  EXPECT_LT(solved, 2000);
}

TEST(Solve, MayWriteOverTheRightSideAndTakesNoNullPointers) {
  Matrix a = {2, 1, 0, 1, 4, 1, 0, 1, 4};
  Vector b = {4, 12, 14};
  EXPECT_EQ(Solve(nullptr, b.data(), b.data(), 0, 0, 0), 0);
  EXPECT_EQ(Solve(a.data(), nullptr, b.data(), 0, 0, 0), 0);
  EXPECT_EQ(Solve(a.data(), b.data(), nullptr, 0, 0, 0), 0);
  EXPECT_EQ(Solve(a.data(), b.data(), b.data(), 0, 0, 0), 1);
  EXPECT_EQ(b, (Vector{1, 2, 3}));
}

}  // namespace
