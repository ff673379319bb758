// How steady clips are.
//
//   clip_flicker PHOTO...
//
// Makes clips of 40 frames, 640x400, of each photo (2000x1300 and more), as a hand that sways and
// shakes would film it, and has each enlarged twice by every way of the tool. Prints, for each
// noise, the mean over the photos of the energy of the luma's fine detail (the second difference
// over two samples, along both axes), and how much that energy changes from one frame to the next,
// as the root mean square in per cent. A clip whose frames differ in sharpness flickers: its energy
// jumps although the scene stays. Some change is the scene's own: frames catch another part of it,
// at other fractions of a sample.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <memory>
#include <optional>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "colour.h"
#include "demo/camera.h"
#include "engine/burst_window.h"
#include "engine/camera_clip.h"
#include "errors.h"
#include "frame_io.h"
#include "status.h"
#include "streams.h"

namespace velmora::quality {
namespace {

using tool::Picture;
using tool::Plane;
using tool::Region;
using tool::Size;

constexpr Size kFrame = {640, 400};
constexpr Size kOutput = {1280, 800};
constexpr int kFrames = 40;
constexpr int kMargin = 110;
constexpr Size kTruth = {2 * (kFrame.width + kMargin), 2 * (kFrame.height + kMargin)};
constexpr int kInset = 16;  // of --method camera

// Mean square of the second difference over two samples, which are one of a frame's, along both
// axes.
double detailOf(const Plane& plane) {
  int64_t sum = 0;
  int64_t count = 0;
  for (int y = 2; y + 2 < plane.size.height; ++y) {
    const uint8_t* above = plane.row(y - 2);
    const uint8_t* row = plane.row(y);
    const uint8_t* below = plane.row(y + 2);
    for (int x = 2; x + 2 < plane.size.width; ++x) {
      const int64_t across = row[x - 2] - 2 * row[x] + row[x + 2];
      const int64_t down = above[x] - 2 * row[x] + below[x];
      sum += across * across + down * down;
      count += 2;
    }
  }
  return static_cast<double>(sum) / static_cast<double>(count);
}

struct Steadiness {
  double detail = 0;
  double change = 0;  // of the detail from frame to frame, root mean square
};

Steadiness steadinessOf(std::span<const double> details) {
  Steadiness result;
  double squares = 0;
  for (std::size_t i = 0; i < details.size(); ++i) {
    result.detail += details[i] / static_cast<double>(details.size());
    if (i == 0) continue;
    squares += (details[i] - details[i - 1]) * (details[i] - details[i - 1]);
  }
  result.change = std::sqrt(squares / static_cast<double>(details.size() - 1));
  return result;
}

// The middle of a photo, of twice the resolution of the frames.
Picture truthOf(const std::string& path) {
  const auto reader = tool::openInput({path, {}, {}});
  Picture photo;
  reader->next(photo);
  const double factor = std::max(double(kTruth.width) / photo.size().width,
                                 double(kTruth.height) / photo.size().height);
  if (factor > 0.8) throw tool::Failure(path + " is too small");
  Picture truth(Size{int(std::ceil(photo.size().width * factor)),
                     int(std::ceil(photo.size().height * factor))});
  truth.y = tool::reduced(photo.y, truth.y.size);
  truth.u = tool::reduced(photo.u, truth.u.size);
  truth.v = tool::reduced(photo.v, truth.v.size);
  return truth;
}

std::vector<Picture> filmed(const Picture& truth, double noise) {
  std::mt19937 random(5);
  const auto step = [&] { return 0.6 * (static_cast<double>(random()) / 2147483648.0 - 1); };
  std::vector<Picture> frames;
  tool::Motion shake;
  for (int i = 0; i < kFrames; ++i) {
    shake.shiftX += step();
    shake.shiftY += step();
    tool::Motion motion = shake;
    motion.shiftX += 20 * std::sin(0.13 * i);
    motion.shiftY += 12 * std::sin(0.09 * i + 1);
    motion.angle = 0.004 * std::sin(0.21 * i);
    frames.push_back(
        tool::photographed(truth, kFrame, motion, noise, static_cast<uint32_t>(i + 1), kMargin));
  }
  return frames;
}

class Clip final : public tool::ClipSource {
 public:
  explicit Clip(const std::vector<Picture>& frames) : frames_(frames) {}
  bool next(Picture& picture) override {
    if (number_ == static_cast<long>(frames_.size())) return false;
    picture = frames_[static_cast<std::size_t>(number_++)];
    return true;
  }
  [[nodiscard]] long number() const override { return number_; }

 private:
  const std::vector<Picture>& frames_;
  long number_ = 0;
};

std::unique_ptr<tool::ClipMaker> window(int frames, std::optional<double> noise = {}) {
  tool::BurstSettings settings;
  settings.frame = kFrame;
  settings.region = tool::wholeOf(kFrame);
  settings.output = kOutput;
  settings.fast = true;
  settings.noise = noise;
  return std::make_unique<tool::BurstWindow>(settings, frames, "");
}

std::unique_ptr<tool::ClipMaker> camera() {
  tool::CameraClipSettings settings;
  settings.frame = kFrame;
  settings.region = {kInset, kInset, kFrame.width - 2 - kInset, kFrame.height - 2 - kInset};
  settings.output = {2 * settings.region.size().width, 2 * settings.region.size().height};
  settings.measureNoise = true;
  return std::make_unique<tool::CameraClip>(settings, "");
}

Steadiness made(const std::vector<Picture>& frames, tool::ClipMaker& maker) {
  Clip clip(frames);
  std::vector<double> details;
  for (Picture picture; maker.make(clip, picture);)
    details.push_back(detailOf(picture.y));
  return steadinessOf(details);
}

Steadiness enlarged(const std::vector<Picture>& frames) {
  tool::Enlarger enlarger(kFrame, tool::wholeOf(kFrame), kOutput, {});
  std::vector<double> details;
  Picture picture;
  for (const Picture& frame : frames) {
    enlarger.enlarge(frame, picture);
    details.push_back(detailOf(picture.y));
  }
  return steadinessOf(details);
}

void measure(std::span<const Picture> truths, double noise) {
  struct Way {
    const char* name;
    Steadiness sum;
  };
  std::vector<Way> ways = {{"upscale", {}},
                           {"video --window 1", {}},
                           {"video", {}},
                           {"video --noise given", {}},
                           {"video --window 5", {}},
                           {"video --method camera", {}}};
  for (const Picture& truth : truths) {
    const auto frames = filmed(truth, noise);
    const Steadiness found[] = {enlarged(frames),         made(frames, *window(1)),
                                made(frames, *window(3)), made(frames, *window(3, noise)),
                                made(frames, *window(5)), made(frames, *camera())};
    for (std::size_t i = 0; i < ways.size(); ++i) {
      ways[i].sum.detail += found[i].detail / static_cast<double>(truths.size());
      ways[i].sum.change += found[i].change / static_cast<double>(truths.size());
    }
  }
  for (const Way& way : ways) {
    tool::printData(tool::format("| %g | `%s` | %.0f | %.1f |\n", noise, way.name, way.sum.detail,
                                 100 * way.sum.change / way.sum.detail));
  }
}

int run(const std::vector<std::string>& photos) {
  if (photos.empty()) {
    std::fputs("usage: clip_flicker PHOTO...\n", stderr);
    return 2;
  }
  std::vector<Picture> truths;
  for (const std::string& photo : photos)
    truths.push_back(truthOf(photo));
  tool::printData("| noise | | detail | change, % |\n|---:|---|---:|---:|\n");
  for (const double noise : {0.0, 8.0})
    measure(truths, noise);
  return 0;
}

}  // namespace
}  // namespace velmora::quality

int main(int argc, char** argv) {
  try {
    velmora::tool::claimStandardOutput();
    return velmora::quality::run({argv + 1, argv + argc});
  } catch (const std::exception& error) {
    std::fprintf(stderr, "clip_flicker: %s\n", error.what());
    return 1;
  }
}
