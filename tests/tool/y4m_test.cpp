#include "formats/y4m.h"

#include <gtest/gtest.h>

#include "errors.h"
#include "support/scratch_directory.h"

namespace velmora::tool {
namespace {

using test::ScratchDirectory;

std::string failureOf(const std::string& header) {
  try {
    parseY4mHeader(header);
  } catch (const Failure& failure) {
    return failure.what();
  }
  return "";
}

TEST(Y4mHeader, KeepsEverythingButTheSize) {
  const auto header =
      parseY4mHeader("YUV4MPEG2 W352 H288 F30000:1001 Ip A128:117 C420mpeg2 XYSCSS=420MPEG2");
  EXPECT_EQ(header.size, (Size{352, 288}));
  EXPECT_EQ(header.parameters, "F30000:1001 Ip A128:117 C420mpeg2 XYSCSS=420MPEG2");
  EXPECT_EQ(header.range, Range::limited);
}

TEST(Y4mHeader, TellsFullRange) {
  EXPECT_EQ(parseY4mHeader("YUV4MPEG2 H2 W4 C420jpeg XCOLORRANGE=FULL").range, Range::full);
  EXPECT_EQ(parseY4mHeader("YUV4MPEG2 H2 W4 XCOLORRANGE=LIMITED").range, Range::limited);
}

TEST(Y4mHeader, AcceptsEvery8Bit420) {
  for (const char* space : {"", " C420", " C420jpeg", " C420mpeg2", " C420paldv"}) {
    EXPECT_EQ(parseY4mHeader(std::string("YUV4MPEG2 W4 H2") + space).size, (Size{4, 2})) << space;
  }
}

TEST(Y4mHeader, RefusesWithTheReason) {
  const struct {
    const char* header;
    const char* reason;
  } cases[] = {
      {"", "does not begin"},
      {"YUV4MPEG W4 H2", "does not begin"},
      {"YUV4MPEG2 W4", "no width or no height"},
      {"YUV4MPEG2 H2 F25:1", "no width or no height"},
      {"YUV4MPEG2 W0 H2", "\"W0\""},
      {"YUV4MPEG2 W4x H2", "\"W4x\""},
      {"YUV4MPEG2 W-4 H2", "\"W-4\""},
      {"YUV4MPEG2 W99999999999 H2", "\"W99999999999\""},
      {"YUV4MPEG2 W40000 H2", "too large"},
      {"YUV4MPEG2 W32000 H32000", "too large"},
      {"YUV4MPEG2 W4 H2 C444", "\"444\""},
      {"YUV4MPEG2 W4 H2 C420p10", "\"420p10\""},
      {"YUV4MPEG2 W4 H2 Cmono", "\"mono\""},
      {"YUV4MPEG2 W4 H2 It", "interlaced"},
      {"YUV4MPEG2 W4 H2 Im", "interlaced"},
  };
  for (const auto& c : cases)
    EXPECT_NE(failureOf(c.header).find(c.reason), std::string::npos)
        << c.header << ": " << failureOf(c.header);
}

// Two frames of 3 x 3: chroma is 2 x 2.
const std::string kClip = std::string("YUV4MPEG2 W3 H3 F25:1\nFRAME\n") + "abcdefghiUUUUVVVV" +
                          "FRAME Ip\n" + "ABCDEFGHIuuuuvvvv";

std::vector<Picture> readAll(const std::string& path) {
  const auto reader = openY4m(std::make_unique<ByteSource>(path));
  std::vector<Picture> frames;
  for (Picture picture; reader->next(picture);)
    frames.push_back(picture);
  return frames;
}

TEST(Y4m, ReadsFramesOfOddSizeAndFrameParameters) {
  const ScratchDirectory folder;
  test::writeFile(folder.path("a.y4m"), kClip);
  const auto frames = readAll(folder.path("a.y4m"));
  ASSERT_EQ(frames.size(), 2u);
  EXPECT_EQ(frames[0].y.row(2)[0], 'g');
  EXPECT_EQ(frames[0].u.samples, std::vector<uint8_t>(4, 'U'));
  EXPECT_EQ(frames[1].y.row(0)[1], 'B');
  EXPECT_EQ(frames[1].v.samples, std::vector<uint8_t>(4, 'v'));
}

TEST(Y4m, WritesWhatItRead) {
  const ScratchDirectory folder;
  test::writeFile(folder.path("a.y4m"), kClip);
  const auto writer = createY4m(folder.path("b.y4m"), {3, 3}, Range::limited, "F25:1");
  for (const auto& frame : readAll(folder.path("a.y4m")))
    writer->write(frame);
  writer->finish();
  std::string expected = kClip;
  expected.erase(expected.find(" Ip"), 3);
  EXPECT_EQ(test::readFile(folder.path("b.y4m")), expected);
}

TEST(Y4m, MarksFullRangeOnce) {
  const ScratchDirectory folder;
  createY4m(folder.path("a.y4m"), {1, 1}, Range::full, "F1:1")->finish();
  EXPECT_EQ(test::readFile(folder.path("a.y4m")), "YUV4MPEG2 W1 H1 F1:1 XCOLORRANGE=FULL\n");
  createY4m(folder.path("b.y4m"), {1, 1}, Range::full, "XCOLORRANGE=FULL")->finish();
  EXPECT_EQ(test::readFile(folder.path("b.y4m")), "YUV4MPEG2 W1 H1 XCOLORRANGE=FULL\n");
}

TEST(Y4m, NamesTheDamagedFrame) {
  const ScratchDirectory folder;
  const std::string path = folder.path("cut.y4m");
  const struct {
    std::string content;
    const char* reason;
  } cases[] = {
      {kClip.substr(0, kClip.size() - 1), "frame 2 ends after 16 of 17 bytes"},
      {kClip.substr(0, kClip.size() - 20), "ends in the middle of a header line"},
      {"YUV4MPEG2 W3 H3\n", "holds no frame"},
      {"YUV4MPEG2 W1 H1\nFRAMES\nyuv", "frame 1 does not begin"},
      {"YUV4MPEG2 W1 H1 X" + std::string(5000, 'x') + "\n", "longer than"},
  };
  for (const auto& c : cases) {
    test::writeFile(path, c.content);
    try {
      readAll(path);
      ADD_FAILURE() << c.reason;
    } catch (const Failure& failure) {
      EXPECT_NE(std::string(failure.what()).find(c.reason), std::string::npos) << failure.what();
      EXPECT_NE(std::string(failure.what()).find(path), std::string::npos) << failure.what();
    }
  }
}

TEST(Y4m, CountsTheFramesOfAFile) {
  const ScratchDirectory folder;
  std::string clip = "YUV4MPEG2 W1 H1\n";
  for (int i = 0; i < 7; ++i)
    clip += "FRAME\nyuv";
  test::writeFile(folder.path("a.y4m"), clip);
  EXPECT_EQ(openY4m(std::make_unique<ByteSource>(folder.path("a.y4m")))->info().frames, 7);
}

}  // namespace
}  // namespace velmora::tool
