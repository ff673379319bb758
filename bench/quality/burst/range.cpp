// Other scales, and registration on frames of many sizes.
#include <algorithm>
#include <array>
#include <cmath>
#include <opencv2/imgproc.hpp>
#include <utility>

#include "burst/peers.h"
#include "burst/sections.h"
#include "status.h"

namespace velmora::quality {
namespace {

void compareScale(const Take& take, const std::string& prefix, const Plan& plan, Table& table) {
  for (const double noise : plan.noise) {
    const std::string column = noiseColumn(noise);
    const std::vector<Picture> all = take.develop(4, {.noise = noise});
    const PeerMotions motions = siftMotions(all);
    for (const int count : {1, 2, 4}) {
      const std::span<const Picture> frames(all.data(), static_cast<std::size_t>(count));
      if (count == 1) {
        table.add(prefix + "best one-frame peer", column,
                  scoreOf(bestOneFramePeer(all[0], take.truth, noise).y, take.truth.y));
      } else {
        const PeerMotions some(motions.begin(), motions.begin() + count);
        const Picture mean = averaged(frames, some, take.output, cv::INTER_LANCZOS4);
        const double plain = scoreOf(mean.y, take.truth.y).psnr;
        const Picture clean = noise > 0 ? denoised(mean, noise / std::sqrt(count)) : mean;
        table.add(
            prefix + rowOf("SIFT + average, or with non-local means", count), column,
            scoreOf((scoreOf(clean.y, take.truth.y).psnr > plain ? clean : mean).y, take.truth.y));
      }
      const BurstResult ours = burstOf(frames, take.output);
      noteFrames(prefix + take.name + ", " + column, ours);
      table.add(prefix + rowOf("**burst stage**", count), column,
                scoreOf(ours.picture.y, take.truth.y));
      table.add(prefix + rowOf("burst stage, chroma", count), column,
                chromaScoreOf(ours.picture, take.truth));
    }
  }
}

}  // namespace

void measureScales(const Plan& plan) {
  Table table("luma, whole frame");
  for (const double scale : {1.0, 1.5, 2.0, 3.0, 4.0}) {
    for (const Master& master : plan.masters) {
      const Size largest = {static_cast<int>(plan.frame.width * 2 / std::max(scale, 2.0)),
                            static_cast<int>(plan.frame.height * 2 / std::max(scale, 2.0))};
      compareScale(takeOf(master, largest, scale, 4), tool::format("x%g: ", scale), plan, table);
    }
  }
  table.print("Other scales");
}

void measureRegistration(const Plan& plan) {
  struct Photo {
    const char* name;
    double reduction;
  };
  constexpr std::array<Photo, 9> kPhotos = {{{"sunset_by_Aitzol_Berasategi", 1},
                                             {"Dragonfly_by_Bolly", 1},
                                             {"aitzgorri_by_Aitzol_Berasategi", 1},
                                             {"picosdeeuropa_by_Aitzol_Berasategi", 1},
                                             {"life_by_Aitzol_Berasategi", 1},
                                             {"mate/nature/Wood", 1},
                                             {"aloeL", 1},
                                             {"life_by_Aitzol_Berasategi", 4},
                                             {"picosdeeuropa_by_Aitzol_Berasategi", 4}}};
  constexpr double kShown = 0.9;  // of the photo in a frame
  constexpr double kFar = 0.035;  // a shift of so much of the width
  Table table("mean error over the frame in pixels");
  Table largest("largest error in pixels");
  for (const Photo& photo : kPhotos) {
    const auto master = readMaster(photoPath(photo.name), photo.reduction);
    if (!master) continue;
    const Size frame = {static_cast<int>(master->size().width * kShown) / 2 * 2,
                        static_cast<int>(master->size().height * kShown) / 2 * 2};
    const double megapixels = 1e-6 * frame.width * frame.height;
    const Camera camera(*master, frame, 1);
    const Samples first = camera.take({});
    tool::KnownMotion far;
    far.angle = 0.012;
    far.scale = 1.005;
    far.shift = {kFar * frame.width, -0.6 * kFar * frame.width};
    const std::array<std::pair<const char*, Matrix>, 3> motions = {
        {{"near", handHeld(1, frame)}, {"tilted", handHeld(4, frame)}, {"far", far.matrix(frame)}}};
    for (const auto& [name, motion] : motions) {
      View view;
      view.motion = motion;
      const Samples second = camera.take(view);
      const std::string row = master->name + tool::format(", %.1f MP, ", megapixels) + name;
      for (const double noise : plan.noise) {
        const std::vector<Picture> frames = {developed(first, {.noise = noise}, 1),
                                             developed(second, {.noise = noise}, 2)};
        // A small part is enough to render: the homography belongs to the frames.
        const int left = frame.width / 2 - 32;
        const int top = frame.height / 2 - 32;
        const BurstSettings part = {.region = tool::Region{left, top, left + 63, top + 63}};
        const BurstResult ours = burstOf(frames, {64, 64}, part);
        noteFrames(row, ours);
        const MotionError error = motionError(view.motion, motionOf(ours.frames[1]), frame);
        table.add(row, noiseColumn(noise), error.mean, 4);
        largest.add(row, noiseColumn(noise), error.largest, 4);

        table.add(row, "ms/MP",
                  ours.report.milliseconds[VELMORA_SR_BURST_STAGE_REGISTRATION] / megapixels, 1);
      }
    }
  }
  table.print("Registration");
  largest.print("Registration, the worst place of the frame");
}

}  // namespace velmora::quality
