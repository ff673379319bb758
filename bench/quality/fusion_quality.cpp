// Quality of fusion on real photos: two frames of half the photo's resolution are made, moved by a
// known homography, with noise and an object that moves; what the library makes of them is compared
// with the photo.
//
//   fusion_quality [--ghost LOW,HIGH] [--pictures FOLDER] PHOTO...
//
// Prints a table in Markdown, means over four motions: PSNR in dB and SSIM of luma, for one frame,
// both frames with thresholds from their noise, and both with the library's default ones (or those
// given). Where the object is in either frame is a row of its own: there the fused picture follows
// the second frame.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "arguments.h"
#include "demo/camera.h"
#include "demo/quality.h"
#include "engine/enlarger.h"
#include "engine/noise.h"
#include "engine/pair_fuser.h"
#include "errors.h"
#include "formats/png.h"
#include "frame_io.h"
#include "status.h"
#include "streams.h"

namespace velmora::tool {
namespace {

constexpr int kMargin = 64;  // of the photo around the frames, in its pixels
constexpr Size kLargestFrame = {2400, 1800};
constexpr int kSmallestSide = 1000;  // the wider side of a frame
constexpr std::array<double, 4> kNoise = {0, 3, 8, 15};
// Hand-held: a turn, a step forward or back, a shift of some pixels. How exact a pair registers
// depends on its motion, so that one of them would not tell much.
constexpr std::array<Motion, 4> kMotions = {{{6.3, -4.7, 0.007, 1.002},
                                             {-3.4, 5.8, -0.004, 0.999},
                                             {10.5, 2.2, 0.002, 1.001},
                                             {-1.2, -8.6, -0.009, 1.003}}};
// The object is a disc of another part of the photo; lengths in pixels of the photo.
constexpr int kRadius = 110;
constexpr std::array<int, 2> kStep = {90, 40};
constexpr GhostThresholds kLibraryDefault = {1, 5};

struct Disc {
  int x, y, radius;
  [[nodiscard]] bool holds(int px, int py) const {
    return (px - x) * (px - x) + (py - y) * (py - y) <= radius * radius;
  }
};

// Copies the part of the photo at `from` to the disc.
Picture withObject(const Picture& photo, Disc disc, Disc from) {
  Picture result = photo;
  const auto paste = [&](const Plane& source, Plane& target, int unit) {
    for (int y = 0; y < target.size.height; ++y) {
      for (int x = 0; x < target.size.width; ++x) {
        if (!disc.holds(x * unit, y * unit)) continue;
        target.row(y)[x] = source.row(y + (from.y - disc.y) / unit)[x + (from.x - disc.x) / unit];
      }
    }
  };
  paste(photo.y, result.y, 1);
  paste(photo.u, result.u, 2);
  paste(photo.v, result.v, 2);
  return result;
}

// What a region of the first frame looks like in the photo.
Plane truthOf(const Plane& photo, Region region) {
  const Size size = region.size();
  Plane truth({2 * size.width - 1, 2 * size.height - 1});
  for (int y = 0; y < truth.size.height; ++y) {
    std::copy_n(photo.row(y + kMargin + 2 * region.top) + kMargin + 2 * region.left,
                truth.size.width, truth.row(y));
  }
  return truth;
}

// What is measured of a pair, or the sum of several.
struct Figures {
  int pairs = 0;
  // One frame, fused with thresholds of its noise, with those to compare: at rest, then the object.
  std::array<Quality, 6> quality{};
  double noise = 0;
  double chosenLow = 0, chosenHigh = 0;
  double replacedChosen = 0, replacedCompared = 0;

  void add(const Figures& other) {
    pairs += other.pairs;
    for (std::size_t i = 0; i < quality.size(); ++i) {
      quality[i].psnr += other.quality[i].psnr;
      quality[i].ssim += other.quality[i].ssim;
    }
    noise += other.noise;
    chosenLow += other.chosenLow;
    chosenHigh += other.chosenHigh;
    replacedChosen += other.replacedChosen;
    replacedCompared += other.replacedCompared;
  }
  // The columns of the means.
  [[nodiscard]] std::string text() const {
    std::string row;
    for (const Quality& sum : quality)
      row += format(" %.2f %.4f |", sum.psnr / pairs, sum.ssim / pairs);
    return row + format(" %.1f: %.0f,%.0f | %.1f | %.1f |", noise / pairs, chosenLow / pairs,
                        chosenHigh / pairs, 100 * replacedChosen / pairs,
                        100 * replacedCompared / pairs);
  }
};

void save(const std::string& path, const Picture& picture) {
  const auto writer = createPng(path);
  writer->write(picture);
  writer->finish();
}

struct Options {
  GhostThresholds compared = kLibraryDefault;
  std::string pictures;
};

// The photo and what moves in it.
struct Scene {
  std::string file;
  Size size;  // of the frames
  Disc before, after;
  Picture photo1, photo2;  // when the first frame is taken, and the second
};

// Writes the pictures of a pair; the weights are those of the first frame.
void savePair(const std::string& stem, const Picture& first, const Picture& second,
              const Picture& alone, const FusionResult& fused) {
  save(stem + "-first.png", first);
  save(stem + "-second.png", second);
  save(stem + "-alone.png", alone);
  save(stem + "-fused.png", fused.picture);
  Picture mask(first.size());
  mask.grey = true;
  mask.y = fused.weights;
  save(stem + "-mask.png", mask);
}

// Nothing, and a line on standard error, for a pair that is not fused.
std::optional<Figures> figuresOf(const Scene& scene, const Motion& motion, double noise,
                                 const Options& options, const std::string& pictures) {
  const Picture first = photographed(scene.photo1, scene.size, {}, noise, 1, kMargin);
  const Picture second = photographed(scene.photo2, scene.size, motion, noise, 2, kMargin);
  FusionRequest request;
  request.region = wholeOf(scene.size);
  request.outputSize = [](Region region) {
    return Size{2 * region.size().width - 1, 2 * region.size().height - 1};
  };
  request.ghost = thresholdsFor(first, second);
  const FusionResult chosen = fusePair(first, second, request);
  if (!chosen.failure.empty()) {
    std::fprintf(stderr, "%s, noise %g: %s\n", scene.file.c_str(), noise, chosen.failure.c_str());
    return std::nullopt;
  }
  request.ghost = options.compared;
  const FusionResult compared = fusePair(first, second, request);
  Picture alone;
  Enlarger(scene.size, chosen.region, request.outputSize(chosen.region), {}).enlarge(first, alone);
  if (!pictures.empty()) savePair(pictures, first, second, alone, chosen);

  const Plane truth1 = truthOf(scene.photo1.y, chosen.region);
  const Plane truth2 = truthOf(scene.photo2.y, chosen.region);
  const auto moving = [&](int x, int y) {
    const int px = x + kMargin + 2 * chosen.region.left;
    const int py = y + kMargin + 2 * chosen.region.top;
    const auto near = [&](Disc disc) {
      disc.radius += 16;
      return disc.holds(px, py);
    };
    return near(scene.before) || near(scene.after);
  };
  const auto still = [&](int x, int y) { return !moving(x, y); };
  Figures figures;
  figures.pairs = 1;
  figures.quality = {qualityOf(alone.y, truth1, still),
                     qualityOf(chosen.picture.y, truth1, still),
                     qualityOf(compared.picture.y, truth1, still),
                     qualityOf(alone.y, truth1, moving),
                     qualityOf(chosen.picture.y, truth2, moving),
                     qualityOf(compared.picture.y, truth2, moving)};
  figures.noise = std::max(noiseOf(first), noiseOf(second));
  figures.chosenLow = chosen.ghost.low;
  figures.chosenHigh = chosen.ghost.high;
  figures.replacedChosen = chosen.replacedShare;
  figures.replacedCompared = compared.replacedShare;
  return figures;
}

void measure(const std::string& path, const Options& options) {
  const auto reader = openInput({path, {}, {}});
  Picture photo;
  if (!reader->next(photo)) throw Failure(path + ": holds no picture");
  const auto side = [](int photoSide, int largest) {
    return std::min((photoSide - 2 * kMargin + 1) / 2, largest) / 2 * 2;
  };
  const Size size = {side(photo.size().width, kLargestFrame.width),
                     side(photo.size().height, kLargestFrame.height)};
  if (std::max(size.width, size.height) < kSmallestSide ||
      std::min(size.width, size.height) < 400) {
    std::fprintf(stderr, "%s: too small, left out\n", path.c_str());
    return;
  }
  Scene scene;
  scene.file = std::filesystem::path(path).stem();
  scene.size = size;
  scene.before = {kMargin + size.width / 2 * 2, kMargin + size.height, kRadius};
  scene.after = {scene.before.x + kStep[0], scene.before.y + kStep[1], kRadius};
  const Disc part = {kMargin + size.width / 4 * 2, kMargin + size.height / 4 * 2, kRadius};
  scene.photo1 = withObject(photo, scene.before, part);
  scene.photo2 = withObject(photo, scene.after, part);

  for (const double noise : kNoise) {
    Figures sum;
    for (const Motion& motion : kMotions) {
      const bool shown = !options.pictures.empty() && &motion == kMotions.data();
      const std::string stem =
          shown ? options.pictures + "/" + scene.file + format("-%g", noise) : std::string();
      if (const auto figures = figuresOf(scene, motion, noise, options, stem)) sum.add(*figures);
    }
    const std::string row = "| " + scene.file + format(" | %g |", noise);
    printData(row + (sum.pairs > 0 ? sum.text() : " not fused |") + "\n");
  }
}

int run(std::vector<std::string> arguments) {
  Options options;
  while (arguments.size() >= 2 && arguments[0].starts_with("--")) {
    if (arguments[0] == "--ghost") options.compared = parseThresholds("--ghost", arguments[1]);
    if (arguments[0] == "--pictures") options.pictures = arguments[1];
    arguments.erase(arguments.begin(), arguments.begin() + 2);
  }
  if (arguments.empty()) {
    std::fputs("usage: fusion_quality [--ghost LOW,HIGH] [--pictures FOLDER] PHOTO...\n", stderr);
    return 2;
  }
  const std::string given = format("%d,%d", options.compared.low, options.compared.high);
  printData("| photo | noise | one frame | auto | " + given +
            " | object: one frame | object: auto | object: " + given +
            " | measured: thresholds | replaced %, auto | replaced %, " + given + " |\n");
  printData("|---|---|---|---|---|---|---|---|---|---|---|\n");
  for (const std::string& path : arguments)
    measure(path, options);
  return 0;
}

}  // namespace
}  // namespace velmora::tool

int main(int argc, char** argv) {
  velmora::tool::claimStandardOutput();
  try {
    return velmora::tool::run({argv + 1, argv + argc});
  } catch (const std::exception& error) {
    std::fprintf(stderr, "fusion_quality: %s\n", error.what());
    return 1;
  }
}
