// The compiled-in kernel tables: 50 phases, 4 taps, order 2, strength 0.2, made by the compiler.
#include <array>
#include <cstddef>
#include <cstdint>

#include "interpolation/lanczos_rules.h"
#include "velmora_sr/kernel_tables.h"

namespace velmora {
namespace {

constexpr std::size_t kPhases = kDefaultPhases;
constexpr std::size_t kTaps = kDefaultTaps;

using Values = std::array<float, kTaps>;
using Table1D = std::array<std::array<int16_t, kTaps>, kPhases>;
using Table2D = std::array<std::array<int16_t, kTaps * kTaps + 1>, kPhases * kPhases>;

consteval std::array<Values, kPhases> kernelValues() {
  std::array<Values, kPhases> values{};
  for (std::size_t p = 0; p < kPhases; ++p)
    evaluateKernel(values[p], phaseOffset(static_cast<int>(p), kDefaultPhases), 1.0f,
                   kDefaultOrder);
  return values;
}

constexpr std::array<Values, kPhases> kValues = kernelValues();

consteval Table1D plainTable() {
  Table1D table{};
  for (std::size_t p = 0; p < kPhases; ++p)
    quantizeRow(kValues[p], table[p]);
  return table;
}

consteval Table1D sharpTable() {
  Table1D table{};
  std::array<float, kTaps + 2> scratch{};
  for (std::size_t p = 0; p < kPhases; ++p) {
    Values values = kValues[p];
    sharpenRow(values, scratch, kDefaultStrength);
    quantizeRow(values, table[p]);
  }
  return table;
}

consteval Table2D sharpTable2D() {
  Table2D table{};
  std::array<float, kTaps * kTaps> block{};
  std::array<float, (kTaps + 2) * (kTaps + 2)> scratch{};
  for (std::size_t v = 0; v < kPhases; ++v) {
    for (std::size_t h = 0; h < kPhases; ++h) {
      outerProduct(kValues[v], kValues[h], block);
      sharpenBlock(block, scratch, kTaps, kSharpen310, kDefaultStrength);
      quantizeBlock(block, table[v * kPhases + h]);
    }
  }
  return table;
}

consteval std::array<std::array<float, 3>, 3> rowsOf(const SharpenFilter& filter) {
  std::array<std::array<float, 3>, 3> rows{};
  for (std::size_t r = 0; r < 3; ++r) {
    for (std::size_t c = 0; c < 3; ++c)
      rows[r][c] = filter.at(r, c);
  }
  return rows;
}

}  // namespace
}  // namespace velmora

constinit const std::array<std::array<int16_t, 4>, 50> D_Lanczos1D_4_2_Fix = velmora::plainTable();
constinit const std::array<std::array<int16_t, 4>, 50> D_Lanczos1D_4_2_Fix_sharp =
    velmora::sharpTable();
constinit const std::array<std::array<int16_t, 17>, 2500> D_Lanczos2D_4_2_Fix_Sharp =
    velmora::sharpTable2D();
constinit const std::array<std::array<float, 3>, 3> sharpenFilter_3_1_0_LUT =
    velmora::rowsOf(velmora::kSharpen310);
constinit const std::array<std::array<float, 3>, 3> sharpenFilter_3_1_5_LUT =
    velmora::rowsOf(velmora::kSharpen315);
