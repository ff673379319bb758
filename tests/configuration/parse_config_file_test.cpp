#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "interpolation/kernel_tables.h"
#include "support/digest.h"
#include "support/heap_faults.h"
#include "support/log_capture.h"
#include "support/scratch_directory.h"
#include "velmora_sr/configuration.h"
#include "velmora_sr/kernel_tables.h"
#include "velmora_sr/records.h"

namespace {

using namespace velmora::test;

using Lines = std::vector<std::string>;

const std::string kDefaultsLine =
    "NB7UO_ZELK: Load kernel file failed.Use  default kernel file. in Line: 130, in Function: "
    "LoadDefaultKernelFile, in File: src/interface/source/SRInterface\n";
const std::string kFallbackLine =
    "NB7UO_ZELK: succeed. in Line: 176, in Function: ParseConfigFile, in File: "
    "src/interface/source/SRInterface\n";
const std::string kNoMemoryLine =
    "NB7UO_ZELK: alloc memory failed. in Line: 130, in Function: LoadDefaultKernelFile, in File: "
    "src/interface/source/SRInterface\n";

std::string configLine(const std::string& path) {
  return "NB7UO_ZELK: Load Config File Succeed.  <" + path + ">\n";
}

void append(std::string& bytes, uint32_t value, int count) {
  for (int i = 0; i < count; ++i)
    bytes.push_back(static_cast<char>(value >> 8 * i));
}

/// A kernel file of `phases` phases whose values count up from -3000 and start over at 9000.
std::string countingFile(int phases) {
  std::string bytes;
  append(bytes, static_cast<uint32_t>(phases), 4);
  for (int i = 0; i < phases * phases * 17 + 2 * phases * 4; ++i)
    append(bytes, static_cast<uint32_t>(i % 12000 - 3000), 2);
  return bytes;
}

/// The installed tables as a kernel file; "defaults"; or, if all three are missing, "none".
std::string installedFile() {
  if (Lanczos1D_4_2_Fix == nullptr) {
    const bool none = Lanczos1D_4_2_Fix_sharp == nullptr && Lanczos2D_4_2_Fix_Sharp == nullptr;
    return none && G_QUANTIZATION == 50 ? "none" : "some";
  }
  std::string bytes;
  append(bytes, static_cast<uint32_t>(G_QUANTIZATION), 4);
  const auto appendRows = [&bytes](int16_t** rows, int count, int length) {
    for (int i = 0; i < count * length; ++i)
      append(bytes, static_cast<uint16_t>(rows[i / length][i % length]), 2);
  };
  appendRows(Lanczos2D_4_2_Fix_Sharp, G_QUANTIZATION * G_QUANTIZATION, 17);
  appendRows(Lanczos1D_4_2_Fix_sharp, G_QUANTIZATION, 4);
  appendRows(Lanczos1D_4_2_Fix, G_QUANTIZATION, 4);
  Digest digest;
  digest.addAll(bytes);
  return digest.value() == 0x258B5510 ? "defaults" : bytes;
}

class ParseConfigFileTest : public testing::Test {
 protected:
  void SetUp() override { forget(); }
  void TearDown() override { forget(); }
  static void forget() {
    velmora::releaseKernelTables();
    G_QUANTIZATION = 50;
    zelkParamPrivate = {};
    zelkParamPrivate.ghostLowThr = 77;
  }
  std::string write(const std::string& name, const std::string& bytes) {
    const std::string path = directory_.path(name);
    writeFile(path, bytes);
    return path;
  }
  /// Runs it, checks what holds for every call, and gives the texts of its lines.
  Lines parse(const char* config, const char* kernel) {
    EXPECT_EQ(ParseConfigFile(config, kernel), SR_RET_SUCCEED);
    EXPECT_EQ(zelkParamPrivate.kernelRadius, 2);
    EXPECT_EQ(zelkParamPrivate.kernelTaps, 4);
    Lines texts;
    for (const LogLine& line : log_.take()) {
      EXPECT_EQ(line, (LogLine{6, "NB7UO_ZELK", line.text}));
      texts.push_back(line.text);
    }
    return texts;
  }
  static void expectThresholds(int low, int high) {
    EXPECT_EQ(zelkParamPrivate.ghostLowThr, low);
    EXPECT_EQ(zelkParamPrivate.ghostHighThr, high);
  }
  ScratchDirectory directory_;
  LogCapture log_;
};

TEST_F(ParseConfigFileTest, ReadsThresholdsOrTakesTheirDefaults) {
  const std::string head = "<?xml version=\"1.0\" encoding=\"utf-8\"?><Config><GhostCorrection>";
  const std::string tail = "</GhostCorrection></Config>";
  const struct {
    int low, high;
    std::string text;
  } cases[] = {
      {3, 9, head + "<LowThr>3</LowThr><HighThr>9</HighThr>" + tail},
      {7, 5, "<?xml?><config><GHOSTCORRECTION><lowthr>\n 7\n</lowthr></GHOSTCORRECTION></config>"},
      {1, 5, head + "<LowThr/><HighThr>many</HighThr>" + tail},
      // The range is checked later.
      {-20, 2147483647, head + "<LowThr>-20</LowThr><HighThr>99999999999</HighThr>" + tail},
      {2, 5, "<!-- old --><Config><GhostCorrection><LowThr>2</LowThr>" + tail},
      // A bare element is the document itself: nothing is found below it under its own name.
      {1, 5, "<Config><GhostCorrection><LowThr>3</LowThr>" + tail},
      {1, 5, ""},
      {1, 5, head + "<LowThr>3</LowThr>"},
  };
  for (const auto& c : cases) {
    const std::string path = write("zelk.xml", c.text);
    EXPECT_EQ(parse(path.c_str(), directory_.path("").c_str()),
              (Lines{configLine(path), kDefaultsLine}))
        << c.text;
    EXPECT_EQ(installedFile(), "defaults");
    expectThresholds(c.low, c.high);
  }
}

TEST_F(ParseConfigFileTest, ReplacesPathsThatAreTooShort) {
  const std::string config = "/system/etc/camera/zelk/zelk.xml";
  for (const std::string path : {"ab", "", "%s"}) {  // paths are data
    const std::string invalid = "Invalid Config File Path \" " + path + "\" ! Use default Path ";
    EXPECT_EQ(parse(path.c_str(), path.c_str()),
              (Lines{invalid + config, configLine(config),
                     invalid + "/system/etc/camera/zelk/zelk_kernel", kDefaultsLine}));
    expectThresholds(1, 5);  // there is no such file
  }
}

TEST_F(ParseConfigFileTest, InstallsEveryRowOfAKernelFileZeroesForWhatItLacksOrTheDefaults) {
  std::vector<std::pair<std::string, std::string>> cases;  // files and what they install
  for (const int phases : {1, 3, 10, 50, 64})
    cases.emplace_back(countingFile(phases) + (phases == 10 ? "more" : ""), countingFile(phases));
  const std::string bytes = countingFile(3);
  // Behind the count, inside a 2D row, inside a value, at the start and the end of the 1D tables.
  for (const std::size_t length : {std::size_t{4}, std::size_t{4 + 34 + 5}, std::size_t{4 + 9 * 34},
                                   std::size_t{4 + 9 * 34 + 3}, bytes.size() - 1}) {
    std::string installed = bytes.substr(0, length / 2 * 2);
    installed.resize(bytes.size(), '\0');
    cases.emplace_back(bytes.substr(0, length), installed);
  }
  for (const std::size_t length : {0, 1, 3})  // not even a whole count
    cases.emplace_back(bytes.substr(0, length), "none");
  for (const uint32_t count : {0u, 1025u, 0x7FFFFFFFu, 0xFFFFFFFFu, 0x80000000u}) {
    std::string file;
    append(file, count, 4);
    cases.emplace_back(file + std::string(1000, '\x7F'), "defaults");
  }
  for (const auto& [file, installed] : cases) {
    if (installed == "none") forget();
    const std::string path = write("kernel", file);
    Lines lines = {kFallbackLine};
    if (file.starts_with(installed)) {
      lines.push_back("NB7UO_ZELK: Load Kernel File Succeed. <" + path + ">\n");
    }
    if (installed == "defaults") lines.push_back(kDefaultsLine);
    SCOPED_TRACE(file.size());
    EXPECT_EQ(parse(nullptr, path.c_str()), lines);
    EXPECT_TRUE(installedFile() == installed);
    expectThresholds(1, 5);
  }
}

TEST_F(ParseConfigFileTest, TakesTheDefaultsOrNoTablesWhenMemoryRunsOut) {
  const std::string path = write("kernel", countingFile(3));
  for (const bool forGood : {false, true}) {
    for (int n = 0; n < 18; ++n) {
      const std::ptrdiff_t before = liveNewBlocks();
      {
        // Others than the tables may have what they need.
        const HeapFaults faults(n, Requests::kNothrowNew, forGood);
        EXPECT_EQ(ParseConfigFile(nullptr, path.c_str()), SR_RET_SUCCEED);
      }
      EXPECT_EQ(log_.takeTexts(), (Lines{kFallbackLine, forGood ? kNoMemoryLine : kDefaultsLine}));
      EXPECT_EQ(installedFile(), forGood ? "none" : "defaults");
      forget();
      EXPECT_EQ(liveNewBlocks(), before) << n;
    }
  }
  const HeapFaults noDocument(0, Requests::kNew);
  const Lines lines = parse("/nowhere/zelk.xml", nullptr);
  EXPECT_EQ(lines, (Lines{kFallbackLine, kDefaultsLine}));
  expectThresholds(1, 5);
}

}  // namespace
