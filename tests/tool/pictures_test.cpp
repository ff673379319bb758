// PNG and JPEG: what is written comes back, and what others write is read.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <png.h>
#include <turbojpeg.h>
#include <zlib.h>

#include <cmath>

#include "alpha.h"
#include "colour.h"
#include "demo/reference.h"
#include "errors.h"
#include "formats/exif.h"
#include "formats/icc.h"
#include "formats/jpeg.h"
#include "formats/jpeg_metadata.h"
#include "formats/png.h"
#include "formats/upright.h"
#include "frame_io.h"
#include "support/random.h"
#include "support/scratch_directory.h"

static int64_t unpackedBytes = 0;

// Stands before zlib's own and counts what it unpacks.
extern "C" __attribute__((visibility("default"))) int inflate(z_streamp stream, int flush) {
  static const auto real = reinterpret_cast<int (*)(z_streamp, int)>(dlsym(RTLD_NEXT, "inflate"));
  const int64_t room = stream->avail_out;
  const int result = real(stream, flush);
  unpackedBytes += room - stream->avail_out;
  return result;
}

namespace velmora::tool {
namespace {

using Bytes = std::vector<uint8_t>;
using namespace std::string_literals;

class Pictures : public testing::Test {
 protected:
  std::string file() const { return folder_.path("x"); }
  Picture readFile() const {
    const auto reader = openInput({file(), {}, {}});
    Picture picture;
    Picture more;
    EXPECT_TRUE(reader->next(picture));
    EXPECT_EQ(picture.size(), reader->info().size);
    EXPECT_EQ(picture.grey, reader->info().grey);
    EXPECT_FALSE(reader->next(more));
    return picture;
  }
  template <typename Content>
  Picture read(const Content& content) const {
    test::writeFile(file(), content);
    return readFile();
  }
  Picture written(const std::unique_ptr<FrameWriter>& writer, const Picture& picture) const {
    writer->write(picture);
    writer->finish();
    return readFile();
  }

 private:
  test::ScratchDirectory folder_;
};

// Soft shapes in luma and colour, without symmetry.
Picture softPicture(Size size) {
  Picture picture(size);
  for (Plane* plane : {&picture.y, &picture.u, &picture.v}) {
    const double pitch = plane == &picture.u ? 0.1 : 0.09;
    for (int i = 0; i < static_cast<int>(plane->samples.size()); ++i) {
      const double angle = i % plane->size.width * pitch + i / plane->size.width * 0.15;
      plane->samples[static_cast<std::size_t>(i)] =
          static_cast<uint8_t>(128 + 40 * std::sin(angle));
    }
  }
  return picture;
}

TEST_F(Pictures, ComeBackFromFiles) {
  for (const Size size : {Size{127, 96}, Size{17, 200}, Size{1, 1}, Size{2, 3}}) {
    for (const bool grey : {false, true}) {
      SCOPED_TRACE(testing::Message() << size.width << "x" << size.height << " grey " << grey);
      Picture picture = softPicture(size);
      picture.grey = grey;
      if (grey) picture.u = picture.v = Plane(picture.u.size, 128);
      const Picture png = written(createPng(file()), picture);
      const Picture jpeg = written(createJpeg(file(), 97), picture);
      ASSERT_TRUE(png.size() == size && png.grey == grey);
      ASSERT_TRUE(jpeg.size() == size && jpeg.grey == grey);
      EXPECT_GT(psnr(png.y, picture.y), grey ? 98 : 45);
      EXPECT_GT(psnr(jpeg.y, picture.y), 44);
      for (Plane Picture::*chroma : {&Picture::u, &Picture::v}) {
        EXPECT_GT(psnr(jpeg.*chroma, picture.*chroma), grey ? 98 : 40);
        // Chroma is interpolated up and averaged down again, which is not quite its inverse.
        EXPECT_GT(psnr(png.*chroma, picture.*chroma), size.width > 2 ? 42 : 20);
      }
    }
  }
}

std::string chunk(const std::string& name, const std::string& data) {
  const auto number = [](std::size_t value) {
    return std::string{char(value >> 24), char(value >> 16), char(value >> 8), char(value)};
  };
  const std::string body = name + data;
  return number(data.size()) + body +
         number(crc32(0, reinterpret_cast<const Bytef*>(body.data()), uInt(body.size())));
}

std::string packed(const std::string& data) {
  std::string result(compressBound(data.size()), '\0');
  uLongf length = result.size();
  compress(reinterpret_cast<Bytef*>(result.data()), &length,
           reinterpret_cast<const Bytef*>(data.data()), data.size());
  return result.substr(0, length);
}

// `kind`: bit depth, colour type, and the rest of the header. `rows` with the filter byte of each.
std::string png(int width, int height, const std::string& kind, const std::string& chunks,
                const std::string& rows) {
  return "\x89PNG\r\n\x1A\n" +
         chunk("IHDR", "\0\0"s + char(width >> 8) + char(width) + "\0\0\0"s + char(height) + kind) +
         chunks + chunk("IDAT", packed(rows)) + chunk("IEND", "");
}

TEST_F(Pictures, PngOfEveryKind) {
  // Opaque black, clear black (shown white), half-clear white over white, opaque grey.
  EXPECT_EQ(read(png(2, 2, "\10\6\0\0\0"s, "", "\0\0\0\0\xFF\0\0\0\0\0\xFF\xFF\xFF\x80(((\xFF"s))
                .y.samples,
            (Bytes{0, 255, 255, 40}));
  EXPECT_EQ(
      read(png(4, 1, "\1\3\0\0\0"s, chunk("PLTE", "\12\12\12\xC8\xC8\xC8"), "\0\x60"s)).y.samples,
      (Bytes{10, 200, 200, 10}));
  // 16 bits without a word about gamma, in 5 of the 7 passes of interlacing:
  // 0, 8000, FFFF; 4000, 1234, FF; FF00, 100, C000.
  const Picture deep = read(png(3, 3, "\20\0\0\0\1"s, "",
                                "\0\0\0\0\xFF\xFF\0\xFF\0\xC0\0\0\x80\0\0\1\0"
                                "\0\x40\0\x12\x34\0\xFF"s));
  EXPECT_EQ(deep.y.samples, (Bytes{0, 128, 255, 64, 18, 1, 254, 1, 191}));
  EXPECT_TRUE(deep.grey);
  EXPECT_EQ(lossesOf(openInput({file(), {}, {}})->info()), "; 8 of 16 bits used");
}

TEST_F(Pictures, TransparencyComesBack) {
  // Clear, faint, half and opaque, grey and in colour; what is clear has no colour.
  const std::string grey = "\0\x30\0\x30\2\x30\x80\x30\xFF"s;
  Picture read = this->read(png(4, 1, "\10\4\0\0\0"s, "", grey));
  EXPECT_EQ(read.y.samples, (Bytes{255, 253, 151, 48}));
  EXPECT_EQ(read.alpha.samples, (Bytes{0, 2, 128, 255}));
  read = written(createPng(file()), read);
  EXPECT_EQ(read.y.samples, (Bytes{255, 253, 151, 48}));
  EXPECT_EQ(read.alpha.samples, (Bytes{0, 2, 128, 255}));
  Bytes pixels(12);
  takeOffWhite(Bytes{255, 253, 151, 48, 0, 100}, Bytes{0, 128, 1}, pixels);
  EXPECT_EQ(pixels, (Bytes{255, 255, 0, 48, 0, 128, 0, 0, 1, 0, 0, 0}));
  EXPECT_TRUE(this->read(png(1, 1, "\10\6\0\0\0"s, "", "\0\1\2\3\xFF"s)).alpha.samples.empty());

  Picture soft = softPicture({33, 20});
  soft.alpha = soft.y;
  const Picture back = written(createPng(file()), soft);
  EXPECT_EQ(back.alpha.samples, soft.alpha.samples);
  Picture turned = soft;
  turnUpright(turned, 6);
  EXPECT_EQ(turned.alpha.samples, turned.y.samples);
  EXPECT_EQ(lossesOf(outputInfo(openInput({file(), {}, {}})->info(), {1, 1}, FileFormat::jpeg)),
            "; laid over white");
}

TEST_F(Pictures, PngUnpacksNoMoreThanThePicture) {
  const std::string bomb = "k\0\0"s + packed(std::string(1 << 20, '\0'));
  std::string chunks;
  for (int i = 0; i < 900; ++i)
    chunks += chunk("zTXt", bomb) + chunk("iCCP", bomb);
  unpackedBytes = 0;
  EXPECT_EQ(read(png(1, 2, "\10\0\0\0\0"s, chunks, "\0a\0b"s)).y.samples, (Bytes{'a', 'b'}));
  EXPECT_GE(unpackedBytes, 4);
  EXPECT_LT(unpackedBytes, 10'000);
}

Bytes encodeRgb(Size size, const Bytes& rgb, int subsampling) {
  tjhandle handle = tjInitCompress();
  unsigned char* buffer = nullptr;
  unsigned long length = 0;
  EXPECT_EQ(tjCompress2(handle, rgb.data(), size.width, 0, size.height, TJPF_RGB, &buffer, &length,
                        subsampling, 100, TJFLAG_ACCURATEDCT),
            0);
  Bytes bytes(buffer, buffer + length);
  tjFree(buffer);
  tjDestroy(handle);
  return bytes;
}

TEST_F(Pictures, WhatCannotBeReadIsNamed) {
  const std::string whole = png(2, 1, "\10\0\0\0\0"s, "", "\0ab"s);
  const Bytes small = encodeRgb({8, 8}, Bytes(192, 90), TJSAMP_420);
  std::string jpeg(small.begin(), small.end());
  jpeg.replace(jpeg.find("\xFF\xC0") + 5, 4, "\x50\0\x60\0"s);
  const struct {
    std::string content;
    const char* reason;
  } cases[] = {{"", "x: is empty"},
               {whole.substr(0, 9), "x: is damaged"},
               {whole.substr(0, 45), "x: is damaged: the file ends early"},
               {png(28672, 1, "\10\0\0\0\0"s, "", "\0ab"s), "bytes cannot hold the 28672x1 pixels"},
               {std::string(whole).replace(16, 1, "\1"), "x: a frame of 16777218x1 is too large"},
               {"\xFF\xD8\xFF\xE0\0\4\1\1"s, "x: is damaged"},
               {jpeg, "bytes cannot hold the 24576x20480 pixels"},
               {"GIF89a", "a GIF"},
#ifdef VELMORA_HAVE_TIFF
               {"MM\0*"s, "x: is damaged"},
#else
               {"MM\0*"s, "x: is a TIFF, which is not read here; convert it first: convert IN"},
#endif
#ifdef VELMORA_HAVE_WEBP
               {"RIFF....WEBPVP8 ", "x: is damaged"},
#else
               {"RIFF....WEBPVP8 ", "a WebP"},
#endif
               {"BM\1\2\3\4\0\0\0\0"s, "a BMP"},
               {"BM is how this begins", "no picture"},
               {"....ftypavif", "an AVIF"},
               {"....ftypqt  ", "a QuickTime film"},
               {"\x1A\x45\xDF\xA3", "a Matroska or WebM film"}};
  for (const auto& c : cases)
    EXPECT_THAT([&] { read(c.content); },
                testing::ThrowsMessage<Failure>(testing::HasSubstr(c.reason)));
}

TEST_F(Pictures, JpegOfEverySubsamplingBecomes420InPlace) {
  for (const Size size : {Size{61, 47}, Size{3, 3}}) {
    const Picture picture = softPicture(size);
    Bytes rgb(static_cast<std::size_t>(size.width * size.height * 3));
    toRgb(picture, 0, size.height, rgb);
    for (const int subsampling : {TJSAMP_444, TJSAMP_422, TJSAMP_420, TJSAMP_440, TJSAMP_411}) {
      const Picture stored = read(encodeRgb(size, rgb, subsampling));
      ASSERT_EQ(stored.u.size, chromaSize(size));
      EXPECT_GT(psnr(stored.u, picture.u), 41) << subsampling;
      EXPECT_GT(psnr(stored.v, picture.v), 41) << subsampling;
    }
  }
}

// A JPEG with an Exif segment that holds the orientation as the second entry, in either byte order.
Bytes withOrientation(const Bytes& jpeg, uint8_t orientation, bool big) {
  std::string exif =
      big ? "Exif\0\0MM\0*\0\0\0\10\0\2\1\x0F\0\2\0\0\0\4AAA\0\1\x12\0\3\0\0\0\1\0?\0\0\0\0\0\0"s
          : "Exif\0\0II*\0\10\0\0\0\2\0\x0F\1\2\0\4\0\0\0AAA\0\x12\1\3\0\1\0\0\0?\0\0\0\0\0\0\0"s;
  exif[exif.find('?')] = static_cast<char>(orientation);
  exif = "\xFF\xD8\xFF\xE1\0"s + char(exif.size() + 2) + exif;
  Bytes result(exif.begin(), exif.end());
  result.insert(result.end(), jpeg.begin() + 2, jpeg.end());
  return result;
}

TEST_F(Pictures, JpegIsTurnedUpright) {
  // The upright picture "abc" over "def", as each orientation stores it.
  const char* stored[] = {"abcdef", "cbafed", "fedcba", "defabc",
                          "adbecf", "cfbead", "fcebda", "daebfc"};
  const Bytes grey = encodeRgb({32, 16}, Bytes(32 * 16 * 3, 90), TJSAMP_420);
  for (uint8_t orientation = 1; orientation <= 8; ++orientation) {
    const std::string from = stored[orientation - 1];
    Picture picture;
    picture.y = picture.u = picture.v = Plane(orientation < 5 ? Size{3, 2} : Size{2, 3});
    picture.y.samples = picture.v.samples = Bytes(from.begin(), from.end());
    turnUpright(picture, orientation);
    EXPECT_EQ(picture.y.size, (Size{3, 2}));
    EXPECT_EQ(std::string(picture.y.samples.begin(), picture.y.samples.end()), "abcdef") << from;
    EXPECT_EQ(picture.v.samples, picture.y.samples);
    for (const bool big : {false, true}) {
      const Bytes jpeg = withOrientation(grey, orientation, big);
      EXPECT_EQ(exifOrientation(jpegMetadata(jpeg).exif), orientation);
      EXPECT_EQ(read(jpeg).size(), orientation < 5 ? (Size{32, 16}) : (Size{16, 32}));
    }
  }
  EXPECT_EQ(exifOrientation(jpegMetadata(withOrientation(grey, 9, true)).exif), 1);
  EXPECT_EQ(exifOrientation(jpegMetadata(withOrientation(grey, 0, false)).exif), 1);
}

TEST_F(Pictures, ExifTellsTheSharpening) {
  const auto withSharpness = [](char value) {
    const std::string exif =
        "MM\0*\0\0\0\10\0\1\x87\x69\0\4\0\0\0\1\0\0\0\x1A\0\0\0\0\0\1\xA4\x0A\0\3\0\0\0\1\0"s +
        value + "\0\0\0\0\0\0"s;
    return Bytes(exif.begin(), exif.end());
  };
  for (const char value : {'\0', '\1', '\2'})
    EXPECT_EQ(exifSharpness(withSharpness(value)), value);
  EXPECT_EQ(exifSharpness(withSharpness('\3')), std::nullopt);
  const Bytes good = withSharpness(2);
  for (std::size_t length = 0; length < good.size() - 4; ++length) {
    EXPECT_EQ(
        exifSharpness(Bytes(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(length))),
        std::nullopt);
  }
  // The directory lies beyond the end, and on itself.
  for (const auto& [at, byte] : {std::pair<std::size_t, uint8_t>{18, 0x7F}, {21, 8}}) {
    auto damaged = good;
    damaged[at] = byte;
    EXPECT_EQ(exifSharpness(damaged), std::nullopt) << at;
  }
}

// Progressive, grey, one quantisation table and one code; the scans are empty.
TEST_F(Pictures, JpegsOfEndlessScansAreRefused) {
  const auto withScans = [](int count) {
    std::string jpeg = "\xFF\xD8\xFF\xDB\0\x43\0"s + std::string(64, '\1') +
                       "\xFF\xC2\0\x0B\x08\0\x10\0\x10\1\1\x11\0\xFF\xC4\0\x14\0\1"s +
                       std::string(16, '\0');
    for (int i = 0; i < count; ++i)
      jpeg += "\xFF\xDA\0\x08\1\1\0\0\0\0"s;
    return jpeg + "\xFF\xD9";
  };
  EXPECT_EQ(read(withScans(400)).size(), (Size{16, 16}));
  EXPECT_THAT([&] { read(withScans(600)); },
              testing::ThrowsMessage<Failure>(testing::HasSubstr("more than 500 scans")));
}

TEST_F(Pictures, ProfilesGoAlong) {
  // Longer than one JPEG segment, with the signature and sizes that libpng looks for.
  Bytes profile = velmora::test::Random(17).bytes(150'000);
  std::string head(132, '\0');
  head.replace(0, 4, "\0\2\x49\xF0"s).replace(8, 1, "\2").replace(12, 12, "mntrRGB XYZ ");
  head.replace(36, 4, "acsp").replace(68, 12, "\0\0\xF6\xD6\0\1\0\0\0\0\xD3\x2D"s);
  std::copy(head.begin(), head.end(), profile.begin());
  const auto kept = [&] { return openInput({file(), {}, {}})->info().metadata.iccProfile; };
  const Picture picture = softPicture({40, 30});
  Metadata metadata;
  metadata.iccProfile = profile;
  EXPECT_GT(psnr(written(createJpeg(file(), 90, metadata), picture).y, picture.y), 40);
  EXPECT_EQ(kept(), profile);
  written(createPng(file(), metadata), picture);
  EXPECT_EQ(kept(), profile);
  written(createPng(file()), picture);
  EXPECT_TRUE(kept().empty());

  Bytes jpeg = {0xFF, 0xD8};
  const Bytes segments = jpegProfileSegments(profile);
  jpeg.insert(jpeg.end(), segments.begin(), segments.end());
  EXPECT_EQ(jpegProfile(jpeg), profile);
  jpeg.pop_back();
  EXPECT_TRUE(jpegProfile(jpeg).empty());  // incomplete
  EXPECT_TRUE(jpegProfileSegments(Bytes(255 * 65519 + 1)).empty());
}

}  // namespace
}  // namespace velmora::tool
