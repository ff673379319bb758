// The scenes that bursts are taken of: photos, and a drawn one.
#ifndef VELMORA_BENCH_QUALITY_BURST_MASTER_H
#define VELMORA_BENCH_QUALITY_BURST_MASTER_H

#include <array>
#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <vector>

#include "picture.h"

namespace velmora::quality {

/// A scene in more detail than any frame or result: Y, U and V as float, all of one size.
struct Master {
  std::string name;
  std::array<cv::Mat, 3> planes;
  [[nodiscard]] tool::Size size() const { return {planes[0].cols, planes[0].rows}; }
};

/// A photo, reduced by `reduction` on both axes; nothing where the file cannot be read.
std::optional<Master> readMaster(const std::string& path, double reduction);

/// Text, lines, texture and flat parts, drawn by the tool.
Master drawnMaster();

/// The textured photos of Debian packages that are installed, or the drawn scene without any.
/// VELMORA_PHOTOS and VELMORA_SAMPLES name other folders than /usr/share/backgrounds and that of
/// the samples of opencv-doc.
std::vector<Master> texturedMasters();
/// Photos of sky, lamps, glass and what is out of focus; likewise.
std::vector<Master> smoothMasters();

/// The file of a photo by its name; empty where it is not installed.
std::string photoPath(const std::string& name);

}  // namespace velmora::quality

#endif  // VELMORA_BENCH_QUALITY_BURST_MASTER_H
