// Colour profiles: carried from the input to the output, so that a picture keeps its look. The tool
// itself leaves them alone.
#ifndef VELMORA_TOOL_FORMATS_ICC_H
#define VELMORA_TOOL_FORMATS_ICC_H

#include <cstdint>
#include <span>
#include <vector>

namespace velmora::tool {

/// The ICC profile of a JPEG file; empty when there is none or parts of it are missing.
std::vector<uint8_t> jpegProfile(std::span<const uint8_t> jpeg);

/// Header segments that carry a profile; they belong behind the first segments of a JPEG file.
/// Empty for an empty profile or one that is too large for a JPEG.
std::vector<uint8_t> jpegProfileSegments(std::span<const uint8_t> profile);

/// Where the segments belong in a JPEG file: behind its start mark and JFIF segment.
std::size_t jpegProfilePosition(std::span<const uint8_t> jpeg);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_FORMATS_ICC_H
