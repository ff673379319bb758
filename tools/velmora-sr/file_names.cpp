#include "file_names.h"

#include <array>
#include <cctype>
#include <charconv>
#include <string>
#include <utility>

#include "size_limits.h"

namespace velmora::tool {
namespace {

// Of two names of a format the one that options show comes first.
constexpr auto kExtensions = std::to_array<std::pair<std::string_view, FileFormat>>({
    {"png", FileFormat::png},
    {"jpeg", FileFormat::jpeg},
    {"jpg", FileFormat::jpeg},
#ifdef VELMORA_HAVE_TIFF
    {"tiff", FileFormat::tiff},
    {"tif", FileFormat::tiff},
#endif
#ifdef VELMORA_HAVE_WEBP
    {"webp", FileFormat::webp},
#endif
    {"y4m", FileFormat::y4m},
    {"nv12", FileFormat::nv12},
    {"nv21", FileFormat::nv21},
    {"i420", FileFormat::i420},
});

std::string extension(std::string_view path) {
  const auto slash = path.find_last_of('/');
  if (slash != std::string_view::npos) path.remove_prefix(slash + 1);
  const auto dot = path.find_last_of('.');
  std::string lower(dot == std::string_view::npos ? "" : path.substr(dot + 1));
  for (char& c : lower)
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return lower;
}

// Takes "<prefix><number>" off the end of `text`.
std::optional<int> takeNumber(std::string_view& text, std::string_view prefix) {
  std::size_t begin = text.size();
  while (begin > 0 && text[begin - 1] >= '0' && text[begin - 1] <= '9')
    --begin;
  int value = 0;
  const auto [end, error] = std::from_chars(text.data() + begin, text.data() + text.size(), value);
  if (error != std::errc{} || !text.substr(0, begin).ends_with(prefix)) return std::nullopt;
  text = text.substr(0, begin - prefix.size());
  return value;
}

}  // namespace

const char* name(FileFormat format) {
  switch (format) {
    case FileFormat::png:
      return "PNG";
    case FileFormat::jpeg:
      return "JPEG";
    case FileFormat::tiff:
      return "TIFF";
    case FileFormat::webp:
      return "WebP";
    case FileFormat::y4m:
      return "Y4M";
    case FileFormat::nv12:
      return "NV12";
    case FileFormat::nv21:
      return "NV21";
    case FileFormat::i420:
      return "I420";
  }
  return "?";
}

bool holdsAlpha(FileFormat format) {
  return format == FileFormat::png || format == FileFormat::tiff || format == FileFormat::webp;
}

bool isPictureFormat(FileFormat format) {
  return format == FileFormat::jpeg || holdsAlpha(format);
}

bool isRawFormat(FileFormat format) {
  return !isPictureFormat(format) && format != FileFormat::y4m;
}

std::optional<DumpName> parseDumpName(std::string_view path) {
  if (!path.ends_with(".yuv")) return std::nullopt;
  path.remove_suffix(4);
  const auto code = takeNumber(path, "_f");
  const auto height = takeNumber(path, "_h");
  const auto width = takeNumber(path, "_w");
  if (!code || !height || !width) return std::nullopt;
  const Size size{*width, *height};
  if (size.width < 1 || size.height < 1 || size.width > kMaxSide || size.height > kMaxSide) {
    return std::nullopt;
  }
  switch (*code) {
    case 0:
      return DumpName{size, FileFormat::i420};
    case 4:
      return DumpName{size, FileFormat::nv12};
    case 5:
      return DumpName{size, FileFormat::nv21};
    default:
      return std::nullopt;
  }
}

std::optional<FileFormat> formatByExtension(std::string_view path) {
  return formatByName(extension(path));
}

std::optional<FileFormat> formatByName(std::string_view wanted) {
  for (const auto& [text, format] : kExtensions) {
    if (text == wanted) return format;
  }
  return std::nullopt;
}

std::vector<std::string> formatNames() {
  std::vector<std::string> names;
  for (const auto& [text, format] : kExtensions) {
    if (text != "jpg" && text != "tif") names.emplace_back(text);
  }
  return names;
}

bool hasYuvExtension(std::string_view path) {
  return extension(path) == "yuv";
}

}  // namespace velmora::tool
