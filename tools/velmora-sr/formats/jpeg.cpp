#include "formats/jpeg.h"

#include <turbojpeg.h>

#include <algorithm>
#include <array>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

#include "colour.h"
#include "errors.h"
#include "formats/exif.h"
#include "formats/icc.h"
#include "output_file.h"
#include "size_limits.h"
#include "status.h"

namespace velmora::tool {
namespace {

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

class JpegReader final : public FrameReader {
 public:
  explicit JpegReader(std::unique_ptr<ByteSource> source) : source_(std::move(source)) {
    const std::vector<uint8_t> bytes = source_->readAll(kMaxCompressedBytes);
    const Handle handle(tjInitDecompress());
    if (!handle) throw Failure(name() + ": cannot start the JPEG decoder");
    int width = 0;
    int height = 0;
    int subsampling = -1;
    int colourSpace = -1;
    const int header = tjDecompressHeader3(handle.get(), bytes.data(), bytes.size(), &width,
                                           &height, &subsampling, &colourSpace);
    if (width < 1 || height < 1) throw damaged(handle);
    if (colourSpace == TJCS_CMYK || colourSpace == TJCS_YCCK) {
      throw Failure(name() + ": is a CMYK picture; convert it to RGB first");
    }
    info_.size = {width, height};
    requireAcceptable(info_.size, name());
    info_.format = FileFormat::jpeg;
    info_.frames = 1;
    info_.grey = colourSpace == TJCS_GRAY;

    const bool planes =
        header == 0 && subsampling >= 0 && (colourSpace == TJCS_YCbCr || colourSpace == TJCS_GRAY);
    if (planes) {
      readPlanes(handle, bytes, subsampling);
    } else {
      readRgb(handle, bytes);
    }
    picture_->grey = info_.grey;
    info_.iccProfile = jpegProfile(bytes);
    const int orientation = exifOrientation(bytes);
    turnUpright(*picture_, orientation);
    info_.size = picture_->size();
  }

  const std::string& name() const override { return source_->name(); }

 private:
  bool readFrame(Picture& picture) override {
    if (!picture_) return false;
    picture = std::move(*picture_);
    picture_.reset();
    return true;
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

  void readPlanes(const Handle& handle, const std::vector<uint8_t>& bytes, int subsampling) {
    const Size size = info_.size;
    const int count = subsampling == TJSAMP_GRAY ? 1 : 3;
    std::array<Plane, 3> planes;
    std::array<unsigned char*, 3> pointers = {};
    for (int i = 0; i < count; ++i) {
      const auto index = static_cast<std::size_t>(i);
      planes[index].reset(
          {tjPlaneWidth(i, size.width, subsampling), tjPlaneHeight(i, size.height, subsampling)});
      pointers[index] = planes[index].row(0);
    }
    accept(handle,
           tjDecompressToYUVPlanes(handle.get(), bytes.data(), bytes.size(), pointers.data(),
                                   size.width, nullptr, size.height, TJFLAG_ACCURATEDCT));
    picture_.emplace();
    picture_->y = cropped(planes[0], size);
    const Size chroma = chromaSize(size);
    if (count == 1) {
      picture_->u.reset(chroma, 128);
      picture_->v.reset(chroma, 128);
    } else {
      picture_->u = toHalf(planes[1], subsampling);
      picture_->v = toHalf(planes[2], subsampling);
    }
  }

  // Chroma of any subsampling to 4:2:0.
  Plane toHalf(const Plane& plane, int subsampling) const {
    const Size chroma = chromaSize(info_.size);
    const int columns = tjMCUWidth[subsampling] / 8;  // luma columns per chroma column
    const int rows = tjMCUHeight[subsampling] / 8;
    if (columns == 2 && rows == 2) return cropped(plane, chroma);
    // Whole blocks first, so that every sample keeps its place.
    const Size blocks = {columns == 1 ? 2 * chroma.width : plane.size.width,
                         rows == 1 ? 2 * chroma.height : plane.size.height};
    const Size half = {blocks.width * columns / 2, blocks.height * rows / 2};
    return cropped(resizedChroma(extended(plane, blocks), half), chroma);
  }

  // For what the planes cannot give: RGB inside, or unusual subsampling.
  void readRgb(const Handle& handle, const std::vector<uint8_t>& bytes) {
    std::vector<uint8_t> rgb(std::size_t(info_.size.width) * std::size_t(info_.size.height) * 3);
    accept(handle,
           tjDecompress2(handle.get(), bytes.data(), bytes.size(), rgb.data(), info_.size.width, 0,
                         info_.size.height, TJPF_RGB, TJFLAG_ACCURATEDCT));
    picture_ = fromRgb(info_.size, rgb);
  }

  std::unique_ptr<ByteSource> source_;
  std::optional<Picture> picture_;
};

class JpegWriter final : public FrameWriter {
 public:
  JpegWriter(const std::string& path, int quality, std::vector<uint8_t> iccProfile)
      : file_(path), quality_(quality), iccProfile_(std::move(iccProfile)) {}

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
    const std::span<const uint8_t> jpeg(buffer, length);
    const std::size_t split = jpegProfilePosition(jpeg);
    file_.write(jpeg.first(split));
    file_.write(jpegProfileSegments(iccProfile_));
    file_.write(jpeg.subspan(split));
  }
  void commit() override { file_.commit(); }

  OutputFile file_;
  int quality_;
  std::vector<uint8_t> iccProfile_;
};

}  // namespace

bool isJpeg(std::span<const uint8_t> start) {
  return start.size() >= 3 && start[0] == 0xFF && start[1] == 0xD8 && start[2] == 0xFF;
}

std::unique_ptr<FrameReader> openJpeg(std::unique_ptr<ByteSource> source) {
  return std::make_unique<JpegReader>(std::move(source));
}

std::unique_ptr<FrameWriter> createJpeg(const std::string& path, int quality,
                                        std::vector<uint8_t> iccProfile) {
  return std::make_unique<JpegWriter>(path, quality, std::move(iccProfile));
}

}  // namespace velmora::tool
