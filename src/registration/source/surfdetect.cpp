// Detector: maxima over place and scale of the determinant of the Hessian.
#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <limits>
#include <memory>
#include <span>

#include "common/float_to_int.h"
#include "common/wrapping.h"
#include "memory/call_buffer.h"
#include "memory/carver.h"
#include "memory/heap_buffer.h"
#include "registration/features/feature_slots.h"
#include "registration/features/stages.h"
#include "registration/functions.h"
#include "velmora_sr/features.h"
#include "velmora_sr/logging.h"

namespace velmora {
namespace {

constexpr const char* kSource = "src/registration/source/surf";

/// Points that a list can return: the record behind them stays scratch for the next candidate.
constexpr int32_t kPointCap = VELMORA_SR_MAX_KEYPOINTS - 1;
/// Layers that have a slot each; more of them are computed on the calling thread.
constexpr std::size_t kParallelLayers = kFeatureSlots.size();
/// Middle layers that are searched in parallel.
constexpr std::size_t kParallelSearches = 2;

/// A product of sizes that stays at the largest value instead of overflowing, so that what is too
/// large for any allocator is refused as such.
constexpr uint64_t saturatingProduct(uint64_t a, uint64_t b) {
  constexpr uint64_t kMax = std::numeric_limits<uint64_t>::max();
  return a != 0 && b > kMax / a ? kMax : a * b;
}

/// Octaves worth a plane: beyond, the grid has no point left along the shorter side.
uint64_t usefulOctaves(const tagIntegralMat& im, const tagSURFParams& params) {
  const int32_t side = std::min(im.width, im.height) - 1;
  const int32_t most = std::bit_width(static_cast<uint32_t>(std::max(side, 0)));
  return static_cast<uint64_t>(std::clamp(params.nOctaves, 0, most));
}

/// The layers of all octaves and their response planes, in one block of the call's memory. With n
/// layers per octave (the n - 2 middle ones are searched for maxima, each against its two
/// neighbours) it holds
///
///     middle list      octaves * (n - 2) indices   for n = 4: 1, 2, 5, 6, 9, 10, ...
///     layer records    octaves * n                 record i: layer i % n of octave i / n
///     planes           one per record              cols * rows responses, without gaps
///     unused
///
/// Octave o looks at every 2^o-th pixel, so its planes have a quarter of the entries of the one
/// before. There are 31 octaves at most: a step is at most 2^30. The list is padded so that the
/// records are aligned; the planes follow records of whole words. Empty when the planes would take
/// more than 32 bits of bytes or the block cannot be had.
class LayerStack {
 public:
  LayerStack(const tagIntegralMat& im, const tagSURFParams& params, const Allocator& allocator)
      : perOctave_(static_cast<uint64_t>(std::max(params.nOctaveLayers, 0)) + 2) {
    const uint64_t octaves = usefulOctaves(im, params);
    const uint64_t middleCount = octaves * (perOctave_ - 2);
    const uint64_t layerCount = octaves * perOctave_;
    const uint64_t listBytes = roundedUp(middleCount * sizeof(int32_t), alignof(tagOctaveLayer));
    const uint64_t recordBytes = layerCount * sizeof(tagOctaveLayer);
    // Four times the planes of octave 0, more than all octaves take: the further ones add less than
    // a third of those.
    const uint64_t pixels = saturatingProduct(static_cast<uint64_t>(std::max(im.width, 0)),
                                              static_cast<uint64_t>(std::max(im.height, 0)));
    const uint64_t planeBytes =
        saturatingProduct(saturatingProduct(pixels, perOctave_), 4 * sizeof(int32_t));
    if (planeBytes > std::numeric_limits<uint32_t>::max()) return;
    block_ = {allocator, listBytes + recordBytes + planeBytes};
    if (!block_) return;

    Carver carver(block_.data());
    middle_ = carver.take<int32_t>(static_cast<std::size_t>(middleCount));
    layers_ = carver.take<tagOctaveLayer>(static_cast<std::size_t>(layerCount));
    int32_t* plane =
        carver.take<int32_t>(static_cast<std::size_t>(planeBytes / sizeof(int32_t))).data();
    for (std::size_t i = 0; i < layers_.size(); ++i) {
      layers_[i] = makeLayer(im, i / perOctave_, i % perOctave_, plane);
      plane += static_cast<std::size_t>(layers_[i].cols) * layers_[i].rows;
    }
    for (std::size_t i = 0; i < middle_.size(); ++i) {
      const uint64_t searched = perOctave_ - 2;
      middle_[i] = static_cast<int32_t>(i / searched * perOctave_ + i % searched + 1);
    }
  }

  explicit operator bool() const { return static_cast<bool>(block_); }
  [[nodiscard]] std::span<tagOctaveLayer> layers() const { return layers_; }
  [[nodiscard]] std::span<int32_t> middle() const { return middle_; }

 private:
  static constexpr uint64_t roundedUp(uint64_t size, uint64_t alignment) {
    return (size + alignment - 1) / alignment * alignment;
  }

  static tagOctaveLayer makeLayer(const tagIntegralMat& im, uint64_t octave, uint64_t layer,
                                  int32_t* plane) {
    constexpr uint64_t kMaxSize = std::numeric_limits<int32_t>::max();
    const uint64_t size = std::min((9 + 6 * layer) << octave, kMaxSize);
    const int32_t step = int32_t{1} << octave;
    return {plane, static_cast<int32_t>(size), step, (im.width - 1) / step, (im.height - 1) / step};
  }

  uint64_t perOctave_;
  CallBuffer<std::byte> block_;
  std::span<tagOctaveLayer> layers_;
  std::span<int32_t> middle_;
};

int32_t reportFailedAllocation() {
  LogMsg(kSource, __LINE__, 0, "GETFEATURE_SURF: malloc failed!");
  return VELMORA_SR_RESULT_ALLOC_FAILED;
}

void computeLayersOnSlots(const tagIntegralMat& im, std::span<tagOctaveLayer> layers) {
  std::array<LayerDetJob, kParallelLayers> jobs = {};
  for (std::size_t i = 0; i < layers.size(); ++i)
    jobs[i] = {&im, &layers[i]};
  runOnFeatureSlots(std::span(jobs).first(layers.size()), CalcLayerDet_0123_neon_multi);
}

/// Appends points, leaving the reserved words of the output as they are.
void appendPoints(std::span<const ST_KEYPOINT> points, ST_KEYPOINT* out, int32_t& count) {
  const auto room = static_cast<std::size_t>(std::max(kPointCap - count, 0));
  for (const ST_KEYPOINT& point : points.first(std::min(points.size(), room))) {
    ST_KEYPOINT& to = out[count++];
    to.x = point.x;
    to.y = point.y;
    to.size = point.size;
  }
}

/// The 27 responses around a place, layer by layer, each block row-major.
void gatherNeighbourhood(const int32_t* const planes[3], std::ptrdiff_t stride, int32_t column,
                         int32_t (&n)[3][9]) {
  for (int32_t layer = 0; layer < 3; ++layer) {
    const int32_t* centre = planes[layer] + column;
    for (int32_t i = 0; i < 9; ++i)
      n[layer][i] = centre[(i / 3 - 1) * stride + i % 3 - 1];
  }
}

bool shareGrid(const tagOctaveLayer& a, const tagOctaveLayer& b) {
  return a.cols == b.cols && a.rows == b.rows && a.step == b.step;
}

}  // namespace

int32_t detect(const tagIntegralMat* im, const tagSURFParams* p, ST_KEYPOINT* out, int32_t* count,
               const Allocator& allocator) {
  const LayerStack stack(*im, *p, allocator);
  if (!stack) return reportFailedAllocation();
  for (tagOctaveLayer& layer : stack.layers())
    CalcLayerDet_0123_neon(im, &layer);
  for (const int32_t index : stack.middle())
    FindMaximaInLayer(im, p, stack.layers().data(), index, out, count);
  return 0;
}

int32_t detectOnSlots(const tagIntegralMat* im, const tagSURFParams* p, ST_KEYPOINT* out,
                      int32_t* count, const Allocator& allocator) {
  const LayerStack stack(*im, *p, allocator);
  if (!stack) return reportFailedAllocation();
  const std::size_t searches = std::min(stack.middle().size(), kParallelSearches);
  const HeapBuffer<ST_KEYPOINT> found(searches * VELMORA_SR_MAX_KEYPOINTS);
  if (!found) return reportFailedAllocation();

  if (stack.layers().size() <= kParallelLayers) {
    computeLayersOnSlots(*im, stack.layers());
  } else {
    for (tagOctaveLayer& layer : stack.layers())
      CalcLayerDet_0123_neon(im, &layer);
  }

  // Each search fills a list of its own; their order in the result is that of the layers.
  std::array<LayerMaximaJob, kParallelSearches> jobs = {};
  for (std::size_t i = 0; i < searches; ++i) {
    jobs[i] = {im,
               p,
               stack.layers().data(),
               stack.middle()[i],
               found.data() + i * VELMORA_SR_MAX_KEYPOINTS,
               0};
  }
  const auto running = std::span(jobs).first(searches);
  runOnFeatureSlots(running, FindMaximaInLayer_neon_multi);
  if (*count < 0) return 0;
  for (const LayerMaximaJob& job : running)
    appendPoints({job.out, static_cast<std::size_t>(job.count)}, out, *count);
  return 0;
}

}  // namespace velmora

int32_t SURF_detect(const tagIntegralMat* im, const tagSURFParams* p, ST_KEYPOINT* out,
                    int32_t* count) {
  return velmora::detect(im, p, out, count, velmora::currentAllocator());
}

int32_t SURF_detect_neon(const tagIntegralMat* im, const tagSURFParams* p, ST_KEYPOINT* out,
                         int32_t* count) {
  return velmora::detectOnSlots(im, p, out, count, velmora::currentAllocator());
}

void FindMaximaInLayer(const tagIntegralMat* /*im*/, const tagSURFParams* p, tagOctaveLayer* layers,
                       int32_t layerIndex, ST_KEYPOINT* out, int32_t* count) {
  using namespace velmora;
  if (layerIndex < 1 || *count < 0 || *count > kPointCap) return;
  const tagOctaveLayer& below = layers[layerIndex - 1];
  const tagOctaveLayer& layer = layers[layerIndex];
  const tagOctaveLayer& above = layers[layerIndex + 1];
  if (layer.step < 1 || !shareGrid(layer, below) || !shareGrid(layer, above)) return;

  // Responses are in 1/16 units.
  const int32_t threshold = truncateToInt(static_cast<double>(p->hessianThreshold * 16.0f) + 0.5);
  const int32_t step = layer.step;
  const int32_t border = layer.size / 2 / step;
  const int32_t firstCentre = wrappingMul(layer.size - 1, 32);  // of the grid's first filter, Q6
  // The widest of the three filters leaves the widest border, and the blocks reach one further.
  const int32_t margin = std::max(above.size, 0) / 2 / step + 1;
  const int32_t firstColumn = margin;
  const int32_t endColumn = layer.cols - margin;

  const auto maximaInRow = registrationFunctions().maximaInRow;
  constexpr int32_t kChunk = 256;
  std::array<int32_t, kChunk / 2 + 1> columns;
  for (int32_t r = margin; r < layer.rows - margin; ++r) {
    for (int32_t chunk = firstColumn; chunk < endColumn; chunk += kChunk) {
      const std::ptrdiff_t start = std::ptrdiff_t{r} * layer.cols + chunk;
      const int32_t* const planes[3] = {below.det + start, layer.det + start, above.det + start};
      const int32_t candidates = maximaInRow(planes, layer.cols, threshold,
                                             std::min(kChunk, endColumn - chunk), columns.data());
      for (int32_t i = 0; i < candidates; ++i) {
        const int32_t c = chunk + columns[i];
        ST_KEYPOINT& point = out[*count];
        point.size = layer.size;
        point.x = low32(firstCentre + int64_t{step} * (c - border) * 64);
        point.y = low32(firstCentre + int64_t{step} * (r - border) * 64);
        int32_t n[3][9];
        gatherNeighbourhood(planes, layer.cols, columns[i], n);
        if (InterpolateKeypoint(n, step, step, wrappingSub(layer.size, below.size), &point) == 0) {
          continue;
        }
        // The last record is scratch, so a full list holds one point less than there is room for;
        // a later layer overwrites the scratch once and stops here, too.
        if (*count + 1 == VELMORA_SR_MAX_KEYPOINTS) return;
        ++*count;
      }
    }
  }
}

void FindMaximaInLayer_neon(const tagIntegralMat* im, const tagSURFParams* p,
                            tagOctaveLayer* layers, int32_t layerIndex, ST_KEYPOINT* out,
                            int32_t* count) {
  FindMaximaInLayer(im, p, layers, layerIndex, out, count);
}

void FindMaximaInLayer_neon_multi(void* job, int32_t /*slot*/) {
  auto& search = *static_cast<LayerMaximaJob*>(job);
  FindMaximaInLayer_neon(search.im, search.params, search.layers, search.layerIndex, search.out,
                         &search.count);
}
