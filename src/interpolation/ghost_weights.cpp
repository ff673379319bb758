// The weights of de-ghosting, sample by sample.
#include "interpolation/ghost_weights.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "interpolation/bands.h"
#include "interpolation/deghost_position.h"

namespace velmora {
namespace {

constexpr int32_t kKeep = 4096;
constexpr double kEnoughSamples = 65536;

/// The band of a row.
RowBand bandOf(int32_t height, int32_t y) {
  int32_t i = 0;
  while (i < 3 && quarterBand(height, i).end <= y)
    ++i;
  return quarterBand(height, i);
}

}  // namespace

GhostWeights::GhostWeights(const uint8_t* guide, const uint8_t* frame, const SR_ParamsPrivate& priv,
                           int32_t width, int32_t height, const int32_t* mapX, const int32_t* mapY)
    : table_(priv.ghostLowThr, priv.ghostHighThr),
      // The record of a band has a frame that is changed; here it is only read.
      frame_{guide,  const_cast<uint8_t*>(frame), width, height, 0, 0, mapX, mapY, nullptr,
             nullptr} {}

template <typename Use>
void GhostWeights::forRow(int32_t y, int32_t first, int32_t last, int32_t step,
                          const Use& use) const {
  SR_DeGhostBand band = frame_;
  const RowBand rows = bandOf(band.height, y);
  band.firstRow = rows.first;
  band.endRow = rows.end;
  band.weightTable = table_.weights();
  const int32_t inBlock = (y - rows.first) % kDeghostBlock;
  const DeghostRow row = deghostRow(band, y - inBlock);
  const uint8_t* luma = row.luma + std::ptrdiff_t{y} * row.width;
  for (int32_t x = first; x <= last; x += step) {
    const int32_t block = x - x % kDeghostBlock;
    const auto position = GuidePosition::of(row, block, x - block, inBlock);
    use(position.inGuide(row) ? DeghostSample(row, x, y, position).weight(row, luma[x]) : kKeep, x);
  }
}

double GhostWeights::replacedShare(const ValidRegion& region) const {
  const ValidRegion inside = intersection(region, {0, 0, frame_.width - 1, frame_.height - 1});
  const double columns = 1.0 + inside.endW - inside.startW;
  const double rows = 1.0 + inside.endH - inside.startH;
  if (columns < 1 || rows < 1) return 0;
  const auto step =
      std::max(static_cast<int32_t>(std::ceil(std::sqrt(columns * rows / kEnoughSamples))), 1);
  int64_t replaced = 0;
  int64_t samples = 0;
  for (int32_t y = inside.startH; y <= inside.endH; y += step) {
    forRow(y, inside.startW, inside.endW, step, [&](int32_t weight, int32_t) {
      replaced += kKeep - weight;
      ++samples;
    });
  }
  return static_cast<double>(replaced) / (double{kKeep} * static_cast<double>(samples));
}

void GhostWeights::write(uint8_t* plane) const {
  for (int32_t y = 0; y < frame_.height; ++y) {
    uint8_t* row = plane + std::ptrdiff_t{y} * frame_.width;
    forRow(y, 0, frame_.width - 1, 1, [row](int32_t weight, int32_t x) {
      row[x] = static_cast<uint8_t>((weight * 255 + kKeep / 2) / kKeep);
    });
  }
}

}  // namespace velmora
