// Loads kernel tables: from a file, or those compiled in.
#include "configuration/kernel_file.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <span>
#include <utility>

#include "configuration/file_contents.h"
#include "interpolation/kernel_tables.h"
#include "logging/log.h"
#include "report/call_report.h"
#include "velmora_sr/configuration.h"

namespace velmora {
namespace {

constexpr std::size_t kTaps = 4;
constexpr std::size_t kLongestRow = kTaps * kTaps + 1;

/// The bytes of a kernel file, front to back, from the file or from memory.
class KernelBytes {
 public:
  explicit KernelBytes(const TuningInput& input)
      : inMemory_(input.inMemory()),
        rest_(input.bytes),
        file_(inMemory_ ? nullptr : openForReading(input.name)) {}

  explicit operator bool() const { return inMemory_ || file_ != nullptr; }

  /// Returns how many there were: fewer at the end only.
  std::size_t take(std::span<uint8_t> to) {
    if (!inMemory_) return std::fread(to.data(), 1, to.size(), file_.get());
    const std::size_t count = std::min(to.size(), rest_.size());
    std::copy_n(rest_.begin(), count, to.begin());
    rest_ = rest_.subspan(count);
    return count;
  }

 private:
  bool inMemory_;
  std::span<const uint8_t> rest_;
  File file_;
};

/// Little-endian 32-bit count at the front; false if it is not whole.
bool readCount(KernelBytes& file, int32_t& count) {
  std::array<uint8_t, 4> bytes{};
  if (file.take(bytes) != bytes.size()) return false;
  uint32_t value = 0;
  for (std::size_t i = 0; i < bytes.size(); ++i)
    value |= static_cast<uint32_t>(bytes[i]) << (8 * i);
  count = static_cast<int32_t>(value);
  return true;
}

/// Reads as many whole values as the file still has into a row; false if it has too few.
bool readRow(KernelBytes& file, std::span<int16_t> row) {
  std::array<uint8_t, 2 * kLongestRow> bytes{};
  const std::size_t whole = file.take(std::span(bytes).first(2 * row.size())) / 2;
  for (std::size_t i = 0; i < whole; ++i)
    row[i] = static_cast<int16_t>(bytes[2 * i] | bytes[2 * i + 1] << 8);
  return whole == row.size();
}

/// Reads every row, also behind the end of a short file, where they stay 0.
bool readTable(KernelBytes& file, const KernelRows& rows) {
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

void loadKernels(const TuningInput& input) {
  callReport.facts.kernelsRead = 0;
  KernelBytes file(input);
  if (!file) {
    LoadDefaultKernelFile();
    return;
  }
  int32_t phases = 0;
  // A file that ends here leaves the library without tables: part of the file's contract.
  if (!readCount(file, phases)) return;
  KernelTables tables = KernelTables::allocate(phases, kTaps);
  if (!tables) {
    LoadDefaultKernelFile();
    return;
  }
  bool whole = readTable(file, tables.sharp2D);
  whole = readTable(file, tables.sharp1D) && whole;
  whole = readTable(file, tables.plain1D) && whole;
  installKernelTables(std::move(tables));
  if (!whole) return;
  callReport.facts.kernelsRead = 1;
  logTagged(Priority::error, "%s <%s>\n", "Load Kernel File Succeed.", input.name);
}

}  // namespace velmora

void LoadDefaultKernelFile() {
  using namespace velmora;
  KernelTables tables =
      KernelTables::allocate(static_cast<int32_t>(D_Lanczos1D_4_2_Fix.size()), kTaps);
  if (!tables) {
    logFailure(Priority::error, SR_RET_ALLOC_FAILED, FailureStep::defaultTables,
               "LoadDefaultKernelFile");
    return;
  }
  copyTable(D_Lanczos2D_4_2_Fix_Sharp, tables.sharp2D);
  copyTable(D_Lanczos1D_4_2_Fix_sharp, tables.sharp1D);
  copyTable(D_Lanczos1D_4_2_Fix, tables.plain1D);
  installKernelTables(std::move(tables));
  logFailure(Priority::error, "Load kernel file failed.Use  default kernel file.",
             FailureStep::defaultTables, "LoadDefaultKernelFile");
}
