#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <optional>

#include "support/random.h"
#include "velmora_sr/features.h"

namespace velmora::test {
namespace {

using Matrix = std::array<int32_t, 9>;
using Vector = std::array<int32_t, 3>;

std::optional<Vector> solve(Matrix a, Vector b) {
  constexpr Vector kUntouched = {-77, -78, -79};
  Vector x = kUntouched;
  const int32_t solved = SolveFixed(a.data(), b.data(), x.data());
  if (solved == 1) return x;
  EXPECT_EQ(solved, 0);
  EXPECT_EQ(x, kUntouched);
  return std::nullopt;
}

/// Determinant of the matrix modulo 2^64, summed over permutations.
int64_t determinant(const Matrix& m) {
  uint64_t sum = 0;
  constexpr int kPermutations[6][4] = {{0, 1, 2, 1},  {1, 2, 0, 1},  {2, 0, 1, 1},
                                       {0, 2, 1, -1}, {1, 0, 2, -1}, {2, 1, 0, -1}};
  for (const auto& p : kPermutations) {
    auto product = static_cast<uint64_t>(int64_t{p[3]});
    for (int row = 0; row < 3; ++row)
      product *= static_cast<uint64_t>(int64_t{m[3 * row + p[row]]});
    sum += product;
  }
  return static_cast<int64_t>(sum);
}

int32_t low32(int64_t value) {
  return static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint64_t>(value)));
}

/// Cramer's rule modulo 2^64.
std::optional<Vector> plainSolution(const Matrix& a, const Vector& b) {
  const int64_t divisor = determinant(a) >> 6;
  if (divisor == 0) return std::nullopt;
  Vector x;
  for (int column = 0; column < 3; ++column) {
    Matrix replaced = a;
    for (int row = 0; row < 3; ++row)
      replaced[3 * row + column] = b[row];
    const int64_t numerator = determinant(replaced);
    x[column] = low32(numerator == INT64_MIN && divisor == -1 ? numerator : numerator / divisor);
  }
  return x;
}

TEST(SolveFixed, EqualsCramersRuleModulo64Bits) {
  // det 19000, 19000 >> 6 = 296; the determinants above it 50000, -21000, 16000.
  EXPECT_EQ(solve({20, 10, 10, 10, 30, 20, 10, 0, 40}, {50, 10, 60}), (Vector{168, -70, 54}));
  // det -1; with b in its first column the determinant is 2^63, which wraps to -2^63.
  constexpr int32_t kBig = 1 << 21;
  EXPECT_EQ(solve({0, 0, 1, -1, kBig, 0, 0, 1, kBig}, {kBig, 0, 0}), (Vector{0, 0, kBig}));
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
    if (round % 7 == 0) std::fill(a.begin() + 6, a.end(), round % 2 ? INT32_MIN : INT32_MAX);
    const auto x = solve(a, b);
    EXPECT_EQ(x, plainSolution(a, b)) << testing::PrintToString(a);
    solved += x.has_value();
  }
  EXPECT_GT(solved, 2000);
}

using Blocks = std::array<std::array<int32_t, 9>, 3>;

std::optional<Vector> refine(const Blocks& blocks, const Vector& step, const Vector& start) {
  int32_t n[3][9];
  for (int i = 0; i < 3; ++i)
    std::copy(blocks[i].begin(), blocks[i].end(), n[i]);
  ST_KEYPOINT kp = {-5, -6, start[0], start[1], start[2]};
  const int32_t kept = InterpolateKeypoint(n, step[0], step[1], step[2], &kp);
  EXPECT_EQ(kp.reserved1, -5);
  EXPECT_EQ(kp.reserved2, -6);
  const Vector result = {kp.x, kp.y, kp.size};
  if (kept != 0) return result;
  EXPECT_EQ(result, start);
  return std::nullopt;
}

/// The refinement written out, with sums that wrap to 32 bits.
std::optional<Vector> plainRefinement(const Blocks& n, const Vector& step, const Vector& start) {
  const auto at = [&](int layer, int i) { return int64_t{n[layer][i]}; };
  const int64_t centre = 2 * at(1, 4);
  const int32_t dxx = low32(at(1, 3) + at(1, 5) - centre);
  const int32_t dyy = low32(at(1, 1) + at(1, 7) - centre);
  const int32_t dss = low32(at(0, 4) + at(2, 4) - centre);
  const int32_t dxy = low32(at(1, 8) - at(1, 6) - at(1, 2) + at(1, 0)) / 4;
  const int32_t dxs = low32(at(2, 5) - at(2, 3) - at(0, 5) + at(0, 3)) / 4;
  const int32_t dys = low32(at(2, 7) - at(2, 1) - at(0, 7) + at(0, 1)) / 4;
  const Vector gradient = {low32(at(1, 3) - at(1, 5)) / 2, low32(at(1, 1) - at(1, 7)) / 2,
                           low32(at(0, 4) - at(2, 4)) / 2};
  const auto x = plainSolution({dxx, dxy, dxs, dxy, dyy, dys, dxs, dys, dss}, gradient);
  if (!x || std::any_of(x->begin(), x->end(), [](int32_t v) { return v < -64 || v > 64; })) {
    return std::nullopt;
  }
  const auto move = [&](int axis) { return int64_t{step[axis]} * (*x)[axis]; };
  return Vector{low32(start[0] + move(0)), low32(start[1] + move(1)),
                low32(start[2] + ((move(2) + 32) >> 6))};
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
    const Vector steps = {step, 2 * step, 6 * step}, start = {100, 200, 15};
    const auto result = refine(blocks, steps, start);
    EXPECT_EQ(result, plainRefinement(blocks, steps, start));
    kept += result.has_value();
  }
  EXPECT_GT(kept, 1000);
}

/// Second differences of -64 and the gradient `pull`: the determinant -64^3 shifts without a
/// remainder, and the offset in 1/64 of a sample is the pull itself.
Blocks pulled(const Vector& pull) {
  Blocks blocks = {};
  blocks[1].fill(0);
  const auto set = [&](int32_t& before, int32_t& after, int32_t by) {
    before = 5000 - 32 - by;
    after = 5000 - 32 + by;
  };
  blocks[1][4] = 5000;
  set(blocks[1][3], blocks[1][5], pull[0]);
  set(blocks[1][1], blocks[1][7], pull[1]);
  set(blocks[0][4], blocks[2][4], pull[2]);
  return blocks;
}

TEST(InterpolateKeypoint, KeepsOffsetsUpToOneSample) {
  for (const int32_t pull : {-66, -65, -64, -63, 0, 63, 64, 65, 66}) {
    for (std::size_t axis = 0; axis < 3; ++axis) {
      Vector pulls = {0, 0, 0};
      pulls[axis] = pull;
      const bool kept = pull >= -64 && pull <= 64;
      const Vector moved = {pulls[0], 4 * pulls[1], 100 + pulls[2]};
      EXPECT_EQ(refine(pulled(pulls), {1, 4, 64}, {0, 0, 100}),
                kept ? std::optional(moved) : std::nullopt)
          << pull;
    }
  }
  EXPECT_EQ(refine({}, {1, 1, 6}, {1, 2, 3}), std::nullopt);  // flat
}

TEST(InterpolateKeypoint, WrapsAtTheEdgesOfItsRange) {
  EXPECT_EQ(refine(pulled({64, 64, 64}), {INT32_MAX, INT32_MIN, 1}, {INT32_MAX, 5, INT32_MAX}),
            (Vector{INT32_MAX - 64, 5, INT32_MIN}));
}

}  // namespace
}  // namespace velmora::test
