#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <limits>
#include <optional>
#include <vector>

#include "support/random.h"
#include "velmora_sr/features.h"

namespace {

using velmora::test::Random;

constexpr int32_t kMin = std::numeric_limits<int32_t>::min();
constexpr int32_t kMax = std::numeric_limits<int32_t>::max();

using Matrix = std::array<int32_t, 9>;
using Vector = std::array<int32_t, 3>;
constexpr Vector kUntouched = {-77, -78, -79};

struct Solution {
  int32_t returned;
  Vector x;
  bool operator==(const Solution&) const = default;
};

void PrintTo(const Solution& s, std::ostream* out) {
  *out << s.returned << ": " << s.x[0] << ", " << s.x[1] << ", " << s.x[2];
}

Solution solve(Matrix a, Vector b) {
  Solution solution = {-1, kUntouched};
  solution.returned = SolveFixed(a.data(), b.data(), solution.x.data());
  return solution;
}

TEST(SolveFixed, SolvesByHand) {
  const struct {
    Matrix a;
    Vector b;
    Solution expected;
  } cases[] = {
      // det 64, quotient exact: x = 64 b / det * det.
      {{4, 0, 0, 0, 4, 0, 0, 0, 4}, {1, 2, -3}, {1, {16, 32, -48}}},
      {{0, 4, 0, 4, 0, 0, 0, 0, -4}, {1, 2, 3}, {1, {32, 16, -48}}},
      // det 19000, 19000 >> 6 = 296; the determinants above it 50000, -21000, 16000.
      {{20, 10, 10, 10, 30, 20, 10, 0, 40}, {50, 10, 60}, {1, {168, -70, 54}}},
      // det 63: 63 >> 6 = 0, as singular as det 0.
      {{63, 0, 0, 0, 1, 0, 0, 0, 1}, {1, 1, 1}, {0, kUntouched}},
      {{1, 2, 3, 2, 4, 6, 1, 0, 1}, {1, 1, 1}, {0, kUntouched}},
      {{0, 0, 0, 0, 0, 0, 0, 0, 0}, {0, 0, 0}, {0, kUntouched}},
      // det -1: -1 >> 6 = -1, because the shift rounds down. Far from Q6, and so defined.
      {{-1, 0, 0, 0, 1, 0, 0, 0, 1}, {5, 7, 0}, {1, {-5, 7, 0}}},
      {{64, 0, 0, 0, 1, 0, 0, 0, 1}, {-1, 1, 3}, {1, {-1, 64, 192}}},
      // Truncation toward zero on both sides.
      {{8, 0, 0, 0, 8, 0, 0, 0, 3}, {1, -1, 2}, {1, {8, -8, 42}}},
      {{8, 0, 0, 0, 8, 0, 0, 0, 3}, {1, -1, -2}, {1, {8, -8, -42}}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(solve(c.a, c.b), c.expected) << testing::PrintToString(c.a);
  }
}

/// Determinant of the matrix modulo 2^64, summed over permutations.
uint64_t determinant(const Matrix& m) {
  const auto at = [&](int r, int c) { return static_cast<uint64_t>(int64_t{m[3 * r + c]}); };
  uint64_t sum = 0;
  constexpr int kPermutations[6][4] = {{0, 1, 2, 1},  {1, 2, 0, 1},  {2, 0, 1, 1},
                                       {0, 2, 1, -1}, {1, 0, 2, -1}, {2, 1, 0, -1}};
  for (const auto& p : kPermutations) {
    const uint64_t product = at(0, p[0]) * at(1, p[1]) * at(2, p[2]);
    sum = p[3] > 0 ? sum + product : sum - product;
  }
  return sum;
}

Solution expectedSolution(const Matrix& a, const Vector& b) {
  const int64_t divisor = static_cast<int64_t>(determinant(a)) >> 6;
  if (divisor == 0) return {0, kUntouched};
  Solution s = {1, {}};
  for (int column = 0; column < 3; ++column) {
    Matrix replaced = a;
    for (int row = 0; row < 3; ++row)
      replaced[static_cast<std::size_t>(3 * row + column)] = b[static_cast<std::size_t>(row)];
    const auto numerator = static_cast<int64_t>(determinant(replaced));
    const int64_t quotient = numerator == std::numeric_limits<int64_t>::min() && divisor == -1
                                 ? numerator
                                 : numerator / divisor;
    s.x[static_cast<std::size_t>(column)] =
        static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint64_t>(quotient)));
  }
  return s;
}

TEST(SolveFixed, EqualsCramersRuleModulo64Bits) {
  Random random(21);
  int solved = 0;
  for (int round = 0; round < 3000; ++round) {
    // From small values to the whole range, where every product wraps.
    const int64_t range = int64_t{1} << (3 + round % 29);
    Matrix a;
    Vector b;
    for (auto& v : a)
      v = static_cast<int32_t>(random.range(-range, range - 1));
    for (auto& v : b)
      v = static_cast<int32_t>(random.range(-range, range - 1));
    if (round % 7 == 0) std::fill(a.begin() + 6, a.end(), round % 2 ? kMin : kMax);
    const Solution s = solve(a, b);
    EXPECT_EQ(s, expectedSolution(a, b)) << testing::PrintToString(a);
    solved += s.returned;
  }
  EXPECT_GT(solved, 2000);
}

TEST(SolveFixed, TheSmallestValueByMinusOneIsItself) {
  // det A = -1; with b in its first column the determinant is 2^63, which wraps to -2^63.
  constexpr int32_t kBig = 1 << 21;
  EXPECT_EQ(solve({0, 0, 1, -1, kBig, 0, 0, 1, kBig}, {kBig, 0, 0}), (Solution{1, {0, 0, kBig}}));
}

using Blocks = std::array<std::array<int32_t, 9>, 3>;

std::optional<Vector> refine(const Blocks& blocks, int32_t dx, int32_t dy, int32_t ds,
                             const Vector& start) {
  int32_t n[3][9];
  for (int i = 0; i < 3; ++i)
    std::copy(blocks[i].begin(), blocks[i].end(), n[i]);
  ST_KEYPOINT kp = {-5, -6, start[0], start[1], start[2]};
  const int32_t kept = InterpolateKeypoint(n, dx, dy, ds, &kp);
  EXPECT_EQ(kp.reserved1, -5);
  EXPECT_EQ(kp.reserved2, -6);
  const Vector result = {kp.x, kp.y, kp.size};
  if (kept == 0) {
    EXPECT_EQ(result, start);
    return std::nullopt;
  }
  return result;
}

/// Responses of a separable quadratic with its top `peak` in the middle; the differences to the
/// neighbours in +x and -x, +y and -y, above and below.
Blocks separable(int32_t peak, Vector after, Vector before) {
  Blocks blocks = {};
  for (auto& block : blocks)
    block.fill(0);
  blocks[1][4] = peak;
  blocks[1][5] = peak - after[0];
  blocks[1][3] = peak - before[0];
  blocks[1][7] = peak - after[1];
  blocks[1][1] = peak - before[1];
  blocks[2][4] = peak - after[2];
  blocks[0][4] = peak - before[2];
  return blocks;
}

TEST(InterpolateKeypoint, MovesToTheExtremum) {
  // Falls by 32 on one side and 96 on the other: second difference -128, gradient 64 / 2 = 32 over
  // the two samples, so a quarter of a sample towards the gentler side.
  const Vector start = {6400, 3200, 15};
  EXPECT_EQ(refine(separable(1000, {32, 64, 64}, {96, 64, 64}), 1, 1, 6, start),
            (Vector{6400 + 16, 3200, 15}));
  EXPECT_EQ(refine(separable(1000, {64, 96, 64}, {64, 32, 64}), 2, 4, 6, start),
            (Vector{6400, 3200 - 4 * 16, 15}));
  // A quarter of a layer: (6 * 16 + 32) >> 6 = 2 pixels up, (-96 + 32) >> 6 = -1 down.
  EXPECT_EQ(refine(separable(1000, {64, 64, 32}, {64, 64, 96}), 1, 1, 6, start),
            (Vector{6400, 3200, 17}));
  EXPECT_EQ(refine(separable(1000, {64, 64, 96}, {64, 64, 32}), 1, 1, 6, start),
            (Vector{6400, 3200, 14}));
}

TEST(InterpolateKeypoint, KeepsOffsetsUpToOneSample) {
  // Second difference -2 h, gradient g: the offset is 64 g / (2 h) by way of det >> 6. With
  // h = 32 the determinant -64^3 shifts without a remainder, and the offset is g itself.
  for (const int32_t g : {-66, -65, -64, -63, 0, 63, 64, 65, 66}) {
    const auto moved = [&](int axis) {
      Vector after = {32, 32, 32}, before = {32, 32, 32};
      after[static_cast<std::size_t>(axis)] -= g;
      before[static_cast<std::size_t>(axis)] += g;
      return refine(separable(5000, after, before), 1, 1, 64, {0, 0, 100});
    };
    const bool kept = g >= -64 && g <= 64;
    EXPECT_EQ(moved(0), kept ? std::optional(Vector{g, 0, 100}) : std::nullopt) << g;
    EXPECT_EQ(moved(1), kept ? std::optional(Vector{0, g, 100}) : std::nullopt) << g;
    EXPECT_EQ(moved(2), kept ? std::optional(Vector{0, 0, 100 + g}) : std::nullopt) << g;
  }
}

TEST(InterpolateKeypoint, DropsAFlatNeighbourhood) {
  Blocks flat;
  for (auto& block : flat)
    block.fill(7);
  EXPECT_EQ(refine(flat, 1, 1, 6, {1, 2, 3}), std::nullopt);
}

/// The refinement written out, with sums that wrap to 32 bits.
std::optional<Vector> expectedRefinement(const Blocks& n, int32_t dx, int32_t dy, int32_t ds,
                                         const Vector& start) {
  const auto cut = [](int64_t v) { return static_cast<int32_t>(static_cast<uint32_t>(v)); };
  const auto& [a, b, c] = n;
  const auto wide = [](int32_t v) { return int64_t{v}; };
  const int32_t dxx = cut(wide(b[3]) + b[5] - 2 * wide(b[4]));
  const int32_t dyy = cut(wide(b[1]) + b[7] - 2 * wide(b[4]));
  const int32_t dss = cut(wide(a[4]) + c[4] - 2 * wide(b[4]));
  const int32_t dxy = cut(wide(b[8]) - b[6] - b[2] + b[0]) / 4;
  const int32_t dxs = cut(wide(c[5]) - c[3] - a[5] + a[3]) / 4;
  const int32_t dys = cut(wide(c[7]) - c[1] - a[7] + a[1]) / 4;
  const Vector rhs = {cut(wide(b[3]) - b[5]) / 2, cut(wide(b[1]) - b[7]) / 2,
                      cut(wide(a[4]) - c[4]) / 2};
  const Solution s = expectedSolution({dxx, dxy, dxs, dxy, dyy, dys, dxs, dys, dss}, rhs);
  if (s.returned == 0) return std::nullopt;
  for (const int32_t v : s.x) {
    if (v < -64 || v > 64) return std::nullopt;
  }
  return Vector{cut(start[0] + wide(dx) * s.x[0]), cut(start[1] + wide(dy) * s.x[1]),
                cut(start[2] + ((wide(ds) * s.x[2] + 32) >> 6))};
}

TEST(InterpolateKeypoint, EqualsItsDefinition) {
  Random random(22);
  int kept = 0;
  for (int round = 0; round < 4000; ++round) {
    const int64_t range = int64_t{1} << (4 + round % 28);
    Blocks blocks;
    for (auto& block : blocks) {
      for (auto& value : block)
        value = static_cast<int32_t>(random.range(-range, range - 1));
    }
    // Most of the time a true maximum, as the detector hands it over.
    if (round % 4 != 0) blocks[1][4] = static_cast<int32_t>(range - 1);
    const int32_t step = 1 << round % 3;
    const auto result = refine(blocks, step, 2 * step, 6 * step, {100, 200, 15});
    EXPECT_EQ(result, expectedRefinement(blocks, step, 2 * step, 6 * step, {100, 200, 15}));
    kept += result.has_value();
  }
  EXPECT_GT(kept, 1000);
}

TEST(InterpolateKeypoint, WrapsAtTheEdgesOfItsRange) {
  Vector after = {32, 32, 32}, before = {32, 32, 32};
  for (std::size_t axis = 0; axis < 3; ++axis) {
    after[axis] -= 64;
    before[axis] += 64;
  }
  EXPECT_EQ(refine(separable(5000, after, before), kMax, kMin, 1, {kMax, 5, kMax}),
            (Vector{kMax - 64, 5, kMin}));
}

}  // namespace
