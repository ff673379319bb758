// The installed kernel tables: their globals, how they come and go.
#include "interpolation/kernel_tables.h"

#include <algorithm>
#include <new>

#include "interpolation/lanczos_rules.h"
#include "interpolation/phase.h"

int32_t G_QUANTIZATION = velmora::kDefaultPhases;
int16_t** Lanczos1D_4_2_Fix = nullptr;
int16_t** Lanczos1D_4_2_Fix_sharp = nullptr;
int16_t** Lanczos2D_4_2_Fix_Sharp = nullptr;

namespace velmora {
namespace {

/// What installKernelTables last put in place; the pointers are for comparing and own nothing.
/// Since then a host may have set G_QUANTIZATION for the generators, or set a global to a table of
/// its own, or creation may have dropped the globals. So a global is released by this count only
/// while it still holds the pointer that came with it, and by G_QUANTIZATION otherwise.
struct Installed {
  int32_t phases;
  const int16_t* const* sharp2D;
  const int16_t* const* sharp1D;
  const int16_t* const* plain1D;
};
Installed installed = {};

void releaseTable(int16_t**& table, const int16_t* const* ours, bool squared) {
  if (table == nullptr) return;
  const int32_t phases =
      std::clamp(table == ours ? installed.phases : G_QUANTIZATION, 0, kMaxKernelPhases);
  const auto count = static_cast<std::size_t>(phases);
  KernelRows::free(table, squared ? count * count : count);
  table = nullptr;
}

}  // namespace

KernelRows::KernelRows(std::size_t count, std::size_t rowLength)
    : rows_(new (std::nothrow) int16_t* [count] {}), count_(count), rowLength_(rowLength) {
  if (rows_ == nullptr) return;
  for (std::size_t i = 0; i < count; ++i) {
    rows_[i] = new (std::nothrow) int16_t[rowLength]{};
    if (rows_[i] == nullptr) {
      free(rows_, i);
      rows_ = nullptr;
      return;
    }
  }
}

void KernelRows::free(int16_t** rows, std::size_t count) {
  if (rows == nullptr) return;
  for (std::size_t i = 0; i < count; ++i)
    delete[] rows[i];
  delete[] rows;
}

KernelTables KernelTables::allocate(int32_t phases, std::size_t taps) {
  KernelTables tables;
  if (phases < 1 || phases > kMaxKernelPhases) return tables;
  const auto count = static_cast<std::size_t>(phases);
  tables.phases = phases;
  tables.sharp2D = KernelRows(count * count, taps * taps + 1);
  if (tables.sharp2D) tables.sharp1D = KernelRows(count, taps);
  if (tables.sharp1D) tables.plain1D = KernelRows(count, taps);
  return tables;
}

void installKernelTables(KernelTables tables) {
  releaseKernelTables();
  G_QUANTIZATION = tables.phases;
  Lanczos2D_4_2_Fix_Sharp = tables.sharp2D.release();
  Lanczos1D_4_2_Fix_sharp = tables.sharp1D.release();
  Lanczos1D_4_2_Fix = tables.plain1D.release();
  installed = {tables.phases, Lanczos2D_4_2_Fix_Sharp, Lanczos1D_4_2_Fix_sharp, Lanczos1D_4_2_Fix};
}

void releaseKernelTables() {
  releaseTable(Lanczos1D_4_2_Fix, installed.plain1D, false);
  releaseTable(Lanczos1D_4_2_Fix_sharp, installed.sharp1D, false);
  releaseTable(Lanczos2D_4_2_Fix_Sharp, installed.sharp2D, true);
  installed = {};
}

}  // namespace velmora
