// A camera held by hand that takes several frames of a scene.
#ifndef VELMORA_BENCH_QUALITY_BURST_CAMERA_H
#define VELMORA_BENCH_QUALITY_BURST_CAMERA_H

#include <array>
#include <cstdint>
#include <opencv2/core.hpp>
#include <optional>
#include <vector>

#include "burst/master.h"
#include "known_motion.h"
#include "picture.h"

namespace velmora::quality {

using tool::Matrix;
using tool::Picture;
using tool::Plane;
using tool::Position;
using tool::Size;

/// A disc in front of the scene; lengths in pixels of the first frame.
struct Disc {
  Position centre;
  double radius = 0;
  Position texture;           ///< the part of the scene it shows, by its centre
  double addU = 0, addV = 0;  ///< how its colour differs
  [[nodiscard]] bool holds(Position p, double margin = 0) const {
    return tool::distance(p, centre) <= radius + margin;
  }
};

/// What is nearer to the camera than the rest: all to the right of an edge.
struct NearHalf {
  double edge = 0;  ///< column of the first frame
  Position shift;   ///< by which parallax moves it
};

/// How one frame sees the scene.
struct View {
  Matrix motion = {1, 0, 0, 0, 1, 0, 0, 0, 1};  ///< from the first frame to this one
  std::optional<Disc> disc;
  std::optional<NearHalf> near;
};

/// What happens to a frame between light and file.
struct Development {
  double noise = 0;      ///< standard deviation in luma, half of it in chroma
  double gain = 1;       ///< exposure
  double sharpened = 0;  ///< luma f becomes f + a (f - f blurred by [1 2 1] / 4 on both axes)
  int jpegQuality = 0;   ///< of a JPEG file with halved chroma; 0: none
};

/// Y, U and V before noise and rounding, CV_32F.
using Samples = std::array<cv::Mat, 3>;

class Camera {
 public:
  /// A pixel covers a square of `pitch` x `pitch` samples of the master, in whose middle the first
  /// frame lies.
  Camera(const Master& master, Size frame, double pitch);

  /// A sample is the mean over its square; a chroma sample covers two by two pixels.
  [[nodiscard]] Samples take(const View& view) const;
  /// What a camera of so many pixels would have seen of the first frame's view; its outermost
  /// luma samples lie where the first frame's do.
  [[nodiscard]] Picture truth(const View& view, Size output) const;

 private:
  // Where the samples of a plane lie, in pixels of a frame; each covers `step`.
  struct Grid {
    Size size;
    Position first;
    Position step;
    int points;  // per axis and sample
  };
  [[nodiscard]] cv::Mat exposed(std::size_t plane, const Grid& grid, const View& view) const;
  [[nodiscard]] float seen(std::size_t plane, Position p, const View& view) const;

  const Master& master_;
  Size frame_;
  double pitch_;
  Position origin_;  // of the first frame's first pixel in the master
};

/// The file of a frame; the same seed gives the same noise.
Picture developed(const Samples& samples, const Development& development, uint64_t seed);

}  // namespace velmora::quality

#endif  // VELMORA_BENCH_QUALITY_BURST_CAMERA_H
