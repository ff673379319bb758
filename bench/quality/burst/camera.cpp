#include "burst/camera.h"

#include <turbojpeg.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <opencv2/imgproc.hpp>
#include <stdexcept>

namespace velmora::quality {
namespace {

// Catmull-Rom weights of the four samples around a fraction.
std::array<float, 4> cubic(float t) {
  return {t * (-0.5f + t * (1 - 0.5f * t)), 1 + t * t * (1.5f * t - 2.5f),
          t * (0.5f + t * (2 - 1.5f * t)), t * t * (0.5f * t - 0.5f)};
}

float interpolated(const cv::Mat& plane, Position p) {
  const double left = std::floor(p.x);
  const double top = std::floor(p.y);
  const auto wx = cubic(static_cast<float>(p.x - left));
  const auto wy = cubic(static_cast<float>(p.y - top));
  const int x0 = static_cast<int>(left) - 1;
  const int y0 = static_cast<int>(top) - 1;
  float sum = 0;
  for (int j = 0; j < 4; ++j) {
    const auto* row = plane.ptr<float>(std::clamp(y0 + j, 0, plane.rows - 1));
    float line = 0;
    for (int i = 0; i < 4; ++i)
      line += wx[static_cast<std::size_t>(i)] * row[std::clamp(x0 + i, 0, plane.cols - 1)];
    sum += wy[static_cast<std::size_t>(j)] * line;
  }
  return sum;
}

cv::Mat blurred(const cv::Mat& plane) {
  const cv::Mat taps = (cv::Mat_<float>(3, 1) << 0.25f, 0.5f, 0.25f);
  cv::Mat result;
  cv::sepFilter2D(plane, result, CV_32F, taps, taps, {-1, -1}, 0, cv::BORDER_REFLECT_101);
  return result;
}

Plane rounded(const cv::Mat& samples) {
  Plane plane({samples.cols, samples.rows});
  cv::Mat target(samples.rows, samples.cols, CV_8UC1, plane.samples.data());
  samples.convertTo(target, CV_8U);  // rounds and clamps
  return plane;
}

// To JPEG and back.
void squeeze(Picture& picture, int quality) {
  const std::unique_ptr<void, int (*)(void*)> packer(tjInitCompress(), tjDestroy);
  const std::unique_ptr<void, int (*)(void*)> unpacker(tjInitDecompress(), tjDestroy);
  const Size size = picture.size();
  const std::array<const uint8_t*, 3> from = {picture.y.samples.data(), picture.u.samples.data(),
                                              picture.v.samples.data()};
  unsigned char* bytes = nullptr;
  unsigned long count = 0;  // NOLINT: the library's type
  std::array<const uint8_t*, 3> input = from;
  const int packed =
      tjCompressFromYUVPlanes(packer.get(), input.data(), size.width, nullptr, size.height,
                              TJSAMP_420, &bytes, &count, quality, TJFLAG_ACCURATEDCT);
  const std::unique_ptr<unsigned char, void (*)(unsigned char*)> file(bytes, tjFree);
  if (packed != 0) throw std::runtime_error(tjGetErrorStr2(packer.get()));
  std::array<uint8_t*, 3> to = {picture.y.samples.data(), picture.u.samples.data(),
                                picture.v.samples.data()};
  if (tjDecompressToYUVPlanes(unpacker.get(), file.get(), count, to.data(), size.width, nullptr,
                              size.height, TJFLAG_ACCURATEDCT) != 0)
    throw std::runtime_error(tjGetErrorStr2(unpacker.get()));
}

}  // namespace

Camera::Camera(const Master& master, Size frame, double pitch)
    : master_(master), frame_(frame), pitch_(pitch) {
  // A square of an even number of samples has its centre between two of them.
  const double half = std::lround(pitch) % 2 == 0 ? 0.5 : 0.0;
  const auto start = [&](int all, int shown) {
    return std::floor((all - 1 - pitch * (shown - 1)) / 2) + half;
  };
  origin_ = {start(master.size().width, frame.width), start(master.size().height, frame.height)};
}

float Camera::seen(std::size_t plane, Position p, const View& view) const {
  float colour = 0;
  if (view.disc && view.disc->holds(p)) {
    const Disc& disc = *view.disc;
    p = {p.x - disc.centre.x + disc.texture.x, p.y - disc.centre.y + disc.texture.y};
    colour = static_cast<float>(plane == 1 ? disc.addU : plane == 2 ? disc.addV : 0);
  } else if (view.near && p.x - view.near->shift.x > view.near->edge) {
    p = {p.x - view.near->shift.x, p.y - view.near->shift.y};
  }
  return colour +
         interpolated(master_.planes[plane], {origin_.x + pitch_ * p.x, origin_.y + pitch_ * p.y});
}

cv::Mat Camera::exposed(std::size_t plane, const Grid& grid, const View& view) const {
  const Matrix back = tool::inverse(view.motion);
  cv::Mat samples(grid.size.height, grid.size.width, CV_32F);
  const auto offset = [&](int i) { return (i + 0.5) / grid.points - 0.5; };
  for (int y = 0; y < samples.rows; ++y) {
    for (int x = 0; x < samples.cols; ++x) {
      float sum = 0;
      for (int j = 0; j < grid.points; ++j) {
        for (int i = 0; i < grid.points; ++i) {
          const Position u = {grid.first.x + grid.step.x * (x + offset(i)),
                              grid.first.y + grid.step.y * (y + offset(j))};
          sum += seen(plane, tool::moved(back, u), view);
        }
      }
      samples.at<float>(y, x) = sum / static_cast<float>(grid.points * grid.points);
    }
  }
  return samples;
}

Samples Camera::take(const View& view) const {
  const int points = std::max(1, static_cast<int>(std::lround(pitch_)));
  const Grid luma = {frame_, {0, 0}, {1, 1}, points};
  const Grid chroma = {tool::chromaSize(frame_), {0.5, 0.5}, {2, 2}, 2 * points};
  return {exposed(0, luma, view), exposed(1, chroma, view), exposed(2, chroma, view)};
}

Picture Camera::truth(const View& view, Size output) const {
  const Position step = {static_cast<double>(frame_.width - 1) / (output.width - 1),
                         static_cast<double>(frame_.height - 1) / (output.height - 1)};
  const int points = std::max(1, static_cast<int>(std::lround(pitch_ * step.x)));
  const Grid luma = {output, {0, 0}, step, points};
  const Grid chroma = {
      tool::chromaSize(output), {step.x / 2, step.y / 2}, {2 * step.x, 2 * step.y}, 2 * points};
  Picture picture;
  picture.y = rounded(exposed(0, luma, view));
  picture.u = rounded(exposed(1, chroma, view));
  picture.v = rounded(exposed(2, chroma, view));
  return picture;
}

Picture developed(const Samples& samples, const Development& development, uint64_t seed) {
  cv::RNG random(seed * 0x9E3779B97F4A7C15u + 1);
  std::array<Plane, 3> planes;
  for (std::size_t i = 0; i < planes.size(); ++i) {
    const double middle = i == 0 ? 0 : 128;
    cv::Mat plane = (samples[i] - middle) * development.gain + middle;
    if (development.noise > 0) {
      cv::Mat noise(plane.size(), CV_32F);
      random.fill(noise, cv::RNG::NORMAL, 0, i == 0 ? development.noise : development.noise / 2);
      plane += noise;
    }
    if (i == 0 && development.sharpened != 0)
      plane += development.sharpened * (plane - blurred(plane));
    planes[i] = rounded(plane);
  }
  Picture picture;
  picture.y = std::move(planes[0]);
  picture.u = std::move(planes[1]);
  picture.v = std::move(planes[2]);
  if (development.jpegQuality > 0) squeeze(picture, development.jpegQuality);
  return picture;
}

}  // namespace velmora::quality
