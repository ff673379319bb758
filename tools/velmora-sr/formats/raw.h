// Raw frames: NV12, NV21 and I420, one after the other, without any header.
#ifndef VELMORA_TOOL_RAW_H
#define VELMORA_TOOL_RAW_H

#include <memory>
#include <string>

#include "frame_io.h"
#include "streams.h"

namespace velmora::tool {

/// How a raw frame lies in memory. Frames of odd size differ: files in general round chroma up, the
/// library's dumps round it down and are width * height * 3 / 2 bytes in all.
struct RawLayout {
  Size size;
  FileFormat format = FileFormat::nv12;
  bool dump = false;

  [[nodiscard]] Size chroma() const;
  [[nodiscard]] std::size_t frameBytes() const;
};

/// Unpacks one raw frame. Chroma that a dump leaves out repeats its neighbour.
void unpackRaw(const RawLayout& layout, const uint8_t* bytes, Picture& picture);
/// Packs one picture.
void packRaw(const RawLayout& layout, const Picture& picture, uint8_t* bytes);

/// Reads up to `count` bytes into `bytes` and returns how many there were. Room grows with the
/// data, so that a header which promises much takes nothing by itself.
std::size_t readFrameBytes(ByteSource& source, std::size_t count, std::vector<uint8_t>& bytes);

std::unique_ptr<FrameReader> openRaw(std::unique_ptr<ByteSource> source, const RawLayout& layout);
std::unique_ptr<FrameWriter> createRaw(const std::string& path, const RawLayout& layout);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_RAW_H
