#include "formats/y4m.h"

#include <array>
#include <charconv>
#include <sstream>
#include <string_view>
#include <utility>
#include <vector>

#include "errors.h"
#include "formats/raw.h"
#include "output_file.h"
#include "size_limits.h"

namespace velmora::tool {
namespace {

constexpr std::size_t kMaxHeader = 4096;
constexpr std::string_view kRangePrefix = "XCOLORRANGE=";

// 8-bit 4:2:0; the names differ in where chroma lies, which is passed on.
constexpr std::array<std::string_view, 4> kColourSpaces = {"420", "420jpeg", "420mpeg2",
                                                           "420paldv"};

constexpr std::string_view kGrey = "mono";

std::string quoted(std::string_view text) {
  return '"' + std::string(text) + '"';
}

int parseSide(std::string_view field) {
  const std::string_view digits = field.substr(1);
  int value = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (error != std::errc{} || end != digits.data() + digits.size() || value < 1) {
    throw Failure("the Y4M header holds " + quoted(field) + " where a size in pixels should be");
  }
  return value;
}

std::size_t frameBytes(const RawLayout& layout, bool grey) {
  return grey ? std::size_t(layout.size.width) * std::size_t(layout.size.height)
              : layout.frameBytes();
}

class Y4mReader final : public FrameReader {
 public:
  explicit Y4mReader(std::unique_ptr<ByteSource> source) : source_(std::move(source)) {
    const auto line = source_->readLine(kMaxHeader);
    Y4mHeader header;
    try {
      header = parseY4mHeader(line.value_or(""));
    } catch (const Failure& failure) {
      throw Failure(source_->name() + ": " + failure.what());
    }
    info_.size = header.size;
    info_.format = FileFormat::y4m;
    info_.range = header.range;
    info_.grey = header.grey;
    info_.y4mParameters = std::move(header.parameters);
    layout_ = {header.size, FileFormat::i420, false};
    if (const auto length = source_->length()) {
      // Frame headers are "FRAME\n" unless they carry parameters, which nobody writes.
      const uint64_t body = *length - std::min<uint64_t>(*length, line->size() + 1);
      info_.frames = static_cast<long>(body / (frameBytes(layout_, info_.grey) + 6));
    }
  }

  const std::string& name() const override { return source_->name(); }

 private:
  bool readFrame(Picture& picture) override {
    if (!readHeader()) return false;
    const std::size_t wanted = frameBytes(layout_, info_.grey);
    requireWhole(readFrameBytes(*source_, wanted, frame_));
    // Chroma without colour stands behind luma.
    if (info_.grey) frame_.resize(layout_.frameBytes(), 128);
    unpackRaw(layout_, frame_.data(), picture);
    frame_.resize(wanted);
    picture.range = info_.range;
    picture.grey = info_.grey;
    return true;
  }

  bool skipFrame() override {
    if (!readHeader()) return false;
    requireWhole(source_->skip(frameBytes(layout_, info_.grey)));
    return true;
  }

  bool readHeader() {
    const auto line = source_->readLine(kMaxHeader);
    if (!line) {
      if (count_ == 0) throw Failure(source_->name() + ": holds no frame");
      return false;
    }
    if (*line != "FRAME" && !line->starts_with("FRAME ")) {
      throw InputBroken(source_->name() + ": frame " + std::to_string(count_ + 1) +
                        " does not begin with \"FRAME\"");
    }
    return true;
  }

  // Counts a frame of which so many bytes were there.
  void requireWhole(uint64_t got) {
    ++count_;
    const std::size_t wanted = frameBytes(layout_, info_.grey);
    if (got == wanted) return;
    throw InputBroken(source_->name() + ": frame " + std::to_string(count_) + " ends after " +
                      std::to_string(got) + " of " + std::to_string(wanted) + " bytes");
  }

  std::unique_ptr<ByteSource> source_;
  RawLayout layout_;
  std::vector<uint8_t> frame_;
  long count_ = 0;
};

bool saysGrey(const std::string& parameters) {
  std::istringstream fields(parameters);
  bool grey = false;
  for (std::string field; fields >> field;) {
    if (field[0] == 'C') grey = std::string_view(field).substr(1) == kGrey;
  }
  return grey;
}

class Y4mWriter final : public FrameWriter {
 public:
  Y4mWriter(const std::string& path, Size size, Range range, const std::string& parameters)
      : file_(path), layout_{size, FileFormat::i420, false}, grey_(saysGrey(parameters)) {
    std::string header(kY4mMagic);
    header += " W" + std::to_string(size.width) + " H" + std::to_string(size.height);
    if (!parameters.empty()) header.append(" ").append(parameters);
    if (range == Range::full && parameters.find(kRangePrefix) == std::string::npos) {
      header.append(" ").append(kRangePrefix).append("FULL");
    }
    file_.write(header + "\n");
  }

 private:
  void writeFrame(const Picture& picture) override {
    file_.write("FRAME\n");
    frame_.resize(layout_.frameBytes());
    packRaw(layout_, picture, frame_.data());
    file_.write(std::span(frame_).first(frameBytes(layout_, grey_)));
  }
  void commit() override { file_.commit(); }

  OutputFile file_;
  RawLayout layout_;
  bool grey_;
  std::vector<uint8_t> frame_;
};

}  // namespace

Y4mHeader parseY4mHeader(const std::string& line) {
  std::istringstream fields(line);
  std::string field;
  fields >> field;
  if (field != kY4mMagic) throw Failure("does not begin with " + quoted(kY4mMagic));
  Y4mHeader header;
  while (fields >> field) {
    switch (field[0]) {
      case 'W':
        header.size.width = parseSide(field);
        continue;
      case 'H':
        header.size.height = parseSide(field);
        continue;
      case 'C': {
        const std::string_view space = std::string_view(field).substr(1);
        header.grey = space == kGrey;
        bool known = header.grey;
        for (const auto& candidate : kColourSpaces)
          known = known || candidate == space;
        if (!known) {
          throw Failure(
              "colour space " + quoted(space) +
              " is not handled: convert to 8-bit 4:2:0 (420, 420jpeg, 420mpeg2 or "
              "420paldv; with ffmpeg: -pix_fmt yuv420p) or to grey (mono; -pix_fmt gray)");
        }
        break;
      }
      case 'I':
        if (field != "Ip" && field != "I?") {
          throw Failure("the clip is interlaced (" + quoted(field) +
                        "): deinterlace it first, so that every frame shows one moment");
        }
        break;
      case 'X':
        if (field == std::string(kRangePrefix) + "FULL") header.range = Range::full;
        break;
      default:
        break;
    }
    if (!header.parameters.empty()) header.parameters += ' ';
    header.parameters += field;
  }
  if (header.size.width == 0 || header.size.height == 0) {
    throw Failure("the Y4M header gives no width or no height");
  }
  if (const std::string fault = sizeFault(header.size); !fault.empty()) {
    throw Failure("a frame of " + text(header.size) + " is too large: " + fault);
  }
  return header;
}

std::unique_ptr<FrameReader> openY4m(std::unique_ptr<ByteSource> source) {
  return std::make_unique<Y4mReader>(std::move(source));
}

std::unique_ptr<FrameWriter> createY4m(const std::string& path, Size size, Range range,
                                       const std::string& parameters) {
  return std::make_unique<Y4mWriter>(path, size, range, parameters);
}

}  // namespace velmora::tool
