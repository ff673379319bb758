#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "interpolation/ghost_weights.h"
#include "interpolation/handle.h"
#include "interpolation/reference.h"
#include "support/log_capture.h"
#include "support/page_buffer.h"
#include "support/random.h"
#include "velmora_sr/deghosting.h"

namespace {

using namespace velmora::test;

std::array<int16_t, 256> weightsOf(int low, int high) {
  std::array<int16_t, 256> table;
  table.fill(-1);
  CreateDeGhostLUTOnline(table.data(), low, high);
  return table;
}

std::vector<int> plainWeights(int low, int high) {
  std::vector<int> weights;
  for (int i = 0; i < 256; ++i) {
    const double slope = (high - 1.0 * i) / (1.0 * high - low);
    weights.push_back(static_cast<int>((i < low ? 1 : i < high ? slope : 0) * 4096 + 0.5));
  }
  return weights;
}

TEST(DeGhostWeights, FallFromTheLowToTheHighThreshold) {
  EXPECT_EQ(weightsOf(1, 5)[2], 3072);
  EXPECT_EQ(weightsOf(20, 60)[21], 3994);  // 39 / 40 of 4096 is 3993.6
  // They are a step where the thresholds meet or cross.
  constexpr int kThresholds[][2] = {{1, 5}, {1, 15}, {20, 60}, {0, 255},
                                    {7, 7}, {9, 3},  {-5, -9}, {INT_MAX, INT_MIN}};
  for (const auto& [low, high] : kThresholds) {
    const auto table = weightsOf(low, high);
    EXPECT_EQ(std::vector<int>(table.begin(), table.end()), plainWeights(low, high))
        << low << ", " << high;
  }
  EXPECT_EQ(std::vector<int>(Degost_LUT, std::end(Degost_LUT)), plainWeights(1, 15));
}

struct Frame {
  int w, h;
  Bytes data;

  [[nodiscard]] int chromaWidth() const { return w / 2; }
  [[nodiscard]] int chromaHeight() const { return h / 2; }
  uint8_t& luma(int y, int x) { return data[static_cast<std::size_t>(y * w + x)]; }
  /// Byte 0 or 1 of a pair.
  uint8_t& chroma(int row, int pair, int byte) {
    return data[static_cast<std::size_t>(w * h + (row * chromaWidth() + pair) * 2 + byte)];
  }
};

Frame frameOf(int w, int h, uint64_t seed) {
  return {w, h, Random(seed).bytes(static_cast<std::size_t>(w * h + 2 * (w / 2) * (h / 2)))};
}

/// @param kept  takes the Q12 weight of each sample of the first frame
Frame deghosted(Frame guide, Frame first, const Maps& maps, const std::vector<int>& weights,
                std::vector<int>& kept) {
  Frame result = first;
  kept.assign(static_cast<std::size_t>(first.w * first.h), 4096);
  const int w = first.w;
  const int h = first.h;
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      // The band that holds the row, the block that holds the sample, the block's map entry.
      int band = 3;
      while (y < band * h / 4)
        --band;
      const int bandStart = band * h / 4;
      const int blockY = bandStart + (y - bandStart) / 4 * 4;
      const int blockX = x / 4 * 4;
      const auto entry = static_cast<std::size_t>(blockY * w + blockX);
      const int gx = (maps.x[entry] >> 16) + x - blockX;
      const int gy = (maps.y[entry] >> 16) + y - blockY;
      if (gx < 0 || gy < 0 || gx >= w - 1 || gy >= h - 1) continue;
      const int fx = maps.x[entry] >> 8 & 255;
      const int fy = maps.y[entry] >> 8 & 255;
      const int pairRow = std::min(y / 2, first.chromaHeight() - 1);
      const int pair = std::min(x / 2, first.chromaWidth() - 1);
      int difference = std::abs(first.luma(y, x) - guide.luma(gy, gx));
      for (int byte = 0; byte < 2; ++byte) {
        difference = std::max(difference, std::abs(first.chroma(pairRow, pair, byte) -
                                                   guide.chroma(gy / 2, gx / 2, byte)));
      }
      const int k = weights[static_cast<std::size_t>(difference)];
      kept[static_cast<std::size_t>(y * w + x)] = k;
      const auto mix = [k](uint8_t& own, int other) {
        const int mixed = (k * own + (4096 - k) * other + 2048) >> 12;
        own = static_cast<uint8_t>(std::clamp(mixed, 0, 255));
      };
      const int upper = (256 - fx) * guide.luma(gy, gx) + (fx - 1) * guide.luma(gy, gx + 1);
      const int lower = (256 - fx) * guide.luma(gy + 1, gx) + (fx - 1) * guide.luma(gy + 1, gx + 1);
      mix(result.luma(y, x), (upper * (256 - fy) + lower * (fy - 1) + 32768) >> 16);
      if (x % 2 != 0 || y % 2 != 0 || x / 2 >= first.chromaWidth() || y / 2 >= first.chromaHeight())
        continue;
      for (int byte = 0; byte < 2; ++byte)
        mix(result.chroma(y / 2, x / 2, byte), guide.chroma(gy / 2, gx / 2, byte));
    }
  }
  return result;
}

/// De-ghosts a copy of `first` and returns it; all bytes around both frames are watched.
Frame deghostedBy(Handle& handle, const Frame& guide, const Frame& first, const Maps& maps, int low,
                  int high) {
  const PageBuffer<uint8_t> guideFrame(guide.data);
  const PageBuffer<uint8_t> frame(first.data);
  const PageBuffer<int32_t> mapX(maps.x);
  const PageBuffer<int32_t> mapY(maps.y);
  handle.priv.ghostLowThr = low;
  handle.priv.ghostHighThr = high;
  DeGhost(guideFrame.data(), frame.data(), &handle.priv, first.w, first.h, mapX.data(),
          mapY.data());
  EXPECT_EQ(guideFrame.values(), guide.data);
  EXPECT_TRUE(guideFrame.intact() && frame.intact());
  EXPECT_EQ(Handle::leftovers(), "");
  return {first.w, first.h, frame.values()};
}

/// The weights as the library shows and counts them are those of the plain version.
void expectWeights(const velmora::GhostWeights& weights, const std::vector<int>& kept, int w,
                   int h) {
  Bytes plane(kept.size(), 7);
  weights.write(plane.data());
  const velmora::ValidRegion part = {w / 3, h / 4, w + 5, h - 1};  // reaches outside
  double replaced = 0;
  int samples = 0;
  for (int i = 0; i < w * h; ++i) {
    const int k = kept[static_cast<std::size_t>(i)];
    ASSERT_EQ(plane[static_cast<std::size_t>(i)], (k * 255 + 2048) / 4096) << i;
    if (i % w < part.startW || i / w < part.startH) continue;
    replaced += (4096 - k) / 4096.0;
    ++samples;
  }
  EXPECT_NEAR(weights.replacedShare(part), replaced / samples, 1e-12);
  EXPECT_EQ(weights.replacedShare({5, 5, 4, 9}), 0);
}

TEST(DeGhost, EqualsThePlainComputation) {
  LogCapture log;
  Handle handle;
  const RunningPool pool;
  // Bands that are and are not multiples of blocks, odd sizes, sizes below a block and a band.
  const int sizes[][2] = {{48, 32}, {50, 38}, {33, 31}, {17, 6}, {5, 23},
                          {3, 3},   {2, 2},   {1, 9},   {9, 1},  {66, 1}};
  for (const auto& [w, h] : sizes) {
    const Frame first = frameOf(w, h, 42);
    const Frame other = frameOf(w, h, 44);
    Frame similar = other;  // differs little from the first
    for (std::size_t i = 0; i < first.data.size(); ++i)
      similar.data[i] =
          static_cast<uint8_t>(std::clamp(first.data[i] + other.data[i] % 19 - 9, 0, 255));
    const Maps fields[] = {mapsOf(0, w, h), shiftedMaps(w, h, 2 * 65536 + 40000, -70000),
                           shiftedMaps(w, h, -65537, 65535), mapsOf(4, w, h), mapsOf(5, w, h)};
    for (const auto& [low, high] : {std::pair{1, 5}, {1, 15}, {20, 60}, {0, 255}, {9, 4}, {0, 0}}) {
      const auto weights = plainWeights(low, high);
      for (const Maps& maps : fields) {
        for (const Frame* guide : {&std::as_const(similar), &other}) {
          std::vector<int> kept;
          ASSERT_EQ(deghostedBy(handle, *guide, first, maps, low, high).data,
                    deghosted(*guide, first, maps, weights, kept).data)
              << w << "x" << h << " thresholds " << low << ", " << high << " field "
              << &maps - fields;
          expectWeights({guide->data.data(), first.data.data(), handle.priv, w, h, maps.x.data(),
                         maps.y.data()},
                        kept, w, h);
        }
      }
    }
  }
  EXPECT_TRUE(log.take().empty());
}

TEST(DeGhost, BandsReachNoFurtherThanTheirRows) {
  const int w = 21;
  const int h = 14;
  const Frame guide = frameOf(w, h, 46);
  const Frame first = frameOf(w, h, 47);
  const Maps maps = shiftedMaps(w, h, 30000, 50000);
  const auto weights = weightsOf(0, 0);
  Frame partly = first;
  Bytes scratch(static_cast<std::size_t>(2 * (w / 2) * (h / 2)), 0x5C);
  SR_DeGhostBand band = {
      guide.data.data(), partly.data.data(), w, h, 3, 8, maps.x.data(), maps.y.data(),
      scratch.data(),    weights.data()};
  DeGhostThreadFunc(&band, 12);
  for (int row = 0; row < h; ++row) {
    const auto before = first.data.begin() + row * w;
    EXPECT_EQ(std::equal(before, before + w, partly.data.begin() + row * w), row < 3 || row >= 8)
        << row;
  }
  EXPECT_TRUE(std::equal(first.data.begin() + w * h, first.data.end(), &partly.chroma(0, 0, 0)));
  // Rows 4 and 6 own chroma rows 2 and 3.
  for (int row = 0; row < h / 2; ++row) {
    const auto begin = scratch.begin() + row * 2 * (w / 2);
    const bool untouched = std::all_of(begin, begin + 2 * (w / 2), [](int b) { return b == 0x5C; });
    EXPECT_EQ(untouched, row != 2 && row != 3) << row;
  }
}

TEST(DeGhost, LeavesTheFramesAloneWhereItCannotWork) {
  Handle handle;
  const Frame guide = frameOf(20, 10, 50);
  const Frame first = frameOf(20, 10, 51);
  const Maps maps = mapsOf(0, 20, 10);
  LogCapture log;
  const auto expectError = [&log](const char* text) {
    EXPECT_EQ(log.take(), (std::vector<LogLine>{{6, "NB7UO_ZELK", text}}));
  };
  TestAllocator::failRequest(0);
  EXPECT_EQ(deghostedBy(handle, guide, first, maps, 0, 0).data, first.data);
  expectError("NB7UO_ZELK: DeGhost: alloc memory failed.\n");
  EXPECT_NE(deghostedBy(handle, guide, first, maps, 0, 0).data, first.data);
  EXPECT_EQ(TestAllocator::requests(), (std::vector<uint32_t>{100, 100}));

  Bytes output = first.data;
  handle.priv.pub = nullptr;
  DeGhost(guide.data.data(), output.data(), &handle.priv, 20, 10, maps.x.data(), maps.y.data());
  expectError("NB7UO_ZELK: DeGhost: alloc memory failed.\n");
  handle.priv.pub = &handle.pub;
  constexpr int kSizes[][2] = {{0, 10}, {INT_MAX, 10}, {20, -1}, {20, INT_MAX}};
  for (int wrong = 0; wrong < 9; ++wrong) {
    const auto passed = [wrong](int i, auto* p) { return i == wrong ? nullptr : p; };
    const auto [w, h] =
        wrong < 4 ? std::pair(kSizes[wrong][0], kSizes[wrong][1]) : std::pair(20, 10);
    DeGhost(passed(4, guide.data.data()), passed(5, output.data()), passed(6, &handle.priv), w, h,
            passed(7, maps.x.data()), passed(8, maps.y.data()));
    expectError("NB7UO_ZELK: DeGhost: params out of range.\n");
  }
  EXPECT_EQ(output, first.data);
}

}  // namespace
