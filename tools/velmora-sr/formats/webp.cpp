#include "formats/webp.h"

#include <webp/decode.h>
#include <webp/encode.h>
#include <webp/mux.h>

#include <algorithm>
#include <new>
#include <string_view>
#include <utility>

#include "alpha.h"
#include "colour.h"
#include "errors.h"
#include "formats/exif.h"
#include "formats/upright.h"
#include "output_file.h"
#include "size_limits.h"

namespace velmora::tool {
namespace {

struct DeleteMux {
  void operator()(WebPMux* mux) const { WebPMuxDelete(mux); }
};
using Mux = std::unique_ptr<WebPMux, DeleteMux>;

std::vector<uint8_t> chunkOf(const WebPMux* mux, const char* name) {
  WebPData data = {};
  if (WebPMuxGetChunk(mux, name, &data) != WEBP_MUX_OK) return {};
  return {data.bytes, data.bytes + data.size};
}

Metadata metadataOf(std::span<const uint8_t> file) {
  const WebPData data = {file.data(), file.size()};
  const Mux mux(WebPMuxCreate(&data, 0));
  Metadata metadata;
  if (!mux) return metadata;
  metadata.iccProfile = chunkOf(mux.get(), "ICCP");
  metadata.exif = chunkOf(mux.get(), "EXIF");
  metadata.xmp = chunkOf(mux.get(), "XMP ");
  // Some writers keep the name that a JPEG gives its segment.
  constexpr std::string_view kName("Exif\0\0", 6);
  std::vector<uint8_t>& exif = metadata.exif;
  if (std::string_view(reinterpret_cast<const char*>(exif.data()), exif.size()).starts_with(kName))
    exif.erase(exif.begin(), exif.begin() + kName.size());
  return metadata;
}

class WebpReader final : public FrameReader {
 public:
  explicit WebpReader(std::unique_ptr<ByteSource> source) : source_(std::move(source)) {
    bytes_ = source_->readAll(kMaxCompressedBytes);
    if (WebPGetFeatures(bytes_.data(), bytes_.size(), &features_) != VP8_STATUS_OK) {
      throw damaged();
    }
    if (features_.has_animation != 0) {
      throw Failure(name() +
                    ": is an animation; take a picture out of it first: webpmux -get frame "
                    "1 IN -o OUT.webp");
    }
    requireAcceptable(features_.width, features_.height, name());
    info_.format = FileFormat::webp;
    info_.frames = 1;
    info_.transparent = features_.has_alpha != 0;
    info_.metadata = metadataOf(bytes_);
    orientation_ = exifOrientation(info_.metadata.exif);
    info_.size = uprightSize(stored(), orientation_);
  }

  const std::string& name() const override { return source_->name(); }

 private:
  [[nodiscard]] Size stored() const { return {features_.width, features_.height}; }
  [[nodiscard]] Failure damaged() const { return Failure(name() + ": is damaged"); }

  bool readFrame(Picture& picture) override {
    if (bytes_.empty()) return false;
    constexpr int kLossy = 1;
    if (features_.format == kLossy && features_.has_alpha == 0) {
      readPlanes(picture);
    } else {
      readColours(picture);
    }
    bytes_ = {};
    info_.transparent = !picture.alpha.samples.empty();
    turnUpright(picture, orientation_);
    return true;
  }

  // As it is stored, but for the range.
  void readPlanes(Picture& picture) const {
    picture.reset(stored());
    const auto bytes = [](const Plane& plane) { return plane.samples.size(); };
    if (WebPDecodeYUVInto(bytes_.data(), bytes_.size(), picture.y.row(0), bytes(picture.y),
                          picture.y.size.width, picture.u.row(0), bytes(picture.u),
                          picture.u.size.width, picture.v.row(0), bytes(picture.v),
                          picture.v.size.width) == nullptr) {
      throw damaged();
    }
    picture.range = Range::limited;
    convertRange(picture, Range::full);
  }

  void readColours(Picture& picture) const {
    const Size size = stored();
    const bool alpha = features_.has_alpha != 0;
    const int pitch = size.width * (alpha ? 4 : 3);
    std::vector<uint8_t> samples(std::size_t(pitch) * std::size_t(size.height));
    const auto decode = alpha ? WebPDecodeRGBAInto : WebPDecodeRGBInto;
    if (decode(bytes_.data(), bytes_.size(), samples.data(), samples.size(), pitch) == nullptr) {
      throw damaged();
    }
    Plane own;
    if (alpha) own = layOverWhite(size, 4, samples);
    picture = fromRgb(size, samples);
    picture.alpha = std::move(own);
  }

  std::unique_ptr<ByteSource> source_;
  std::vector<uint8_t> bytes_;  // the file; none when it is decoded
  WebPBitstreamFeatures features_ = {};
  int orientation_ = 1;
};

// What the encoder takes and makes.
class Encoding {
 public:
  Encoding() {
    if (WebPPictureInit(&picture) == 0) throw Failure("libwebp is of another version");
    WebPMemoryWriterInit(&made);
    picture.writer = WebPMemoryWrite;
    picture.custom_ptr = &made;
  }
  ~Encoding() {
    WebPPictureFree(&picture);
    WebPMemoryWriterClear(&made);
  }
  Encoding(const Encoding&) = delete;
  Encoding& operator=(const Encoding&) = delete;

  WebPPicture picture;
  WebPMemoryWriter made;
};

void takePlanes(const Picture& picture, WebPPicture& target) {
  Picture limited = picture;
  convertRange(limited, Range::limited);
  target.use_argb = 0;
  if (WebPPictureAlloc(&target) == 0) throw std::bad_alloc();
  const Size chroma = limited.u.size;
  copyRows(limited.y.row(0), limited.y.size.width, target.y, target.y_stride, target.width,
           target.height);
  copyRows(limited.u.row(0), chroma.width, target.u, target.uv_stride, chroma.width, chroma.height);
  copyRows(limited.v.row(0), chroma.width, target.v, target.uv_stride, chroma.width, chroma.height);
}

void takeColours(const Picture& picture, WebPPicture& target) {
  const Size size = picture.size();
  const std::size_t pixels = picture.alpha.samples.size();
  std::vector<uint8_t> colours(pixels * 3);
  std::vector<uint8_t> withAlpha(pixels * 4);
  toRgb(picture, 0, size.height, colours);
  takeOffWhite(colours, picture.alpha.samples, withAlpha);
  target.use_argb = 1;
  if (WebPPictureImportRGBA(&target, withAlpha.data(), 4 * size.width) == 0) throw std::bad_alloc();
}

class WebpWriter final : public FrameWriter {
 public:
  WebpWriter(const std::string& path, int quality, Metadata metadata)
      : file_(path), quality_(quality), metadata_(std::move(metadata)) {}

 private:
  void writeFrame(const Picture& picture) override {
    const Size size = picture.size();
    if (size.width > WEBP_MAX_DIMENSION || size.height > WEBP_MAX_DIMENSION) {
      throw Failure(file_.name() + ": " + text(size) +
                    " is too large for a WebP, whose sides go to " +
                    std::to_string(WEBP_MAX_DIMENSION) + " pixels");
    }
    Encoding encoding;
    encoding.picture.width = size.width;
    encoding.picture.height = size.height;
    if (picture.alpha.samples.empty()) {
      takePlanes(picture, encoding.picture);
    } else {
      takeColours(picture, encoding.picture);
    }
    WebPConfig config;
    if (WebPConfigInit(&config) == 0) throw Failure("libwebp is of another version");
    config.quality = static_cast<float>(quality_);
    if (WebPEncode(&config, &encoding.picture) == 0) {
      if (encoding.picture.error_code == VP8_ENC_ERROR_OUT_OF_MEMORY) throw std::bad_alloc();
      throw Failure(file_.name() + ": cannot write the WebP: error " +
                    std::to_string(encoding.picture.error_code));
    }
    writeWithMetadata({encoding.made.mem, encoding.made.size});
  }

  void writeWithMetadata(const WebPData& image) {
    const Mux mux(WebPMuxNew());
    if (!mux) throw std::bad_alloc();
    const auto require = [&](WebPMuxError result) {
      if (result != WEBP_MUX_OK) throw Failure(file_.name() + ": cannot put the WebP together");
    };
    require(WebPMuxSetImage(mux.get(), &image, 0));
    const auto add = [&](const char* name, const std::vector<uint8_t>& part) {
      const WebPData data = {part.data(), part.size()};
      if (!part.empty()) require(WebPMuxSetChunk(mux.get(), name, &data, 0));
    };
    add("ICCP", metadata_.iccProfile);
    add("EXIF", metadata_.exif);
    add("XMP ", metadata_.xmp);
    WebPData whole = {};
    require(WebPMuxAssemble(mux.get(), &whole));
    const std::unique_ptr<WebPData, void (*)(WebPData*)> owner(&whole, WebPDataClear);
    file_.write({whole.bytes, whole.size});
  }

  void commit() override { file_.commit(); }

  OutputFile file_;
  int quality_;
  Metadata metadata_;
};

}  // namespace

bool isWebp(std::span<const uint8_t> start) {
  const std::string_view bytes(reinterpret_cast<const char*>(start.data()), start.size());
  return bytes.starts_with("RIFF") && bytes.size() >= 12 && bytes.substr(8, 4) == "WEBP";
}

std::unique_ptr<FrameReader> openWebp(std::unique_ptr<ByteSource> source) {
  return std::make_unique<WebpReader>(std::move(source));
}

std::unique_ptr<FrameWriter> createWebp(const std::string& path, int quality, Metadata metadata) {
  return std::make_unique<WebpWriter>(path, quality, std::move(metadata));
}

}  // namespace velmora::tool
