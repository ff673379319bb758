#include "burst/reconstruction/tile_sums.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "burst/resampling/functions.h"

namespace velmora::burst {
namespace {

constexpr int32_t kWeightFractionBits = 4;
constexpr int32_t kWeightSteps = 1 << kWeightFractionBits;

const JobFrame& frameOf(const PlaneJob& job, int32_t k) {
  return job.frame[static_cast<std::size_t>(k)];
}

// Where a sample of the grid lies among weights, of which there is one for each chroma sample of
// the reference, in sixteenths. Weights go on beyond the border as they are at it.
int32_t weightPosition(const GridAxis& axis, bool chroma, int32_t g, int32_t weights) {
  const double position = axis.position(g);
  const double half = chroma ? position : (position - 0.5) / 2;
  const auto fixed = static_cast<int32_t>(std::floor(half * kWeightSteps + 0.5));
  return std::clamp(fixed, 0, (weights - 1) * kWeightSteps);
}

bool contains(Size plane, const Rect& part) {
  return part.left >= 0 && part.top >= 0 && part.right <= plane.width &&
         part.bottom <= plane.height;
}

struct Range {
  int32_t first;
  int32_t last;
};
// The weights that samples [begin, end) of the grid are read from, on one axis.
Range weightsRead(const GridAxis& axis, bool chroma, int32_t begin, int32_t end, int32_t weights) {
  const int32_t first = weightPosition(axis, chroma, begin, weights) >> kWeightFractionBits;
  const int32_t last = weightPosition(axis, chroma, end - 1, weights) >> kWeightFractionBits;
  return {first, std::min(last + 1, weights - 1)};
}

struct Extremes {
  uint8_t lowest = 255;
  uint8_t highest = 0;
};
Extremes extremesOf(Plane<const uint8_t> weights, Range columns, Range rows) {
  Extremes found;
  for (int32_t y = rows.first; y <= rows.last; ++y) {
    const uint8_t* row = weights.row(y);
    for (int32_t x = columns.first; x <= columns.last; ++x) {
      found.lowest = std::min(found.lowest, row[x]);
      found.highest = std::max(found.highest, row[x]);
    }
  }
  return found;
}

}  // namespace

TileSums::TileSums(Memory& memory, const TileSizes& largest)
    : samples_(memory, largest.grid),
      corrections_(memory, largest.grid * largest.frames),
      counts_(memory, largest.grid),
      windows_(memory, largest.window * largest.frames),
      residuals_(memory, largest.window * largest.frames),
      means_(memory, largest.window),
      inside_(memory, largest.window),
      x_(memory, largest.row),
      y_(memory, largest.row),
      sums_(memory, largest.row * largest.frames),
      spreads_(memory, largest.row * largest.frames),
      shares_(memory, largest.row * largest.frames),
      weights_(memory, largest.row * largest.frames),
      weightColumns_(memory, largest.row),
      weightTaps_(memory, 2 * largest.row),
      blended_(memory, largest.row + kSpareWeights),
      gridSize_(largest.grid),
      windowSize_(largest.window),
      rowSize_(largest.row) {
  // Windows read some samples that they multiply by 0.
  std::ranges::fill(samples_.span(), int16_t{0});
}

// Frames without any weight in the tile would add nothing.
void TileSums::chooseFrames(const PlaneJob& job, const TilePlan& plan) {
  active_ = 0;
  for (int32_t k = 0; k < job.frames; ++k) {
    const Plane<const uint8_t>& weights = frameOf(job, k).weights;
    Extremes found = {255, 255};
    if (weights.data != nullptr) {
      const bool chroma = job.geometry.chroma;
      const Rect& area = plan.sums[0];
      found = extremesOf(
          weights, weightsRead(job.geometry.x, chroma, area.left, area.right, weights.size.width),
          weightsRead(job.geometry.y, chroma, area.top, area.bottom, weights.size.height));
    }
    if (found.highest == 0) continue;
    uniform_[active_] = found.lowest == 255;
    activeFrame_[active_++] = k;
  }
}

void TileSums::prepareWeights(const PlaneJob& job) {
  const auto count = static_cast<std::size_t>(area_.width());
  for (int32_t a = 1; a < active_; ++a) {
    if (uniform_[a]) {
      std::memset(weights_.data() + static_cast<std::size_t>(a) * rowSize_, 255, count);
      continue;
    }
    const int32_t weights = frameOf(job, activeFrame_[a]).weights.size.width;
    const GridAxis& axis = job.geometry.x;
    const bool chroma = job.geometry.chroma;
    const Range read = weightsRead(axis, chroma, area_.left, area_.right, weights);
    firstWeightColumn_ = read.first;
    weightColumnsRead_ = read.last - read.first + 1;
    for (int32_t i = 0; i < area_.width(); ++i) {
      const int32_t position = weightPosition(axis, chroma, area_.left + i, weights);
      const auto fraction = static_cast<int16_t>(position & (kWeightSteps - 1));
      const auto j = static_cast<std::size_t>(i);
      weightColumns_[j] = (position >> kWeightFractionBits) - read.first;
      weightTaps_[2 * j] = static_cast<int16_t>(kWeightSteps - fraction);
      weightTaps_[2 * j + 1] = fraction;
    }
  }
}

// The weights of all frames on row y of the grid.
void TileSums::weightRow(const PlaneJob& job, int32_t y) {
  const ReconstructionFunctions& functions = reconstructionFunctions();
  for (int32_t a = 1; a < active_; ++a) {
    if (uniform_[a]) continue;
    const Plane<const uint8_t>& weights = frameOf(job, activeFrame_[a]).weights;
    const int32_t position =
        weightPosition(job.geometry.y, job.geometry.chroma, y, weights.size.height);
    const int32_t row = position >> kWeightFractionBits;
    const int32_t below = std::min(row + 1, weights.size.height - 1);
    functions.blendWeights(weights.row(row) + firstWeightColumn_,
                           weights.row(below) + firstWeightColumn_, position & (kWeightSteps - 1),
                           weightColumnsRead_, blended_.data());
    // Behind the last column there is nothing but what is multiplied by 0.
    blended_[static_cast<std::size_t>(weightColumnsRead_)] = 0;
    functions.sampleWeights(blended_.data(), weightColumns_.data(), weightTaps_.data(),
                            area_.width(),
                            weights_.data() + static_cast<std::size_t>(a) * rowSize_);
  }
}

void TileSums::firstSum(const PlaneJob& job, const TilePlan& plan) {
  const ReconstructionFunctions& functions = reconstructionFunctions();
  const ResamplingFunctions& resampling = resamplingFunctions();
  const SumTables& tables = *job.tables;
  const int32_t width = area_.width();
  const bool corrected = job.iterations.count > 0 && !job.alone;
  const uint8_t* weights[kMostFrames];
  int16_t* sums[kMostFrames];
  int16_t* spreads[kMostFrames];
  int16_t* shares[kMostFrames];
  for (int32_t a = 0; a < active_; ++a) {
    const std::size_t offset = static_cast<std::size_t>(a) * rowSize_;
    weights[a] = weights_.data() + offset;
    sums[a] = sums_.data() + offset;
    spreads[a] = spreads_.data() + offset;
    shares[a] = shares_.data() + offset;
  }
  for (int32_t y = area_.top; y < area_.bottom; ++y) {
    int16_t* corrections[kMostFrames];
    for (int32_t a = 0; a < active_; ++a) {
      const int32_t k = activeFrame_[a];
      const Rect& window = plan.windows[k];
      frameOf(job, k).grids->toFrame.row(y, area_.left, area_.right, x_.data(), y_.data());
      const int16_t* samples = windows_.data() + static_cast<std::size_t>(a) * windowSize_;
      resampling.windowSums({origin(samples, window), tilePitch(window.width()), x_.data(),
                             y_.data(), tables.lanczos.taps.data(), tables.lanczos.shift},
                            width, sums[a]);
      if (corrected) {
        functions.lookUpSums(tables.spreads.data(), x_.data(), y_.data(), width, spreads[a]);
        corrections[a] = gridRow(corrections_.data() + static_cast<std::size_t>(a) * gridSize_, y);
      }
    }
    int16_t* out = gridRow(samples_.data(), y);
    if (job.alone) {
      std::memcpy(out, sums_.data(), static_cast<std::size_t>(width) * sizeof *out);
      continue;
    }
    weightRow(job, y);
    functions.shareRow({active_ - 1, weights + 1, tables.reciprocals.data(), spreads,
                        corrected ? job.steps->data() : nullptr, tables.lowestSpread, shares,
                        corrected ? corrections : nullptr, gridRow(counts_.data(), y)},
                       width);
    functions.addProducts({active_, sums, shares, 14}, width, nullptr, out);
  }
}

void TileSums::residuals(const PlaneJob& job, const TilePlan& plan, int32_t iteration) {
  const ReconstructionFunctions& functions = reconstructionFunctions();
  const PositionLimits limits = boxLimits(job);
  const int16_t* picture = samples_.data() - area_.top * pitch_ - area_.left;
  for (int32_t a = 0; a < active_; ++a) {
    const int32_t k = activeFrame_[a];
    const Rect& part = plan.residuals[iteration][k];
    if (part.width() <= 0 || part.height() <= 0) continue;
    const Rect around = job.sharpened == 0 ? part : grown(part, 1, job.source);
    const PositionGrid& grid = frameOf(job, k).grids->toGrid;
    const Rect& window = plan.windows[k];
    const std::ptrdiff_t pitch = tilePitch(window.width());
    const std::size_t offset = static_cast<std::size_t>(a) * windowSize_;
    // Means of row y begin with that of column around.left - 1, a copy of the next one: there is
    // none where it is needed.
    const auto meansOf = [&](int32_t y) {
      const int32_t row = std::clamp(y, around.top, around.bottom - 1) - around.top;
      return means_.data() + row * pitch;
    };
    const auto insideOf = [&](int32_t y) { return inside_.data() + (y - around.top) * pitch; };
    for (int32_t y = around.top; y < around.bottom; ++y) {
      int16_t* means = meansOf(y);
      const int32_t count = around.width();
      grid.row(y, around.left, around.right, x_.data(), y_.data());
      functions.limitPositions(limits, count, x_.data(), y_.data(), insideOf(y));
      job.box->row(picture, pitch_, x_.data(), y_.data(), count, means + 1);
      means[0] = means[1];
      means[count + 1] = means[count];
    }
    const std::ptrdiff_t column = part.left - around.left + 1;
    for (int32_t y = part.top; y < part.bottom; ++y) {
      const std::size_t at =
          offset + static_cast<std::size_t>((y - window.top) * pitch + (part.left - window.left));
      functions.residualRow(
          {windows_.data() + at,
           {meansOf(y - 1) + column, meansOf(y) + column, meansOf(y + 1) + column},
           job.sharpened,
           insideOf(y) + column - 1},
          part.width(), residuals_.data() + at);
    }
  }
}

void TileSums::correct(const PlaneJob& job, const TilePlan& plan, int32_t iteration) {
  const Rect& part = plan.sums[iteration + 1];
  const int32_t width = part.width();
  const WindowTable& table = job.alone ? job.tables->lanczos : job.tables->gaussian;
  const int16_t* sums[kMostFrames];
  const int16_t* factors[kMostFrames];
  for (int32_t y = part.top; y < part.bottom; ++y) {
    for (int32_t a = 0; a < active_; ++a) {
      const int32_t k = activeFrame_[a];
      const Rect& window = plan.windows[k];
      frameOf(job, k).grids->toFrame.row(y, part.left, part.right, x_.data(), y_.data());
      const int16_t* residual = residuals_.data() + static_cast<std::size_t>(a) * windowSize_;
      int16_t* out = sums_.data() + static_cast<std::size_t>(a) * rowSize_;
      resamplingFunctions().windowSums({origin(residual, window), tilePitch(window.width()),
                                        x_.data(), y_.data(), table.taps.data(), table.shift},
                                       width, out);
      sums[a] = out;
      const std::size_t offset = static_cast<std::size_t>(a) * gridSize_;
      factors[a] = job.alone ? shares_.data()
                             : gridRow(corrections_.data() + offset, y) + (part.left - area_.left);
    }
    int16_t* samples = gridRow(samples_.data(), y) + (part.left - area_.left);
    reconstructionFunctions().addProducts({active_, sums, factors, 12}, width, samples, samples);
  }
}

TileSums::Result TileSums::run(const PlaneJob& job, const TilePlan& plan) {
  const Rect& wanted = plan.sums[job.iterations.count];
  area_ = plan.sums[0];
  pitch_ = tilePitch(area_.width());
  chooseFrames(job, plan);
  for (int32_t a = 0; a < active_; ++a) {
    const int32_t k = activeFrame_[a];
    const Rect& window = plan.windows[k];
    const std::size_t offset = static_cast<std::size_t>(a) * windowSize_;
    readSamples(frameOf(job, k).source, window, windows_.data() + offset,
                tilePitch(window.width()));
    // Outside a frame there are no residuals.
    if (contains(job.source, window)) continue;
    std::memset(residuals_.data() + offset, 0,
                static_cast<std::size_t>(tilePitch(window.width())) *
                    static_cast<std::size_t>(window.height()) * sizeof(int16_t));
  }
  prepareWeights(job);
  firstSum(job, plan);
  if (job.alone) {
    const auto step = static_cast<int16_t>(job.iterations.step * (1 << 12) + 0.5);
    std::fill_n(shares_.data(), area_.width(), step);
  }
  for (int32_t i = 0; i < job.iterations.count; ++i) {
    residuals(job, plan, i);
    correct(job, plan, i);
  }
  const std::ptrdiff_t offset = (wanted.top - area_.top) * pitch_ + (wanted.left - area_.left);
  const Size size = {wanted.width(), wanted.height()};
  return {{samples_.data() + offset, pitch_, size},
          {job.alone ? nullptr : counts_.data() + offset, pitch_, size}};
}

}  // namespace velmora::burst
