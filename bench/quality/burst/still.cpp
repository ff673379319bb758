// Scenes in which nothing moves but the camera.
#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>
#include <span>

#include "burst/peers.h"
#include "burst/sections.h"
#include "status.h"

namespace velmora::quality {
namespace {

constexpr int kBorder = 16;
constexpr Size kBtvFrame = {240, 180};

struct StillTables {
  Table luma{"luma, whole frame"};
  Table inner{"luma, without a border of 16"};
  Table chroma{"chroma, whole frame"};
  Table pictures{"luma, whole frame"};

  void add(const Take& take, const std::string& row, const std::string& column,
           const Picture& result) {
    const Score score = scoreOf(result.y, take.truth.y);
    luma.add(row, column, score);
    if (row.starts_with("best") || row.starts_with("**"))
      pictures.add(take.name + ": " + row, column, score.psnr, 2);
    inner.add(row, column, scoreOf(result.y, take.truth.y, withoutBorder(take.output, kBorder)));
    chroma.add(row, column, chromaScoreOf(result, take.truth));
  }
};

void measureNoise(const Take& take, double noise, const Plan& plan, StillTables& tables,
                  Table& details) {
  const std::string column = noiseColumn(noise);
  const std::vector<Picture> all = take.develop(plan.counts.back(), {.noise = noise});
  const PeerMotions motions = siftMotions(all);
  for (const int count : plan.counts) {
    const std::span<const Picture> frames(all.data(), static_cast<std::size_t>(count));
    if (count == 1) {
      tables.add(take, "best one-frame peer", column,
                 bestOneFramePeer(frames[0], take.truth, noise));
    } else {
      const PeerMotions some(motions.begin(), motions.begin() + count);
      const Picture mean = averaged(frames, some, take.output, cv::INTER_LANCZOS4);
      tables.add(take, rowOf("SIFT + average", count), column, mean);
      // What the mean leaves of the noise.
      const double left = noise / std::sqrt(count);
      tables.add(take, rowOf("the same + non-local means", count), column,
                 noise > 0 ? denoised(mean, left) : mean);
    }
    const BurstResult ours = burstOf(frames, take.output);
    noteFrames(take.name + ", " + column, ours);
    tables.add(take, rowOf("**burst stage**", count), column, ours.picture);
    tables.add(take, rowOf("burst stage, fast", count), column,
               burstOf(frames, take.output, {.effort = VELMORA_SR_BURST_FAST}).picture);
    tables.add(
        take, rowOf("burst stage, noise given, model 0", count), column,
        burstOf(frames, take.output, {.noise = static_cast<float>(noise), .sharpened = 0}).picture);
    details.add(rowOf("noise measured", count), column, ours.report.noise, 2);
    details.add(rowOf("noise of U measured", count), column, ours.report.noiseU, 2);
    for (int k = 1; k < count; ++k) {
      const auto& report = ours.frames[static_cast<std::size_t>(k)];
      const MotionError error =
          motionError(take.views[static_cast<std::size_t>(k)].motion, motionOf(report), take.frame);
      details.add(rowOf("registration error, mean over the frame", count), column, error.mean, 3);
      details.add(rowOf("mean weight", count), column, report.meanWeight, 4);
      details.add(rowOf("gain", count), column, report.gain, 4);
      details.add(rowOf("tiles moved on their own", count), column, report.localTiles, 1);
      if (const auto& sift = motions[static_cast<std::size_t>(k)]) {
        tool::Matrix h{};
        std::copy_n(sift->val, h.size(), h.begin());
        details.add(rowOf("error of SIFT", count), column,
                    motionError(take.views[static_cast<std::size_t>(k)].motion, h, take.frame).mean,
                    3);
      }
    }
  }
}

// `scenes`: what the tables call them.
void measure(const Plan& plan, const std::string& scenes) {
  StillTables tables;
  Table details("what was found");
  for (const Master& master : plan.masters) {
    const Take take = takeOf(master, plan.frame, 2, plan.counts.back());
    for (const double noise : plan.noise)
      measureNoise(take, noise, plan, tables, details);
  }
  tables.luma.print(scenes + ", enlarged by 2: luma");
  tables.inner.print("Luma without the border");
  tables.chroma.print("Chroma");
  tables.pictures.print("Luma by picture");
  details.print("What the library found");
}

}  // namespace

void measureStill(const Plan& plan) {
  measure(plan, "Nothing moves");
}

void measureSmooth(const Plan& plan) {
  Plan smooth = plan;
  smooth.masters = smoothMasters();
  measure(smooth, "Smooth photos");
}

void measureBtv(const Plan& plan) {
  Table table("luma, without a border of 16");
  // A frame takes it most of a minute: two of the pictures.
  const std::size_t pictures = std::min<std::size_t>(plan.masters.size(), 2);
  for (const Master& master : std::span(plan.masters).first(pictures)) {
    const Take take = takeOf(master, kBtvFrame, 2, 4);
    const cv::Mat mask = withoutBorder(take.output, kBorder);
    for (const double noise : {0.0, 8.0}) {
      for (const int count : {2, 4}) {
        const std::vector<Picture> frames = take.develop(count, {.noise = noise});
        table.add(rowOf("BTV-L1", count), noiseColumn(noise),
                  scoreOf(btvL1(frames, take.output), take.truth.y, mask));
        table.add(rowOf("**burst stage**", count), noiseColumn(noise),
                  scoreOf(burstOf(frames, take.output).picture.y, take.truth.y, mask));
      }
    }
  }
  table.print("BTV-L1");
}

}  // namespace velmora::quality
