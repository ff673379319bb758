#include "formats/raw.h"

#include <gtest/gtest.h>

#include "errors.h"
#include "support/random.h"
#include "support/scratch_directory.h"

namespace velmora::tool {
namespace {

std::vector<uint8_t> bytesOf(const std::string& text) {
  return {text.begin(), text.end()};
}

TEST(Raw, LayoutsOfEvenAndOddFrames) {
  // Files round chroma up. Dumps round it down and are width * height * 3 / 2 bytes, some of which
  // mean nothing; chroma that they lack repeats its neighbour, or is grey.
  const struct {
    RawLayout layout;
    const char *bytes, *y, *u, *v;
  } cases[] = {
      {{{4, 2}, FileFormat::nv12, false}, "abcdefghUVuv", "abcdefgh", "Uu", "Vv"},
      {{{4, 2}, FileFormat::nv21, false}, "abcdefghVUvu", "abcdefgh", "Uu", "Vv"},
      {{{4, 2}, FileFormat::i420, false}, "abcdefghUuVv", "abcdefgh", "Uu", "Vv"},
      {{{3, 3}, FileFormat::nv12, false}, "abcdefghiUVuvWXwx", "abcdefghi", "UuWw", "VvXx"},
      {{{5, 3}, FileFormat::nv21, true},
       "abcdefghijklmnoVUvu...",
       "abcdefghijklmno",
       "UuuUuu",
       "VvvVvv"},
      {{{1, 4}, FileFormat::i420, true}, "abcd..", "abcd", "\x80\x80", "\x80\x80"}};
  for (const auto& c : cases) {
    const auto bytes = bytesOf(c.bytes);
    ASSERT_EQ(c.layout.frameBytes(), bytes.size()) << c.bytes;
    Picture picture;
    unpackRaw(c.layout, bytes.data(), picture);
    EXPECT_EQ(picture.y.samples, bytesOf(c.y)) << c.bytes;
    EXPECT_EQ(picture.u.samples, bytesOf(c.u)) << c.bytes;
    EXPECT_EQ(picture.v.samples, bytesOf(c.v)) << c.bytes;
    std::vector<uint8_t> packed(bytes.size());
    packRaw(c.layout, picture, packed.data());
    EXPECT_TRUE(c.layout.dump || packed == bytes) << c.bytes;
  }
}

TEST(Raw, ReadsWholeFramesOnlyAndWritesThem) {
  const test::ScratchDirectory folder;
  const std::string path = folder.path("file");
  const RawLayout layout{{6, 4}, FileFormat::i420, false};
  const auto open = [&] { return openRaw(std::make_unique<ByteSource>(path), layout); };
  for (const std::size_t length : {0, 35, 37}) {
    test::writeFile(path, std::vector<uint8_t>(length));
    EXPECT_THROW(open(), Failure) << length;
  }
  const auto bytes = velmora::test::Random(7).bytes(3 * layout.frameBytes());
  test::writeFile(path, bytes);
  const auto reader = open();
  EXPECT_EQ(reader->info().frames, 3);
  auto writer = createRaw(path, layout);
  for (Picture picture; reader->next(picture);)
    writer->write(picture);
  writer->finish();
  EXPECT_EQ(bytesOf(test::readFile(path)), bytes);
}

}  // namespace
}  // namespace velmora::tool
