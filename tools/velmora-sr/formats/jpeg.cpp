#include "formats/jpeg.h"

#include <turbojpeg.h>

#include <algorithm>
#include <array>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

#include "colour.h"
#include "errors.h"
#include "formats/exif.h"
#include "formats/icc.h"
#include "formats/jpeg_metadata.h"
#include "formats/upright.h"
#include "output_file.h"
#include "size_limits.h"
#include "status.h"

namespace velmora::tool {
namespace {

// Every scan goes over the whole picture and may take ten bytes of the file: a file of many more
// scans than an encoder makes would keep the tool busy for hours.
constexpr int kDecoding = TJFLAG_ACCURATEDCT | TJFLAG_LIMITSCANS;

struct Destroy {
  void operator()(void* handle) const { tjDestroy(handle); }
};
using Handle = std::unique_ptr<void, Destroy>;

struct FreeBuffer {
  void operator()(unsigned char* buffer) const { tjFree(buffer); }
};

// The planes of a JPEG are a little larger than the picture where its size is no multiple of the
// chroma blocks: takes the top-left `size`.
Plane cropped(const Plane& plane, Size size) {
  if (plane.size == size) return plane;
  Plane result(size);
  copyRows(plane.row(0), plane.size.width, result.row(0), size.width, size.width, size.height);
  return result;
}

// Repeats the last column and row, so that halving averages whole 2 x 2 blocks.
Plane extended(const Plane& plane, Size size) {
  Plane result(size);
  for (int y = 0; y < size.height; ++y) {
    const uint8_t* from = plane.row(std::min(y, plane.size.height - 1));
    const int have = std::min(size.width, plane.size.width);
    std::copy_n(from, have, result.row(y));
    std::fill(result.row(y) + have, result.row(y) + size.width, from[have - 1]);
  }
  return result;
}

// Reads what lies before the picture data, the mark that begins it included; where that is no row
// of segments, the whole file: the decoder has means to find its way.
void readHead(ByteSource& source, std::vector<uint8_t>& head) {
  const auto take = [&](std::size_t count) {
    const std::size_t have = head.size();
    head.resize(have + count);
    head.resize(have + source.read(std::span(head).subspan(have)));
    return head.size() == have + count;
  };
  constexpr uint8_t kStartOfScan = 0xDA;
  bool more = take(2);
  while (more && take(4) && head.size() <= kMaxCompressedBytes) {
    const uint8_t* mark = &head[head.size() - 4];
    const std::size_t length = std::size_t{mark[2]} * 256 + mark[3];
    const bool standsAlone = mark[1] <= 1 || (mark[1] >= 0xD0 && mark[1] <= 0xD9);
    if (mark[0] != 0xFF || mark[1] == 0xFF || standsAlone || length < 2) break;
    const bool last = mark[1] == kStartOfScan;
    more = take(length - 2);
    if (last) return;
  }
  const std::vector<uint8_t> rest =
      source.readAll(kMaxCompressedBytes - std::min(kMaxCompressedBytes, head.size()));
  head.insert(head.end(), rest.begin(), rest.end());
}

class JpegReader final : public FrameReader {
 public:
  explicit JpegReader(std::unique_ptr<ByteSource> source) : source_(std::move(source)) {
    readHead(*source_, bytes_);
    const Handle handle = decoder();
    int width = 0;
    int height = 0;
    int colourSpace = -1;
    const int header = tjDecompressHeader3(handle.get(), bytes_.data(), bytes_.size(), &width,
                                           &height, &subsampling_, &colourSpace);
    if (width < 1 || height < 1) throw damaged(handle);
    if (colourSpace == TJCS_CMYK || colourSpace == TJCS_YCCK) {
      throw Failure(name() + ": is a CMYK picture; convert it to RGB first");
    }
    stored_ = {width, height};
    requireAcceptable(stored_, name());
    info_.format = FileFormat::jpeg;
    info_.frames = 1;
    info_.grey = colourSpace == TJCS_GRAY;

    inPlanes_ =
        header == 0 && subsampling_ >= 0 && (colourSpace == TJCS_YCbCr || colourSpace == TJCS_GRAY);
    info_.metadata = jpegMetadata(bytes_);
    orientation_ = exifOrientation(info_.metadata.exif);
    info_.exifSharpness = exifSharpness(info_.metadata.exif);
    info_.size = uprightSize(stored_, orientation_);
  }

  const std::string& name() const override { return source_->name(); }

 private:
  bool readFrame(Picture& picture) override {
    if (bytes_.empty()) return false;
    const std::vector<uint8_t> rest = source_->readAll(kMaxCompressedBytes);
    bytes_.insert(bytes_.end(), rest.begin(), rest.end());
    // A file that was cut is shown as far as it goes, but not made up from its header: plain white
    // has 350 pixels a byte.
    constexpr int64_t kMostPixels = 8192;
    if (std::ssize(bytes_) * kMostPixels < int64_t{stored_.width} * stored_.height) {
      throw Failure(name() + ": is damaged: " + std::to_string(bytes_.size()) +
                    " bytes cannot hold the " + text(stored_) + " pixels of its header");
    }
    const Handle handle = decoder();
    if (inPlanes_) {
      readPlanes(handle, picture);
    } else {
      readRgb(handle, picture);
    }
    bytes_ = {};
    picture.range = Range::full;
    picture.grey = info_.grey;
    turnUpright(picture, orientation_);
    return true;
  }

  Handle decoder() const {
    Handle handle(tjInitDecompress());
    if (!handle) throw Failure(name() + ": cannot start the JPEG decoder");
    return handle;
  }

  Failure damaged(const Handle& handle) const {
    return Failure(name() + ": is damaged: " + tjGetErrorStr2(handle.get()));
  }

  // A file that ends early or has flaws inside still gives a picture: say so and go on.
  void accept(const Handle& handle, int result) const {
    if (result == 0) return;
    if (tjGetErrorCode(handle.get()) != TJERR_WARNING) throw damaged(handle);
    status().warn(name() + ": is flawed: " + tjGetErrorStr2(handle.get()));
  }

  void readPlanes(const Handle& handle, Picture& picture) const {
    const Size size = stored_;
    const int count = subsampling_ == TJSAMP_GRAY ? 1 : 3;
    std::array<Plane, 3> planes;
    std::array<unsigned char*, 3> pointers = {};
    for (int i = 0; i < count; ++i) {
      const auto index = static_cast<std::size_t>(i);
      planes[index].reset(
          {tjPlaneWidth(i, size.width, subsampling_), tjPlaneHeight(i, size.height, subsampling_)});
      pointers[index] = planes[index].row(0);
    }
    accept(handle,
           tjDecompressToYUVPlanes(handle.get(), bytes_.data(), bytes_.size(), pointers.data(),
                                   size.width, nullptr, size.height, kDecoding));
    picture.y = cropped(planes[0], size);
    const Size chroma = chromaSize(size);
    if (count == 1) {
      picture.u.reset(chroma, 128);
      picture.v.reset(chroma, 128);
    } else {
      picture.u = toHalf(planes[1]);
      picture.v = toHalf(planes[2]);
    }
  }

  // Chroma of any subsampling to 4:2:0.
  Plane toHalf(const Plane& plane) const {
    const Size chroma = chromaSize(stored_);
    const int columns = tjMCUWidth[subsampling_] / 8;  // luma columns per chroma column
    const int rows = tjMCUHeight[subsampling_] / 8;
    if (columns == 2 && rows == 2) return cropped(plane, chroma);
    // Whole blocks first, so that every sample keeps its place.
    const Size blocks = {columns == 1 ? 2 * chroma.width : plane.size.width,
                         rows == 1 ? 2 * chroma.height : plane.size.height};
    const Size half = {blocks.width * columns / 2, blocks.height * rows / 2};
    return cropped(reduced(extended(plane, blocks), half), chroma);
  }

  // For what the planes cannot give: RGB inside, or unusual subsampling.
  void readRgb(const Handle& handle, Picture& picture) const {
    std::vector<uint8_t> rgb(std::size_t(stored_.width) * std::size_t(stored_.height) * 3);
    accept(handle, tjDecompress2(handle.get(), bytes_.data(), bytes_.size(), rgb.data(),
                                 stored_.width, 0, stored_.height, TJPF_RGB, kDecoding));
    picture = fromRgb(stored_, rgb);
  }

  std::unique_ptr<ByteSource> source_;
  std::vector<uint8_t> bytes_;  // the head of the file, all of it when decoded, none afterwards
  Size stored_;                 // as the file lies, before it is turned upright
  int subsampling_ = -1;
  int orientation_ = 1;
  bool inPlanes_ = false;
};

class JpegWriter final : public FrameWriter {
 public:
  JpegWriter(const std::string& path, int quality, Metadata metadata)
      : file_(path), quality_(quality), metadata_(std::move(metadata)) {}

 private:
  void writeFrame(const Picture& original) override {
    Picture converted;
    const Picture* picture = &original;
    if (original.range != Range::full) {
      converted = original;
      convertRange(converted, Range::full);
      picture = &converted;
    }
    const Size size = picture->size();
    constexpr int kMaxJpegSide = 65500;
    if (size.width > kMaxJpegSide || size.height > kMaxJpegSide) {
      throw Failure(file_.name() + ": " + text(size) + " is too large for a JPEG");
    }
    // The encoder reads planes whose sizes are rounded up to whole chroma blocks.
    const int subsampling = picture->grey ? TJSAMP_GRAY : TJSAMP_420;
    const Size padded = {tjPlaneWidth(0, size.width, subsampling),
                         tjPlaneHeight(0, size.height, subsampling)};
    Plane luma;
    const Plane* y = &picture->y;
    if (padded != size) {
      luma = extended(picture->y, padded);
      y = &luma;
    }
    std::array<const unsigned char*, 3> planes = {y->row(0), picture->u.row(0), picture->v.row(0)};
    const std::array<int, 3> strides = {padded.width, picture->u.size.width, picture->v.size.width};
    const Handle handle(tjInitCompress());
    unsigned char* buffer = nullptr;
    unsigned long length = 0;
    const int result = handle
                           ? tjCompressFromYUVPlanes(handle.get(), planes.data(), size.width,
                                                     strides.data(), size.height, subsampling,
                                                     &buffer, &length, quality_, TJFLAG_ACCURATEDCT)
                           : -1;
    const std::unique_ptr<unsigned char, FreeBuffer> owner(buffer);
    if (result != 0) {
      throw Failure(file_.name() + ": cannot write the JPEG: " + tjGetErrorStr2(handle.get()));
    }
    const std::span<uint8_t> jpeg(buffer, length);
    if (metadata_.resolution) setJpegResolution(jpeg, *metadata_.resolution);
    const std::size_t split = jpegProfilePosition(jpeg);
    file_.write(jpeg.first(split));
    file_.write(jpegSegments(metadata_));
    file_.write(jpeg.subspan(split));
  }
  void commit() override { file_.commit(); }

  OutputFile file_;
  int quality_;
  Metadata metadata_;
};

}  // namespace

bool isJpeg(std::span<const uint8_t> start) {
  return start.size() >= 3 && start[0] == 0xFF && start[1] == 0xD8 && start[2] == 0xFF;
}

std::unique_ptr<FrameReader> openJpeg(std::unique_ptr<ByteSource> source) {
  return std::make_unique<JpegReader>(std::move(source));
}

std::unique_ptr<FrameWriter> createJpeg(const std::string& path, int quality, Metadata metadata) {
  return std::make_unique<JpegWriter>(path, quality, std::move(metadata));
}

}  // namespace velmora::tool
