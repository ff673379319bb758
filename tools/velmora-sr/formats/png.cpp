#include "formats/png.h"

#include <png.h>

#include <algorithm>
#include <csetjmp>
#include <exception>
#include <functional>
#include <optional>
#include <utility>
#include <vector>

#include "colour.h"
#include "errors.h"
#include "output_file.h"
#include "size_limits.h"

namespace velmora::tool {
namespace {

// Rows converted at a time; even, so that each strip begins with a chroma row of its own.
constexpr int kStripRows = 64;

// Reads the header of a PNG for its profile. An error inside libpng is a long jump, so nothing with
// a destructor lives here; the profile is copied out by `take` while libpng still owns it.
struct ProfileJob {
  std::span<const uint8_t> rest;
  std::vector<uint8_t> profile;
};

void onProfileError(png_structp png, png_const_charp) {
  png_longjmp(png, 1);
}

void onProfileWarning(png_structp, png_const_charp) {}

void onProfileRead(png_structp png, png_bytep data, std::size_t count) {
  auto& job = *static_cast<ProfileJob*>(png_get_io_ptr(png));
  if (count > job.rest.size()) png_error(png, "the file ends");
  std::copy_n(job.rest.data(), count, data);
  job.rest = job.rest.subspan(count);
}

void take(png_structp png, png_infop info, ProfileJob& job) {
  png_charp name = nullptr;
  int method = 0;
  png_bytep profile = nullptr;
  png_uint_32 length = 0;
  if (png_get_iCCP(png, info, &name, &method, &profile, &length) != 0) {
    job.profile.assign(profile, profile + length);
  }
}

void readProfile(png_structp png, png_infop info, ProfileJob& job) {
  if (setjmp(png_jmpbuf(png)) != 0) return;
  png_set_read_fn(png, &job, onProfileRead);
  png_read_info(png, info);
  take(png, info, job);
}

std::vector<uint8_t> profileOf(std::span<const uint8_t> bytes) {
  ProfileJob job{bytes, {}};
  png_structp png =
      png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, onProfileError, onProfileWarning);
  png_infop info = png == nullptr ? nullptr : png_create_info_struct(png);
  if (info != nullptr) readProfile(png, info, job);
  png_destroy_read_struct(&png, &info, nullptr);
  return std::move(job.profile);
}

class PngReader final : public FrameReader {
 public:
  explicit PngReader(std::unique_ptr<ByteSource> source) : source_(std::move(source)) {
    info_.format = FileFormat::png;
    info_.frames = 1;
    const std::vector<uint8_t> bytes = source_->readAll(kMaxCompressedBytes);
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_memory(&image, bytes.data(), bytes.size()) == 0) {
      throw damaged(image);
    }
    if (image.width > std::size_t{kMaxSide} || image.height > std::size_t{kMaxSide}) {
      png_image_free(&image);
      throw Failure(name() + ": the picture is too large: " + std::to_string(image.width) + "x" +
                    std::to_string(image.height));
    }
    info_.size = {static_cast<int>(image.width), static_cast<int>(image.height)};
    try {
      requireAcceptable(info_.size, name());
    } catch (...) {
      png_image_free(&image);
      throw;
    }
    // 16-bit files that do not tell their gamma are as sRGB as 8-bit ones.
    image.flags |= PNG_IMAGE_FLAG_16BIT_sRGB;
    info_.grey = (image.format & PNG_FORMAT_FLAG_COLOR) == 0;
    image.format = info_.grey ? PNG_FORMAT_GRAY : PNG_FORMAT_RGB;

    const png_color white = {255, 255, 255};
    std::vector<uint8_t> samples(PNG_IMAGE_SIZE(image));
    if (png_image_finish_read(&image, &white, samples.data(), 0, nullptr) == 0) {
      throw damaged(image);
    }
    if (info_.grey) {
      picture_.emplace(info_.size);
      picture_->y.samples = std::move(samples);
      picture_->grey = true;
    } else {
      picture_ = fromRgb(info_.size, samples);
    }
    info_.iccProfile = profileOf(bytes);
  }

  const std::string& name() const override { return source_->name(); }

 private:
  bool readFrame(Picture& picture) override {
    if (!picture_) return false;
    picture = std::move(*picture_);
    picture_.reset();
    return true;
  }

  Failure damaged(png_image& image) const {
    const std::string reason = image.message;
    png_image_free(&image);
    return Failure(name() + ": is damaged: " + reason);
  }

  std::unique_ptr<ByteSource> source_;
  std::optional<Picture> picture_;
};

// What the callbacks of libpng work on. Errors cross libpng as a long jump, so nothing with a
// destructor lives in the frames between.
struct WriteJob {
  OutputFile* file = nullptr;
  Size size;
  bool grey = false;
  std::span<const uint8_t> iccProfile;
  std::function<void(int firstRow, int rows, uint8_t* target)> rows;
  std::vector<uint8_t> strip;
  std::string message;
  std::exception_ptr failure;
};

WriteJob& jobOf(png_structp png) {
  return *static_cast<WriteJob*>(png_get_error_ptr(png));
}

void onError(png_structp png, png_const_charp text) {
  jobOf(png).message = text;
  png_longjmp(png, 1);
}

void onWarning(png_structp, png_const_charp) {}

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

bool encode(png_structp png, png_infop info, WriteJob& job) {
  if (setjmp(png_jmpbuf(png)) != 0) return false;
  png_set_write_fn(png, &job, onWrite, onFlush);
  // Enlarged pictures are smooth: one predictor and a low effort come within a few percent of the
  // smallest file in a fraction of the time.
  png_set_compression_level(png, 3);
  png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_FILTER_PAETH);
  png_set_IHDR(png, info, static_cast<png_uint_32>(job.size.width),
               static_cast<png_uint_32>(job.size.height), 8,
               job.grey ? PNG_COLOR_TYPE_GRAY : PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  if (!job.iccProfile.empty()) {
    png_set_iCCP(png, info, "ICC profile", PNG_COMPRESSION_TYPE_BASE, job.iccProfile.data(),
                 static_cast<png_uint_32>(job.iccProfile.size()));
  }
  png_write_info(png, info);
  const std::size_t pitch = std::size_t(job.size.width) * (job.grey ? 1 : 3);
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
  job.strip.resize(std::size_t(job.size.width) * kStripRows * (job.grey ? 1 : 3));
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &job, onError, onWarning);
  png_infop info = png == nullptr ? nullptr : png_create_info_struct(png);
  const bool done = info != nullptr && encode(png, info, job);
  png_destroy_write_struct(&png, &info);
  if (job.failure) std::rethrow_exception(job.failure);
  if (!done) throw Failure(job.file->name() + ": cannot write the PNG: " + job.message);
}

class PngWriter final : public FrameWriter {
 public:
  PngWriter(const std::string& path, std::vector<uint8_t> iccProfile)
      : file_(path), iccProfile_(std::move(iccProfile)) {}

 private:
  void writeFrame(const Picture& picture) override {
    WriteJob job;
    job.file = &file_;
    job.size = picture.size();
    job.grey = picture.grey;
    job.iccProfile = iccProfile_;
    if (picture.grey) {
      Picture full;
      const Picture* source = &picture;
      if (picture.range != Range::full) {
        full = picture;
        convertRange(full, Range::full);
        source = &full;
      }
      job.rows = [source](int first, int rows, uint8_t* target) {
        std::copy_n(source->y.row(first), std::size_t(rows) * source->size().width, target);
      };
      writePng(job);
      return;
    }
    job.rows = [&picture](int first, int rows, uint8_t* target) {
      toRgb(picture, first, rows, {target, std::size_t(rows) * picture.size().width * 3});
    };
    writePng(job);
  }
  void commit() override { file_.commit(); }

  OutputFile file_;
  std::vector<uint8_t> iccProfile_;
};

}  // namespace

bool isPng(std::span<const uint8_t> start) {
  return start.size() >= 8 && png_sig_cmp(start.data(), 0, 8) == 0;
}

std::unique_ptr<FrameReader> openPng(std::unique_ptr<ByteSource> source) {
  return std::make_unique<PngReader>(std::move(source));
}

std::unique_ptr<FrameWriter> createPng(const std::string& path, std::vector<uint8_t> iccProfile) {
  return std::make_unique<PngWriter>(path, std::move(iccProfile));
}

void writeRgbPng(const std::string& path, Size size, std::span<const uint8_t> rgb) {
  OutputFile file(path);
  WriteJob job;
  job.file = &file;
  job.size = size;
  job.rows = [&](int first, int rows, uint8_t* target) {
    const std::size_t pitch = std::size_t(size.width) * 3;
    std::copy_n(rgb.data() + pitch * std::size_t(first), pitch * std::size_t(rows), target);
  };
  writePng(job);
  file.commit();
}

}  // namespace velmora::tool
