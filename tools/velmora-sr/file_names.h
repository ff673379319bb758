// What the name of a file tells about its contents.
#ifndef VELMORA_TOOL_FILE_NAMES_H
#define VELMORA_TOOL_FILE_NAMES_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "frame_io.h"

namespace velmora::tool {

/// The tail of the names that the library gives its debug dumps: "..._w640_h480_f4.yuv".
struct DumpName {
  Size size;
  FileFormat format;
};

/// Nothing when the name has another form or its numbers are no size and format code (0, 4, 5).
std::optional<DumpName> parseDumpName(std::string_view path);

/// By extension, in any case: png, jpg, jpeg, y4m, nv12, nv21, i420, and with
/// their libraries tif, tiff, webp. Nothing for others.
std::optional<FileFormat> formatByExtension(std::string_view path);

/// By the names that options take: the extensions, and "jpeg".
std::optional<FileFormat> formatByName(std::string_view wanted);

/// The names that options take, without second ones of a format.
std::vector<std::string> formatNames();

/// True for names that end in ".yuv" in any case.
bool hasYuvExtension(std::string_view path);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_FILE_NAMES_H
