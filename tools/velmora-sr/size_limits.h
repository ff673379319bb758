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

/// What --max-pixels allows for a frame, in or out; kMaxPixels or less. Set before any other thread
/// runs.
inline int64_t allowedPixels = kMaxPixels;

inline std::string text(Size size) {
  return std::to_string(size.width) + "x" + std::to_string(size.height);
}

/// What is wrong with the size of a frame; empty for a good one.
inline std::string sizeFault(int64_t width, int64_t height) {
  if (width < 1 || height < 1 || width > kMaxSide || height > kMaxSide) {
    return "sides go from 1 to " + std::to_string(kMaxSide) + " pixels";
  }
  if (width * height > allowedPixels) {
    return "--max-pixels allows " + std::to_string(allowedPixels) + " pixels";
  }
  return "";
}

inline std::string sizeFault(Size size) {
  return sizeFault(size.width, size.height);
}

/// Throws Failure naming the file when a picture in it is too large.
inline void requireAcceptable(int64_t width, int64_t height, const std::string& file) {
  if (const std::string fault = sizeFault(width, height); !fault.empty()) {
    throw Failure(file + ": a frame of " + std::to_string(width) + "x" + std::to_string(height) +
                  " is too large: " + fault);
  }
}

inline void requireAcceptable(Size size, const std::string& file) {
  requireAcceptable(size.width, size.height, file);
}

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_SIZE_LIMITS_H
