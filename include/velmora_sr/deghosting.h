// De-ghosting: where two registered frames disagree, the first is replaced by the second.
//
// Fusing two frames where something moved, or where the registration is locally wrong, shows double
// edges. De-ghosting compares the frames sample by sample through the position maps. A weight, read
// from a table by the largest difference of Y, U and V, keeps the first frame (4096) where they
// agree, and takes the second frame's sample (0) where they differ strongly.
#ifndef VELMORA_SR_DEGHOSTING_H
#define VELMORA_SR_DEGHOSTING_H

#include <cstdint>

#include "velmora_sr/export.h"
#include "velmora_sr/records.h"

/// The weights for the thresholds 1 and 15, Q12, by difference 0 .. 255.
VELMORA_API extern const int16_t Degost_LUT[256];

/// Builds the weights of two thresholds: 4096 below `low`, 0 from `high` on, and in between the
/// ramp (high - i) / (high - low) in single precision, in Q12, rounded. A `low` that is not below
/// `high` gives a step: 4096 below `low`, 0 from there on. The weight as a piecewise linear
/// function of the difference follows E. Dubois, S. Sabri, "Noise reduction in image sequences
/// using motion-compensated temporal filtering", IEEE Transactions on Communications 32, 1984.
///   table      256 entries, all written; not null
///   low, high  any values; differences are 0 .. 255
/// Any thread.
VELMORA_API void CreateDeGhostLUTOnline(int16_t* table, int32_t low, int32_t high);

/// De-ghosts a frame in place. Maps are read once per block of 4 x 4 samples, at its top left; the
/// block's other samples are taken to lie beside that position. The blocks of each of the four
/// bands of rows, [(i * height) / 4, ((i + 1) * height) / 4), begin at its first row.
///   guideImage     the second frame, NV12 or NV21, width * height luma samples and then height / 2
///                  chroma rows of 2 * (width / 2) bytes; read only
///   outputImage    the first frame, same layout; luma and chroma are changed where the frames
///                  differ. No overlap
///   priv           pub (allocator pair), ghostLowThr and ghostHighThr (0 .. 255) are read
///   width, height  1 .. 2^28
///   mapX, mapY     width * height positions in the guide, 16.16, of which 8 fraction bits count;
///                  any values: samples mapped outside the guide stay as they are
/// One scratch block of the size of the chroma comes from priv's allocator and goes back. If it
/// cannot be had, or an argument is missing or out of range, an error is logged and both frames
/// stay untouched; a process call then ends with its output untouched. Called by one thread at a
/// time; runs on slots 12, 13 and 14 of the thread pool and on the caller. Each sample is read and
/// written by one band, so results do not depend on their timing.
VELMORA_API void DeGhost(const uint8_t* guideImage, uint8_t* outputImage, SR_ParamsPrivate* priv,
                         int32_t width, int32_t height, const int32_t* mapX, const int32_t* mapY);

/// One band of rows.
struct SR_DeGhostBand {
  const uint8_t* guideImage;
  uint8_t* outputImage;  ///< luma is written, chroma only read
  int32_t width;
  int32_t height;
  int32_t firstRow;  ///< rows of the band
  int32_t endRow;    ///< past the last one
  const int32_t* mapX;
  const int32_t* mapY;
  uint8_t* scratchChroma;      ///< takes the new chroma, height / 2 rows of 2 * (width / 2) bytes
  const int16_t* weightTable;  ///< 256 entries, Q12
};

/// De-ghosts a band: luma in place, chroma of its even rows into the scratch plane.
///   band         an SR_DeGhostBand
///   threadIndex  not used
/// A job for the thread pool; bands of one frame may run at once.
VELMORA_API void DeGhostThreadFunc(void* band, int32_t threadIndex);

#endif  // VELMORA_SR_DEGHOSTING_H
