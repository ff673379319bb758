#include "formats/raw.h"

#include <gtest/gtest.h>

#include "errors.h"
#include "support/random.h"
#include "support/scratch_directory.h"

namespace velmora::tool {
namespace {

using test::ScratchDirectory;

std::vector<uint8_t> bytesOf(const std::string& text) {
  return {text.begin(), text.end()};
}

TEST(Raw, UnpacksTheThreeLayouts) {
  const struct {
    FileFormat format;
    const char* chroma;
  } cases[] = {{FileFormat::nv12, "UVuv"}, {FileFormat::nv21, "VUvu"}, {FileFormat::i420, "UuVv"}};
  for (const auto& c : cases) {
    const RawLayout layout{{4, 2}, c.format, false};
    ASSERT_EQ(layout.frameBytes(), 12u);
    const auto bytes = bytesOf(std::string("abcdefgh") + c.chroma);
    Picture picture;
    unpackRaw(layout, bytes.data(), picture);
    EXPECT_EQ(picture.y.samples, bytesOf("abcdefgh"));
    EXPECT_EQ(picture.u.samples, bytesOf("Uu")) << name(c.format);
    EXPECT_EQ(picture.v.samples, bytesOf("Vv")) << name(c.format);
    std::vector<uint8_t> packed(layout.frameBytes());
    packRaw(layout, picture, packed.data());
    EXPECT_EQ(packed, bytes);
  }
}

TEST(Raw, RoundsChromaUpInOddFrames) {
  const RawLayout layout{{3, 3}, FileFormat::nv12, false};
  const auto bytes = bytesOf("abcdefghiUVuvWXwx");
  ASSERT_EQ(layout.frameBytes(), bytes.size());
  Picture picture;
  unpackRaw(layout, bytes.data(), picture);
  EXPECT_EQ(picture.u.samples, bytesOf("UuWw"));
  EXPECT_EQ(picture.v.samples, bytesOf("VvXx"));
}

// A dump of 5 x 3: 15 luma bytes, one row of two chroma pairs, and 3 bytes that mean nothing.
TEST(Raw, DumpsOfOddFramesHoldNoChromaForTheLastColumnAndRow) {
  const RawLayout layout{{5, 3}, FileFormat::nv21, true};
  const auto bytes = bytesOf("abcdefghijklmnoVUvu...");
  ASSERT_EQ(layout.frameBytes(), bytes.size());
  Picture picture;
  unpackRaw(layout, bytes.data(), picture);
  EXPECT_EQ(picture.u.size, (Size{3, 2}));
  EXPECT_EQ(picture.u.samples, bytesOf("UuuUuu"));
  EXPECT_EQ(picture.v.samples, bytesOf("VvvVvv"));
}

TEST(Raw, ADumpOfOneColumnIsGrey) {
  const RawLayout layout{{1, 4}, FileFormat::i420, true};
  const auto bytes = bytesOf("abcd..");
  ASSERT_EQ(layout.frameBytes(), bytes.size());
  Picture picture;
  unpackRaw(layout, bytes.data(), picture);
  EXPECT_EQ(picture.u.samples, std::vector<uint8_t>(2, 128));
}

TEST(Raw, ReadsFrameAfterFrame) {
  const ScratchDirectory folder;
  velmora::test::Random random(7);
  const RawLayout layout{{6, 4}, FileFormat::i420, false};
  const auto bytes = random.bytes(3 * layout.frameBytes());
  test::writeFile(folder.path("in.i420"), bytes);
  const auto reader = openRaw(std::make_unique<ByteSource>(folder.path("in.i420")), layout);
  EXPECT_EQ(reader->info().frames, 3);
  const auto writer = createRaw(folder.path("out.i420"), layout);
  for (Picture picture; reader->next(picture);)
    writer->write(picture);
  writer->finish();
  EXPECT_EQ(bytesOf(test::readFile(folder.path("out.i420"))), bytes);
}

TEST(Raw, RefusesFilesThatAreNoWholeFrames) {
  const ScratchDirectory folder;
  const RawLayout layout{{6, 4}, FileFormat::nv12, false};
  for (const std::size_t length : {0, 1, 35, 37, 71}) {
    test::writeFile(folder.path("a.nv12"), std::vector<uint8_t>(length));
    EXPECT_THROW(openRaw(std::make_unique<ByteSource>(folder.path("a.nv12")), layout), Failure)
        << length;
  }
}

TEST(Raw, LeavesNothingWithoutFinish) {
  const ScratchDirectory folder;
  {
    const auto writer = createRaw(folder.path("a.nv12"), {{2, 2}, FileFormat::nv12, false});
    writer->write(Picture({2, 2}));
    EXPECT_EQ(folder.fileCount(), 1u);  // beside, under another name
    EXPECT_FALSE(std::filesystem::exists(folder.path("a.nv12")));
  }
  EXPECT_EQ(folder.fileCount(), 0u);
}

}  // namespace
}  // namespace velmora::tool
