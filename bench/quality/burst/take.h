// Bursts of one scene, and all that is compared on them.
#ifndef VELMORA_BENCH_QUALITY_BURST_TAKE_H
#define VELMORA_BENCH_QUALITY_BURST_TAKE_H

#include <functional>
#include <string>
#include <vector>

#include "burst/camera.h"
#include "burst/master.h"
#include "burst/ours.h"
#include "burst/scores.h"

namespace velmora::quality {

/// What all sections share.
struct Plan {
  std::vector<Master> masters;
  std::vector<double> noise = {0, 3, 8, 15};
  std::vector<int> counts = {1, 2, 4, 8};
  Size frame = {400, 300};  ///< at most
  std::string pictures;     ///< folder for crops; empty: none
};

/// A scene as eight frames see it, without noise yet.
struct Take {
  std::string name;
  Size frame;
  Size output;
  std::vector<View> views;
  std::vector<Samples> frames;
  Picture truth;  ///< of the first view

  /// The first `count` frames; exposures, where given, are by frame.
  [[nodiscard]] std::vector<Picture> develop(int count, const Development& development,
                                             const std::vector<double>& exposures = {}) const;
};

/// Changes the view of frame k; lengths are pixels of a frame of the size given.
using Alter = std::function<void(View& view, int k, Size frame)>;

/// Frames of at most the plan's size, `scale` times enlarged: the output's first and every
/// scale-th sample lie on the first frame's. Hand-held: each frame is turned, scaled, tilted and
/// shifted by some pixels.
Take takeOf(const Master& master, Size largest, double scale, int count, const Alter& alter = {});

/// The hand-held motion of frame k; none for the first.
Matrix handHeld(int k, Size frame);

/// "noise 3"
std::string noiseColumn(double noise);
/// "ours, 2 frames"
std::string rowOf(const std::string& who, int count);

/// The best of the one-frame peers by PSNR of luma: cubic and Lanczos4, from noise 3 on with
/// non-local means before.
Picture bestOneFramePeer(const Picture& frame, const Picture& truth, double noise);

/// Saves the same part of several pictures beside each other as PNG, each sample as a square of
/// `zoom` x `zoom`; the part begins at even coordinates.
void saveParts(const std::string& path, const std::vector<Picture>& pictures, tool::Region part,
               int zoom);

/// A note on standard error that tells of frames left out.
void noteFrames(const std::string& what, const BurstResult& result);

}  // namespace velmora::quality

#endif  // VELMORA_BENCH_QUALITY_BURST_TAKE_H
