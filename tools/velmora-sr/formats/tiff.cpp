#include "formats/tiff.h"

#include <tiffio.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <utility>

#include "alpha.h"
#include "colour.h"
#include "errors.h"
#include "formats/tiff_exif.h"
#include "formats/upright.h"
#include "output_file.h"
#include "size_limits.h"

namespace velmora::tool {
namespace {

constexpr double kInch = 0.0254;
constexpr double kCentimetre = 0.01;
// Most that libtiff may take at once: a picture of the size that is allowed with four samples, and
// the tiles of small pictures, which are larger than what they show.
tmsize_t largestBlock() {
  constexpr tmsize_t kTile = 64'000'000;
  return std::max<tmsize_t>(4 * allowedPixels, kTile);
}

// A file in memory, as libtiff reads and writes it.
struct Memory {
  std::vector<uint8_t> bytes;
  uint64_t at = 0;
  std::array<char, 200> message = {};  // libtiff's words for an error
};

Memory& memoryOf(thandle_t handle) {
  return *static_cast<Memory*>(handle);
}

tmsize_t onRead(thandle_t handle, void* target, tmsize_t count) {
  Memory& memory = memoryOf(handle);
  const uint64_t left = memory.bytes.size() - std::min<uint64_t>(memory.at, memory.bytes.size());
  const auto got = static_cast<std::size_t>(std::min<uint64_t>(left, count));
  if (got > 0) std::memcpy(target, memory.bytes.data() + memory.at, got);
  memory.at += got;
  return static_cast<tmsize_t>(got);
}

tmsize_t onWrite(thandle_t handle, void* source, tmsize_t count) {
  Memory& memory = memoryOf(handle);
  try {
    const uint64_t end = memory.at + static_cast<uint64_t>(count);
    if (end > memory.bytes.size()) memory.bytes.resize(end);
    std::memcpy(memory.bytes.data() + memory.at, source, static_cast<std::size_t>(count));
    memory.at = end;
    return count;
  } catch (const std::bad_alloc&) {
    return -1;
  }
}

toff_t onSeek(thandle_t handle, toff_t offset, int from) {
  Memory& memory = memoryOf(handle);
  if (from == SEEK_CUR) offset += memory.at;
  if (from == SEEK_END) offset += memory.bytes.size();
  return memory.at = offset;
}

int onClose(thandle_t) {
  return 0;
}

toff_t onSize(thandle_t handle) {
  return memoryOf(handle).bytes.size();
}

int onError(TIFF*, void* memory, const char*, const char* pattern, va_list arguments) {
  std::array<char, 200>& message = static_cast<Memory*>(memory)->message;
  // The first error is the cause of those that follow.
  if (message[0] == '\0') std::vsnprintf(message.data(), message.size(), pattern, arguments);
  return 1;
}

int onWarning(TIFF*, void*, const char*, const char*, va_list) {
  return 1;
}

struct Close {
  void operator()(TIFF* tiff) const { TIFFClose(tiff); }
};
using Handle = std::unique_ptr<TIFF, Close>;

Handle openMemory(Memory& memory, const char* mode) {
  TIFFOpenOptions* options = TIFFOpenOptionsAlloc();
  if (options == nullptr) throw std::bad_alloc();
  TIFFOpenOptionsSetMaxSingleMemAlloc(options, largestBlock());
  TIFFOpenOptionsSetErrorHandlerExtR(options, onError, &memory);
  TIFFOpenOptionsSetWarningHandlerExtR(options, onWarning, &memory);
  TIFF* tiff = TIFFClientOpenExt("x", mode, &memory, onRead, onWrite, onSeek, onClose, onSize,
                                 nullptr, nullptr, options);
  TIFFOpenOptionsFree(options);
  return Handle(tiff);
}

uint16_t shortOf(TIFF* tiff, uint32_t tag) {
  uint16_t value = 0;
  TIFFGetFieldDefaulted(tiff, tag, &value);
  return value;
}

std::vector<uint8_t> bytesOf(TIFF* tiff, uint32_t tag) {
  uint32_t count = 0;
  const uint8_t* bytes = nullptr;
  if (TIFFGetField(tiff, tag, &count, &bytes) == 0 || bytes == nullptr) return {};
  return {bytes, bytes + count};
}

class TiffReader final : public FrameReader {
 public:
  explicit TiffReader(std::unique_ptr<ByteSource> source) : source_(std::move(source)) {
    memory_.bytes = source_->readAll(kMaxCompressedBytes);
    tiff_ = openMemory(memory_, "rm");
    uint32_t width = 0;
    uint32_t height = 0;
    if (!tiff_ || TIFFGetField(tiff_.get(), TIFFTAG_IMAGEWIDTH, &width) == 0 ||
        TIFFGetField(tiff_.get(), TIFFTAG_IMAGELENGTH, &height) == 0) {
      throw damaged();
    }
    requireAcceptable(width, height, name());
    stored_ = {static_cast<int>(width), static_cast<int>(height)};
    requirePicture();
    takeInfo();
  }

  const std::string& name() const override { return source_->name(); }

 private:
  [[nodiscard]] Failure damaged() const {
    const std::string_view reason = memory_.message.data();
    return Failure(name() + ": is damaged" + (reason.empty() ? "" : ": ") + std::string(reason));
  }

  // Raw files of cameras are TIFFs whose first page is a preview.
  void requirePicture() {
    uint32_t kind = 0;
    TIFFGetField(tiff_.get(), TIFFTAG_SUBFILETYPE, &kind);
    const uint8_t* version = nullptr;
    if ((kind & FILETYPE_REDUCEDIMAGE) != 0 ||
        TIFFGetField(tiff_.get(), TIFFTAG_DNGVERSION, &version) != 0) {
      throw Failure(name() + ": is a raw file of a camera; develop it first");
    }
    if (shortOf(tiff_.get(), TIFFTAG_PHOTOMETRIC) == PHOTOMETRIC_SEPARATED) {
      throw Failure(name() + ": is a CMYK picture; convert it to RGB first");
    }
    std::array<char, 1024> reason = {};
    if (TIFFRGBAImageOK(tiff_.get(), reason.data()) == 0) {
      throw Failure(name() + ": cannot be read: " + reason.data());
    }
    // No packed byte stands for more than this many.
    const uint64_t most = shortOf(tiff_.get(), TIFFTAG_COMPRESSION) == COMPRESSION_NONE ? 1 : 8192;
    const uint64_t bits = uint64_t{shortOf(tiff_.get(), TIFFTAG_BITSPERSAMPLE)} *
                          shortOf(tiff_.get(), TIFFTAG_SAMPLESPERPIXEL);
    const uint64_t pixels = uint64_t(stored_.width) * uint64_t(stored_.height);
    const bool subsampled = shortOf(tiff_.get(), TIFFTAG_PHOTOMETRIC) == PHOTOMETRIC_YCBCR;
    if (pixels * (subsampled ? 8 : bits) / 8 > memory_.bytes.size() * most) {
      throw Failure(name() + ": is damaged: " + std::to_string(memory_.bytes.size()) +
                    " bytes cannot hold the " + text(stored_) + " pixels of its header");
    }
  }

  void takeInfo() {
    TIFF* tiff = tiff_.get();
    const uint16_t photometric = shortOf(tiff, TIFFTAG_PHOTOMETRIC);
    uint16_t extraCount = 0;
    const uint16_t* extra = nullptr;
    TIFFGetFieldDefaulted(tiff, TIFFTAG_EXTRASAMPLES, &extraCount, &extra);
    info_.format = FileFormat::tiff;
    info_.frames = 1;
    info_.grey = photometric == PHOTOMETRIC_MINISBLACK || photometric == PHOTOMETRIC_MINISWHITE;
    info_.transparent = extraCount > 0 && extra[0] != EXTRASAMPLE_UNSPECIFIED;
    info_.depth = std::max<int>(shortOf(tiff, TIFFTAG_BITSPERSAMPLE), 8);
    orientation_ = shortOf(tiff, TIFFTAG_ORIENTATION);
    info_.size = uprightSize(stored_, orientation_);
    Metadata& metadata = info_.metadata;
    metadata.iccProfile = bytesOf(tiff, TIFFTAG_ICCPROFILE);
    metadata.xmp = bytesOf(tiff, TIFFTAG_XMLPACKET);
    float x = 0;
    float y = 0;
    const uint16_t unit = shortOf(tiff, TIFFTAG_RESOLUTIONUNIT);
    if (TIFFGetField(tiff, TIFFTAG_XRESOLUTION, &x) != 0 &&
        TIFFGetField(tiff, TIFFTAG_YRESOLUTION, &y) != 0 && unit != RESUNIT_NONE && x > 0 &&
        y > 0 && x < 1e6F && y < 1e6F) {
      const double length = unit == RESUNIT_CENTIMETER ? kCentimetre : kInch;
      metadata.resolution = {double(x) / length, double(y) / length};
      if (orientation_ >= 5) std::swap(metadata.resolution->x, metadata.resolution->y);
    }
    metadata.exif = exifFromTiff(memory_.bytes);
    uint64_t directory = 0;
    if (metadata.exif.empty() && TIFFGetField(tiff, TIFFTAG_EXIFIFD, &directory) != 0) {
      metadata.leaveOut("Exif");
    }
    if (hasMakersNote(memory_.bytes)) metadata.leaveOut("maker's note");
    if (info_.grey && info_.transparent && info_.depth > 8) metadata.leaveOut("transparency");
    multiplied_ = !info_.grey || (extraCount > 0 && extra[0] == EXTRASAMPLE_ASSOCALPHA);
    if (TIFFLastDirectory(tiff) == 0) metadata.leaveOut("further pages");
  }

  bool readFrame(Picture& picture) override {
    if (!tiff_) return false;
    const std::size_t pixels = std::size_t(stored_.width) * std::size_t(stored_.height);
    std::vector<uint32_t> raster(pixels);
    TIFFRGBAImage image = {};
    std::array<char, 1024> reason = {};
    if (TIFFRGBAImageBegin(&image, tiff_.get(), 1, reason.data()) == 0) throw damaged();
    // Rows and columns as they are stored: they are turned below.
    image.req_orientation = image.orientation;
    const bool alpha = image.alpha != 0;
    const int done = TIFFRGBAImageGet(&image, raster.data(), image.width, image.height);
    TIFFRGBAImageEnd(&image);
    if (done == 0) throw damaged();
    tiff_.reset();
    memory_ = {};
    takeColours(raster, alpha, picture);
    info_.transparent = !picture.alpha.samples.empty();
    turnUpright(picture, orientation_);
    return true;
  }

  // Over white comes what is missing. libtiff multiplies colours by their alpha, but no greys.
  void takeColours(const std::vector<uint32_t>& raster, bool alpha, Picture& picture) const {
    Plane own(alpha ? stored_ : Size{});
    bool opaque = true;
    const std::size_t channels = info_.grey ? 1 : 3;
    std::vector<uint8_t> samples(raster.size() * channels);
    uint8_t* to = samples.data();
    for (std::size_t i = 0; i < raster.size(); ++i) {
      const uint32_t pixel = raster[i];
      const uint32_t mine = alpha ? TIFFGetA(pixel) : 255;
      const std::array<uint32_t, 3> colours = {TIFFGetR(pixel), TIFFGetG(pixel), TIFFGetB(pixel)};
      for (std::size_t k = 0; k < channels; ++k) {
        const uint32_t part = multiplied_ ? colours[k] : (colours[k] * mine + 127) / 255;
        *to++ = static_cast<uint8_t>(std::min(part + 255 - mine, 255U));
      }
      if (alpha) own.samples[i] = static_cast<uint8_t>(mine);
      opaque = opaque && mine == 255;
    }
    if (info_.grey) {
      picture.reset(stored_);
      picture.y.samples = std::move(samples);
    } else {
      picture = fromRgb(stored_, samples);
    }
    picture.range = Range::full;
    picture.grey = info_.grey;
    if (!opaque) picture.alpha = std::move(own);
  }

  std::unique_ptr<ByteSource> source_;
  Memory memory_;
  Handle tiff_;  // none when the picture is read
  Size stored_;  // as the file lies, before it is turned upright
  int orientation_ = 1;
  bool multiplied_ = true;  // colours by their alpha, as libtiff gives them
};

class TiffWriter final : public FrameWriter {
 public:
  TiffWriter(const std::string& path, Metadata metadata)
      : file_(path), metadata_(std::move(metadata)) {}

 private:
  void writeFrame(const Picture& original) override {
    Picture picture = original;
    if (picture.grey) convertRange(picture, Range::full);
    Memory memory;
    Handle tiff = openMemory(memory, "w");
    const bool done = tiff && setFields(tiff.get(), picture) && writeRows(tiff.get(), picture) &&
                      TIFFWriteDirectory(tiff.get()) != 0;
    tiff.reset();
    if (!done) throw Failure(file_.name() + ": cannot write the TIFF: " + memory.message.data());
    if (!metadata_.exif.empty()) addExifToTiff(memory.bytes, metadata_.exif);
    file_.write(memory.bytes);
  }

  static std::size_t channelsOf(const Picture& picture) {
    return (picture.grey ? 1 : 3) + (picture.alpha.samples.empty() ? 0 : 1);
  }

  bool setFields(TIFF* tiff, const Picture& picture) const {
    const Size size = picture.size();
    const bool deflate = TIFFIsCODECConfigured(COMPRESSION_ADOBE_DEFLATE) != 0;
    const int channels = static_cast<int>(channelsOf(picture));
    bool done = TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, static_cast<uint32_t>(size.width)) != 0 &&
                TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, static_cast<uint32_t>(size.height)) != 0 &&
                TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8) != 0 &&
                TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, channels) != 0 &&
                TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG) != 0 &&
                TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC,
                             picture.grey ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_RGB) != 0 &&
                TIFFSetField(tiff, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT) != 0 &&
                TIFFSetField(tiff, TIFFTAG_COMPRESSION,
                             deflate ? COMPRESSION_ADOBE_DEFLATE : COMPRESSION_LZW) != 0 &&
                TIFFSetField(tiff, TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL) != 0 &&
                TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, kStripRows) != 0;
    const uint16_t extra = EXTRASAMPLE_UNASSALPHA;
    if (!picture.alpha.samples.empty()) {
      done = done && TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, 1, &extra) != 0;
    }
    if (const auto& resolution = metadata_.resolution) {
      done = done && TIFFSetField(tiff, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH) != 0 &&
             TIFFSetField(tiff, TIFFTAG_XRESOLUTION, resolution->x * kInch) != 0 &&
             TIFFSetField(tiff, TIFFTAG_YRESOLUTION, resolution->y * kInch) != 0;
    }
    const auto add = [&](uint32_t tag, const std::vector<uint8_t>& part) {
      const auto count = static_cast<uint32_t>(part.size());
      done = done && (part.empty() || TIFFSetField(tiff, tag, count, part.data()) != 0);
    };
    add(TIFFTAG_ICCPROFILE, metadata_.iccProfile);
    add(TIFFTAG_XMLPACKET, metadata_.xmp);
    return done;
  }

  static bool writeRows(TIFF* tiff, const Picture& picture) {
    const auto width = static_cast<std::size_t>(picture.size().width);
    const std::size_t colours = picture.grey ? 1 : 3;
    std::vector<uint8_t> strip(width * colours * kStripRows);
    std::vector<uint8_t> row(width * channelsOf(picture));
    for (int first = 0; first < picture.size().height; first += kStripRows) {
      const int rows = std::min(kStripRows, picture.size().height - first);
      const std::size_t bytes = width * colours * std::size_t(rows);
      if (picture.grey) {
        std::copy_n(picture.y.row(first), bytes, strip.data());
      } else {
        toRgb(picture, first, rows, {strip.data(), bytes});
      }
      for (int y = 0; y < rows; ++y) {
        const std::span<const uint8_t> line(strip.data() + std::size_t(y) * width * colours,
                                            width * colours);
        if (picture.alpha.samples.empty()) {
          std::copy(line.begin(), line.end(), row.begin());
        } else {
          takeOffWhite(line, {picture.alpha.row(first + y), width}, row);
        }
        if (TIFFWriteScanline(tiff, row.data(), static_cast<uint32_t>(first + y), 0) < 0) {
          return false;
        }
      }
    }
    return true;
  }

  void commit() override { file_.commit(); }

  static constexpr int kStripRows = 64;
  OutputFile file_;
  Metadata metadata_;
};

}  // namespace

bool isTiff(std::span<const uint8_t> start) {
  using namespace std::string_view_literals;
  const std::string_view bytes(reinterpret_cast<const char*>(start.data()), start.size());
  return bytes.starts_with("II*\0"sv) || bytes.starts_with("MM\0*"sv) ||
         bytes.starts_with("II+\0"sv) || bytes.starts_with("MM\0+"sv);
}

std::unique_ptr<FrameReader> openTiff(std::unique_ptr<ByteSource> source) {
  return std::make_unique<TiffReader>(std::move(source));
}

std::unique_ptr<FrameWriter> createTiff(const std::string& path, Metadata metadata) {
  return std::make_unique<TiffWriter>(path, std::move(metadata));
}

}  // namespace velmora::tool
