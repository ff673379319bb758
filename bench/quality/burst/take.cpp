#include "burst/take.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>

#include "burst/peers.h"
#include "formats/png.h"
#include "status.h"

namespace velmora::quality {
namespace {

constexpr int kMargin = 14;  // of the scene around the frames, in pixels of a frame

// The angle in radians, the scale, the tilt in pixels at the edges of the frame, the shift.
struct HandHeld {
  double angle, scale, tilt;
  Position shift;
};
constexpr std::array<HandHeld, 8> kHandHeld = {{{0, 1, 0, {0, 0}},
                                                {0.007, 1.002, 0.8, {6.3, -4.7}},
                                                {-0.004, 0.999, -1.1, {-3.4, 5.8}},
                                                {0.002, 1.001, 0.4, {7.5, 2.2}},
                                                {-0.009, 1.003, -0.6, {-1.2, -7.6}},
                                                {0.005, 0.998, 1.3, {-5.9, -2.8}},
                                                {-0.002, 1.004, -0.3, {3.1, 3.6}},
                                                {0.008, 0.997, 0.9, {-7.2, 6.4}}}};

}  // namespace

Matrix handHeld(int k, Size frame) {
  const HandHeld& hand = kHandHeld[static_cast<std::size_t>(k)];
  tool::KnownMotion motion;
  motion.angle = hand.angle;
  motion.scale = hand.scale;
  motion.perspective = hand.tilt / (0.25 * frame.width * frame.width);
  motion.shift = hand.shift;
  return motion.matrix(frame);
}

Take takeOf(const Master& master, Size largest, double scale, int count, const Alter& alter) {
  Take take;
  take.name = master.name;
  const double detail = 2 * scale;  // samples of the master for a pixel
  const auto side = [&](int all, int most) {
    return std::min(most, static_cast<int>(all / detail) - 2 * kMargin) / 2 * 2;
  };
  take.frame = {side(master.size().width, largest.width),
                side(master.size().height, largest.height)};
  const auto enlarged = [&](int samples) {
    return static_cast<int>(std::lround(scale * (samples - 1))) + 1;
  };
  take.output = {enlarged(take.frame.width), enlarged(take.frame.height)};
  const double pitch = 2.0 * (take.output.width - 1) / (take.frame.width - 1);
  const Camera camera(master, take.frame, pitch);
  for (int k = 0; k < count; ++k) {
    View view;
    view.motion = handHeld(k, take.frame);
    if (alter) alter(view, k, take.frame);
    take.views.push_back(view);
    take.frames.push_back(camera.take(view));
  }
  take.truth = camera.truth(take.views[0], take.output);
  return take;
}

std::vector<Picture> Take::develop(int count, const Development& development,
                                   const std::vector<double>& exposures) const {
  std::vector<Picture> pictures;
  for (int k = 0; k < count; ++k) {
    Development one = development;
    const auto index = static_cast<std::size_t>(k);
    if (!exposures.empty()) one.gain = exposures[index % exposures.size()];
    const auto seed = std::hash<std::string>()(name) + static_cast<uint64_t>(k) * 1000003;
    pictures.push_back(developed(frames[index], one, seed));
  }
  return pictures;
}

std::string noiseColumn(double noise) {
  return tool::format("noise %g", noise);
}

std::string rowOf(const std::string& who, int count) {
  return who + tool::format(", %d frame%s", count, count == 1 ? "" : "s");
}

Picture bestOneFramePeer(const Picture& frame, const Picture& truth, double noise) {
  std::vector<Picture> sources = {frame};
  if (noise >= 3) sources.push_back(denoised(frame, noise));
  Picture best;
  double bestPsnr = -1;
  for (const Picture& source : sources) {
    for (const int interpolation : {cv::INTER_CUBIC, cv::INTER_LANCZOS4}) {
      Picture result = averaged({&source, 1}, {cv::Matx33d::eye()}, truth.size(), interpolation);
      const double psnr = scoreOf(result.y, truth.y).psnr;
      if (psnr <= bestPsnr) continue;
      bestPsnr = psnr;
      best = std::move(result);
    }
  }
  return best;
}

void saveParts(const std::string& path, const std::vector<Picture>& pictures, tool::Region part,
               int zoom) {
  const Size size = part.size();
  const int gap = 2 * zoom;
  const int stride = size.width * zoom + gap;
  Picture row({stride * static_cast<int>(pictures.size()) - gap, size.height * zoom});
  for (std::size_t i = 0; i < pictures.size(); ++i) {
    const auto copy = [&](const Plane& from, Plane& to, int unit) {
      const int left = static_cast<int>(i) * stride / unit;
      for (int y = 0; y < size.height * zoom / unit; ++y) {
        for (int x = 0; x < size.width * zoom / unit; ++x)
          to.row(y)[left + x] = from.row(part.top / unit + y / zoom)[part.left / unit + x / zoom];
      }
    };
    copy(pictures[i].y, row.y, 1);
    copy(pictures[i].u, row.u, 2);
    copy(pictures[i].v, row.v, 2);
  }
  const auto writer = tool::createPng(path);
  writer->write(row);
  writer->finish();
}

void noteFrames(const std::string& what, const BurstResult& result) {
  for (std::size_t k = 1; k < result.frames.size(); ++k) {
    const Velmora_SR_BurstFrameReport& frame = result.frames[k];
    if (frame.use == VELMORA_SR_BURST_USED) continue;
    std::fprintf(stderr, "%s: frame %zu left out: %s\n", what.c_str(), k, frame.reason);
  }
}

}  // namespace velmora::quality
