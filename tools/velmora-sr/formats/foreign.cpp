#include "formats/foreign.h"

#include <string>
#include <string_view>

namespace velmora::tool {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view kFilm =
    "ffmpeg -i IN -pix_fmt yuv420p -f yuv4mpegpipe - | velmora-sr video - -o OUT.y4m";
constexpr std::string_view kPicture = "convert IN OUT.png";
constexpr std::string_view kHeif = "heif-convert IN OUT.png";

struct Format {
  std::size_t at;
  std::string_view mark;
  std::string_view name;
  std::string_view command;
  std::string_view start = {};  // what the file begins with, where the mark stands further on
};

// The first that fits: what is special stands before what it is a kind of.
constexpr Format kFormats[] = {
    {0, "II*\0"sv, "a TIFF", kPicture},
    {0, "MM\0*"sv, "a TIFF", kPicture},
    {0, "II+\0"sv, "a TIFF", kPicture},
    {0, "MM\0+"sv, "a TIFF", kPicture},
    {0, "GIF8", "a GIF", "convert 'IN[0]' OUT.png"},
    {8, "WEBP", "a WebP", "dwebp IN -o OUT.png", "RIFF"},
    {8, "AVI ", "an AVI film", kFilm, "RIFF"},
    // Two letters are little: behind the length come four reserved bytes.
    {6, "\0\0\0\0"sv, "a BMP", kPicture, "BM"},
    {4, "ftypavi", "an AVIF", kHeif},
    {4, "ftyphei", "a HEIC", kHeif},
    {4, "ftyphev", "a HEIC", kHeif},
    {4, "ftypmif1", "a HEIC or AVIF", kHeif},
    {4, "ftypmsf1", "a HEIC or AVIF", kHeif},
    {4, "ftypqt", "a QuickTime film", kFilm},
    {4, "moov", "a QuickTime film", kFilm},
    {4, "mdat", "a QuickTime film", kFilm},
    {4, "wide", "a QuickTime film", kFilm},
    {4, "ftyp", "an MP4 film", kFilm},
    {0, "\x1A\x45\xDF\xA3", "a Matroska or WebM film", kFilm},
};

}  // namespace

Failure foreignContent(ByteSource& source) {
  const auto bytes = source.peek(16);
  const std::string_view start(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  if (start.empty()) return Failure(source.name() + ": is empty");
  for (const Format& format : kFormats) {
    if (start.size() >= format.at && start.substr(format.at).starts_with(format.mark) &&
        start.starts_with(format.start)) {
      return Failure(source.name() + ": is " + std::string(format.name) +
                     ", which is not read here; convert it first: " + std::string(format.command));
    }
  }
  return Failure(source.name() +
                 ": is no picture or clip that is known here; for raw frames give --input-size and "
                 "--input-format");
}

}  // namespace velmora::tool
