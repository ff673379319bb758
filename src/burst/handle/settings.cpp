#include "burst/handle/settings.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <thread>

namespace velmora::burst {
namespace {

constexpr int32_t kLargestScale = 4;
constexpr int32_t kMostThreads = 64;
constexpr float kMostNoise = 64;
constexpr float kLeastSharpened = -0.6f;
/// For frames of unknown origin: costs little where they were not sharpened, wins much where they
/// were.
constexpr double kUsualSharpened = 0.15;

void* takeFromHeap(void* /*user*/, std::size_t size) {
  return std::malloc(size);
}
void giveToHeap(void* /*user*/, void* block) {
  std::free(block);
}

bool isSide(int64_t side) {
  return side >= VELMORA_SR_BURST_SMALLEST_SIDE && side <= VELMORA_SR_BURST_LARGEST_SIDE;
}

/// Sides that are possible, and a count of samples that 31 bits hold.
bool isSize(int64_t width, int64_t height) {
  return isSide(width) && isSide(height) && width * height <= std::numeric_limits<int32_t>::max();
}

bool readRegion(const Velmora_SR_BurstParams& params, Rect& region) {
  if (params.regionWidth == 0 && params.regionHeight == 0) {
    region = {0, 0, params.width, params.height};
    return params.left == 0 && params.top == 0;
  }
  if (!isSize(params.regionWidth, params.regionHeight) || params.left < 0 || params.top < 0)
    return false;
  // No sum of coordinates is formed before it is known to fit.
  if (params.regionWidth > params.width || params.left > params.width - params.regionWidth ||
      params.regionHeight > params.height || params.top > params.height - params.regionHeight) {
    return false;
  }
  region = {params.left, params.top, params.left + params.regionWidth,
            params.top + params.regionHeight};
  return true;
}

bool readOutput(const Velmora_SR_BurstParams& params, const Rect& region, Size& output) {
  output = {params.outputWidth, params.outputHeight};
  if (output == Size{0, 0}) output = {2 * region.width(), 2 * region.height()};
  const auto scales = [](int32_t from, int32_t to) {
    return to >= from && to <= kLargestScale * from;
  };
  return isSize(output.width, output.height) && scales(region.width(), output.width) &&
         scales(region.height(), output.height);
}

int32_t threadsOf(int32_t wanted) {
  if (wanted != 0) return wanted;
  const auto processors = static_cast<int32_t>(std::thread::hardware_concurrency());
  return std::clamp(processors, 1, kMostThreads);
}

}  // namespace

bool readParams(const Velmora_SR_BurstParams& params, Settings& settings) {
  if (params.size < sizeof params) return false;
  if (!isSize(params.width, params.height)) return false;
  settings.frame = {params.width, params.height};
  if (!readRegion(params, settings.region)) return false;
  if (!readOutput(params, settings.region, settings.output)) return false;

  if (params.effort != VELMORA_SR_BURST_NORMAL && params.effort != VELMORA_SR_BURST_FAST)
    return false;
  settings.fast = params.effort == VELMORA_SR_BURST_FAST;
  if (params.threads < 0 || params.threads > kMostThreads) return false;
  settings.threads = threadsOf(params.threads);

  // Written so that no comparison is true for what is not a number.
  if (!(params.noise <= kMostNoise)) return false;
  settings.noise = params.noise;
  const bool usual = params.sharpened <= -1;
  if (!usual && !(params.sharpened >= kLeastSharpened && params.sharpened <= 1)) return false;
  settings.sharpened = usual ? kUsualSharpened : static_cast<double>(params.sharpened);

  settings.allocator = {takeFromHeap, giveToHeap, nullptr};
  if (params.allocator != nullptr) settings.allocator = *params.allocator;
  if (settings.allocator.alloc == nullptr || settings.allocator.free == nullptr) return false;
  settings.executor = {};
  if (params.executor != nullptr) {
    if (params.executor->run == nullptr) return false;
    settings.executor = *params.executor;
  }
  settings.progress = params.progress;
  settings.progressUser = params.progressUser;
  return true;
}

}  // namespace velmora::burst
