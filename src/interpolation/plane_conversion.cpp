// Bands of the plane conversion: luma into padded planes, chroma pairs to planes and back.
#include "velmora_sr/plane_conversion.h"

#include <cstddef>
#include <cstring>

#include "interpolation/functions.h"

namespace {

void copyRows(const SR_LumaCopyBand& band, const uint8_t* source, uint8_t* interior) {
  for (std::ptrdiff_t row = band.firstRow; row < band.endRow; ++row) {
    std::memcpy(interior + row * band.destinationPitch, source + (row - band.firstRow) * band.width,
                static_cast<std::size_t>(band.width));
  }
}

void splitRows(const SR_ChromaSplitBand& band, const uint8_t* source, uint8_t* u, uint8_t* v) {
  const auto split = velmora::interpolationFunctions().splitPairs;
  for (std::ptrdiff_t row = band.firstRow; row < band.endRow; ++row) {
    const std::ptrdiff_t offset = row * band.destinationPitch;
    split(source + (row - band.firstRow) * 2 * band.width, u + offset, v + offset, band.width);
  }
}

}  // namespace

void YNV12TO420EdgeMirror_ThreadFunc(void* band, int32_t /*threadIndex*/) {
  const auto& luma = *static_cast<const SR_LumaCopyBand*>(band);
  if (luma.width < 1) return;
  copyRows(luma, luma.source1, luma.destination1);
  if (luma.source2 != nullptr) copyRows(luma, luma.source2, luma.destination2);
}

void UVNV12TO420EdgeMirror_ThreadFunc(void* band, int32_t /*threadIndex*/) {
  const auto& chroma = *static_cast<const SR_ChromaSplitBand*>(band);
  splitRows(chroma, chroma.source1, chroma.u1, chroma.v1);
  if (chroma.source2 != nullptr) splitRows(chroma, chroma.source2, chroma.u2, chroma.v2);
}

void UVNV12TO420_ThreadFunc(void* band, int32_t /*threadIndex*/) {
  const auto& chroma = *static_cast<const SR_ChromaMergeBand*>(band);
  const auto merge = velmora::interpolationFunctions().mergePairs;
  const std::ptrdiff_t rows = std::ptrdiff_t{chroma.endRow} - chroma.firstRow;
  for (std::ptrdiff_t row = 0; row < rows; ++row) {
    const std::ptrdiff_t offset = row * chroma.width;
    merge(chroma.u + offset, chroma.v + offset, chroma.destination + 2 * offset, chroma.width);
  }
}
