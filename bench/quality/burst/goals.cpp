// The goals of the burst stage on a few cases that take two minutes.
#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "burst/peers.h"
#include "burst/sections.h"
#include "status.h"
#include "streams.h"

namespace velmora::quality {
namespace {

constexpr Size kFrame = {320, 240};

class Verdicts {
 public:
  void check(const std::string& goal, double value, double limit, bool atLeast) {
    const bool passed = atLeast ? value >= limit : value <= limit;
    missed_ += passed ? 0 : 1;
    tool::printData(tool::format("%s  %-72s %8.3f  (%s %g)\n", passed ? "PASS" : "FAIL",
                                 goal.c_str(), value, atLeast ? "at least" : "at most", limit));
  }
  [[nodiscard]] int missed() const { return missed_; }

 private:
  int missed_ = 0;
};

void checkStill(const Plan& plan, Verdicts& verdicts) {
  double margin = 99;
  double gain = 99;
  double registration = 0;
  double weight = 1;
  for (const Master& master : plan.masters) {
    const Take take = takeOf(master, kFrame, 2, 4);
    for (const double noise : {0.0, 3.0, 8.0}) {
      const std::vector<Picture> all = take.develop(4, {.noise = noise});
      const PeerMotions motions = siftMotions(all);
      const auto psnr = [&](const Picture& picture) {
        return scoreOf(picture.y, take.truth.y).psnr;
      };
      double alone = 0;
      for (const int count : {1, 2, 4}) {
        const std::span<const Picture> frames(all.data(), static_cast<std::size_t>(count));
        const BurstResult ours = burstOf(frames, take.output);
        double peer = psnr(bestOneFramePeer(all[0], take.truth, noise));
        if (count == 1) alone = psnr(ours.picture);
        if (count > 1) {
          const PeerMotions some(motions.begin(), motions.begin() + count);
          const Picture mean = averaged(frames, some, take.output, cv::INTER_LANCZOS4);
          peer = std::max({peer, psnr(mean), psnr(denoised(mean, noise / std::sqrt(count)))});
          gain = std::min(gain, psnr(ours.picture) - alone);
          for (std::size_t k = 1; k < frames.size(); ++k) {
            const auto& report = ours.frames[k];
            registration = std::max(
                registration, motionError(take.views[k].motion, motionOf(report), take.frame).mean);
            weight = std::min(weight, report.meanWeight);
          }
        }
        margin = std::min(margin, psnr(ours.picture) - peer);
      }
    }
  }
  verdicts.check("still: worst margin over the best peer, dB", margin, -0.1, true);
  verdicts.check("still: least gain of two and four frames over one, dB", gain, 0.3, true);
  verdicts.check("still: worst mean registration error, pixels", registration, 0.03, false);
  // The motion hides up to a twentieth of a frame at its borders.
  verdicts.check("still: least mean weight", weight, 0.9, true);
}

void checkMoving(const Plan& plan, Verdicts& verdicts) {
  double inDisc = 99;
  double wholeGain = 99;
  for (const Master& master : plan.masters) {
    const Take take = takeOf(master, kFrame, 2, 4, [](View& view, int k, Size frame) {
      const Position centre = {frame.width * 0.48 + 22 * k, frame.height * 0.5 + 10 * k};
      view.disc = Disc{centre, 30, {frame.width * 0.25, frame.height * 0.28}};
    });
    cv::Mat places = cv::Mat::zeros(take.output.height, take.output.width, CV_8U);
    for (const View& view : take.views) {
      const cv::Point centre(static_cast<int>(2 * view.disc->centre.x),
                             static_cast<int>(2 * view.disc->centre.y));
      cv::circle(places, centre, 68, 255, cv::FILLED);
    }
    for (const double noise : {0.0, 8.0}) {
      const std::vector<Picture> all = take.develop(4, {.noise = noise}, {1, 1.15, 0.9, 1.07});
      const Plane alone = burstOf({all.data(), 1}, take.output).picture.y;
      for (const std::size_t count : {2U, 4U}) {
        const Plane result = burstOf({all.data(), count}, take.output).picture.y;
        inDisc = std::min(inDisc, scoreOf(result, take.truth.y, places).psnr -
                                      scoreOf(alone, take.truth.y, places).psnr);
        wholeGain = std::min(
            wholeGain, scoreOf(result, take.truth.y).psnr - scoreOf(alone, take.truth.y).psnr);
      }
    }
  }
  verdicts.check("moving disc: worst gain over one frame in its places, dB", inDisc, -0.1, true);
  verdicts.check("moving disc: worst gain on the whole frame, dB", wholeGain, 0, true);
}

void checkParallax(const Plan& plan, Verdicts& verdicts) {
  double gain = 99;
  for (const Master& master : plan.masters) {
    for (const double parallax : {1.0, 2.0, 3.0}) {
      const Take take = takeOf(master, kFrame, 2, 2, [&](View& view, int k, Size frame) {
        view.near = NearHalf{frame.width / 2.0, {parallax * k, 0.4 * parallax * k}};
      });
      cv::Mat away = cv::Mat(take.output.height, take.output.width, CV_8U, cv::Scalar(255));
      away(cv::Rect(take.output.width / 2 - 16, 0, 33, take.output.height)) = 0;
      for (const double noise : {0.0, 8.0}) {
        const std::vector<Picture> all = take.develop(2, {.noise = noise});
        const auto psnr = [&](std::size_t count) {
          return scoreOf(burstOf({all.data(), count}, take.output).picture.y, take.truth.y, away)
              .psnr;
        };
        gain = std::min(gain, psnr(2) - psnr(1));
      }
    }
  }
  verdicts.check("parallax of 1 to 3 pixels: worst gain of two frames, dB", gain, 0, true);
}

}  // namespace

int checkGoals(const Plan& plan) {
  Verdicts verdicts;
  checkStill(plan, verdicts);
  checkMoving(plan, verdicts);
  checkParallax(plan, verdicts);
  return verdicts.missed();
}

}  // namespace velmora::quality
