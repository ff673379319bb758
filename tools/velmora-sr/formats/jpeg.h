// JPEG pictures, straight to and from their YUV planes.
#ifndef VELMORA_TOOL_FORMATS_JPEG_H
#define VELMORA_TOOL_FORMATS_JPEG_H

#include <memory>
#include <string>

#include "frame_io.h"
#include "streams.h"

namespace velmora::tool {

/// True for the bytes that begin every JPEG.
bool isJpeg(std::span<const uint8_t> start);

/// Any baseline or progressive 8-bit JPEG but CMYK; other chroma subsampling becomes 4:2:0, and the
/// camera's orientation note is carried out.
std::unique_ptr<FrameReader> openJpeg(std::unique_ptr<ByteSource> source);

/// One picture, 4:2:0 or grey. `quality` 1..100; the metadata has room in a JPEG.
std::unique_ptr<FrameWriter> createJpeg(const std::string& path, int quality,
                                        Metadata metadata = {});

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_FORMATS_JPEG_H
