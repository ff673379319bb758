#include "engine/pair_fuser.h"

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

#include "colour.h"
#include "engine/enlarger.h"
#include "engine/frame_buffer.h"
#include "engine/ghost_weights.h"
#include "errors.h"
#include "interrupt.h"
#include "registration/registration_run.h"
#include "size_limits.h"
#include "timings.h"
#include "velmora_sr/deghosting.h"
#include "velmora_sr/records.h"
#include "velmora_sr/registration.h"

namespace velmora::tool {
namespace {

constexpr int evenBelow(int value) {
  return value - value % 2;
}
constexpr int evenAbove(int value) {
  return value + value % 2;
}

// What the library makes of a region: the part that both frames show, even bounds.
Region narrowed(Region region, Region registered) {
  return {evenAbove(std::max(region.left, registered.left)),
          evenAbove(std::max(region.top, registered.top)),
          evenBelow(std::min(region.right, registered.right)),
          evenBelow(std::min(region.bottom, registered.bottom))};
}

Region inside(Region region, Size size) {
  return {std::max(region.left, 0), std::max(region.top, 0), std::min(region.right, size.width - 1),
          std::min(region.bottom, size.height - 1)};
}

bool largeEnough(Region region) {
  return region.right - region.left >= kMinRegionSpan &&
         region.bottom - region.top >= kMinRegionSpan;
}

struct Pair {
  Size size;
  std::vector<uint8_t> first, second;

  Pair(const Picture& one, const Picture& two, Size frame)
      : size(frame), first(frameBytes(frame)), second(frameBytes(frame)) {
    fillFrame(one, frame, first);
    fillFrame(two, frame, second);
  }
};

RegistrationReport registerPair(const Pair& pair) {
  const timings::Step step("register for status");
  const auto lumaOf = [&](const std::vector<uint8_t>& frame) {
    Plane plane(pair.size);
    std::copy_n(frame.data(), plane.samples.size(), plane.samples.data());
    return plane;
  };
  Plane first = lumaOf(pair.first);
  Plane second = lumaOf(pair.second);
  return registerFrames(first, second);
}

FusionResult enlargedAlone(const Picture& first, const FusionRequest& request,
                           std::string failure) {
  FusionResult result;
  result.failure = std::move(failure);
  result.region = request.region;
  Enlarger(first.size(), request.region, request.outputSize(request.region), request.tuning)
      .enlarge(first, result.picture);
  return result;
}

// The weights are made as the library makes them: from its thresholds and the same position maps.
void addGhostWeights(const Pair& pair, RegistrationReport& report, Size pictureSize,
                     FusionResult& result) {
  const timings::Step step("de-ghosting weights");
  result.ghost = {zelkParamPrivate.ghostLowThr, zelkParamPrivate.ghostHighThr};
  std::array<int16_t, 256> table;
  CreateDeGhostLUTOnline(table.data(), result.ghost.low, result.ghost.high);
  const auto samples = std::size_t(pair.size.width) * std::size_t(pair.size.height);
  std::vector<int32_t> mapX(samples);
  std::vector<int32_t> mapY(samples);
  GetSubPixelPositionGlobalRegist(report.homography->data(), mapY.data(), mapX.data(),
                                  pair.size.width, pair.size.height);
  const Plane weights = ghostWeights({pair.first, pair.second, pair.size, mapX, mapY, table});
  result.weights.reset(pictureSize);
  copyRows(weights.row(0), pair.size.width, result.weights.row(0), pictureSize.width,
           pictureSize.width, pictureSize.height);
  result.replacedShare = replacedShare(result.weights, result.region);
}

// Runs the library on a copy of the first frame, which it changes.
std::vector<uint8_t> fused(Session& session, Pair& pair, Region region, Size output) {
  std::vector<uint8_t> first = pair.first;
  std::vector<uint8_t> result(std::size_t(output.width) * output.height +
                              2 * std::size_t(output.width / 2) * std::size_t(output.height / 2));
  const Session::Fusion fusion = session.fuse(first, pair.second, region, output, result);
  if (!fusion.fused || !(fusion.region == region)) {
    throw Failure("the library cannot fuse these frames, although they register");
  }
  return result;
}

Picture fusedPicture(Session& session, Pair& pair, Region region, Size output) {
  Picture picture(output);
  std::vector<uint8_t> result = fused(session, pair, region, output);
  std::copy_n(result.data(), picture.y.samples.size(), picture.y.samples.data());
  const Size half = chromaSize(output);
  const Size even = {2 * half.width, 2 * half.height};
  // Chroma of an odd size has a column or row more than the library makes: it comes from an output
  // of the next even size, whose chroma lies on the same grid.
  if (!(even == output)) result = fused(session, pair, region, even);
  splitChroma(result.data() + std::size_t(even.width) * even.height, even.width, picture.u.row(0),
              picture.v.row(0), half.width, half.width, half.height, ChromaOrder::uv);
  return picture;
}

}  // namespace

FusionResult fusePair(const Picture& first, const Picture& second, const FusionRequest& request) {
  const Size size = first.size();
  if (size.width < kSmallestSide || size.height < kSmallestSide) {
    return enlargedAlone(first, request,
                         "frames under " + text(Size{kSmallestSide, kSmallestSide}) +
                             " cannot be registered, these are " + text(size));
  }

  Size frame = {evenAbove(size.width), evenAbove(size.height)};
  for (;;) {
    Pair pair(first, second, frame);
    RegistrationReport report = registerPair(pair);
    if (report.failure) return enlargedAlone(first, request, report.failure->reason);
    FusionResult result;
    result.registered = inside(*report.rectangle, size);
    result.region = narrowed(request.region, result.registered);
    if (!largeEnough(result.region)) {
      return enlargedAlone(first, request,
                           "the second frame shows too little of the region, less than 100x100");
    }
    if (request.keepRegion && !(result.region == request.region)) {
      return enlargedAlone(first, request, "the second frame does not show the whole region");
    }
    const Size output = request.outputSize(result.region);
    const Size even = {evenAbove(output.width), evenAbove(output.height)};
    if (output == frame || even == frame) {
      // The library only copies when both sizes are the same: mirrored columns make them differ.
      frame.width += frame.width == evenAbove(size.width) ? 2 : 4;
      continue;
    }
    interrupt::check();

    std::optional<TemporaryConfiguration> configuration;
    TuningFiles tuning = request.tuning;
    if (request.ghost) {
      configuration.emplace(*request.ghost);
      tuning.configuration = configuration->path();
    }
    Session session(frame, request.scene, tuning);
    addGhostWeights(pair, report, size, result);
    interrupt::check();
    result.picture = fusedPicture(session, pair, result.region, output);
    result.picture.range = first.range;
    result.picture.grey = first.grey;
    return result;
  }
}

}  // namespace velmora::tool
