#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/log_capture.h"
#include "support/scratch_directory.h"
#include "velmora_sr/logging.h"

namespace {

using velmora::test::LogCapture;
using velmora::test::LogLine;
using velmora::test::readFile;
using namespace std::string_literals;

constexpr uint8_t kLuma[] = {1, 2, 0, 255};
constexpr uint8_t kChroma[] = {10, 13};

/// The lines of a dump; each text is followed by the path in brackets.
std::vector<LogLine> lines(int priority, const std::vector<std::string>& texts,
                           const std::string& path, const char* end = "\n") {
  std::vector<LogLine> all;
  for (const std::string& text : texts)
    all.push_back({priority, "NB7UO_ZELK", "NB7UO_ZELK: " + text + " [" + path + "]" + end});
  return all;
}

TEST(DumpToFile, WritesThePlanesThatAreThereOverAnOlderFile) {
  const std::string four = "done writing 4 bytes to file", two = "done writing 2 bytes to file";
  const struct {
    const uint8_t* luma;
    int lumaSize;
    const uint8_t* chroma;
    int chromaSize;
    std::string content;
    std::vector<std::string> texts;
  } cases[] = {{kLuma, 4, kChroma, 2, "\1\2\0\377\n\r"s, {four, two}},
               {kLuma, 4, nullptr, 2, "\1\2\0\377"s, {four}},
               {nullptr, 4, kChroma, 2, "\n\r", {two}},
               {kLuma, 0, kChroma, -1, "", {}}};
  const velmora::test::ScratchDirectory directory;
  const std::string path = directory.path("frame%d.yuv");
  for (const auto& c : cases) {
    LogCapture log;
    dump_to_file(path.c_str(), c.luma, c.lumaSize, c.chroma, c.chromaSize);
    EXPECT_EQ(readFile(path), c.content);
    EXPECT_TRUE(std::filesystem::exists(path));
    EXPECT_EQ(log.take(), lines(4, c.texts, path));
  }
}

TEST(DumpToFile, SaysWhatItCannotWrite) {
  const velmora::test::ScratchDirectory directory;
  const std::string missing = directory.path("missing/frame.yuv");
  LogCapture log;
  dump_to_file(missing.c_str(), kLuma, 4, kChroma, 2);
  EXPECT_EQ(log.take(), lines(6, {"failed to create file"}, missing, ""));
  dump_to_file(nullptr, kLuma, 4, kChroma, 2);
  EXPECT_EQ(log.take(), lines(6, {"failed to create file"}, "", ""));
  if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full";
  dump_to_file("/dev/full", kLuma, 4, nullptr, 0);
  EXPECT_EQ(log.take(), lines(6, {"failed to write 4 bytes to file"}, "/dev/full"));
}

}  // namespace
