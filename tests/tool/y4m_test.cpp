#include "formats/y4m.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "errors.h"
#include "support/scratch_directory.h"

namespace velmora::tool {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::ThrowsMessage;

TEST(Y4mHeader, KeepsEverythingButTheSize) {
  const auto header =
      parseY4mHeader("YUV4MPEG2 W352 H288 F30000:1001 Ip A128:117 C420mpeg2 XYSCSS=420MPEG2");
  EXPECT_EQ(header.size, (Size{352, 288}));
  EXPECT_EQ(header.parameters, "F30000:1001 Ip A128:117 C420mpeg2 XYSCSS=420MPEG2");
  EXPECT_EQ(header.range, Range::limited);
  EXPECT_EQ(parseY4mHeader("YUV4MPEG2 H2 W4 C420jpeg XCOLORRANGE=FULL").range, Range::full);
  EXPECT_EQ(parseY4mHeader("YUV4MPEG2 H2 W4 XCOLORRANGE=LIMITED").range, Range::limited);
  for (const char* space : {"", " C420", " C420jpeg", " C420mpeg2", " C420paldv", " I?"})
    EXPECT_EQ(parseY4mHeader(std::string("YUV4MPEG2 W4 H2") + space).size, (Size{4, 2})) << space;
}

// Two frames of 3 x 3: chroma is 2 x 2.
const std::string kClip = std::string("YUV4MPEG2 W3 H3 F25:1\nFRAME\n") + "abcdefghiUUUUVVVV" +
                          "FRAME Ip\n" + "ABCDEFGHIuuuuvvvv";

TEST(Y4m, RefusesWithTheReason) {
  const test::ScratchDirectory folder;
  const std::string path = folder.path("x.y4m");
  const struct {
    std::string content;
    const char* reason;
  } cases[] = {
      {"\n", "does not begin"},
      {"YUV4MPEG2 W4\n", "no width or no height"},
      {"YUV4MPEG2 W0 H2\n", "\"W0\""},
      {"YUV4MPEG2 W99999999999 H2\n", "\"W99999999999\""},
      {"YUV4MPEG2 W40000 H2\n", "too large: sides go"},
      {"YUV4MPEG2 W32000 H32000\n", "too large: --max-pixels allows 600000000"},
      {"YUV4MPEG2 W4 H2 C420p10\n", "\"420p10\""},
      {"YUV4MPEG2 W4 H2 Cmono12\n", "\"mono12\""},
      {"YUV4MPEG2 W4 H2 C444\n", "ffmpeg: -pix_fmt yuv420p"},
      {"YUV4MPEG2 W4 H2 Cmono\nFRAME\nabcdefg", "frame 1 ends after 7 of 8 bytes"},
      {"YUV4MPEG2 W4 H2 It\n", "interlaced"},
      {kClip.substr(0, kClip.size() - 1), "frame 2 ends after 16 of 17 bytes"},
      {kClip.substr(0, kClip.size() - 20), "ends in the middle of a header line"},
      {"YUV4MPEG2 W3 H3\n", "holds no frame"},
      {"YUV4MPEG2 W1 H1\nFRAMES\nyuv", "frame 1 does not begin"},
      {"YUV4MPEG2 W1 H1 X" + std::string(5000, 'x') + "\n", "longer than"},
  };
  for (const auto& c : cases) {
    test::writeFile(path, c.content);
    const auto read = [&] {
      const auto reader = openY4m(std::make_unique<ByteSource>(path));
      for (Picture picture; reader->next(picture);) {
      }
    };
    EXPECT_THAT(read, ThrowsMessage<Failure>(AllOf(HasSubstr(c.reason), HasSubstr(path))));
  }
}

TEST(Y4m, WritesWhatItRead) {
  const test::ScratchDirectory folder;
  test::writeFile(folder.path("a.y4m"), kClip);
  const auto reader = openY4m(std::make_unique<ByteSource>(folder.path("a.y4m")));
  EXPECT_EQ(reader->info().frames, 2);
  const auto writer = createY4m(folder.path("b.y4m"), {3, 3}, Range::limited, "F25:1");
  Picture picture;
  while (reader->next(picture))
    writer->write(picture);
  writer->finish();
  EXPECT_EQ(picture.y.row(0)[1], 'B');
  EXPECT_EQ(picture.v.samples, std::vector<uint8_t>(4, 'v'));
  std::string expected = kClip;
  expected.erase(expected.find(" Ip"), 3);
  EXPECT_EQ(test::readFile(folder.path("b.y4m")), expected);
  // Full range is marked, once.
  createY4m(folder.path("c.y4m"), {1, 1}, Range::full, "F1:1 XCOLORRANGE=FULL")->finish();
  EXPECT_EQ(test::readFile(folder.path("c.y4m")), "YUV4MPEG2 W1 H1 F1:1 XCOLORRANGE=FULL\n");
}

TEST(Y4m, GreyHasNoChroma) {
  const test::ScratchDirectory folder;
  const std::string clip = "YUV4MPEG2 W3 H3 F25:1 Cmono\nFRAME\nabcdefghiFRAME\nABCDEFGHI";
  test::writeFile(folder.path("a.y4m"), clip);
  const auto reader = openY4m(std::make_unique<ByteSource>(folder.path("a.y4m")));
  EXPECT_EQ(reader->info().frames, 2);
  const auto writer = createY4m(folder.path("b.y4m"), {3, 3}, Range::limited, "F25:1 Cmono");
  Picture picture;
  while (reader->next(picture)) {
    EXPECT_TRUE(picture.grey);
    EXPECT_EQ(picture.u.samples, std::vector<uint8_t>(4, 128));
    EXPECT_EQ(picture.v.samples, std::vector<uint8_t>(4, 128));
    writer->write(picture);
  }
  writer->finish();
  EXPECT_EQ(test::readFile(folder.path("b.y4m")), clip);
}

}  // namespace
}  // namespace velmora::tool
