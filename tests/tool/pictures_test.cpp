// PNG and JPEG: what is written comes back, and what others write is read.
#include <gtest/gtest.h>
#include <png.h>
#include <turbojpeg.h>

#include <cmath>

#include "colour.h"
#include "demo/reference.h"
#include "errors.h"
#include "formats/exif.h"
#include "formats/icc.h"
#include "formats/jpeg.h"
#include "formats/png.h"
#include "frame_io.h"
#include "support/random.h"
#include "support/scratch_directory.h"

namespace velmora::tool {
namespace {

using test::ScratchDirectory;

Picture read(const std::string& path) {
  const auto reader = openInput({path, {}, {}});
  Picture picture;
  EXPECT_TRUE(reader->next(picture));
  EXPECT_EQ(picture.size(), reader->info().size);
  EXPECT_EQ(picture.grey, reader->info().grey);
  Picture more;
  EXPECT_FALSE(reader->next(more));
  return picture;
}

void save(const std::unique_ptr<FrameWriter>& writer, const Picture& picture) {
  writer->write(picture);
  writer->finish();
}

std::string failureOf(const std::string& path) {
  try {
    openInput({path, {}, {}});
  } catch (const Failure& failure) {
    return failure.what();
  }
  return "";
}

// Soft shapes in luma and colour, without symmetry.
Picture softPicture(Size size) {
  Picture picture(size);
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x)
      picture.y.row(y)[x] = static_cast<uint8_t>(120 + 60 * std::sin(x * 0.11 + y * 0.05) + y / 8);
  }
  const Size half = picture.u.size;
  for (int y = 0; y < half.height; ++y) {
    for (int x = 0; x < half.width; ++x) {
      picture.u.row(y)[x] = static_cast<uint8_t>(128 + 40 * std::sin(x * 0.1));
      picture.v.row(y)[x] = static_cast<uint8_t>(128 + 40 * std::cos(y * 0.08 + x * 0.03));
    }
  }
  return picture;
}

class Sizes : public testing::TestWithParam<Size> {};
INSTANTIATE_TEST_SUITE_P(EvenOddTiny, Sizes,
                         testing::Values(Size{128, 96}, Size{127, 95}, Size{17, 200}, Size{1, 1},
                                         Size{2, 3}),
                         [](const auto& sizes) {
                           return std::to_string(sizes.param.width) + "x" +
                                  std::to_string(sizes.param.height);
                         });

TEST_P(Sizes, FilesKeepAPicture) {
  const ScratchDirectory folder;
  const Picture picture = softPicture(GetParam());
  save(createPng(folder.path("a.png")), picture);
  save(createJpeg(folder.path("a.jpg"), 97), picture);
  const Picture fromPng = read(folder.path("a.png"));
  const Picture fromJpeg = read(folder.path("a.jpg"));
  ASSERT_EQ(fromPng.size(), picture.size());
  ASSERT_EQ(fromJpeg.size(), picture.size());
  EXPECT_GT(psnr(fromPng.y, picture.y), 45);
  EXPECT_GT(psnr(fromJpeg.y, picture.y), 44);
  EXPECT_GT(psnr(fromJpeg.u, picture.u), 40);
  EXPECT_GT(psnr(fromJpeg.v, picture.v), 40);
  // Chroma is interpolated up and averaged down again, which is not quite its inverse.
  if (GetParam().width > 2) {
    EXPECT_GT(psnr(fromPng.u, picture.u), 42);
    EXPECT_GT(psnr(fromPng.v, picture.v), 42);
  }
}

TEST_P(Sizes, GreyStaysGrey) {
  const ScratchDirectory folder;
  Picture picture = softPicture(GetParam());
  picture.grey = true;
  picture.u.reset(picture.u.size, 128);
  picture.v.reset(picture.v.size, 128);
  save(createPng(folder.path("a.png")), picture);
  save(createJpeg(folder.path("a.jpg"), 100), picture);
  const Picture fromPng = read(folder.path("a.png"));
  const Picture fromJpeg = read(folder.path("a.jpg"));
  EXPECT_TRUE(fromPng.grey);
  EXPECT_TRUE(fromJpeg.grey);
  EXPECT_EQ(fromPng.y.samples, picture.y.samples);  // PNG is lossless
  EXPECT_GT(psnr(fromJpeg.y, picture.y), 48);
  EXPECT_EQ(fromJpeg.u.samples, picture.u.samples);
}

// Written by libpng itself, in one of its formats.
template <typename Sample>
Picture pngOf(Size size, uint32_t format, const std::vector<Sample>& samples,
              const std::vector<uint8_t>& colours = {}) {
  const ScratchDirectory folder;
  png_image image = {};
  image.version = PNG_IMAGE_VERSION;
  image.width = static_cast<uint32_t>(size.width);
  image.height = static_cast<uint32_t>(size.height);
  image.format = format;
  image.colormap_entries = static_cast<uint32_t>(colours.size() / 3);
  png_image_write_to_file(&image, folder.path("a.png").c_str(), 0, samples.data(), 0,
                          colours.data());
  return read(folder.path("a.png"));
}

TEST(Png, ReadsPalettes16BitsAndTransparency) {
  // Opaque black, clear black (shown white), half-clear white over white, opaque red.
  const Picture clear = pngOf<uint8_t>(
      {2, 2}, PNG_FORMAT_RGBA, {0, 0, 0, 255, 0, 0, 0, 0, 255, 255, 255, 128, 255, 0, 0, 255});
  EXPECT_EQ(clear.y.samples, (std::vector<uint8_t>{0, 255, 255, clear.y.samples[3]}));
  EXPECT_NEAR(clear.y.samples[3], 76, 1);
  const Picture mapped =
      pngOf<uint8_t>({4, 1}, PNG_FORMAT_RGB_COLORMAP, {0, 1, 1, 0}, {10, 10, 10, 200, 200, 200});
  EXPECT_EQ(mapped.y.samples, (std::vector<uint8_t>{10, 200, 200, 10}));
  const Picture deep = pngOf<uint16_t>({2, 1}, PNG_FORMAT_LINEAR_Y, {0, 65535});
  EXPECT_TRUE(deep.grey);
  EXPECT_EQ(deep.y.samples, (std::vector<uint8_t>{0, 255}));
}

TEST(Png, NamesDamagedFiles) {
  const ScratchDirectory folder;
  save(createPng(folder.path("a.png")), softPicture({64, 64}));
  const std::string whole = test::readFile(folder.path("a.png"));
  for (const std::size_t length : {std::size_t{9}, std::size_t{40}, whole.size() / 2}) {
    test::writeFile(folder.path("cut.png"), whole.substr(0, length));
    EXPECT_NE(failureOf(folder.path("cut.png")).find("cut.png: is damaged"), std::string::npos)
        << length;
  }
}

std::vector<uint8_t> encodeRgb(Size size, const std::vector<uint8_t>& rgb, int subsampling) {
  tjhandle handle = tjInitCompress();
  unsigned char* buffer = nullptr;
  unsigned long length = 0;
  EXPECT_EQ(tjCompress2(handle, rgb.data(), size.width, 0, size.height, TJPF_RGB, &buffer, &length,
                        subsampling, 100, TJFLAG_ACCURATEDCT),
            0);
  std::vector<uint8_t> bytes(buffer, buffer + length);
  tjFree(buffer);
  tjDestroy(handle);
  return bytes;
}

TEST(Jpeg, EverySubsamplingBecomes420InPlace) {
  const ScratchDirectory folder;
  for (const Size size : {Size{64, 48}, Size{61, 47}, Size{3, 3}}) {
    // Left half red, right half blue, the border on a block of every subsampling but for 3 x 3.
    std::vector<uint8_t> rgb;
    for (int y = 0; y < size.height; ++y) {
      for (int x = 0; x < size.width; ++x) {
        const bool left = x < 32;
        rgb.insert(rgb.end(), {uint8_t(left ? 220 : 20), 30, uint8_t(left ? 40 : 230)});
      }
    }
    const Picture expected = fromRgb(size, rgb);
    for (const int subsampling : {TJSAMP_444, TJSAMP_422, TJSAMP_420, TJSAMP_440, TJSAMP_411}) {
      test::writeFile(folder.path("a.jpg"), encodeRgb(size, rgb, subsampling));
      const Picture picture = read(folder.path("a.jpg"));
      ASSERT_EQ(picture.size(), size);
      ASSERT_EQ(picture.u.size, chromaSize(size));
      for (int y = 0; y < picture.u.size.height; ++y) {
        for (int x = 0; x < picture.u.size.width; ++x) {
          if (size.width > 32 && (x == 15 || x == 16)) continue;  // 4:1:1 smears the border
          EXPECT_NEAR(picture.u.row(y)[x], expected.u.row(y)[x], 4)
              << subsampling << " at " << x << "," << y;
          EXPECT_NEAR(picture.v.row(y)[x], expected.v.row(y)[x], 4);
        }
      }
    }
  }
}

// A JPEG with an Exif segment that holds the orientation, in either byte order.
std::vector<uint8_t> withOrientation(const std::vector<uint8_t>& jpeg, int orientation, bool big) {
  std::vector<uint8_t> tiff;
  const auto put = [&](uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i)
      tiff.push_back(static_cast<uint8_t>(value >> 8 * (big ? bytes - 1 - i : i)));
  };
  tiff.assign(2, big ? 'M' : 'I');
  put(42, 2);
  put(8, 4);
  put(2, 2);  // two entries, the orientation second
  put(0x010F, 2), put(2, 2), put(4, 4), put(0x41414100, 4);
  put(0x0112, 2), put(3, 2), put(1, 4), put(static_cast<uint32_t>(orientation), 2), put(0, 2);
  put(0, 4);
  std::vector<uint8_t> result = {0xFF, 0xD8, 0xFF, 0xE1};
  const std::size_t length = 2 + 6 + tiff.size();
  result.push_back(static_cast<uint8_t>(length >> 8));
  result.push_back(static_cast<uint8_t>(length));
  for (const char c : {'E', 'x', 'i', 'f', '\0', '\0'})
    result.push_back(static_cast<uint8_t>(c));
  result.insert(result.end(), tiff.begin(), tiff.end());
  result.insert(result.end(), jpeg.begin() + 2, jpeg.end());
  return result;
}

TEST(Jpeg, IsTurnedUpright) {
  // The corners of an upright picture of 32 x 16: a bright top-left corner, a grey top-right one.
  // For each orientation, where the stored file has these two corners.
  struct Corner {
    bool right, bottom;
  };
  const struct {
    int orientation;
    Corner bright, grey;
  } cases[] = {{1, {false, false}, {true, false}}, {2, {true, false}, {false, false}},
               {3, {true, true}, {false, true}},   {4, {false, true}, {true, true}},
               {5, {false, false}, {false, true}}, {6, {false, true}, {false, false}},
               {7, {true, true}, {true, false}},   {8, {true, false}, {true, true}}};
  const ScratchDirectory folder;
  for (const auto& c : cases) {
    const Size stored = c.orientation >= 5 ? Size{16, 32} : Size{32, 16};
    std::vector<uint8_t> rgb(std::size_t(stored.width) * stored.height * 3, 20);
    const auto mark = [&](Corner corner, uint8_t value) {
      for (int y = 0; y < 8; ++y) {
        for (int x = 0; x < 8; ++x) {
          const int column = x + (corner.right ? stored.width - 8 : 0);
          const int row = y + (corner.bottom ? stored.height - 8 : 0);
          std::fill_n(rgb.data() + (std::size_t(row) * stored.width + column) * 3, 3, value);
        }
      }
    };
    mark(c.bright, 240);
    mark(c.grey, 120);
    for (const bool big : {false, true}) {
      const auto jpeg = withOrientation(encodeRgb(stored, rgb, TJSAMP_420), c.orientation, big);
      EXPECT_EQ(exifOrientation(jpeg), c.orientation);
      test::writeFile(folder.path("a.jpg"), jpeg);
      const Picture picture = read(folder.path("a.jpg"));
      ASSERT_EQ(picture.size(), (Size{32, 16})) << c.orientation;
      EXPECT_NEAR(picture.y.row(2)[2], 240, 6) << c.orientation;
      EXPECT_NEAR(picture.y.row(2)[29], 120, 6) << c.orientation;
      EXPECT_NEAR(picture.y.row(13)[2], 20, 6) << c.orientation;
    }
  }
}

TEST(Jpeg, BrokenExifIsIgnored) {
  const auto jpeg = encodeRgb({8, 8}, std::vector<uint8_t>(192, 90), TJSAMP_420);
  const auto good = withOrientation(jpeg, 6, true);
  ASSERT_EQ(exifOrientation(good), 6);
  EXPECT_EQ(exifOrientation(withOrientation(jpeg, 9, true)), 1);
  EXPECT_EQ(exifOrientation(withOrientation(jpeg, 0, false)), 1);
  // No prefix and no changed byte of the segment may be read beyond its end; the sanitizers watch.
  velmora::test::Random random(11);
  for (std::size_t length = 0; length < 60; ++length)
    exifOrientation(std::span(good).first(length));
  for (int i = 0; i < 2000; ++i) {
    auto damaged = good;
    damaged[static_cast<std::size_t>(random.range(2, 59))] = static_cast<uint8_t>(random.next());
    const int orientation = exifOrientation(damaged);
    EXPECT_TRUE(orientation >= 1 && orientation <= 8);
  }
}

TEST(Jpeg, NamesDamagedFiles) {
  const ScratchDirectory folder;
  test::writeFile(folder.path("a.jpg"), std::vector<uint8_t>{0xFF, 0xD8, 0xFF, 0xE0, 0, 4, 1, 1});
  EXPECT_NE(failureOf(folder.path("a.jpg")).find("a.jpg: is damaged"), std::string::npos)
      << failureOf(folder.path("a.jpg"));
}

constexpr char kDeepPng[] =
    "\x89\x50\x4e\x47\x0d\x0a\x1a\x0a\x00\x00\x00\x0d\x49\x48\x44\x52\x00\x00\x00\x03"
    "\x00\x00\x00\x01\x10\x00\x00\x00\x00\x6e\x1b\x97\x2b\x00\x00\x00\x0f\x49\x44\x41"
    "\x54\x78\xda\x63\x60\x60\x68\x60\xf8\xff\x1f\x00\x05\x04\x02\x7f\x5a\xfb\xf7\xa7"
    "\x00\x00\x00\x00\x49\x45\x4e\x44\xae\x42\x60\x82";

// 16 bits a sample and no word about gamma: grey 0, 0x8000, 0xFFFF.
TEST(Png, Takes16BitsWithoutGammaAsTheyAre) {
  const ScratchDirectory folder;
  test::writeFile(folder.path("a.png"), std::string(kDeepPng, sizeof kDeepPng - 1));
  EXPECT_EQ(read(folder.path("a.png")).y.samples, (std::vector<uint8_t>{0, 128, 255}));
}

// Longer than one JPEG segment, with the signature and sizes that libpng looks for.
std::vector<uint8_t> longProfile() {
  velmora::test::Random random(17);
  std::vector<uint8_t> profile = random.bytes(150'000);
  const auto put = [&](std::size_t at, const std::string& text) {
    std::copy(text.begin(), text.end(), profile.begin() + static_cast<std::ptrdiff_t>(at));
  };
  std::fill_n(profile.begin(), 132, uint8_t{0});
  put(0, {'\0', '\2', '\x49', '\xF0'});  // 150000
  profile[8] = 2;
  put(12, "mntrRGB XYZ ");
  put(36, "acsp");
  put(68, {'\0', '\0', '\xF6', '\xD6', '\0', '\1', '\0', '\0', '\0', '\0', '\xD3', '\x2D'});
  put(128, {'\0', '\0', '\0', '\0'});  // no tags
  return profile;
}

TEST(Profiles, GoAlong) {
  const ScratchDirectory folder;
  const auto profile = longProfile();
  const Picture picture = softPicture({40, 30});
  save(createJpeg(folder.path("a.jpg"), 90, profile), picture);
  EXPECT_EQ(openInput({folder.path("a.jpg"), {}, {}})->info().iccProfile, profile);
  EXPECT_GT(psnr(read(folder.path("a.jpg")).y, picture.y), 40);
  save(createPng(folder.path("a.png"), profile), picture);
  EXPECT_EQ(openInput({folder.path("a.png"), {}, {}})->info().iccProfile, profile);
  save(createPng(folder.path("b.png")), picture);
  EXPECT_TRUE(openInput({folder.path("b.png"), {}, {}})->info().iccProfile.empty());
}

TEST(Profiles, IncompleteOnesAreDropped) {
  const auto whole = jpegProfileSegments(longProfile());
  std::vector<uint8_t> file = {0xFF, 0xD8};
  file.insert(file.end(), whole.begin(), whole.end());
  EXPECT_EQ(jpegProfile(file), longProfile());
  EXPECT_TRUE(jpegProfile(std::span(file).first(file.size() - 1)).empty());
  EXPECT_TRUE(jpegProfileSegments(std::vector<uint8_t>(255 * 65519 + 1)).empty());
}

TEST(OpenInput, GoesByContentNotByName) {
  const ScratchDirectory folder;
  save(createPng(folder.path("really-png.jpg")), softPicture({9, 9}));
  EXPECT_EQ(openInput({folder.path("really-png.jpg"), {}, {}})->info().format, FileFormat::png);
  test::writeFile(folder.path("text.png"), std::string("hello"));
  EXPECT_NE(failureOf(folder.path("text.png")).find("is no PNG, JPEG or Y4M"), std::string::npos);
  test::writeFile(folder.path("empty.png"), std::string());
  EXPECT_NE(failureOf(folder.path("empty.png")).find("is empty"), std::string::npos);
}

}  // namespace
}  // namespace velmora::tool
