#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <optional>

#include "support/digest.h"
#include "support/random.h"
#include "velmora_sr/features.h"

namespace velmora::test {
namespace {

using Matrix = std::array<int32_t, 9>;
using Vector = std::array<int32_t, 3>;
using Blocks = std::array<Matrix, 3>;

std::optional<Vector> solve(Matrix a, Vector b) {
  constexpr Vector kUntouched = {-77, -78, -79};
  Vector x = kUntouched;
  const int32_t solved = SolveFixed(a.data(), b.data(), x.data());
  if (solved == 1) return x;
  EXPECT_EQ(solved, 0);
  EXPECT_EQ(x, kUntouched);
  return std::nullopt;
}

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

TEST(SolveFixed, FollowsCramersRuleModulo64Bits) {
  // det 19000, 19000 >> 6 = 296; the determinants above it 50000, -21000, 16000.
  EXPECT_EQ(solve({20, 10, 10, 10, 30, 20, 10, 0, 40}, {50, 10, 60}), (Vector{168, -70, 54}));
  // det -1; with b in its first column the determinant is 2^63, which wraps to -2^63.
  constexpr int32_t kBig = 1 << 21;
  EXPECT_EQ(solve({0, 0, 1, -1, kBig, 0, 0, 1, kBig}, {kBig, 0, 0}), (Vector{0, 0, kBig}));
}

TEST(InterpolateKeypoint, GivesTheSameBitsOnEveryMachine) {
  // From small values to the whole range, where every product wraps. The digest is that of Cramer's
  // rule by sums over permutations, modulo 2^64.
  Random random(22);
  Digest digest;
  for (int round = 0; round < 4000; ++round) {
    const int64_t range = int64_t{1} << (4 + round % 28);
    Blocks blocks;
    for (Matrix& block : blocks) {
      for (int32_t& value : block)
        value = static_cast<int32_t>(random.range(-range, range - 1));
    }
    // Most of the time a true maximum, as the detector hands it over.
    if (round % 4 != 0) blocks[1][4] = static_cast<int32_t>(range - 1);
    const int32_t step = 1 << round % 3;
    const auto result = refine(blocks, {step, 2 * step, 6 * step}, {100, 200, 15});
    digest.add(int32_t{result.has_value()});
    digest.addAll(result.value_or(Vector{}));
  }
  EXPECT_EQ(digest.value(), 630622672u);
}

/// Second differences of -64 and the gradient `pull`: the determinant -64^3 shifts without a
/// remainder, and the offset in 1/64 of a sample is the pull itself.
Blocks pulled(const Vector& pull) {
  Blocks blocks = {};
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
  EXPECT_EQ(refine(pulled({64, 64, 64}), {INT32_MAX, INT32_MIN, 1}, {INT32_MAX, 5, INT32_MAX}),
            (Vector{INT32_MAX - 64, 5, INT32_MIN}));  // wraps at the edges of its range
}

}  // namespace
}  // namespace velmora::test
