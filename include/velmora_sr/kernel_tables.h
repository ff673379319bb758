// Tabulated Lanczos kernels: the installed tables, the compiled-in ones, and the generators.
//
// A table holds one row per sub-pixel phase. For a 16.16 source position pos, the sample is
// i = pos >> 16 and the phase (G_QUANTIZATION * (pos & 0xFFFF)) >> 16: truncated, so always below
// G_QUANTIZATION. Phase p stands for the fraction p / G_QUANTIZATION. The four taps of a 1D row
// weight the samples i - 1, i, i + 1, i + 2, in this order; the 2D block does so on both axes.
// Taps are Q12: 4096 is 1.0. In the names, 4 is the number of taps and 2 the order of the kernel.
//
// Threads: consumers only read the installed tables, on any number of threads. Whatever installs or
// releases tables (creation, destruction, ParseConfigFile, LoadDefaultKernelFile,
// CreateLanczosLUT_ZELK) must not run beside them. The other functions here may run on any thread,
// except that KernelFiltering1D, KernelFiltering and the table builders take scratch from the
// allocator of the process call in progress, if there is one.
#ifndef VELMORA_SR_KERNEL_TABLES_H
#define VELMORA_SR_KERNEL_TABLES_H

#include <array>
#include <cstdint>

#include "velmora_sr/export.h"
#include "velmora_sr/velmora_sr.h"

// ---- The installed tables ---------------------------------------------------------------------
// Null until tables are installed; cleared by creation, released by destruction. Every row is a
// heap array of its own, made by new[], and so is each array of rows.

/// Number of sub-pixel phases of the installed tables, 1..1024; 50 at load time and with the
/// compiled-in tables. CreateLanczosLUT1D, -2D and -_ZELK make tables of this many phases: set it
/// before the call. Consumers trust it: do not change it while tables of another count are in use.
VELMORA_API extern int32_t G_QUANTIZATION;
/// G_QUANTIZATION rows of 4 taps, plain; used for chroma. Rows sum to 4096 within 2.
VELMORA_API extern int16_t** Lanczos1D_4_2_Fix;
/// G_QUANTIZATION rows of 4 taps, sharpened; used for luma of one frame. Rows sum to 4096 within 2.
/// Phase 0 is no copy: samples that fall on the input grid are sharpened too.
VELMORA_API extern int16_t** Lanczos1D_4_2_Fix_sharp;
/// G_QUANTIZATION^2 rows [vertical phase * G_QUANTIZATION + horizontal phase] of 17 values: a block
/// of 4 x 4 taps, row by row, not normalised, then the sum of the 16; used for luma of two frames.
VELMORA_API extern int16_t** Lanczos2D_4_2_Fix_Sharp;

// ---- The compiled-in tables -------------------------------------------------------------------
// 50 phases, 4 taps, order 2, sharpened at strength 0.2: what the generators below make with these
// parameters. Row p of a 1D table is row 50 - p reversed.

/// The compiled-in tables: plain, sharpened and two-dimensional.
VELMORA_API extern const std::array<std::array<int16_t, 4>, 50> D_Lanczos1D_4_2_Fix;
VELMORA_API extern const std::array<std::array<int16_t, 4>, 50> D_Lanczos1D_4_2_Fix_sharp;
VELMORA_API extern const std::array<std::array<int16_t, 17>, 2500> D_Lanczos2D_4_2_Fix_Sharp;

/// The high-pass filter of KernelFiltering: the identity less a Gaussian of standard deviation 1.
VELMORA_API extern const std::array<std::array<float, 3>, 3> sharpenFilter_3_1_0_LUT;
/// A wider filter (standard deviation 1.5) for hosts that sharpen kernels of their own.
VELMORA_API extern const std::array<std::array<float, 3>, 3> sharpenFilter_3_1_5_LUT;

// ---- Generators -------------------------------------------------------------------------------
// Single precision, the same bits on every platform.
//
// Sources: C. E. Duchon, "Lanczos filtering in one and two dimensions", Journal of Applied
// Meteorology 18, 1979, for the kernel, a product of two sincs; W. F. Schreiber, "Wirephoto quality
// improvement by unsharp masking", Pattern Recognition 2, 1970, for the sharpening, which adds a
// share of what a Gaussian takes away.

/// Values of the Lanczos kernel around position x.
/// @param out    2 * (taps / 2) values written: for k = 1 - taps / 2 .. taps / 2 the kernel at
///               t = (k - frac(x)) / scale, and 0 where |t| >= a. Null: nothing is written
/// @param x      position in samples; only its fraction x - floor(x) matters
/// @param scale  width of the kernel in samples, 1 for enlarging, > 0
/// @param taps   number of values, even; below 2 nothing is written
/// @param a      order: bounds the support. The formula itself is that of order 2 for every a:
///               sin(pi t) sin(pi t / 2) / (pi^2 t^2 / 2)
VELMORA_API void Lanczos1D(float* out, float x, float scale, int taps, int a);

/// Calls Lanczos1D and divides every value by their sum. Values that sum to 0 stay as they are.
VELMORA_API void Lanczos1DNorm(float* out, float x, float scale, int taps, int a);

/// The separable product of Lanczos1D at y (rows) and at x (columns), not normalised.
/// @param out  n x n values written, row by row, n = 2 * (taps / 2). Null: nothing is written
/// The rest as in Lanczos1D; taps above 32 write nothing.
VELMORA_API void Lanczos2D(float* out, float x, float y, float scale, int taps, int a);

/// Writes the fractions of the default phases.
/// @param out  50 values written, whatever G_QUANTIZATION is: p * 0.02 for p = 0..49, rounded once
///             to single precision. Null: nothing is written
VELMORA_API void CreateQuantizationLUT(float* out);

/// Sharpens a 1D kernel in place: value += strength * (-0.2741, 0.5481, -0.2741) around it, the
/// ends mirrored without repeating the end value.
/// @param kernel    taps values, not null
/// @param taps      2..32
/// @param strength  0 changes nothing; the default tables have 0.2
/// Returns SR_RET_SUCCEED; SR_RET_PARAMS_OUT_OF_RANGE; SR_RET_ALLOC_FAILED when the allocator of
/// the process call in progress (tag "SR_Process"; the C heap when there is none) gave no scratch.
/// On failure the kernel is as before.
VELMORA_API Velmora_SR_ESR_RET KernelFiltering1D(float* kernel, int taps, float strength);

/// Sharpens a block of taps x taps values in place, row by row, with sharpenFilter_3_1_0_LUT.
/// Borders, parameters and results as in KernelFiltering1D.
VELMORA_API Velmora_SR_ESR_RET KernelFiltering(float* block, int taps, float strength);

/// Makes a 1D table of G_QUANTIZATION phases: Lanczos1D values, sharpened at the strength (0: the
/// plain table), divided by their sum, times 4096, truncated toward zero.
/// @param taps      values per row, even, 2..32
/// @param order     support of the kernel, 1..32
/// @param strength  finite
/// Returns G_QUANTIZATION rows, owned by the caller (delete[] each row, then the array); null for
/// parameters out of range, a phase count outside 1..1024, or when memory runs out. The installed
/// tables stay as they are.
VELMORA_API int16_t** CreateLanczosLUT1D(int taps, int order, float strength);

/// Makes a 2D table: Lanczos2D blocks, sharpened, times 4096, truncated toward zero, not
/// normalised, each followed by the sum of its taps. G_QUANTIZATION^2 rows of taps * taps + 1
/// values [vertical phase * G_QUANTIZATION + horizontal phase]. The rest as in CreateLanczosLUT1D.
VELMORA_API int16_t** CreateLanczosLUT2D(int taps, int order, float strength);

/// Makes all three tables with G_QUANTIZATION phases and installs them in place of those installed,
/// which are released. With the arguments (4, 2, 0.2f, 0.2f) and 50 phases these are the
/// compiled-in tables.
/// @param taps   as in CreateLanczosLUT1D. The library's stages interpolate with 4 taps; other
///               counts are for hosts with stages of their own
/// @param order  as in CreateLanczosLUT1D
/// @param s1D    strength of the sharp 1D table, finite; the plain one is made with 0
/// @param s2D    strength of the 2D table, finite
/// Returns SR_RET_SUCCEED; SR_RET_PARAMS_OUT_OF_RANGE or SR_RET_ALLOC_FAILED with nothing installed
/// or released.
VELMORA_API Velmora_SR_ESR_RET CreateLanczosLUT_ZELK(int taps, int order, float s1D, float s2D);

#endif  // VELMORA_SR_KERNEL_TABLES_H
