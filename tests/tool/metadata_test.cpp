// What goes along with a picture: kept, brought up to date, and named where it cannot be kept.
#include <gtest/gtest.h>

#include "formats/exif.h"
#include "formats/jpeg.h"
#include "formats/jpeg_metadata.h"
#include "formats/png.h"
#include "formats/tiff_exif.h"
#include "formats/xmp.h"
#include "frame_io.h"
#include "support/scratch_directory.h"

namespace velmora::tool {
namespace {

using Bytes = std::vector<uint8_t>;
using namespace std::string_literals;

std::string textOf(const Bytes& bytes) {
  return {bytes.begin(), bytes.end()};
}
Bytes bytesOf(const std::string& text) {
  return {text.begin(), text.end()};
}

// An Exif block of a picture of 64 x 48 with this orientation: a note of the maker in the directory
// of Exif's own tags, and a thumbnail behind everything.
Bytes exifBlock(bool big, uint8_t orientation, const std::string& thumbnail) {
  const auto number = [big](std::size_t value, int count) {
    std::string text;
    for (int i = 0; i < count; ++i)
      text += static_cast<char>(value >> 8 * (big ? count - 1 - i : i));
    return text;
  };
  const auto entry = [&](int tag, int type, std::size_t count, std::size_t value) {
    const bool isShort = type == 3 && count == 1;
    return number(tag, 2) + number(type, 2) + number(count, 4) +
           (isShort ? number(value, 2) + "\0\0"s : number(value, 4));
  };
  // Directories at 8, 50 and 100, the note at 92, the thumbnail at 130.
  return bytesOf((big ? "MM" : "II") + number(42, 2) + number(8, 4) + number(3, 2) +
                 entry(0x100, 3, 1, 64) + entry(0x112, 3, 1, orientation) +
                 entry(0x8769, 4, 1, 50) + number(100, 4) +                          //
                 number(3, 2) + entry(0xA002, 4, 1, 64) + entry(0xA003, 3, 1, 48) +  //
                 entry(0x927C, 7, 8, 92) + number(0, 4) + "the note" +               //
                 number(2, 2) + entry(0x201, 4, 1, 130) + entry(0x202, 4, 1, thumbnail.size()) +
                 number(0, 4) + thumbnail);
}

TEST(Exif, IsThatOfTheUprightLargerPicture) {
  for (const bool big : {false, true}) {
    Bytes block = exifBlock(big, 6, "thumbnail");
    EXPECT_EQ(exifOrientation(block), 6);
    EXPECT_TRUE(updateExif(block, {1000, 30000}));
    // Unlinked, and cut behind the note.
    std::string wanted = textOf(exifBlock(big, 1, "")).substr(0, 100);
    const auto put = [&](std::size_t at, const std::string& bytes) {
      wanted.replace(at, bytes.size(), bytes);
    };
    put(18, big ? "\x03\xE8"s : "\xE8\x03"s);
    put(46, "\0\0\0\0"s);
    put(60, big ? "\0\0\x03\xE8"s : "\xE8\x03\0\0"s);
    put(72, big ? "\x75\x30"s : "\x30\x75"s);
    EXPECT_EQ(textOf(block).substr(0, 100), wanted);
    EXPECT_EQ(textOf(block).find("thumbnail"), std::string::npos);
  }
  Bytes none = bytesOf("MM\0*\0\0\1\0"s);
  EXPECT_FALSE(updateExif(none, {1, 1}));
}

// Following every way would take hours.
TEST(Exif, DirectoriesThatLeadToThemselvesAreFollowedOnce) {
  std::string block = "MM\0*\0\0\0\x08\x0F\xA0"s;
  for (int i = 0; i < 4000; ++i)
    block += (i < 2000 ? "\x87\x69"s : "\xA0\x05"s) + "\0\4\0\0\0\1\0\0\0\x08"s;
  const Bytes circles = bytesOf(block + "\0\0\0\0"s);
  EXPECT_TRUE(exifFromTiff(circles).empty());
  EXPECT_FALSE(hasMakersNote(circles));
  EXPECT_EQ(exifSharpness(circles), std::nullopt);
}

TEST(Xmp, NumbersAreThoseOfTheLargerPicture) {
  Bytes packet = bytesOf(
      "<r tiff:Orientation=\"6\" exif:PixelXDimension='64' my-tiff:ImageWidth=\"64\">"
      "<tiff:ImageLength>48</tiff:ImageLength><tiff:ImageLength>7</tiff:ImageLength>"
      "<xmp:Thumbnails>AB</xmp:Thumbnails></r>");
  updateXmp(packet, {640, 480}, true);
  EXPECT_EQ(textOf(packet),
            "<r tiff:Orientation=\"1\" exif:PixelXDimension='640' my-tiff:ImageWidth=\"64\">"
            "<tiff:ImageLength>480</tiff:ImageLength><tiff:ImageLength>480</tiff:ImageLength></r>");
  updateXmp(packet = bytesOf("<r tiff:Orientation=\"6\" tiff:ImageWidth=\""), {1, 1}, false);
  EXPECT_EQ(textOf(packet), "<r tiff:Orientation=\"6\" tiff:ImageWidth=\"");
}

// A grey picture of 64 x 48 goes from format to format with all its metadata.
TEST(Metadata, GoesAlongAndWhatCannotIsNamed) {
  const test::ScratchDirectory folder;
  const auto write = [&](const StreamInfo& info) {
    const auto writer = openOutput({folder.path("x"), {}, 90}, info);
    Picture picture(info.size);
    picture.grey = true;
    writer->write(picture);
    writer->finish();
  };
  const auto read = [&] { return openInput({folder.path("x"), {}, {}})->info(); };
  StreamInfo info;
  info.size = {64, 48};
  info.format = FileFormat::jpeg;
  info.metadata.exif = exifBlock(true, 6, "thumbnail");
  info.metadata.xmp = bytesOf("<r tiff:ImageWidth=\"64\"/>");
  info.metadata.resolution = {300 / 0.0254, 200 / 0.0254};
  write(info);
  for (const FileFormat format : {FileFormat::png, FileFormat::jpeg, FileFormat::png}) {
    const StreamInfo in = read();
    const bool first = exifOrientation(in.metadata.exif) == 6;
    EXPECT_EQ(in.size, first ? (Size{48, 64}) : (Size{96, 128}));
    const StreamInfo out = outputInfo(in, {96, 128}, format);
    EXPECT_EQ(lossesOf(out), "");
    write(out);
    const Metadata kept = read().metadata;
    EXPECT_EQ(exifOrientation(kept.exif), 1);
    EXPECT_EQ(kept.exif, out.metadata.exif);
    EXPECT_EQ(textOf(kept.xmp), "<r tiff:ImageWidth=\"96\"/>");
    ASSERT_TRUE(kept.resolution);
    EXPECT_NEAR(kept.resolution->x * 0.0254, 200, 0.02);
    EXPECT_NEAR(kept.resolution->y * 0.0254, 300, 0.02);
  }
  EXPECT_EQ(lossesOf(outputInfo(read(), {9, 9}, FileFormat::y4m)),
            "; not kept: Exif, XMP, resolution");
  info.metadata.xmp.resize(65506, 'x');
  EXPECT_EQ(lossesOf(outputInfo(info, {9, 9}, FileFormat::jpeg)), "; not kept: XMP");
  info.metadata.exif.resize(9);
  EXPECT_EQ(lossesOf(outputInfo(info, {9, 9}, FileFormat::png)), "; not kept: damaged Exif");
}

TEST(Metadata, OtherSegmentsOfAJpegAreNamed) {
  const std::string segments =
      "\xFF\xD8\xFF\xED\0\x10Photoshop 3.0\0\xFF\xFE\0\4ab\xFF\xE4\0\2\xFF\xEE\0\2\xFF\xDA\0\2"s;
  EXPECT_EQ(jpegMetadata(bytesOf(segments)).leftOut,
            (std::vector<std::string>{"IPTC", "comment", "APP4"}));
}

}  // namespace
}  // namespace velmora::tool
