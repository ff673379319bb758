#include "formats/raw.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "colour.h"
#include "errors.h"
#include "output_file.h"
#include "size_limits.h"

namespace velmora::tool {
namespace {

class RawReader final : public FrameReader {
 public:
  RawReader(std::unique_ptr<ByteSource> source, const RawLayout& layout)
      : source_(std::move(source)), layout_(layout) {
    requireAcceptable(layout.size, source_->name());
    info_.size = layout.size;
    info_.format = layout.format;
    if (const auto length = source_->length()) {
      if (*length == 0 || *length % layout_.frameBytes() != 0) {
        throw Failure(wrongLength(std::to_string(*length) + " bytes"));
      }
      info_.frames = static_cast<long>(*length / layout_.frameBytes());
    }
  }

  const std::string& name() const override { return source_->name(); }

 private:
  bool readFrame(Picture& picture) override {
    if (!isFrame(readFrameBytes(*source_, layout_.frameBytes(), frame_))) return false;
    unpackRaw(layout_, frame_.data(), picture);
    return true;
  }

  bool skipFrame() override { return isFrame(source_->skip(layout_.frameBytes())); }

  // Whether so many bytes are one; false at the end.
  bool isFrame(uint64_t got) {
    if (got == 0 && any_) return false;
    if (got != layout_.frameBytes()) {
      throw InputBroken(wrongLength(std::to_string(got) + " bytes in its last frame"));
    }
    any_ = true;
    return true;
  }

  std::string wrongLength(const std::string& what) const {
    return source_->name() + ": holds " + what + ", but a " + tool::name(layout_.format) +
           " frame of " + text(layout_.size) + " has " + std::to_string(layout_.frameBytes()) +
           "; check the size and format";
  }

  std::unique_ptr<ByteSource> source_;
  RawLayout layout_;
  std::vector<uint8_t> frame_;
  bool any_ = false;
};

class RawWriter final : public FrameWriter {
 public:
  RawWriter(const std::string& path, const RawLayout& layout) : file_(path), layout_(layout) {}

 private:
  void writeFrame(const Picture& picture) override {
    frame_.resize(layout_.frameBytes());
    packRaw(layout_, picture, frame_.data());
    file_.write(frame_);
  }
  void commit() override { file_.commit(); }

  OutputFile file_;
  RawLayout layout_;
  std::vector<uint8_t> frame_;
};

// Repeats the last column and row of the filled part over the rest.
void repeatEdges(Plane& plane, Size filled) {
  if (filled.width < 1 || filled.height < 1) {
    std::fill(plane.samples.begin(), plane.samples.end(), uint8_t{128});
    return;
  }
  for (int y = 0; y < filled.height; ++y) {
    uint8_t* row = plane.row(y);
    std::fill(row + filled.width, row + plane.size.width, row[filled.width - 1]);
  }
  for (int y = filled.height; y < plane.size.height; ++y)
    std::copy_n(plane.row(filled.height - 1), plane.size.width, plane.row(y));
}

}  // namespace

Size RawLayout::chroma() const {
  return dump ? Size{size.width / 2, size.height / 2} : chromaSize(size);
}

std::size_t RawLayout::frameBytes() const {
  const std::size_t luma = std::size_t(size.width) * std::size_t(size.height);
  const Size half = chroma();
  return dump ? luma + luma / 2 : luma + 2 * std::size_t(half.width) * std::size_t(half.height);
}

std::size_t readFrameBytes(ByteSource& source, std::size_t count, std::vector<uint8_t>& bytes) {
  constexpr std::size_t kFirstRoom = std::size_t{1} << 20;
  if (source.length().value_or(0) >= count) bytes.resize(count);
  std::size_t got = 0;
  for (;;) {
    if (bytes.size() < count) bytes.resize(std::min(count, std::max(2 * got, kFirstRoom)));
    got += source.read(std::span(bytes).subspan(got));
    if (got < bytes.size() || got == count) return got;
  }
}

void unpackRaw(const RawLayout& layout, const uint8_t* bytes, Picture& picture) {
  picture.reset(layout.size);
  picture.range = Range::full;
  picture.grey = false;
  const Size half = layout.chroma();
  std::copy_n(bytes, picture.y.samples.size(), picture.y.samples.data());
  const uint8_t* chroma = bytes + picture.y.samples.size();
  const int pitch = picture.u.size.width;
  if (layout.format == FileFormat::i420) {
    const std::size_t planeBytes = std::size_t(half.width) * std::size_t(half.height);
    copyRows(chroma, half.width, picture.u.row(0), pitch, half.width, half.height);
    copyRows(chroma + planeBytes, half.width, picture.v.row(0), pitch, half.width, half.height);
  } else {
    splitChroma(chroma, 2 * half.width, picture.u.row(0), picture.v.row(0), pitch, half.width,
                half.height, layout.format == FileFormat::nv12 ? ChromaOrder::uv : ChromaOrder::vu);
  }
  if (half != picture.u.size) {
    repeatEdges(picture.u, half);
    repeatEdges(picture.v, half);
  }
}

void packRaw(const RawLayout& layout, const Picture& picture, uint8_t* bytes) {
  const Size half = layout.chroma();
  uint8_t* chroma = std::copy(picture.y.samples.begin(), picture.y.samples.end(), bytes);
  const int pitch = picture.u.size.width;
  if (layout.format == FileFormat::i420) {
    const std::size_t planeBytes = std::size_t(half.width) * std::size_t(half.height);
    copyRows(picture.u.row(0), pitch, chroma, half.width, half.width, half.height);
    copyRows(picture.v.row(0), pitch, chroma + planeBytes, half.width, half.width, half.height);
  } else {
    interleaveChroma(picture.u.row(0), picture.v.row(0), pitch, chroma, 2 * half.width, half.width,
                     half.height,
                     layout.format == FileFormat::nv12 ? ChromaOrder::uv : ChromaOrder::vu);
  }
}

std::unique_ptr<FrameReader> openRaw(std::unique_ptr<ByteSource> source, const RawLayout& layout) {
  return std::make_unique<RawReader>(std::move(source), layout);
}

std::unique_ptr<FrameWriter> createRaw(const std::string& path, const RawLayout& layout) {
  return std::make_unique<RawWriter>(path, layout);
}

}  // namespace velmora::tool
