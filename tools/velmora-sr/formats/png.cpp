#include "formats/png.h"

#include <png.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <new>
#include <string_view>
#include <utility>
#include <vector>

#include "alpha.h"
#include "colour.h"
#include "errors.h"
#include "formats/exif.h"
#include "formats/upright.h"
#include "output_file.h"
#include "size_limits.h"

namespace velmora::tool {
namespace {

// Rows converted at a time; even, so that each strip begins with a chroma row of its own.
constexpr int kStripRows = 64;
// Most that a colour profile, or another chunk that is taken, may unpack to.
constexpr png_alloc_size_t kMaxProfileBytes = 8'000'000;

constexpr std::string_view kXmpKey("XML:com.adobe.xmp\0", 18);

// libpng's words for an error; kept without the heap, which may be what has run out.
using Message = std::array<char, 200>;

// What the callbacks that read work on. Errors cross libpng as a long jump, so nothing with a
// destructor lives in the frames between.
struct ReadJob {
  ByteSource* source = nullptr;
  std::span<const uint8_t> rest;  // what lies behind the header, once it is in memory
  bool inMemory = false;
  bool noMemory = false;
  Metadata* metadata = nullptr;
  Message message = {};
  std::exception_ptr failure;
};

ReadJob& readJobOf(png_structp png) {
  return *static_cast<ReadJob*>(png_get_error_ptr(png));
}

void onReadError(png_structp png, png_const_charp text) {
  std::snprintf(readJobOf(png).message.data(), Message().size(), "%s", text);
  png_longjmp(png, 1);
}

void onWarning(png_structp, png_const_charp) {}

png_voidp onAllocate(png_structp png, png_alloc_size_t bytes) {
  void* block = std::malloc(bytes);
  if (block == nullptr) static_cast<ReadJob*>(png_get_mem_ptr(png))->noMemory = true;
  return block;
}

void onFree(png_structp, png_voidp block) {
  std::free(block);
}

void onRead(png_structp png, png_bytep data, std::size_t count) {
  ReadJob& job = readJobOf(png);
  std::size_t got = 0;
  if (job.inMemory) {
    got = std::min(count, job.rest.size());
    std::copy_n(job.rest.data(), got, data);
    job.rest = job.rest.subspan(got);
  } else {
    try {
      got = job.source->read({data, count});
    } catch (...) {
      job.failure = std::current_exception();
    }
  }
  if (got != count) png_error(png, "the file ends early");
}

// Texts are taken for what begins like XMP, and not unpacked: that says its keyword, then five
// bytes of zero for "not packed", language and title, none of which XMP has.
void takeText(std::string_view data, Metadata& metadata) {
  constexpr std::string_view kPlain("\0\0\0\0", 4);
  if (!data.starts_with(kXmpKey)) {
    metadata.leaveOut("texts");
  } else if (data.substr(kXmpKey.size()).starts_with(kPlain)) {
    const std::string_view packet = data.substr(kXmpKey.size() + kPlain.size());
    metadata.xmp.assign(packet.begin(), packet.end());
  } else {
    metadata.leaveOut("packed XMP");
  }
}

// Sees the chunks that libpng does not take itself; returns that it is done with them.
int onChunk(png_structp png, png_unknown_chunkp chunk) {
  auto& job = *static_cast<ReadJob*>(png_get_user_chunk_ptr(png));
  const std::string_view name(reinterpret_cast<const char*>(chunk->name), 4);
  const std::string_view data(reinterpret_cast<const char*>(chunk->data), chunk->size);
  try {
    if (name == "eXIf") {
      job.metadata->exif.assign(data.begin(), data.end());
    } else if (name == "iTXt") {
      takeText(data, *job.metadata);
    } else if (name == "tEXt" || name == "zTXt") {
      job.metadata->leaveOut("texts");
    } else if (name == "acTL") {
      job.metadata->leaveOut("animation");
    }
  } catch (...) {
    job.failure = std::current_exception();
  }
  if (job.failure) png_longjmp(png, 1);
  return 1;
}

// Everything before the picture data.
bool readHeader(png_structp png, png_infop info, ReadJob& job) {
  if (setjmp(png_jmpbuf(png)) != 0) return false;
  png_set_read_fn(png, &job, onRead);
  // Of chunks that say nothing about colours libpng unpacks nothing: texts may unpack to any
  // length. What the others may take is bounded.
  constexpr char kTaken[] = "bKGD\0cHRM\0gAMA\0iCCP\0pHYs\0sBIT\0sRGB";
  png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_NEVER, nullptr, -1);
  png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_AS_DEFAULT,
                              reinterpret_cast<png_const_bytep>(kTaken), sizeof kTaken / 5);
  png_set_read_user_chunk_fn(png, &job, onChunk);
  png_set_chunk_cache_max(png, 16);
  png_set_chunk_malloc_max(png, kMaxProfileBytes);
  png_set_user_limits(png, kMaxSide, kMaxSide);
  png_set_benign_errors(png, 1);
  png_read_info(png, info);
  return true;
}

// To 8-bit sRGB, grey or colour, with alpha where the file has transparent parts.
bool startRows(png_structp png, png_infop info, int& passes) {
  if (setjmp(png_jmpbuf(png)) != 0) return false;
  png_set_expand(png);
  // 16-bit files that do not tell their gamma are as sRGB as 8-bit ones.
  png_set_alpha_mode_fixed(png, PNG_ALPHA_PNG, PNG_DEFAULT_sRGB);
  if (png_get_bit_depth(png, info) == 16) png_set_scale_16(png);
  passes = png_set_interlace_handling(png);
  png_read_update_info(png, info);
  return true;
}

bool readRows(png_structp png, int passes, int rows, std::size_t pitch, uint8_t* target) {
  if (setjmp(png_jmpbuf(png)) != 0) return false;
  for (int pass = 0; pass < passes; ++pass) {
    for (int row = 0; row < rows; ++row)
      png_read_row(png, target + std::size_t(row) * pitch, nullptr);
  }
  return true;
}

// What lies behind the picture data: a damaged end takes nothing from the picture.
void readEnd(png_structp png, png_infop info) {
  if (setjmp(png_jmpbuf(png)) == 0) png_read_end(png, info);
}

class PngReader final : public FrameReader {
 public:
  explicit PngReader(std::unique_ptr<ByteSource> source) : source_(std::move(source)) {
    info_.format = FileFormat::png;
    info_.frames = 1;
    // The size comes first in the file; libpng would take memory by it.
    const auto start = source_->peek(24);
    if (start.size() == 24 && std::equal(&start[12], &start[16], "IHDR")) {
      requireAcceptable(png_get_uint_32(&start[16]), png_get_uint_32(&start[20]), name());
    }

    job_.source = source_.get();
    job_.metadata = &info_.metadata;
    png_ = png_create_read_struct_2(PNG_LIBPNG_VER_STRING, &job_, onReadError, onWarning, &job_,
                                    onAllocate, onFree);
    if (png_ != nullptr) pngInfo_ = png_create_info_struct(png_);
    if (pngInfo_ == nullptr) {
      close();
      throw std::bad_alloc();
    }
    try {
      require(readHeader(png_, pngInfo_, job_));
      takeInfo();
    } catch (...) {
      close();
      throw;
    }
  }
  ~PngReader() override { close(); }
  PngReader(const PngReader&) = delete;
  PngReader& operator=(const PngReader&) = delete;

  const std::string& name() const override { return source_->name(); }

 private:
  void close() { png_destroy_read_struct(&png_, &pngInfo_, nullptr); }

  void require(bool done) const {
    if (done) return;
    if (job_.failure) std::rethrow_exception(job_.failure);
    if (job_.noMemory) throw std::bad_alloc();
    throw Failure(name() + ": is damaged: " + job_.message.data());
  }

  void takeInfo() {
    stored_ = {static_cast<int>(png_get_image_width(png_, pngInfo_)),
               static_cast<int>(png_get_image_height(png_, pngInfo_))};
    info_.size = uprightSize(stored_, exifOrientation(info_.metadata.exif));
    info_.depth = std::max<int>(png_get_bit_depth(png_, pngInfo_), 8);
    info_.transparent = (png_get_color_type(png_, pngInfo_) & PNG_COLOR_MASK_ALPHA) != 0 ||
                        png_get_valid(png_, pngInfo_, PNG_INFO_tRNS) != 0;
    info_.grey = (png_get_color_type(png_, pngInfo_) & PNG_COLOR_MASK_COLOR) == 0;
    png_charp profileName = nullptr;
    int method = 0;
    png_bytep profile = nullptr;
    png_uint_32 length = 0;
    if (png_get_iCCP(png_, pngInfo_, &profileName, &method, &profile, &length) != 0) {
      info_.metadata.iccProfile.assign(profile, profile + length);
    }
    png_uint_32 x = 0;
    png_uint_32 y = 0;
    int unit = PNG_RESOLUTION_UNKNOWN;
    if (png_get_pHYs(png_, pngInfo_, &x, &y, &unit) != 0 && unit == PNG_RESOLUTION_METER && x > 0 &&
        y > 0) {
      info_.metadata.resolution = {double(x), double(y)};
    }
  }

  bool readFrame(Picture& picture) override {
    if (png_ == nullptr) return false;
    const std::vector<uint8_t> rest = source_->readAll(kMaxCompressedBytes);
    job_.rest = rest;
    job_.inMemory = true;
    // No packed byte stands for more than this many.
    constexpr std::size_t kMostPacked = 1032;
    const auto rows = static_cast<std::size_t>(stored_.height);
    if (rest.size() * kMostPacked < (png_get_rowbytes(png_, pngInfo_) + 1) * rows) {
      throw Failure(name() + ": is damaged: " + std::to_string(rest.size()) +
                    " bytes cannot hold the " + text(stored_) + " pixels of its header");
    }
    int passes = 0;
    require(startRows(png_, pngInfo_, passes));
    const std::size_t pitch = png_get_rowbytes(png_, pngInfo_);
    std::vector<uint8_t> samples(pitch * rows);
    require(readRows(png_, passes, stored_.height, pitch, samples.data()));
    readEnd(png_, pngInfo_);
    const int channels = png_get_channels(png_, pngInfo_);
    close();
    Plane alpha;
    if (info_.transparent) alpha = layOverWhite(stored_, channels, samples);
    info_.transparent = !alpha.samples.empty();
    if (info_.grey) {
      picture.reset(stored_);
      picture.y.samples = std::move(samples);
    } else {
      picture = fromRgb(stored_, samples);
    }
    picture.range = Range::full;
    picture.grey = info_.grey;
    picture.alpha = std::move(alpha);
    turnUpright(picture, exifOrientation(info_.metadata.exif));
    info_.size = picture.size();
    return true;
  }

  std::unique_ptr<ByteSource> source_;
  Size stored_;  // as the file lies, before it is turned upright
  ReadJob job_;
  png_structp png_ = nullptr;
  png_infop pngInfo_ = nullptr;
};

// What the callbacks that write work on.
struct WriteJob {
  OutputFile* file = nullptr;
  Size size;
  int type = PNG_COLOR_TYPE_RGB;
  int channels = 3;
  const Metadata* metadata = nullptr;
  std::function<void(int firstRow, int rows, uint8_t* target)> rows;
  std::vector<uint8_t> strip;
  Message message = {};
  std::exception_ptr failure;
};

WriteJob& jobOf(png_structp png) {
  return *static_cast<WriteJob*>(png_get_error_ptr(png));
}

void onError(png_structp png, png_const_charp text) {
  std::snprintf(jobOf(png).message.data(), Message().size(), "%s", text);
  png_longjmp(png, 1);
}

void onWrite(png_structp png, png_bytep data, std::size_t count) {
  WriteJob& job = jobOf(png);
  try {
    job.file->write({data, count});
    return;
  } catch (...) {
    job.failure = std::current_exception();
  }
  png_longjmp(png, 1);
}

void onFlush(png_structp) {}

bool nextStrip(WriteJob& job, int firstRow, int rows) {
  try {
    job.rows(firstRow, rows, job.strip.data());
    return true;
  } catch (...) {
    job.failure = std::current_exception();
    return false;
  }
}

// Metadata that has chunks of its own, which libpng takes ready made.
void writeChunks(png_structp png, const Metadata& metadata) {
  const auto chunk = [&](const char* name, const std::vector<uint8_t>& data) {
    if (data.empty()) return;
    png_write_chunk(png, reinterpret_cast<png_const_bytep>(name), data.data(), data.size());
  };
  chunk("eXIf", metadata.exif);
  chunk("iTXt", metadata.xmp);
}

bool encode(png_structp png, png_infop info, WriteJob& job) {
  if (setjmp(png_jmpbuf(png)) != 0) return false;
  png_set_write_fn(png, &job, onWrite, onFlush);
  // Enlarged pictures are smooth: one predictor and a low effort come within a few percent of the
  // smallest file in a fraction of the time.
  png_set_compression_level(png, 3);
  png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_FILTER_PAETH);
  png_set_IHDR(png, info, static_cast<png_uint_32>(job.size.width),
               static_cast<png_uint_32>(job.size.height), 8, job.type, PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  const Metadata& metadata = *job.metadata;
  if (!metadata.iccProfile.empty()) {
    png_set_iCCP(png, info, "ICC profile", PNG_COMPRESSION_TYPE_BASE, metadata.iccProfile.data(),
                 static_cast<png_uint_32>(metadata.iccProfile.size()));
  }
  if (metadata.resolution) {
    png_set_pHYs(png, info, static_cast<png_uint_32>(std::lround(metadata.resolution->x)),
                 static_cast<png_uint_32>(std::lround(metadata.resolution->y)),
                 PNG_RESOLUTION_METER);
  }
  png_write_info(png, info);
  writeChunks(png, metadata);
  const std::size_t pitch = std::size_t(job.size.width) * job.channels;
  for (int first = 0; first < job.size.height; first += kStripRows) {
    const int rows = std::min(kStripRows, job.size.height - first);
    if (!nextStrip(job, first, rows)) return false;
    for (int row = 0; row < rows; ++row)
      png_write_row(png, job.strip.data() + std::size_t(row) * pitch);
  }
  png_write_end(png, info);
  return true;
}

void writePng(WriteJob& job) {
  job.strip.resize(std::size_t(job.size.width) * kStripRows * job.channels);
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &job, onError, onWarning);
  png_infop info = png == nullptr ? nullptr : png_create_info_struct(png);
  const bool done = info != nullptr && encode(png, info, job);
  png_destroy_write_struct(&png, &info);
  if (job.failure) std::rethrow_exception(job.failure);
  if (!done) throw Failure(job.file->name() + ": cannot write the PNG: " + job.message.data());
}

class PngWriter final : public FrameWriter {
 public:
  PngWriter(const std::string& path, Metadata metadata)
      : file_(path), metadata_(std::move(metadata)) {
    // As the chunk holds it: the keyword and what else stands before the text.
    std::vector<uint8_t>& xmp = metadata_.xmp;
    if (xmp.empty()) return;
    xmp.insert(xmp.begin(), 4, 0);
    xmp.insert(xmp.begin(), kXmpKey.begin(), kXmpKey.end());
  }

 private:
  void writeFrame(const Picture& picture) override {
    WriteJob job;
    job.file = &file_;
    job.size = picture.size();
    if (picture.grey) job.type = PNG_COLOR_TYPE_GRAY;
    job.channels = picture.grey ? 1 : 3;
    job.metadata = &metadata_;
    Picture full;
    const Picture* source = &picture;
    if (picture.grey && picture.range != Range::full) {
      full = picture;
      convertRange(full, Range::full);
      source = &full;
    }
    const auto colours = [source](int first, int rows, uint8_t* target) {
      const std::size_t pixels = std::size_t(rows) * source->size().width;
      if (source->grey) {
        std::copy_n(source->y.row(first), pixels, target);
      } else {
        toRgb(*source, first, rows, {target, pixels * 3});
      }
    };
    job.rows = colours;
    const Plane& alpha = picture.alpha;
    std::vector<uint8_t> strip;
    if (!alpha.samples.empty()) {
      strip.resize(std::size_t(job.size.width) * kStripRows * job.channels);
      job.rows = [&, channels = std::size_t(job.channels)](int first, int rows, uint8_t* target) {
        const std::size_t pixels = std::size_t(rows) * alpha.size.width;
        colours(first, rows, strip.data());
        takeOffWhite({strip.data(), pixels * channels}, {alpha.row(first), pixels},
                     {target, pixels * (channels + 1)});
      };
      job.type |= PNG_COLOR_MASK_ALPHA;
      ++job.channels;
    }
    writePng(job);
  }
  void commit() override { file_.commit(); }

  OutputFile file_;
  Metadata metadata_;
};

}  // namespace

bool isPng(std::span<const uint8_t> start) {
  return start.size() >= 8 && png_sig_cmp(start.data(), 0, 8) == 0;
}

std::unique_ptr<FrameReader> openPng(std::unique_ptr<ByteSource> source) {
  return std::make_unique<PngReader>(std::move(source));
}

std::unique_ptr<FrameWriter> createPng(const std::string& path, Metadata metadata) {
  return std::make_unique<PngWriter>(path, std::move(metadata));
}

void writeRgbPng(const std::string& path, Size size, std::span<const uint8_t> rgb) {
  OutputFile file(path);
  const Metadata none;
  WriteJob job;
  job.file = &file;
  job.size = size;
  job.metadata = &none;
  job.rows = [&](int first, int rows, uint8_t* target) {
    const std::size_t pitch = std::size_t(size.width) * 3;
    std::copy_n(rgb.data() + pitch * std::size_t(first), pitch * std::size_t(rows), target);
  };
  writePng(job);
  file.commit();
}

}  // namespace velmora::tool
