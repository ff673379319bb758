// Loads kernel tables: from a file, or those compiled in.
#include "configuration/kernel_file.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <span>
#include <utility>

#include "common/failure_line.h"
#include "configuration/file_contents.h"
#include "interpolation/kernel_tables.h"
#include "velmora_sr/configuration.h"
#include "velmora_sr/platform.h"

namespace velmora {
namespace {

constexpr std::size_t kTaps = 4;
constexpr std::size_t kLongestRow = kTaps * kTaps + 1;
constexpr int kDefaultTablesLine = 130;

/// Little-endian 32-bit count at the front of the file; false if it is not whole.
bool readCount(std::FILE* file, int32_t& count) {
  std::array<uint8_t, 4> bytes{};
  if (std::fread(bytes.data(), 1, bytes.size(), file) != bytes.size()) return false;
  uint32_t value = 0;
  for (std::size_t i = 0; i < bytes.size(); ++i)
    value |= static_cast<uint32_t>(bytes[i]) << (8 * i);
  count = static_cast<int32_t>(value);
  return true;
}

/// Reads as many whole values as the file still has into a row; false if it has too few.
bool readRow(std::FILE* file, std::span<int16_t> row) {
  std::array<uint8_t, 2 * kLongestRow> bytes{};
  const std::size_t whole = std::fread(bytes.data(), 2, row.size(), file);
  for (std::size_t i = 0; i < whole; ++i)
    row[i] = static_cast<int16_t>(bytes[2 * i] | bytes[2 * i + 1] << 8);
  return whole == row.size();
}

/// Reads every row, also behind the end of a short file, where they stay 0.
bool readTable(std::FILE* file, const KernelRows& rows) {
  bool whole = true;
  for (std::size_t i = 0; i < rows.size(); ++i)
    whole = readRow(file, rows[i]) && whole;
  return whole;
}

template <typename Table>
void copyTable(const Table& table, const KernelRows& rows) {
  for (std::size_t i = 0; i < rows.size(); ++i)
    std::copy(table[i].begin(), table[i].end(), rows[i].begin());
}

}  // namespace

void loadKernelFile(const char* path) {
  const File file = openForReading(path);
  if (file == nullptr) {
    LoadDefaultKernelFile();
    return;
  }
  int32_t phases = 0;
  // A file that ends here leaves the library without tables: part of the file's contract.
  if (!readCount(file.get(), phases)) return;
  KernelTables tables = KernelTables::allocate(phases, kTaps);
  if (!tables) {
    LoadDefaultKernelFile();
    return;
  }
  bool whole = readTable(file.get(), tables.sharp2D);
  whole = readTable(file.get(), tables.sharp1D) && whole;
  whole = readTable(file.get(), tables.plain1D) && whole;
  installKernelTables(std::move(tables));
  if (whole) {
    __android_log_print(kLogError, kLogTag, "%s: %s <%s>\n", kLogTag, "Load Kernel File Succeed.",
                        path);
  }
}

}  // namespace velmora

void LoadDefaultKernelFile() {
  using namespace velmora;
  KernelTables tables =
      KernelTables::allocate(static_cast<int32_t>(D_Lanczos1D_4_2_Fix.size()), kTaps);
  if (!tables) {
    logFailureLine(kLogError, SR_RET_ALLOC_FAILED, kDefaultTablesLine, "LoadDefaultKernelFile");
    return;
  }
  copyTable(D_Lanczos2D_4_2_Fix_Sharp, tables.sharp2D);
  copyTable(D_Lanczos1D_4_2_Fix_sharp, tables.sharp1D);
  copyTable(D_Lanczos1D_4_2_Fix, tables.plain1D);
  installKernelTables(std::move(tables));
  logFailureLine(kLogError, "Load kernel file failed.Use  default kernel file.", kDefaultTablesLine,
                 "LoadDefaultKernelFile");
}
