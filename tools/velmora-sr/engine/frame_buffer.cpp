#include "engine/frame_buffer.h"

#include <algorithm>

#include "colour.h"

namespace velmora::tool {
namespace {

// Index `i` of a line of `count` samples that continues mirrored, without repeating its ends.
int mirrored(int i, int count) {
  if (count == 1) return 0;
  const int period = 2 * (count - 1);
  const int folded = i % period;
  return folded < count ? folded : period - folded;
}

}  // namespace

void fillFrame(const Picture& picture, Size frame, std::span<uint8_t> bytes) {
  const Size size = picture.size();
  copyRows(picture.y.row(0), size.width, bytes.data(), frame.width, size.width, size.height);
  uint8_t* chroma = bytes.data() + std::size_t(frame.width) * frame.height;
  const Size half = chromaSize(size);
  interleaveChroma(picture.u.row(0), picture.v.row(0), half.width, chroma, frame.width, half.width,
                   half.height, ChromaOrder::uv);
  for (int y = 0; y < size.height; ++y) {
    uint8_t* row = bytes.data() + std::size_t(y) * frame.width;
    for (int x = size.width; x < frame.width; ++x)
      row[x] = row[mirrored(x, size.width)];
  }
  for (int y = size.height; y < frame.height; ++y) {
    std::copy_n(bytes.data() + std::size_t(mirrored(y, size.height)) * frame.width, frame.width,
                bytes.data() + std::size_t(y) * frame.width);
  }
  for (int y = 0; y < half.height; ++y) {
    uint8_t* row = chroma + std::size_t(y) * frame.width;
    for (int x = half.width; x < frame.width / 2; ++x) {
      row[2 * x] = row[2 * mirrored(x, half.width)];
      row[2 * x + 1] = row[2 * mirrored(x, half.width) + 1];
    }
  }
  for (int y = half.height; y < frame.height / 2; ++y) {
    std::copy_n(chroma + std::size_t(mirrored(y, half.height)) * frame.width, frame.width,
                chroma + std::size_t(y) * frame.width);
  }
}

}  // namespace velmora::tool
