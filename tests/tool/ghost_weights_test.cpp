#include "engine/ghost_weights.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <vector>

#include "engine/block_pool.h"
#include "engine/frame_buffer.h"
#include "support/random.h"
#include "velmora_sr/deghosting.h"
#include "velmora_sr/records.h"
#include "velmora_sr/thread_pool.h"

namespace velmora::tool {
namespace {

// Bands of 9, 10, 9 and 10 rows, so that blocks are cut off at their ends.
constexpr Size kSize = {50, 38};

// What a replaced luma sample becomes, by the library's bilinear weights for a fraction of 0.
int replacement(const std::vector<uint8_t>& guide, int x, int y) {
  const auto at = [&](int column, int row) {
    return int{guide[std::size_t(row) * kSize.width + std::size_t(column)]};
  };
  const int value = (256 * at(x, y) - at(x + 1, y)) * 256 - (256 * at(x, y + 1) - at(x + 1, y + 1));
  return std::clamp((value + 32768) >> 16, 0, 255);
}

TEST(GhostWeights, AreThoseThatTheLibraryTakes) {
  test::Random random(7);
  std::vector<uint8_t> first = random.bytes(frameBytes(kSize));
  std::vector<uint8_t> second = first;
  for (uint8_t& byte : second)
    byte = static_cast<uint8_t>(std::clamp<int64_t>(byte + random.range(-30, 30), 0, 255));
  std::vector<int32_t> mapX(std::size_t(kSize.width) * kSize.height);
  std::vector<int32_t> mapY(mapX.size());
  for (std::size_t i = 0; i < mapX.size(); ++i) {
    const auto x = static_cast<int>(i % std::size_t(kSize.width));
    const auto y = static_cast<int>(i / std::size_t(kSize.width));
    mapX[i] = (x + static_cast<int>(random.range(-1, 1))) * 65536;
    mapY[i] = (y + static_cast<int>(random.range(-1, 1))) * 65536;
  }

  // A step: a sample is either kept or replaced.
  SR_ParamsPublic handle = {};
  handle.alloc = block_pool::allocate;
  handle.free = block_pool::release;
  SR_ParamsPrivate params = {};
  params.pub = &handle;
  params.ghostLowThr = 60;
  params.ghostHighThr = 60;
  std::vector<uint8_t> changed = first;
  ASSERT_EQ(MultiThread_Init(0), 0);
  DeGhost(second.data(), changed.data(), &params, kSize.width, kSize.height, mapX.data(),
          mapY.data());
  MultiThread_destory();

  std::array<int16_t, 256> table;
  CreateDeGhostLUTOnline(table.data(), 60, 60);
  const Plane weights = ghostWeights({first, second, kSize, mapX, mapY, table});
  int replaced = 0;
  for (int y = 0; y < kSize.height; ++y) {
    for (int x = 0; x < kSize.width; ++x) {
      const std::size_t i = std::size_t(y) * kSize.width + std::size_t(x);
      if (weights.row(y)[x] == 255) {
        ASSERT_EQ(changed[i], first[i]) << x << ',' << y;
        continue;
      }
      ASSERT_EQ(weights.row(y)[x], 0);
      ++replaced;
      // The block's map entry counts.
      const int bandTop = y >= 28 ? 28 : y >= 19 ? 19 : y >= 9 ? 9 : 0;
      const int top = y - (y - bandTop) % 4;
      const int left = x - x % 4;
      const std::size_t entry = std::size_t(top) * kSize.width + std::size_t(left);
      ASSERT_EQ(changed[i],
                replacement(second, mapX[entry] / 65536 + x - left, mapY[entry] / 65536 + y - top))
          << x << ',' << y;
    }
  }
  EXPECT_GT(replaced, 300);
  EXPECT_LT(replaced, 1800);
}

TEST(GhostWeights, ReplacedShareIsTheMeanOverTheRegion) {
  Plane weights(Size{4, 3}, 255);
  weights.row(1)[1] = 0;
  weights.row(1)[2] = 204;
  weights.row(0)[0] = 0;  // outside the region
  EXPECT_DOUBLE_EQ(replacedShare(weights, {1, 1, 2, 2}), 1.2 / 4);
}

}  // namespace
}  // namespace velmora::tool
