// The exported generators of kernels and kernel tables.
#include <array>
#include <cmath>
#include <cstddef>
#include <memory>
#include <new>
#include <span>
#include <utility>

#include "interpolation/kernel_tables.h"
#include "interpolation/lanczos_rules.h"
#include "interpolation/phase.h"
#include "memory/call_buffer.h"
#include "velmora_sr/records.h"

namespace velmora {
namespace {

constexpr int kMaxTaps = 32;
constexpr int kMaxOrder = 32;

/// Scratch of a filtering: from the process call in progress, so that it counts as the call's, or
/// from the C heap where no call is in progress (the tool, hosts that make tables).
class FilterScratch {
 public:
  explicit FilterScratch(std::size_t count) {
    if (zelkParamPrivate.pub != nullptr) {
      buffer_ = CallBuffer<float>(currentAllocator(), count);
      span_ = buffer_.span();
    } else {
      heap_.reset(new (std::nothrow) float[count]);
      if (heap_ != nullptr) span_ = {heap_.get(), count};
    }
  }
  [[nodiscard]] std::span<float> span() const { return span_; }

 private:
  CallBuffer<float> buffer_;
  std::unique_ptr<float[]> heap_;
  std::span<float> span_;
};

std::span<float> kernelSpan(float* out, int taps) {
  if (out == nullptr || taps < 2) return {};
  return {out, static_cast<std::size_t>(taps) / 2 * 2};
}

float fractionOf(float x) {
  return x - std::floor(x);
}

bool validTable(int taps, int order, float strength) {
  return taps >= 2 && taps <= kMaxTaps && taps % 2 == 0 && order >= 1 && order <= kMaxOrder &&
         std::isfinite(strength) && G_QUANTIZATION >= 1 && G_QUANTIZATION <= kMaxKernelPhases;
}

/// Values of one phase of G_QUANTIZATION.
std::span<const float> phaseValues(int phase, int taps, int order,
                                   std::array<float, kMaxTaps>& storage) {
  const std::span values(storage.data(), static_cast<std::size_t>(taps));
  evaluateKernel(values, phaseOffset(phase, G_QUANTIZATION), 1.0f, order);
  return values;
}

/// Fills a 1D table; false when there was no scratch.
bool fill1D(const KernelRows& rows, int taps, int order, float strength) {
  std::array<float, kMaxTaps> values{};
  for (std::size_t p = 0; p < rows.size(); ++p) {
    const auto row = phaseValues(static_cast<int>(p), taps, order, values);
    if (KernelFiltering1D(values.data(), taps, strength) != SR_RET_SUCCEED) return false;
    quantizeRow(row, rows[p]);
  }
  return true;
}

/// Fills a 2D table; false when there was no scratch.
bool fill2D(const KernelRows& rows, int taps, int order, float strength) {
  std::array<float, kMaxTaps> vertical{};
  std::array<float, kMaxTaps> horizontal{};
  std::array<float, static_cast<std::size_t>(kMaxTaps) * kMaxTaps> storage{};
  const std::span block(storage.data(), static_cast<std::size_t>(taps) * taps);
  const auto phases = static_cast<std::size_t>(G_QUANTIZATION);
  for (std::size_t i = 0; i < rows.size(); ++i) {
    outerProduct(phaseValues(static_cast<int>(i / phases), taps, order, vertical),
                 phaseValues(static_cast<int>(i % phases), taps, order, horizontal), block);
    if (KernelFiltering(block.data(), taps, strength) != SR_RET_SUCCEED) return false;
    quantizeBlock(block, rows[i]);
  }
  return true;
}

}  // namespace
}  // namespace velmora

using namespace velmora;

void Lanczos1D(float* out, float x, float scale, int taps, int a) {
  evaluateKernel(kernelSpan(out, taps), fractionOf(x), scale, a);
}

void Lanczos1DNorm(float* out, float x, float scale, int taps, int a) {
  Lanczos1D(out, x, scale, taps, a);
  const std::span<float> values = kernelSpan(out, taps);
  const float sum = sumOf(values);
  if (sum == 0.0f) return;
  for (float& value : values)
    value /= sum;
}

void Lanczos2D(float* out, float x, float y, float scale, int taps, int a) {
  if (out == nullptr || taps < 2 || taps > kMaxTaps) return;
  std::array<float, kMaxTaps> vertical{};
  std::array<float, kMaxTaps> horizontal{};
  Lanczos1D(vertical.data(), y, scale, taps, a);
  Lanczos1D(horizontal.data(), x, scale, taps, a);
  const std::size_t n = static_cast<std::size_t>(taps) / 2 * 2;
  outerProduct(std::span(vertical).first(n), std::span(horizontal).first(n), {out, n * n});
}

void CreateQuantizationLUT(float* out) {
  if (out == nullptr) return;
  for (int p = 0; p < kDefaultPhases; ++p)
    out[p] = phaseOffset(p, kDefaultPhases);
}

Velmora_SR_ESR_RET KernelFiltering1D(float* kernel, int taps, float strength) {
  if (kernel == nullptr || taps < 2 || taps > kMaxTaps) return SR_RET_PARAMS_OUT_OF_RANGE;
  const auto count = static_cast<std::size_t>(taps);
  const FilterScratch scratch(count + 2);
  if (scratch.span().empty()) return SR_RET_ALLOC_FAILED;
  sharpenRow({kernel, count}, scratch.span(), strength);
  return SR_RET_SUCCEED;
}

Velmora_SR_ESR_RET KernelFiltering(float* block, int taps, float strength) {
  if (block == nullptr || taps < 2 || taps > kMaxTaps) return SR_RET_PARAMS_OUT_OF_RANGE;
  const auto count = static_cast<std::size_t>(taps);
  const FilterScratch scratch((count + 2) * (count + 2));
  if (scratch.span().empty()) return SR_RET_ALLOC_FAILED;
  sharpenBlock({block, count * count}, scratch.span(), count, kSharpen310, strength);
  return SR_RET_SUCCEED;
}

int16_t** CreateLanczosLUT1D(int taps, int order, float strength) {
  if (!validTable(taps, order, strength)) return nullptr;
  KernelRows rows(static_cast<std::size_t>(G_QUANTIZATION), static_cast<std::size_t>(taps));
  if (!rows || !fill1D(rows, taps, order, strength)) return nullptr;
  return rows.release();
}

int16_t** CreateLanczosLUT2D(int taps, int order, float strength) {
  if (!validTable(taps, order, strength)) return nullptr;
  const auto phases = static_cast<std::size_t>(G_QUANTIZATION);
  const auto count = static_cast<std::size_t>(taps);
  KernelRows rows(phases * phases, count * count + 1);
  if (!rows || !fill2D(rows, taps, order, strength)) return nullptr;
  return rows.release();
}

Velmora_SR_ESR_RET CreateLanczosLUT_ZELK(int taps, int order, float s1D, float s2D) {
  if (!validTable(taps, order, s1D) || !validTable(taps, order, s2D)) {
    return SR_RET_PARAMS_OUT_OF_RANGE;
  }
  auto tables = KernelTables::allocate(G_QUANTIZATION, static_cast<std::size_t>(taps));
  if (!tables || !fill2D(tables.sharp2D, taps, order, s2D) ||
      !fill1D(tables.sharp1D, taps, order, s1D) || !fill1D(tables.plain1D, taps, order, 0.0f)) {
    return SR_RET_ALLOC_FAILED;
  }
  installKernelTables(std::move(tables));
  return SR_RET_SUCCEED;
}
