// Scenes in which more differs between the frames than the camera's place.
#include <opencv2/imgproc.hpp>
#include <string>

#include "burst/peers.h"
#include "burst/sections.h"
#include "status.h"

namespace velmora::quality {
namespace {

const std::vector<double> kExposures = {1, 1.15, 0.9, 1.07, 0.95, 1.12, 0.88, 1.03};
constexpr double kDiscRadius = 34;
constexpr double kDiscMargin = 4;

// The disc of frame k, on its way through the middle of the frame.
Disc discAt(int k, Size frame) {
  constexpr std::array<Position, 8> kSteps = {
      {{0, 0}, {22, 10}, {44, 20}, {-22, -10}, {62, 26}, {-40, -24}, {80, 30}, {-60, -34}}};
  const Position step = kSteps[static_cast<std::size_t>(k)];
  const Position texture = {frame.width * 0.25, frame.height * 0.28};
  return {{frame.width * 0.48 + step.x, frame.height * 0.52 + step.y}, kDiscRadius, texture};
}

// The output samples of one plane in the disc of a frame, or of all frames but the first.
cv::Mat discMask(Size frame, Size plane, int first, int last) {
  cv::Mat mask = cv::Mat::zeros(plane.height, plane.width, CV_8U);
  for (int k = first; k <= last; ++k) {
    const Disc disc = discAt(k, frame);
    for (int y = 0; y < plane.height; ++y) {
      for (int x = 0; x < plane.width; ++x) {
        const Position p = {x * (frame.width - 1.0) / (plane.width - 1),
                            y * (frame.height - 1.0) / (plane.height - 1)};
        if (disc.holds(p, kDiscMargin)) mask.at<uint8_t>(y, x) = 255;
      }
    }
  }
  return mask;
}

// Ours beside the best peer of one frame and the mean of several, luma.
void compareLuma(const Take& take, const std::vector<Picture>& all, double noise,
                 const std::vector<int>& counts, const std::string& prefix,
                 const BurstSettings& settings, Table& table) {
  const std::string column = noiseColumn(noise);
  const PeerMotions motions = siftMotions(all);
  for (const int count : counts) {
    const std::span<const Picture> frames(all.data(), static_cast<std::size_t>(count));
    if (count == 1) {
      table.add(prefix + "best one-frame peer", column,
                scoreOf(bestOneFramePeer(frames[0], take.truth, noise).y, take.truth.y));
    } else {
      const PeerMotions some(motions.begin(), motions.begin() + count);
      table.add(prefix + rowOf("SIFT + average", count), column,
                scoreOf(averaged(frames, some, take.output, cv::INTER_LANCZOS4).y, take.truth.y));
    }
    const BurstResult ours = burstOf(frames, take.output, settings);
    noteFrames(prefix + take.name + ", " + column, ours);
    table.add(prefix + rowOf("**burst stage**", count), column,
              scoreOf(ours.picture.y, take.truth.y));
  }
}

}  // namespace

void measureMoving(const Plan& plan) {
  Table whole("luma, whole frame");
  Table own("luma, where the disc is in the first frame");
  Table others("luma, where it is in the others");
  for (const Master& master : plan.masters) {
    const Take take = takeOf(master, plan.frame, 2, plan.counts.back(),
                             [](View& view, int k, Size frame) { view.disc = discAt(k, frame); });
    const cv::Mat inFirst = discMask(take.frame, take.output, 0, 0);
    cv::Mat inOthers = discMask(take.frame, take.output, 1, plan.counts.back() - 1);
    inOthers.setTo(0, inFirst);
    for (const double noise : plan.noise) {
      const std::string column = noiseColumn(noise);
      const std::vector<Picture> all =
          take.develop(plan.counts.back(), {.noise = noise}, kExposures);
      const PeerMotions motions = siftMotions(all);
      const auto add = [&](const std::string& row, const Picture& result) {
        whole.add(row, column, scoreOf(result.y, take.truth.y));
        own.add(row, column, scoreOf(result.y, take.truth.y, inFirst));
        others.add(row, column, scoreOf(result.y, take.truth.y, inOthers));
      };
      for (const int count : plan.counts) {
        const std::span<const Picture> frames(all.data(), static_cast<std::size_t>(count));
        if (count == 1) add("best one-frame peer", bestOneFramePeer(all[0], take.truth, noise));
        if (count == 2) {
          const PeerMotions some(motions.begin(), motions.begin() + count);
          add(rowOf("SIFT + average", count),
              averaged(frames, some, take.output, cv::INTER_LANCZOS4));
        }
        const BurstResult ours = burstOf(frames, take.output);
        noteFrames("moving, " + take.name + ", " + column, ours);
        add(rowOf("**burst stage**", count), ours.picture);
      }
    }
  }
  whole.print("A textured disc moves, exposures differ");
  own.print("The disc, where the first frame has it");
  others.print("What the disc hides in other frames");
}

void measureColour(const Plan& plan) {
  Table table("chroma, in the disc");
  Table luma("luma, in the disc");
  for (const Master& master : plan.masters) {
    const Take take = takeOf(master, plan.frame, 2, 4, [](View& view, int k, Size frame) {
      if (k == 0) return;
      Disc disc = discAt(0, frame);
      disc.texture = disc.centre;
      disc.addU = 20;
      disc.addV = -14;
      view.disc = disc;
    });
    const cv::Mat mask = discMask(take.frame, tool::chromaSize(take.output), 0, 0);
    const cv::Mat lumaMask = discMask(take.frame, take.output, 0, 0);
    for (const double noise : plan.noise) {
      const std::vector<Picture> all = take.develop(4, {.noise = noise});
      for (const int count : {1, 2, 4}) {
        const std::span<const Picture> frames(all.data(), static_cast<std::size_t>(count));
        const Picture result = burstOf(frames, take.output).picture;
        table.add(rowOf("**burst stage**", count), noiseColumn(noise),
                  chromaScoreOf(result, take.truth, mask));
        luma.add(rowOf("**burst stage**", count), noiseColumn(noise),
                 scoreOf(result.y, take.truth.y, lumaMask));
      }
    }
  }
  table.print("The disc is of another colour in all frames but the first");
  luma.print("The same, luma");
}

void measureExposure(const Plan& plan) {
  Table table("luma, whole frame");
  for (const Master& master : plan.masters) {
    const Take take = takeOf(master, plan.frame, 2, 4);
    for (const double noise : plan.noise) {
      compareLuma(take, take.develop(4, {.noise = noise}), noise, {2, 4}, "equal: ", {}, table);
      compareLuma(take, take.develop(4, {.noise = noise}, kExposures), noise, {2, 4},
                  "different: ", {}, table);
    }
  }
  table.print("Exposures: 1, 1.15, 0.9, 1.07");
}

void measureJpeg(const Plan& plan) {
  const auto measure = [&](const std::vector<Master>& masters, const std::string& heading) {
    Table table("luma, whole frame");
    for (const Master& master : masters) {
      const Take take = takeOf(master, plan.frame, 2, 4);
      for (const double noise : plan.noise) {
        for (const int quality : {95, 88, 75}) {
          compareLuma(take, take.develop(4, {.noise = noise, .jpegQuality = quality}), noise,
                      {1, 2, 4}, tool::format("JPEG %d: ", quality), {}, table);
        }
      }
    }
    table.print(heading);
  };
  measure(plan.masters, "Frames from JPEG files");
  measure(smoothMasters(), "Frames from JPEG files, smooth photos");
}

void measureSharpened(const Plan& plan) {
  Table table("luma, whole frame");
  for (const Master& master : plan.masters) {
    const Take take = takeOf(master, plan.frame, 2, 4);
    for (const double noise : plan.noise) {
      for (const double amount : {-0.6, 0.0, 0.3, 0.6}) {
        const std::vector<Picture> all = take.develop(4, {.noise = noise, .sharpened = amount});
        compareLuma(take, all, noise, {1, 2, 4}, tool::format("by %g: ", amount), {}, table);
        for (const int count : {1, 2, 4}) {
          const std::span<const Picture> frames(all.data(), static_cast<std::size_t>(count));
          const BurstSettings right = {.sharpened = static_cast<float>(amount)};
          table.add(tool::format("by %g: ", amount) + rowOf("burst stage, amount given", count),
                    noiseColumn(noise),
                    scoreOf(burstOf(frames, take.output, right).picture.y, take.truth.y));
        }
      }
    }
  }
  table.print("Frames sharpened by the camera; below 0: blurred");
}

void measureParallax(const Plan& plan) {
  constexpr std::array<double, 4> kShares = {0, 1, -0.7, 0.55};
  Table away("luma, away from the edge");
  Table edge("luma, within 8 pixels of the edge");
  Table tiles("tiles moved on their own");
  for (const Master& master : plan.masters) {
    for (const double parallax : {0.0, 1.0, 2.0, 3.0}) {
      const Take take = takeOf(master, plan.frame, 2, 4, [&](View& view, int k, Size frame) {
        const double shift = parallax * kShares[static_cast<std::size_t>(k)];
        view.near = NearHalf{frame.width / 2.0, {shift, 0.4 * shift}};
      });
      cv::Mat atEdge = cv::Mat::zeros(take.output.height, take.output.width, CV_8U);
      atEdge(cv::Rect(take.output.width / 2 - 16, 0, 33, take.output.height)) = 255;
      const cv::Mat elsewhere = 255 - atEdge;
      for (const double noise : plan.noise) {
        const std::vector<Picture> all = take.develop(4, {.noise = noise});
        for (const int count : {1, 2, 4}) {
          if (count == 1 && parallax > 0) continue;
          const std::span<const Picture> frames(all.data(), static_cast<std::size_t>(count));
          const BurstResult ours = burstOf(frames, take.output);
          const std::string prefix =
              count == 1 ? take.name + ": " : take.name + tool::format(", %g px: ", parallax);
          const std::string row = prefix + rowOf("burst stage", count);
          noteFrames(row, ours);
          away.add(row, noiseColumn(noise), scoreOf(ours.picture.y, take.truth.y, elsewhere));
          edge.add(row, noiseColumn(noise), scoreOf(ours.picture.y, take.truth.y, atEdge));
          for (int k = 1; k < count; ++k)
            tiles.add(row, noiseColumn(noise), ours.frames[static_cast<std::size_t>(k)].localTiles,
                      0);
        }
      }
    }
  }
  away.print("Parallax: the right half of the scene moves against the left");
  edge.print("At the edge between the halves");
  tiles.print("Tiles that moved on their own");
}

}  // namespace velmora::quality
