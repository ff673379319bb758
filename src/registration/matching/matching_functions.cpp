#include "registration/matching/matching_functions.h"

#include <array>

#include "common/wrapping.h"
#include "velmora_sr/features.h"

namespace velmora::scalar {
namespace {

// Descriptor values stay within +-2^23, but callers may pass anything: differences, squares and
// sums are taken modulo 2^32, where the order of summation does not matter.
uint32_t shiftedSquare(int32_t a, int32_t b, int shift) {
  const int32_t difference = wrappingSub(a, b);
  const auto reduced = static_cast<uint32_t>(difference >> shift);
  return reduced * reduced;
}

constexpr auto kLength = static_cast<std::size_t>(VELMORA_SR_DESCRIPTOR_LENGTH);
using Accumulators = std::array<uint32_t, kLength>;

void store(const Accumulators& accumulators, int32_t* out) {
  for (std::size_t d = 0; d < kLength; ++d)
    out[d] = static_cast<int32_t>(accumulators[d]);
}

}  // namespace

int32_t descriptorDistance(const int32_t* a, const int32_t* b) {
  uint32_t sum = 0;
  for (std::size_t d = 0; d < kLength; ++d)
    sum += shiftedSquare(a[d], b[d], 8);
  return static_cast<int32_t>(sum);
}

void descriptorSums(const int32_t* const* descriptors, const int32_t* indices, int32_t count,
                    int32_t* sums) {
  Accumulators total{};
  for (int32_t i = 0; i < count; ++i) {
    const int32_t* descriptor = descriptors[indices[i]];
    for (std::size_t d = 0; d < kLength; ++d)
      total[d] += static_cast<uint32_t>(descriptor[d]);
  }
  store(total, sums);
}

void descriptorSpreads(const int32_t* const* descriptors, const int32_t* indices, int32_t count,
                       const int32_t* means, int32_t* spreads) {
  Accumulators total{};
  for (int32_t i = 0; i < count; ++i) {
    const int32_t* descriptor = descriptors[indices[i]];
    for (std::size_t d = 0; d < kLength; ++d)
      total[d] += shiftedSquare(descriptor[d], means[d], 12);
  }
  store(total, spreads);
}

int32_t firstSmallest(const int32_t* values, int32_t count) {
  int32_t best = 0;
  for (int32_t i = 1; i < count; ++i) {
    if (values[i] < values[best]) best = i;
  }
  return best;
}

}  // namespace velmora::scalar
