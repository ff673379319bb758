#include "burst/master.h"

#include <cstdlib>
#include <filesystem>
#include <initializer_list>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "demo/canvas.h"
#include "demo/scene.h"

namespace velmora::quality {
namespace {

// Full-range BT.601, as in JPEG files.
Master masterOf(const std::string& name, const cv::Mat& bgr) {
  cv::Mat samples;
  bgr.convertTo(samples, CV_32F);
  std::array<cv::Mat, 3> b;
  cv::split(samples, b.data());
  Master master{name, {}};
  master.planes[0] = 0.299 * b[2] + 0.587 * b[1] + 0.114 * b[0];
  master.planes[1] = (b[0] - master.planes[0]) * (0.5 / 0.886) + 128;
  master.planes[2] = (b[2] - master.planes[0]) * (0.5 / 0.701) + 128;
  return master;
}

std::string folder(const char* variable, const char* standard) {
  const char* given = std::getenv(variable);
  return given != nullptr ? given : standard;
}

// Large photos are soft at full size: reduced, they have detail down to the last pixel.
struct Photo {
  const char* name;
  double reduction;
};

// Those that are installed, or the drawn scene.
std::vector<Master> mastersOf(std::initializer_list<Photo> photos) {
  std::vector<Master> masters;
  for (const Photo& photo : photos) {
    if (auto master = readMaster(photoPath(photo.name), photo.reduction))
      masters.push_back(std::move(*master));
  }
  if (masters.empty()) masters.push_back(drawnMaster());
  return masters;
}

}  // namespace

std::optional<Master> readMaster(const std::string& path, double reduction) {
  if (path.empty()) return std::nullopt;
  cv::Mat bgr = cv::imread(path, cv::IMREAD_COLOR);
  if (bgr.empty()) return std::nullopt;
  if (reduction != 1) cv::resize(bgr, bgr, {}, 1 / reduction, 1 / reduction, cv::INTER_AREA);
  return masterOf(std::filesystem::path(path).stem(), bgr);
}

Master drawnMaster() {
  const tool::Canvas scene = tool::drawScene(2);
  const tool::Size size = scene.size();
  cv::Mat rgb(size.height, size.width, CV_8UC3, const_cast<uint8_t*>(scene.rgb().data()));
  cv::Mat bgr;
  cv::cvtColor(rgb, bgr, cv::COLOR_RGB2BGR);
  return masterOf("drawn", bgr);
}

std::string photoPath(const std::string& name) {
  const std::array<std::string, 2> folders = {
      folder("VELMORA_PHOTOS", "/usr/share/backgrounds"),
      folder("VELMORA_SAMPLES", "/usr/share/doc/opencv-doc/examples/data")};
  for (const std::string& where : folders) {
    std::string path = where + "/" + name + ".jpg";
    if (std::filesystem::exists(path)) return path;
  }
  return {};
}

std::vector<Master> texturedMasters() {
  return mastersOf({{"life_by_Aitzol_Berasategi", 1.5},
                    {"picosdeeuropa_by_Aitzol_Berasategi", 1.5},
                    {"aloeL", 1},
                    {"Dragonfly_by_Bolly", 2}});
}

std::vector<Master> smoothMasters() {
  return mastersOf({{"Bridge_by_Sander_Klootwijk", 2},
                    {"free_by_Peter_Nerlich", 2},
                    {"greentock_by_Peter_Nerlich", 2},
                    {"seeding_by_Clements_Engelhardt", 2}});
}

}  // namespace velmora::quality
