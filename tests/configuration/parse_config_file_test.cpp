#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "interpolation/kernel_tables.h"
#include "kernel_file_bytes.h"
#include "support/log_capture.h"
#include "support/new_faults.h"
#include "support/scratch_directory.h"
#include "velmora_sr/configuration.h"
#include "velmora_sr/records.h"

namespace {

using namespace velmora::test;

const std::string kTag = "NB7UO_ZELK";
const std::string kDefaultsLine =
    "NB7UO_ZELK: Load kernel file failed.Use  default kernel file. in Line: 130, in Function: "
    "LoadDefaultKernelFile, in File: src/interface/source/SRInterface\n";
const std::string kFallbackLine =
    "NB7UO_ZELK: succeed. in Line: 176, in Function: ParseConfigFile, in File: "
    "src/interface/source/SRInterface\n";

std::string configLine(const std::string& path) {
  return "NB7UO_ZELK: Load Config File Succeed.  <" + path + ">\n";
}
std::string kernelLine(const std::string& path) {
  return "NB7UO_ZELK: Load Kernel File Succeed. <" + path + ">\n";
}
std::string invalidLine(const std::string& path, const std::string& used) {
  return "Invalid Config File Path \" " + path + "\" ! Use default Path " + used;
}

class ParseConfigFileTest : public testing::Test {
 protected:
  void SetUp() override {
    velmora::releaseKernelTables();
    zelkParamPrivate = {};
  }
  void TearDown() override {
    velmora::releaseKernelTables();
    G_QUANTIZATION = 50;
    zelkParamPrivate = {};
  }
  std::string write(const std::string& name, const std::string& bytes) {
    const std::string path = directory_.path(name);
    writeFile(path, bytes);
    return path;
  }
  /// Runs it and checks what holds for every call.
  std::vector<std::string> parse(const char* config, const char* kernel) {
    EXPECT_EQ(ParseConfigFile(config, kernel), SR_RET_SUCCEED);
    EXPECT_EQ(zelkParamPrivate.kernelRadius, 2);
    EXPECT_EQ(zelkParamPrivate.kernelTaps, 4);
    std::vector<std::string> texts;
    for (const LogLine& line : log_.take()) {
      EXPECT_EQ(line.priority, 6);
      EXPECT_EQ(line.tag, kTag);
      texts.push_back(line.text);
    }
    return texts;
  }
  ScratchDirectory directory_;
  LogCapture log_;
};

using Lines = std::vector<std::string>;

TEST_F(ParseConfigFileTest, ReadsThresholdsOrTakesTheirDefaults) {
  const std::string declaration = "<?xml version=\"1.0\" encoding=\"utf-8\"?>";
  const struct {
    std::string text;
    int low, high;
  } cases[] = {
      {declaration + "<Config><GhostCorrection><LowThr>3</LowThr><HighThr>9</HighThr>"
                     "</GhostCorrection></Config>",
       3, 9},
      {declaration + "<config><GHOSTCORRECTION><lowthr>\n  7\n</lowthr></GHOSTCORRECTION></config>",
       7, 5},
      {declaration + "<Config></Config>", 1, 5},
      {declaration + "<Config><GhostCorrection><LowThr/><HighThr>many</HighThr></GhostCorrection>"
                     "</Config>",
       1, 5},
      {declaration + "<Config><GhostCorrection><LowThr>-20</LowThr><HighThr>99999999999</HighThr>"
                     "</GhostCorrection></Config>",
       -20, 2147483647},  // the range is checked later
      {"<!-- old --><Config><GhostCorrection><LowThr>2</LowThr></GhostCorrection></Config>", 2, 5},
      // A bare element is the document itself: nothing is found below it under its own name.
      {"<Config><GhostCorrection><LowThr>3</LowThr></GhostCorrection></Config>", 1, 5},
      {"no xml at all", 1, 5},
      {"", 1, 5},
      {declaration + "<Config><GhostCorrection><LowThr>3</LowThr>", 1, 5},
      {"(no file)", 1, 5},
  };
  for (const auto& c : cases) {
    const std::string path =
        c.text == "(no file)" ? directory_.path("missing.xml") : write("zelk.xml", c.text);
    EXPECT_EQ(parse(path.c_str(), nullptr), (Lines{configLine(path), kDefaultsLine})) << c.text;
    EXPECT_EQ(zelkParamPrivate.ghostLowThr, c.low) << c.text;
    EXPECT_EQ(zelkParamPrivate.ghostHighThr, c.high) << c.text;
  }
}

TEST_F(ParseConfigFileTest, FallsBackWithoutAPathAndWithoutMemoryForADocument) {
  for (const char* path : {static_cast<const char*>(nullptr), "/nowhere/zelk.xml"}) {
    velmora::releaseKernelTables();
    zelkParamPrivate.ghostLowThr = 77;
    zelkParamPrivate.ghostHighThr = 78;
    const Lines fallback = {kFallbackLine, kDefaultsLine};
    NewFaults faults(path == nullptr ? -1 : 0);
    faults.once();
    EXPECT_EQ(parse(path, nullptr), fallback);
    EXPECT_EQ(zelkParamPrivate.ghostLowThr, 1);
    EXPECT_EQ(zelkParamPrivate.ghostHighThr, 5);
    EXPECT_EQ(G_QUANTIZATION, 50);
    EXPECT_NE(Lanczos2D_4_2_Fix_Sharp, nullptr);
  }
}

TEST_F(ParseConfigFileTest, ReplacesPathsThatAreTooShort) {
  const std::string config = "/system/etc/camera/zelk/zelk.xml";
  const std::string kernel = "/system/etc/camera/zelk/zelk_kernel";
  EXPECT_EQ(parse("ab", ""), (Lines{invalidLine("ab", config), configLine(config),
                                    invalidLine("", kernel), kDefaultsLine}));
  EXPECT_EQ(parse("%s", "%n"), (Lines{invalidLine("%s", config), configLine(config),
                                      invalidLine("%n", kernel), kDefaultsLine}))
      << "paths are data";
}

TEST_F(ParseConfigFileTest, LoadsBothFiles) {
  const std::string config = write(
      "c.xml", "<?xml?><Config><GhostCorrection><HighThr>6</HighThr></GhostCorrection></Config>");
  const std::string kernel = write("kernel", countingKernelFile(10));
  EXPECT_EQ(parse(config.c_str(), kernel.c_str()), (Lines{configLine(config), kernelLine(kernel)}));
  EXPECT_EQ(zelkParamPrivate.ghostHighThr, 6);
  EXPECT_EQ(G_QUANTIZATION, 10);
  EXPECT_TRUE(installedKernelFile() == countingKernelFile(10));
}

}  // namespace
