#include "demo/comparison.h"

#include <vector>

#include "colour.h"

namespace velmora::tool {
namespace {

constexpr Colour kBackground = {250, 250, 248};
constexpr Colour kInk = {30, 32, 38};
constexpr Colour kFaint = {104, 108, 118};
constexpr int kGap = 12;
constexpr int kHeader = 62;

std::vector<uint8_t> cut(const Picture& picture, int left, int top, Size size) {
  const std::size_t pitch = std::size_t(picture.size().width) * 3;
  std::vector<uint8_t> all(pitch * std::size_t(picture.size().height));
  toRgb(picture, 0, picture.size().height, all);
  std::vector<uint8_t> result(std::size_t(size.width) * std::size_t(size.height) * 3);
  for (int y = 0; y < size.height; ++y) {
    std::copy_n(all.data() + pitch * std::size_t(top + y) + std::size_t(left) * 3,
                std::size_t(size.width) * 3,
                result.data() + std::size_t(y) * std::size_t(size.width) * 3);
  }
  return result;
}

}  // namespace

Canvas sideBySide(std::span<const Panel> panels, std::span<const Detail> details, Size part,
                  int zoom) {
  const Size shown = {part.width * zoom, part.height * zoom};
  const int columns = static_cast<int>(panels.size());
  const int rows = static_cast<int>(details.size());
  Canvas canvas({kGap + columns * (shown.width + kGap), kHeader + rows * (shown.height + kGap)},
                kBackground);
  int fullWidth = 0;
  for (const Panel& panel : panels)
    fullWidth = std::max(fullWidth, panel.picture->size().width);
  for (int column = 0; column < columns; ++column) {
    const Panel& panel = panels[static_cast<std::size_t>(column)];
    const int left = kGap + column * (shown.width + kGap);
    const auto x = static_cast<float>(left + 2);
    drawText(canvas, x, 12, 15, 2.2f, kInk, panel.title);
    drawText(canvas, x, 40, 11, 1.4f, kFaint, panel.detail);
    // How many pixels of the largest picture one pixel of this one covers.
    const int factor =
        std::max((fullWidth + panel.picture->size().width / 2) / panel.picture->size().width, 1);
    const Size covered = {part.width / factor, part.height / factor};
    for (int row = 0; row < rows; ++row) {
      const Detail& detail = details[static_cast<std::size_t>(row)];
      const auto pixels = cut(*panel.picture, detail.left / factor, detail.top / factor, covered);
      canvas.place(left, kHeader + row * (shown.height + kGap), covered, pixels, zoom * factor);
    }
  }
  return canvas;
}

}  // namespace velmora::tool
