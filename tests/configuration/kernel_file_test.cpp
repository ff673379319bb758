#include "configuration/kernel_file.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "interpolation/kernel_tables.h"
#include "kernel_file_bytes.h"
#include "support/crc32.h"
#include "support/log_capture.h"
#include "support/new_faults.h"
#include "support/scratch_directory.h"
#include "velmora_sr/configuration.h"

namespace {

using velmora::loadKernelFile;
using namespace velmora::test;

const std::vector<LogLine> kDefaultsLine = {
    {6, "NB7UO_ZELK",
     "NB7UO_ZELK: Load kernel file failed.Use  default kernel file. in Line: 130, in Function: "
     "LoadDefaultKernelFile, in File: src/interface/source/SRInterface\n"}};

std::string crcOf(const std::string& bytes) {
  Crc32 crc;
  for (const char byte : bytes)
    crc.add(static_cast<uint8_t>(byte));
  char text[9];
  std::snprintf(text, sizeof text, "%08X", crc.value());
  return text;
}

class KernelFile : public testing::Test {
 protected:
  void SetUp() override { forgetTables(); }
  void TearDown() override { forgetTables(); }
  static void forgetTables() {
    velmora::releaseKernelTables();
    G_QUANTIZATION = 50;
  }
  std::string write(const std::string& bytes) {
    const std::string path = directory_.path("kernel");
    writeFile(path, bytes);
    return path;
  }
  static std::vector<LogLine> success(const std::string& path) {
    return {{6, "NB7UO_ZELK", "NB7UO_ZELK: Load Kernel File Succeed. <" + path + ">\n"}};
  }
  ScratchDirectory directory_;
  LogCapture log_;
};

TEST_F(KernelFile, InstallsEveryRowOfAFile) {
  for (const int phases : {1, 10, 50, 64}) {
    const std::string bytes = countingKernelFile(phases);
    const std::string path = write(bytes + (phases == 10 ? "what is behind does not count" : ""));
    loadKernelFile(path.c_str());
    EXPECT_EQ(log_.take(), success(path));
    ASSERT_EQ(G_QUANTIZATION, phases);
    ASSERT_TRUE(installedKernelFile() == bytes) << phases;
  }
  EXPECT_EQ(Lanczos2D_4_2_Fix_Sharp[0][0], -3000);
}

TEST_F(KernelFile, ZeroFillsWhatAShortFileLacksAndKeepsQuiet) {
  const std::string bytes = countingKernelFile(3);
  // Behind the count, inside a 2D row, inside a value, at the start and the end of the 1D tables.
  for (const std::size_t length : {std::size_t{4}, std::size_t{4 + 34 + 5}, std::size_t{4 + 9 * 34},
                                   std::size_t{4 + 9 * 34 + 3}, bytes.size() - 1}) {
    loadKernelFile(write(bytes.substr(0, length)).c_str());
    EXPECT_EQ(log_.take(), std::vector<LogLine>{}) << length;
    ASSERT_EQ(G_QUANTIZATION, 3);
    std::string expected = bytes.substr(0, 4 + (length - 4) / 2 * 2);
    expected.resize(bytes.size(), '\0');
    EXPECT_TRUE(installedKernelFile() == expected) << length;
  }
}

TEST_F(KernelFile, WithoutAWholeCountInstallsNothing) {
  for (const std::size_t length : {0, 1, 3}) {
    loadKernelFile(write(countingKernelFile(10).substr(0, length)).c_str());
    EXPECT_EQ(log_.take(), std::vector<LogLine>{});
    EXPECT_EQ(Lanczos1D_4_2_Fix, nullptr);
    EXPECT_EQ(Lanczos1D_4_2_Fix_sharp, nullptr);
    EXPECT_EQ(Lanczos2D_4_2_Fix_Sharp, nullptr);
    EXPECT_EQ(G_QUANTIZATION, 50);
  }
}

TEST_F(KernelFile, FallsBackToTheDefaults) {
  const auto countOnly = [](uint32_t count) {
    std::string bytes;
    appendLittleEndian(bytes, count, 4);
    return bytes + std::string(1000, '\x7F');
  };
  const std::optional<std::string> files[] = {
      std::nullopt,           countOnly(0),          countOnly(1025),
      countOnly(0x7FFFFFFFu), countOnly(0xFFFFFFFF), countOnly(0x80000000u),
  };
  for (const auto& bytes : files) {
    const std::string path = bytes ? write(*bytes) : directory_.path("not there");
    loadKernelFile(path.c_str());
    EXPECT_EQ(log_.take(), kDefaultsLine);
    EXPECT_EQ(crcOf(installedKernelFile()), "258B5510");
    forgetTables();
  }
  loadKernelFile(nullptr);
  EXPECT_EQ(log_.take(), kDefaultsLine);
  forgetTables();
  loadKernelFile(directory_.path("").c_str());
  EXPECT_EQ(log_.take(), kDefaultsLine) << "a directory is no file";
}

TEST_F(KernelFile, TakesTheDefaultsWhenItsOwnTablesDoNotFit) {
  const std::string path = write(countingKernelFile(3));
  const std::ptrdiff_t before = liveNewBlocks();
  for (int n = 0; n < 18; ++n) {
    {
      NewFaults faults(n, NewFaults::Forms::kNothrow);
      faults.once();
      loadKernelFile(path.c_str());
    }
    EXPECT_EQ(log_.take(), kDefaultsLine) << n;
    EXPECT_EQ(G_QUANTIZATION, 50);
    EXPECT_EQ(crcOf(installedKernelFile()), "258B5510");
    forgetTables();
    EXPECT_EQ(liveNewBlocks(), before) << n;
  }
}

TEST_F(KernelFile, InstallsNothingWhenNotEvenTheDefaultsFit) {
  const std::string path = write(countingKernelFile(3));
  {
    // The log capture may have what the tables cannot.
    const NewFaults faults(0, NewFaults::Forms::kNothrow);
    loadKernelFile(path.c_str());
  }
  EXPECT_EQ(log_.take(),
            (std::vector<LogLine>{
                {6, "NB7UO_ZELK",
                 "NB7UO_ZELK: alloc memory failed. in Line: 130, in Function: "
                 "LoadDefaultKernelFile, in File: src/interface/source/SRInterface\n"}}));
  EXPECT_EQ(Lanczos1D_4_2_Fix, nullptr);
  EXPECT_EQ(Lanczos2D_4_2_Fix_Sharp, nullptr);
}

}  // namespace
