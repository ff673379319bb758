#include <dlib/image_keypoint.h>

#include <memory>

#include "peers.h"

namespace velmora::bench {

std::function<void()> dlibSurf(const Nv12Frame& first, const Nv12Frame& second) {
  const auto convert = [](const Nv12Frame& frame) {
    dlib::array2d<unsigned char> image(frame.height, frame.width);
    for (int y = 0; y < frame.height; ++y) {
      for (int x = 0; x < frame.width; ++x)
        image[y][x] = frame.bytes[y * frame.width + x];
    }
    return image;
  };
  auto images = std::make_shared<std::vector<dlib::array2d<unsigned char>>>();
  images->push_back(convert(first));
  images->push_back(convert(second));
  return [images] {
    for (const auto& image : *images) {
      const auto points = dlib::get_surf_points(image, 10000, 30.0);
      if (points.empty()) return;
    }
  };
}

}  // namespace velmora::bench
