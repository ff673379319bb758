// Sizes that the tool accepts. They keep all byte counts inside 32 bits, as the library wants them.
#ifndef VELMORA_TOOL_SIZE_LIMITS_H
#define VELMORA_TOOL_SIZE_LIMITS_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "errors.h"
#include "picture.h"

namespace velmora::tool {

/// Positions inside a frame are 16.16 fixed point with a sign.
inline constexpr int kMaxSide = 32767;
/// Luma samples of a frame; with chroma it stays below 2^30 bytes.
inline constexpr int64_t kMaxPixels = 600'000'000;
/// Bytes of a compressed picture that is read into memory.
inline constexpr std::size_t kMaxCompressedBytes = 1'000'000'000;

inline bool isAcceptable(Size size) {
  return size.width >= 1 && size.height >= 1 && size.width <= kMaxSide && size.height <= kMaxSide &&
         int64_t{size.width} * size.height <= kMaxPixels;
}

inline std::string text(Size size) {
  return std::to_string(size.width) + "x" + std::to_string(size.height);
}

/// Throws Failure naming the file when a picture in it is too large.
inline void requireAcceptable(Size size, const std::string& file) {
  if (!isAcceptable(size)) {
    throw Failure(file + ": a frame of " + text(size) + " is outside what can be handled: 1x1 to " +
                  std::to_string(kMaxSide) + " pixels a side and " +
                  std::to_string(kMaxPixels / 1'000'000) + " megapixels");
  }
}

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_SIZE_LIMITS_H
