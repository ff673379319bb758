// Y4M, the uncompressed clip format that video tools exchange through pipes: 8 bits, 4:2:0 or grey.
#ifndef VELMORA_TOOL_Y4M_H
#define VELMORA_TOOL_Y4M_H

#include <memory>
#include <string>

#include "frame_io.h"
#include "streams.h"

namespace velmora::tool {

/// The header of a clip.
struct Y4mHeader {
  Size size;
  Range range = Range::limited;  ///< full when the header says XCOLORRANGE=FULL
  bool grey = false;             ///< Cmono: frames are luma alone
  /// All fields but width and height as they stand, separated by blanks: frame rate, interlacing,
  /// pixel aspect, chroma position, comments. They are passed on to the output.
  std::string parameters;
};

inline constexpr std::string_view kY4mMagic = "YUV4MPEG2";

/// Parses the first line of a file (without its line feed). Throws Failure whose text lacks the
/// file's name; what is refused: sizes that are missing or out of bounds, colour other than 8-bit
/// 4:2:0 and grey, interlaced frames.
Y4mHeader parseY4mHeader(const std::string& line);

/// The parameters that describe a still picture.
inline constexpr const char* kY4mStillParameters = "F1:1 Ip A1:1 C420jpeg";

std::unique_ptr<FrameReader> openY4m(std::unique_ptr<ByteSource> source);
/// `parameters` as in Y4mHeader, which say whether chroma is left out; a range mark is added when
/// it holds none and the range is full.
std::unique_ptr<FrameWriter> createY4m(const std::string& path, Size size, Range range,
                                       const std::string& parameters);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_Y4M_H
