// AVX2's ways between rows of samples and rows in phases.
#ifndef VELMORA_SRC_BURST_RESTORATION_X86_PHASES_H
#define VELMORA_SRC_BURST_RESTORATION_X86_PHASES_H

#include <cstddef>
#include <cstdint>

namespace velmora::burst::avx2 {

void split(const int16_t* in, int32_t count, int32_t stride, std::ptrdiff_t phase, int16_t* out);
void merge(const int16_t* in, int32_t count, int32_t stride, std::ptrdiff_t phase, int16_t* out);

}  // namespace velmora::burst::avx2

#endif  // VELMORA_SRC_BURST_RESTORATION_X86_PHASES_H
