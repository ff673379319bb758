// Chooses the format of an input by its content and of an output by its name.
#include <utility>

#include "errors.h"
#include "file_names.h"
#include "formats/exif.h"
#include "formats/foreign.h"
#include "formats/jpeg.h"
#include "formats/jpeg_metadata.h"
#include "formats/png.h"
#include "formats/raw.h"
#include "formats/tiff.h"
#include "formats/tiff_exif.h"
#include "formats/webp.h"
#include "formats/xmp.h"
#include "formats/y4m.h"
#include "frame_io.h"
#include "size_limits.h"

namespace velmora::tool {
namespace {

std::string quoted(const std::string& text) {
  return '"' + text + '"';
}

// The layout of a raw input; nothing when neither the options nor the name say that it is one.
std::optional<RawLayout> rawLayoutOf(const InputRequest& request) {
  const auto dump = parseDumpName(request.path);
  auto format = request.rawFormat;
  if (!format) {
    const auto named = formatByExtension(request.path);
    if (named && isRawFormat(*named)) format = named;
    if (!format && dump) format = dump->format;
  }
  if (request.rawSize) {
    if (!format) {
      throw UsageError(
          "--input-size: also give --input-format nv12, nv21 or i420, since the name " +
          quoted(request.path) + " does not tell");
    }
    const bool asDump = dump && dump->size == *request.rawSize;
    return RawLayout{*request.rawSize, *format, asDump};
  }
  if (dump && format) return RawLayout{dump->size, *format, true};
  if (format) {
    throw UsageError(quoted(request.path) +
                     " is read as raw frames, whose size must be given: --input-size WIDTHxHEIGHT "
                     "(or a name that ends in _wWIDTH_hHEIGHT_fCODE.yuv)");
  }
  return std::nullopt;
}

}  // namespace

std::unique_ptr<FrameReader> openHeader(const InputRequest& request,
                                        std::unique_ptr<ByteSource>& source) {
  const auto layout = rawLayoutOf(request);
  auto opened = std::make_unique<ByteSource>(request.path);
  if (layout) return openRaw(std::move(opened), *layout);
  const auto start = opened->peek(12);
  if (isPng(start)) return openPng(std::move(opened));
  if (isJpeg(start)) return openJpeg(std::move(opened));
#ifdef VELMORA_HAVE_TIFF
  if (isTiff(start)) return openTiff(std::move(opened));
#endif
#ifdef VELMORA_HAVE_WEBP
  if (isWebp(start)) return openWebp(std::move(opened));
#endif
  if (std::string_view(reinterpret_cast<const char*>(start.data()), start.size())
          .starts_with(kY4mMagic)) {
    return openY4m(std::move(opened));
  }
  source = std::move(opened);
  return nullptr;
}

std::unique_ptr<FrameReader> openInput(const InputRequest& request) {
  const timings::Step step("read");
  std::unique_ptr<ByteSource> source;
  auto reader = openHeader(request, source);
  if (!reader) throw foreignContent(*source);
  reader->readAhead();
  return reader;
}

FileFormat outputFormat(const OutputRequest& request, FileFormat input) {
  if (request.format) return *request.format;
  if (request.path == "-") return FileFormat::y4m;
  if (const auto format = formatByExtension(request.path)) return *format;
  if (hasYuvExtension(request.path)) {
    if (const auto dump = parseDumpName(request.path)) return dump->format;
    if (isRawFormat(input)) return input;
  }
  std::string endings;
  for (const std::string& known : formatNames())
    endings += "." + known + ", ";
  throw UsageError("-o: the name " + quoted(request.path) + " does not tell a format: end it in " +
                   endings + "or give --output-format");
}

StreamInfo outputInfo(const StreamInfo& input, Size size, FileFormat format) {
  StreamInfo output = input;
  output.size = size;
  output.format = format;
  Metadata& metadata = output.metadata;
  if (!isPictureFormat(format)) {
    if (!metadata.exif.empty()) metadata.leaveOut("Exif");
    if (!metadata.xmp.empty()) metadata.leaveOut("XMP");
    if (!metadata.iccProfile.empty()) metadata.leaveOut("colour profile");
    if (metadata.resolution) metadata.leaveOut("resolution");
    return output;
  }
  if (exifOrientation(metadata.exif) >= 5 && metadata.resolution) {
    std::swap(metadata.resolution->x, metadata.resolution->y);
  }
  const bool upright = !metadata.exif.empty() || input.format == FileFormat::tiff;
  if (!metadata.exif.empty() && !updateExif(metadata.exif, size)) {
    metadata.exif.clear();
    metadata.leaveOut("damaged Exif");
  }
  updateXmp(metadata.xmp, size, upright);
  if (format == FileFormat::jpeg) fitIntoJpeg(metadata);
  if (format == FileFormat::tiff && hasMakersNote(metadata.exif)) metadata.leaveOut("maker's note");
  if (format == FileFormat::webp && metadata.resolution) metadata.leaveOut("resolution");
  return output;
}

std::string lossesOf(const StreamInfo& output) {
  std::string losses;
  for (const std::string& what : output.metadata.leftOut)
    losses += (losses.empty() ? "; not kept: " : ", ") + what;
  if (output.transparent && !holdsAlpha(output.format)) losses += "; laid over white";
  if (output.depth > 8) losses += "; 8 of " + std::to_string(output.depth) + " bits used";
  return losses;
}

std::unique_ptr<FrameWriter> openOutput(const OutputRequest& request, const StreamInfo& info) {
  requireAcceptable(info.size, request.path);
  switch (info.format) {
    case FileFormat::png:
      return createPng(request.path, info.metadata);
    case FileFormat::jpeg:
      return createJpeg(request.path, request.jpegQuality, info.metadata);
    case FileFormat::tiff:
#ifdef VELMORA_HAVE_TIFF
      return createTiff(request.path, info.metadata);
#else
      break;
#endif
    case FileFormat::webp:
#ifdef VELMORA_HAVE_WEBP
      return createWebp(request.path, request.jpegQuality, info.metadata);
#else
      break;
#endif
    case FileFormat::y4m:
      return createY4m(request.path, info.size, info.range,
                       info.y4mParameters.empty() ? kY4mStillParameters : info.y4mParameters);
    case FileFormat::nv12:
    case FileFormat::nv21:
    case FileFormat::i420:
      break;
  }
  const auto dump = parseDumpName(request.path);
  if (dump && dump->size != info.size) {
    throw UsageError("-o: the name " + quoted(request.path) + " says " + text(dump->size) +
                     ", but the output is " + text(info.size));
  }
  return createRaw(request.path, {info.size, info.format, dump.has_value()});
}

}  // namespace velmora::tool
