// TIFF and WebP, where the build has them: what is written comes back, and no file of a stranger
// does harm.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "demo/reference.h"
#include "errors.h"
#include "file_names.h"
#include "frame_io.h"
#include "size_limits.h"
#include "support/random.h"
#include "support/scratch_directory.h"

namespace velmora::tool {
namespace {

using Bytes = std::vector<uint8_t>;

// Soft shapes in luma and colour, over white where there is transparency.
Picture softPicture(Size size, bool grey, bool alpha) {
  Picture picture(size);
  const auto paint = [](Plane& plane, double pitch, int middle, int strength) {
    for (int i = 0; i < static_cast<int>(plane.samples.size()); ++i) {
      const double angle = i % plane.size.width * pitch + i / plane.size.width * 0.15;
      plane.samples[static_cast<std::size_t>(i)] =
          static_cast<uint8_t>(middle + strength * std::sin(angle));
    }
  };
  paint(picture.y, 0.09, 180, 30);
  if (!grey) paint(picture.u, 0.1, 128, -25);
  picture.grey = grey;
  if (alpha) paint(picture.alpha = Plane(size), 0.05, 210, 40);
  return picture;
}

class TiffAndWebp : public ::testing::TestWithParam<const char*> {
 protected:
  void SetUp() override {
    const auto format = formatByName(GetParam());
    if (!format) GTEST_SKIP() << "not in this build";
    info_.format = *format;
  }
  void write(const Picture& picture) {
    info_.size = picture.size();
    const auto writer = openOutput({file(), {}, 98}, info_);
    writer->write(picture);
    writer->finish();
  }
  Picture read() {
    const auto reader = openInput({file(), {}, {}});
    Picture picture;
    reader->next(picture);
    read_ = reader->info();
    return picture;
  }
  [[nodiscard]] std::string file() const { return folder_.path("x"); }

  test::ScratchDirectory folder_;
  StreamInfo info_;
  StreamInfo read_;
};

TEST_P(TiffAndWebp, PicturesAndMetadataComeBack) {
  const bool tiff = info_.format == FileFormat::tiff;
  info_.metadata.xmp = {'<', 'r', '/', '>'};
  info_.metadata.iccProfile = test::Random(3).bytes(300);
  if (tiff) info_.metadata.resolution = {300 / 0.0254, 200 / 0.0254};
  for (const bool grey : {false, true}) {
    for (const bool alpha : {false, true}) {
      SCOPED_TRACE(testing::Message() << "grey " << grey << " alpha " << alpha);
      const Picture picture = softPicture({67, 90}, grey, alpha);
      write(picture);
      const Picture back = read();
      EXPECT_EQ(read_.format, info_.format);
      EXPECT_EQ(back.grey, grey && tiff);
      EXPECT_EQ(back.alpha.samples, picture.alpha.samples);
      EXPECT_EQ(read_.transparent, alpha);
      EXPECT_GT(psnr(back.y, picture.y), tiff ? 45 : 35);
      EXPECT_GT(psnr(back.u, picture.u), 35);
      EXPECT_EQ(read_.metadata.xmp, info_.metadata.xmp);
      EXPECT_EQ(read_.metadata.iccProfile, info_.metadata.iccProfile);
      ASSERT_EQ(read_.metadata.resolution.has_value(), tiff);
      if (tiff) {
        EXPECT_NEAR(read_.metadata.resolution->y, 200 / 0.0254, 0.1);
      }
    }
  }
}

// What stands in the directory of a TIFF is a block in other formats, and the other way round.
TEST_P(TiffAndWebp, ExifComesBackInItsOwnForm) {
  using namespace std::string_literals;
  // The maker, 1/250 s of exposure, and in the directory of those a maker's note.
  const std::string little =
      "II*\0\x08\0\0\0"
      "\2\0\x0F\1\2\0\6\0\0\0\x26\0\0\0\x69\x87\4\0\1\0\0\0\x2C\0\0\0\0\0\0\0"
      "Maker\0"
      "\2\0\x9A\x82\5\0\1\0\0\0\x4A\0\0\0\x7C\x92\7\0\4\0\0\0note\0\0\0\0"
      "\1\0\0\0\xFA\0\0\0"s;
  const std::string big =
      "MM\0*\0\0\0\x28Maker\0\0\0\0\1\0\0\0\xFA"
      "\0\1\x82\x9A\0\5\0\0\0\1\0\0\0\x0E\0\0\0\0"
      "\0\2\1\x0F\0\2\0\0\0\6\0\0\0\x08\x87\x69\0\4\0\0\0\1\0\0\0\x16\0\0\0\0"s;
  StreamInfo in = info_;
  in.metadata.exif.assign(little.begin(), little.end());
  info_ = outputInfo(in, {20, 30}, info_.format);
  const bool tiff = info_.format == FileFormat::tiff;
  EXPECT_EQ(lossesOf(info_), tiff ? "; not kept: maker's note" : "");
  write(softPicture({20, 30}, false, false));
  read();
  const Bytes& exif = read_.metadata.exif;
  EXPECT_EQ(std::string(exif.begin(), exif.end()), tiff ? big : little);
}

TEST_P(TiffAndWebp, DamageAndLargePromisesAreRefused) {
  const std::string exif("MM\0*\0\0\0\x08\0\1\1\x0F\0\2\0\0\0\6\0\0\0\x1A\0\0\0\0Maker\0", 32);
  info_.metadata.exif.assign(exif.begin(), exif.end());
  write(softPicture({60, 40}, false, true));
  const std::string whole = test::readFile(file());
  const int64_t allowed = std::exchange(allowedPixels, 2399);
  EXPECT_THAT(
      [&] {
        openInput({file(), {}, {}});
      },
      testing::ThrowsMessage<Failure>(testing::HasSubstr("60x40 is too large")));
  allowedPixels = allowed;
  test::writeFile(file(), whole.substr(0, whole.size() / 2));
  EXPECT_THAT([&] { read(); }, testing::ThrowsMessage<Failure>(testing::HasSubstr("is damaged")));
}

// A picture of 64 x 64 in a tile of 9472 x 9472.
TEST_P(TiffAndWebp, TilesThatTakeMoreThanIsAllowedAreRefused) {
  if (info_.format != FileFormat::tiff) return;  // WebP has no tiles
  using namespace std::string_literals;
  const std::string one = "\1\0\0\0"s;
  std::string tiff = "II*\0\x08\0\0\0\x0A\0"s;
  for (const auto& [tag, value] : {std::pair{"\0\1", "\x40\0"s},
                                   {"\1\1", "\x40\0"s},
                                   {"\2\1", "\x08\0"s},
                                   {"\3\1", "\x08\0"s},
                                   {"\6\1", "\1\0"s},
                                   {"\x15\1", "\1\0"s},
                                   {"\x42\1", "\x00\x25"s},
                                   {"\x43\1", "\x00\x25"s}}) {
    tiff += std::string(tag, 2) + "\3\0"s + one + value + "\0\0"s;
  }
  tiff += "\x44\1\4\0"s + one + "\0\1\0\0\x45\1\4\0"s + one + "\0\0\2\0\0\0\0\0"s;
  test::writeFile(file(), tiff + std::string(200'000, '\0'));
  const int64_t allowed = std::exchange(allowedPixels, 64 * 64);
  EXPECT_THAT([&] { read(); }, testing::ThrowsMessage<Failure>(testing::HasSubstr("byte limit")));
  allowedPixels = allowed;
}

INSTANTIATE_TEST_SUITE_P(Formats, TiffAndWebp, ::testing::Values("tiff", "webp"));

}  // namespace
}  // namespace velmora::tool
