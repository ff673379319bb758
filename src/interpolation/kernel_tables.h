// Owns kernel tables while they are made, installs and releases them.
//
// Who owns the rows, in the order of their life:
//   made       a KernelTables or KernelRows object, which frees them if it is dropped
//   installed  the globals of velmora_sr/kernel_tables.h, raw pointers that the stages read. They
//              are freed by releaseKernelTables, which destruction calls, and installing calls for
//              the tables that it replaces
//   dropped    nobody: creation sets the globals to null without freeing, so that whoever still
//              reads the tables of an earlier handle finds them there
// Tables of CreateLanczosLUT1D and -2D belong to the caller from the start. A host may set the
// globals to tables that it made with new[]; they then count as installed and are freed alike.
// Nothing here locks: no stage may run while tables are installed or released.
#ifndef VELMORA_SRC_INTERPOLATION_KERNEL_TABLES_H
#define VELMORA_SRC_INTERPOLATION_KERNEL_TABLES_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>

#include "velmora_sr/kernel_tables.h"

namespace velmora {

/// One table in the form of the installed ones: an array of rows, each a zero-filled heap array of
/// its own. Empty when memory ran out.
class KernelRows {
 public:
  KernelRows() = default;
  KernelRows(std::size_t count, std::size_t rowLength);
  KernelRows(KernelRows&& other) noexcept
      : rows_(std::exchange(other.rows_, nullptr)),
        count_(std::exchange(other.count_, 0)),
        rowLength_(std::exchange(other.rowLength_, 0)) {}
  KernelRows& operator=(KernelRows&& other) noexcept {
    std::swap(rows_, other.rows_);
    std::swap(count_, other.count_);
    std::swap(rowLength_, other.rowLength_);
    return *this;
  }
  KernelRows(const KernelRows&) = delete;
  KernelRows& operator=(const KernelRows&) = delete;
  ~KernelRows() { free(rows_, count_); }

  explicit operator bool() const { return rows_ != nullptr; }
  [[nodiscard]] std::size_t size() const { return count_; }
  [[nodiscard]] std::span<int16_t> operator[](std::size_t row) const {
    return {rows_[row], rowLength_};
  }

  /// Hands the rows over: the receiver owns them and ends them with free().
  [[nodiscard]] int16_t** release() {
    count_ = 0;
    return std::exchange(rows_, nullptr);
  }
  /// Releases `count` rows, null or not, and the array. Null: nothing happens.
  static void free(int16_t** rows, std::size_t count);

 private:
  int16_t** rows_ = nullptr;
  std::size_t count_ = 0;
  std::size_t rowLength_ = 0;
};

/// The three tables of one phase count, on their way to the globals; the owner until then.
struct KernelTables {
  int32_t phases = 0;
  KernelRows sharp2D;
  KernelRows sharp1D;
  KernelRows plain1D;

  /// All rows zero. Check the result: phases outside 1..kMaxKernelPhases, or memory that ran out,
  /// give empty tables.
  static KernelTables allocate(int32_t phases, std::size_t taps);

  explicit operator bool() const { return sharp2D && sharp1D && plain1D; }
};

/// Puts the tables in place of the installed ones, which are released. The globals own them now.
/// @param tables  complete; an empty one leaves the library without tables
void installKernelTables(KernelTables tables);

/// Releases the installed tables and sets their pointers to null. Rows are released by the phase
/// count under which the tables were installed; tables that a host put in place itself by
/// G_QUANTIZATION, which stays as it is.
void releaseKernelTables();

}  // namespace velmora

#endif  // VELMORA_SRC_INTERPOLATION_KERNEL_TABLES_H
