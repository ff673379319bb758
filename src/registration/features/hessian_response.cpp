// Responses of one layer: the geometry of its box filters and the grid that they are laid on.
#include <algorithm>
#include <optional>

#include "common/wrapping.h"
#include "registration/functions.h"
#include "velmora_sr/features.h"

namespace velmora {
namespace {

constexpr int32_t kSmallestFilter = 9;

/// Factor that takes a product of two sums over lobes, Q16: (area << 16) / scale.
int64_t normalisation(int64_t area, int64_t scale) {
  // From sizes of about 300 pixels on the products wrap; should the scale become 0, so does the
  // response.
  return scale == 0 ? 0 : wrappingDiv(wrappingMul(area, int64_t{1} << 16), scale);
}

/// The filters of one size. Each derivative is divided by the area of its lobes and the mixed one
/// weighted by 0.9: with the area lb = lobe * across and q = quadrant, det / 16 becomes
/// Dxx Dyy / lb^2 - 0.81 Dxy^2 / q^4.
std::optional<HessianFilter> hessianFilter(int32_t size, int32_t step) {
  if (size < kSmallestFilter || step < 1) return std::nullopt;
  const int64_t wide = size;
  const int64_t inset = (4 * wide + 9) / 18;
  const int64_t corner = (2 * wide + 9) / 18;
  const int64_t shifted = size % 2 != 0 ? corner - 1 : corner;
  HessianFilter filter = {};
  filter.size = size;
  filter.step = step;
  filter.lobe = size / 3;
  filter.inset = static_cast<int32_t>(inset);
  filter.across = static_cast<int32_t>(wide - 2 * inset);
  filter.corner = static_cast<int32_t>(shifted);
  filter.quadrant = static_cast<int32_t>((wide - corner - shifted) / 2);

  const int64_t lobeArea = int64_t{filter.lobe} * filter.across;
  const int64_t quadrantArea = int64_t{filter.quadrant} * filter.quadrant;
  const int64_t direct = wrappingMul(lobeArea, lobeArea);
  const int64_t mixed = wrappingMul(quadrantArea, quadrantArea);
  const int64_t scale = wrappingMul(wrappingMul(int64_t{100}, mixed), direct) >> 4;
  filter.directScale = normalisation(wrappingMul(int64_t{100}, mixed), scale);
  filter.mixedScale = normalisation(wrappingMul(int64_t{81}, direct), scale);
  return filter;
}

/// Grid points along one side: filters that lie wholly within `length` pixels, and whose responses
/// find room in a plane of `room` entries behind `border`.
int32_t gridPoints(int32_t length, const HessianFilter& filter, int32_t border, int32_t room) {
  if (length < filter.size) return 0;
  return std::min((length - filter.size) / filter.step + 1, room - border);
}

}  // namespace
}  // namespace velmora

void CalcLayerDet_0123_neon(const tagIntegralMat* im, tagOctaveLayer* layer) {
  using namespace velmora;
  const auto filter = hessianFilter(layer->size, layer->step);
  if (!filter) return;
  const int32_t border = layer->size / 2 / layer->step;
  const int32_t columns = gridPoints(im->width - 1, *filter, border, layer->cols);
  const int32_t rows = gridPoints(im->height - 1, *filter, border, layer->rows);
  if (columns < 1) return;
  const auto hessianRow = registrationFunctions().hessianRow;
  for (int32_t i = 0; i < rows; ++i) {
    hessianRow(im->data + std::ptrdiff_t{i} * layer->step * im->width, im->width, *filter,
               layer->det + (std::ptrdiff_t{border} + i) * layer->cols + border, columns);
  }
}

void CalcLayerDet_0123_neon_multi(void* job, int32_t /*slot*/) {
  const auto& work = *static_cast<const LayerDetJob*>(job);
  CalcLayerDet_0123_neon(work.im, work.layer);
}

void CalcLayerDet_0123_neon_multi_dxdydxy(void* job, int32_t slot) {
  CalcLayerDet_0123_neon_multi(job, slot);
}

void CalcLayerDet_0123_neon_multi_dxdy_dxy(void* job, int32_t slot) {
  CalcLayerDet_0123_neon_multi(job, slot);
}
