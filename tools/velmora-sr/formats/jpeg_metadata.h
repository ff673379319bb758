// The metadata in the header segments of a JPEG file.
#ifndef VELMORA_TOOL_FORMATS_JPEG_METADATA_H
#define VELMORA_TOOL_FORMATS_JPEG_METADATA_H

#include <cstdint>
#include <span>
#include <vector>

#include "metadata.h"

namespace velmora::tool {

/// Reads what stands before the picture data.
Metadata jpegMetadata(std::span<const uint8_t> jpeg);

/// Takes out what a JPEG has no room for: each part but the profile has one segment.
void fitIntoJpeg(Metadata& metadata);

/// Header segments with the metadata; they belong behind the JFIF segment of a JPEG file.
std::vector<uint8_t> jpegSegments(const Metadata& metadata);

/// Writes the resolution into the JFIF segment that begins a JPEG file as an encoder makes it.
void setJpegResolution(std::span<uint8_t> jpeg, const Resolution& resolution);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_FORMATS_JPEG_METADATA_H
