// Integral image (F. Crow, "Summed-area tables for texture mapping", SIGGRAPH 1984): a pass along
// the rows, which is shared among slots, then a pass down the columns.
#include <algorithm>
#include <limits>

#include "memory/call_buffer.h"
#include "registration/features/feature_slots.h"
#include "registration/features/stages.h"
#include "registration/functions.h"
#include "thread_pool/slot_group.h"
#include "velmora_sr/features.h"

namespace velmora {
namespace {

/// Sums along rows [first, end) of the integral image; `row` is row `first`.
void integrateRows(const uint8_t* src, int32_t* row, int32_t width, RowBand rows) {
  const auto integrateRow = registrationFunctions().integrateRow;
  for (int32_t y = rows.first; y < rows.end; ++y) {
    integrateRow(src, row, width - 1);
    src += width - 1;
    row += width;
  }
}

/// Sets the size and takes the table; the row pass is left to `rowPass`, called with the picture's
/// samples and the table.
template <typename RowPass>
int32_t buildIntegral(const tagST_PIC& pic, tagIntegralMat& out, const Allocator& allocator,
                      RowPass rowPass) {
  out = {0, 0, nullptr};
  if (pic.data == nullptr || pic.width < 1 || pic.height < 1) return SR_RET_PARAMS_OUT_OF_RANGE;
  constexpr int32_t kMax = std::numeric_limits<int32_t>::max();
  out.width = pic.width == kMax ? kMax : pic.width + 1;
  out.height = pic.height == kMax ? kMax : pic.height + 1;
  auto table = CallBuffer<int32_t>::plane(allocator, out.width, out.height);
  if (!table) return VELMORA_SR_RESULT_ALLOC_FAILED;
  out.data = table.data();
  std::fill_n(out.data, out.width, 0);
  rowPass();
  out.data = table.release();  // only now: a pass that throws returns the table
  return 0;
}

}  // namespace

int32_t integrate(tagST_PIC* pic, tagIntegralMat* out, const Allocator& allocator) {
  return buildIntegral(*pic, *out, allocator, [&] {
    IntegralMat_partH(pic->data, out->data, out->width, out->height);
    IntegralMat_partV(out->data, out->width, out->height);
  });
}

int32_t integrateOnSlots(tagST_PIC* pic, tagIntegralMat* out, const Allocator& allocator) {
  return buildIntegral(*pic, *out, allocator, [&] {
    IntegralRowsJob job{pic->data, out->data + out->width, out->width, out->height};
    runOnSlotsOnly(kFeatureSlots, IntegralMat_partH_multi_impl, &job);
    IntegralMat_partV_neon(out->data, out->width, out->height);
  });
}

}  // namespace velmora

int32_t IntegralMat(tagST_PIC* pic, tagIntegralMat* out) {
  return velmora::integrate(pic, out, velmora::currentAllocator());
}

int32_t IntegralMat_multi(tagST_PIC* pic, tagIntegralMat* out) {
  return velmora::integrateOnSlots(pic, out, velmora::currentAllocator());
}

void IntegralMat_partH(uint8_t* src, int32_t* dst, int32_t W, int32_t H) {
  if (W < 1) return;
  velmora::integrateRows(src, dst + W, W, {1, H});
}

void IntegralMat_partH_multi_impl(void* job, int32_t slot) {
  const auto& rows = *static_cast<const IntegralRowsJob*>(job);
  if (rows.width < 1) return;
  const velmora::RowBand share = velmora::shareOfSlot(slot, rows.height - 1);
  velmora::integrateRows(rows.src + std::ptrdiff_t{share.first} * (rows.width - 1),
                         rows.dst + std::ptrdiff_t{share.first} * rows.width, rows.width, share);
}

void IntegralMat_partV(int32_t* dst, int32_t W, int32_t H) {
  const auto addRow = velmora::registrationFunctions().addRow;
  if (W < 1) return;
  // Row 1 lies below the row of zeros: nothing to add.
  for (int32_t y = 2; y < H; ++y)
    addRow(dst + std::ptrdiff_t{y - 1} * W, dst + std::ptrdiff_t{y} * W, W);
}

void IntegralMat_partV_neon(int32_t* dst, int32_t W, int32_t H) {
  IntegralMat_partV(dst, W, H);
}
