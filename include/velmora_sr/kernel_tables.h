// Tabulated Lanczos kernels: the installed tables and the generators that make them.
#ifndef VELMORA_SR_KERNEL_TABLES_H
#define VELMORA_SR_KERNEL_TABLES_H

#include <cstdint>

#include "velmora_sr/export.h"

/// Number of sub-pixel phases of the installed tables; 50 by default.
VELMORA_API extern int32_t G_QUANTIZATION;
/// G_QUANTIZATION rows of 4 taps, Q12, plain; used for chroma.
VELMORA_API extern int16_t** Lanczos1D_4_2_Fix;
/// G_QUANTIZATION rows of 4 taps, Q12, sharpened; used for luma of one frame.
VELMORA_API extern int16_t** Lanczos1D_4_2_Fix_sharp;
/// G_QUANTIZATION^2 rows [vertical phase * G_QUANTIZATION + horizontal phase] of 16 taps, Q12, not
/// normalised, and their sum; used for luma of two frames.
VELMORA_API extern int16_t** Lanczos2D_4_2_Fix_Sharp;

#endif  // VELMORA_SR_KERNEL_TABLES_H
