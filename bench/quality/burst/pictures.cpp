// Crops to look at.
#include <array>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "burst/peers.h"
#include "burst/sections.h"
#include "status.h"

namespace velmora::quality {
namespace {

constexpr Size kPart = {88, 72};
constexpr int kZoom = 2;

struct Place {
  const char* name;
  double x, y;  // of the part's middle, shares of the picture
};

tool::Region partAt(const Place& place, Size size) {
  const auto start = [](double share, int all, int part) {
    return std::clamp(static_cast<int>(share * all) - part / 2, 0, all - part - 1) / 2 * 2;
  };
  const int left = start(place.x, size.width, kPart.width);
  const int top = start(place.y, size.height, kPart.height);
  return {left, top, left + kPart.width - 1, top + kPart.height - 1};
}

// Best one-frame peer, mean of four frames with non-local means, burst stage of one and four
// frames, truth.
std::vector<Picture> resultsOf(const Take& take, const std::vector<Picture>& frames, double noise) {
  const PeerMotions motions = siftMotions(frames);
  const Picture mean = averaged(frames, motions, take.output, cv::INTER_LANCZOS4);
  std::vector<Picture> results = {bestOneFramePeer(frames[0], take.truth, noise),
                                  noise > 0 ? denoised(mean, noise / 2) : mean};
  for (const std::size_t count : {1U, 4U})
    results.push_back(burstOf({frames.data(), count}, take.output).picture);
  results.push_back(take.truth);
  return results;
}

void saveTake(const Take& take, const std::string& stem, const std::vector<double>& exposures,
              const std::vector<Place>& places) {
  for (const double noise : {0.0, 3.0, 8.0}) {
    const std::vector<Picture> frames = take.develop(4, {.noise = noise}, exposures);
    const std::vector<Picture> results = resultsOf(take, frames, noise);
    for (const Place& place : places) {
      saveParts(stem + tool::format("-%s-%g.png", place.name, noise), results,
                partAt(place, take.output), kZoom);
    }
  }
}

}  // namespace

void savePictures(const Plan& plan) {
  const std::string folder = plan.pictures + "/";
  const std::vector<Place> everywhere = {
      {"middle", 0.5, 0.5}, {"left", 0.25, 0.4}, {"corner", 0, 0}, {"end", 1, 1}};
  for (const Master& master : plan.masters)
    saveTake(takeOf(master, plan.frame, 2, 4), folder + master.name, {}, everywhere);

  const Master drawn = drawnMaster();
  const std::vector<Place> parts = {{"text", 0.14, 0.2}, {"rings", 0.4, 0.2}, {"lines", 0.7, 0.2},
                                    {"d", 0.9, 0.2},     {"e", 0.15, 0.6},    {"f", 0.4, 0.6},
                                    {"g", 0.65, 0.6},    {"h", 0.9, 0.6}};
  saveTake(takeOf(drawn, {560, 420}, 2, 4), folder + "drawn", {}, parts);

  const auto moving = [](View& view, int k, Size frame) {
    const Position centre = {frame.width * 0.48 + 22 * k, frame.height * 0.52 + 10 * k};
    view.disc = Disc{centre, 34, {frame.width * 0.25, frame.height * 0.28}};
  };
  saveTake(takeOf(plan.masters[0], plan.frame, 2, 4, moving), folder + "moving", {1, 1.15, 0.9, 1},
           {{"disc", 0.55, 0.46}});
  const auto parallax = [](View& view, int k, Size frame) {
    view.near = NearHalf{frame.width / 2.0, {1.5 * k, 0.6 * k}};
  };
  saveTake(takeOf(plan.masters[0], plan.frame, 2, 4, parallax), folder + "parallax", {},
           {{"edge", 0.5, 0.5}});
}

}  // namespace velmora::quality
