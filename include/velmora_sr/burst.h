/* The burst stage: one to eight 8-bit YUV 4:2:0 frames of one scene into one larger, cleaner
 * picture.
 *
 *   Velmora_SR_BurstParams params = {.size = sizeof params};
 *   params.width = 4000, params.height = 3000;
 *   params.outputWidth = 8000, params.outputHeight = 6000;
 *   params.noise = -1, params.sharpened = -1;
 *   Velmora_SR_Burst* burst = NULL;
 *   VELMORA_SR_BurstCreate(&params, &burst);
 *   for (int i = 0; i < 4; ++i) VELMORA_SR_BurstAdd(burst, &frames[i], &ids[i]);
 *   if (VELMORA_SR_BurstRender(burst, ids[0], &picture) != VELMORA_SR_BURST_OK)
 *     puts(VELMORA_SR_BurstMessage(burst));
 *   VELMORA_SR_BurstDestroy(&burst);
 *
 * The picture shows the region of the reference frame, all of it: a frame that shows less, or shows
 * something that has moved, counts less there or not at all. Frames may differ by any motion that a
 * homography describes, by some pixels of parallax on top, and in exposure.
 *
 * Geometry: the first and last luma samples of the picture lie on the first and last of the region,
 * so neighbours of W output columns lie (w - 1) / (W - 1) columns of w apart. A chroma sample lies
 * in the middle of its four luma samples, in frames and picture alike.
 *
 * Nothing is shared between handles, with the camera path (velmora_sr.h) or with the rest of the
 * process: any number of handles work at the same time. Calls on one handle have to be serialised;
 * they may come from different threads, and a handle survives a fork() in parent and child. Nothing
 * is printed or logged. No call throws.
 *
 * Results depend on frames, parameters and reference alone: not on the CPU, the number of threads,
 * the order in which the other frames were added, or what was rendered before.
 */
#ifndef VELMORA_SR_BURST_H
#define VELMORA_SR_BURST_H

#include <stddef.h>
#include <stdint.h>

#include "velmora_sr/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Most frames that a handle holds at a time. */
#define VELMORA_SR_BURST_FRAMES 8
/* Smallest and largest width and height of a frame, and of the output. Neither has more than
 * 2147483647 luma samples. */
#define VELMORA_SR_BURST_SMALLEST_SIDE 16
#define VELMORA_SR_BURST_LARGEST_SIDE 65535

/* Results of the calls. A call that fails has changed nothing: the handle can still be used. */
enum {
  VELMORA_SR_BURST_OK = 0,
  VELMORA_SR_BURST_BAD_ARGUMENT = -1, /* null, a size, scale, format or number out of range */
  VELMORA_SR_BURST_NO_MEMORY = -2,    /* an allocation failed */
  VELMORA_SR_BURST_CANCELLED = -3,    /* the progress function asked to stop */
  VELMORA_SR_BURST_FULL = -4,         /* eight frames are held already */
  VELMORA_SR_BURST_NO_FRAME = -5,     /* no frame with this number is held */
  VELMORA_SR_BURST_INTERNAL = -6 /* a defect of the library, or the host's function has thrown */
};

/* How much work is done (Velmora_SR_BurstParams::effort). */
enum {
  VELMORA_SR_BURST_NORMAL = 0,
  VELMORA_SR_BURST_FAST = 1 /* about half the time, 0.1 to 0.4 dB less: for video */
};

/* Whether a frame went into the last picture, and if not, why (Velmora_SR_BurstFrameReport::use).
 */
enum {
  VELMORA_SR_BURST_UNUSED = 0,       /* nothing has been rendered since the frame was added */
  VELMORA_SR_BURST_REFERENCE = 1,    /* the picture was made around it */
  VELMORA_SR_BURST_USED = 2,         /* it contributed */
  VELMORA_SR_BURST_NO_MOTION = -1,   /* no motion was found that maps the reference onto it */
  VELMORA_SR_BURST_LOW_OVERLAP = -2, /* it shows less than half of the reference */
  VELMORA_SR_BURST_RESIDUAL = -3,    /* registered, it fits no better than unregistered */
  VELMORA_SR_BURST_LOW_WEIGHT = -4   /* it differs from the reference almost everywhere */
};

/* Indices of the stages in Velmora_SR_BurstReport::milliseconds. */
enum {
  VELMORA_SR_BURST_STAGE_PYRAMIDS = 0,       /* of the frames, in VELMORA_SR_BurstAdd */
  VELMORA_SR_BURST_STAGE_REGISTRATION = 1,   /* homographies, gains */
  VELMORA_SR_BURST_STAGE_TRANSLATIONS = 2,   /* local translations */
  VELMORA_SR_BURST_STAGE_WEIGHTS = 3,        /* noise between frames, weights */
  VELMORA_SR_BURST_STAGE_NOISE = 4,          /* what the reconstruction makes of the noise */
  VELMORA_SR_BURST_STAGE_RECONSTRUCTION = 5, /* sum, back projection, restoration, rounding */
  VELMORA_SR_BURST_STAGE_COUNT = 6
};

/* Where a handle's memory comes from. Called on the thread of the call, never from a worker. */
typedef struct Velmora_SR_BurstAllocator {
  /* `size` bytes, aligned like malloc's, or null, which the library survives. */
  void* (*alloc)(void* user, size_t size);
  /* Takes a block back, exactly once. */
  void (*free)(void* user, void* block);
  void* user; /* handed to both */
} Velmora_SR_BurstAllocator;

/* A thread pool of the host's. */
typedef struct Velmora_SR_BurstExecutor {
  /* Calls job(context, i) once for each i in 0 .. count - 1, in any order, on any threads, at the
   * same time or one after the other, and returns when all have returned. */
  void (*run)(void* user, void (*job)(void* context, int32_t i), void* context, int32_t count);
  void* user; /* handed to run */
} Velmora_SR_BurstExecutor;

/* Told how far VELMORA_SR_BurstAdd or _BurstRender is: `share` grows from 0 to 1. Called on the
 * thread of the call between its steps, many times a second; an executor's run() is called again
 * for each stretch between. Returns 0 to go on; anything else stops the call. */
typedef int32_t (*Velmora_SR_BurstProgress)(void* user, double share);

/* What a handle is for; read once. Fields may be added behind the last one: `size` tells which are
 * there. Zeros are defaults wherever a line names one. */
typedef struct Velmora_SR_BurstParams {
  uint32_t size;        /* sizeof(Velmora_SR_BurstParams) */
  int32_t width;        /* frame size in luma samples, 16 .. 65535 each; odd sizes have chroma */
  int32_t height;       /* planes of (width + 1) / 2 by (height + 1) / 2 samples */
  int32_t left;         /* the region that the picture shows, in luma samples of the reference: */
  int32_t top;          /* its first column and row, */
  int32_t regionWidth;  /* its size, at least 16 by 16 and inside the frame; both 0: all of the */
  int32_t regionHeight; /* frame (left and top must then be 0) */
  int32_t outputWidth;  /* size of the picture: on each axis 1 to 4 times the region, at most */
  int32_t outputHeight; /* 65535; both 0: twice the region */
  int32_t effort;       /* VELMORA_SR_BURST_NORMAL or _FAST */
  int32_t threads;      /* most threads at work in a call, the caller's included: 1 .. 64; 0: one */
                        /* per processor. They are started and joined by each call */
  float noise; /* standard deviation of luma's noise in grey levels, up to 64, of which chroma is
                  taken to have half; below 0: both measured */
  float sharpened; /* by how much the camera sharpened its frames: f + a (f - blurred f) with a from
                      -0.6 to 1 and blurred by [1 2 1] / 4; -1 or less: 0.15, which suits frames of
                      unknown origin. 0: not at all; 0.3 for most cameras' JPEG files */
  const Velmora_SR_BurstAllocator* allocator; /* null: malloc and free; the record is copied */
  const Velmora_SR_BurstExecutor* executor;   /* null: threads of the library; copied */
  Velmora_SR_BurstProgress progress;          /* null: none */
  void* progressUser;                         /* handed to it */
} Velmora_SR_BurstParams;

/* A frame of the caller's: any 8-bit 4:2:0 layout. Sample (x, y) of a plane lies at
 * plane[y * stride + x * step]. NV12: u = block, v = block + 1, both steps 2. NV21: the other way
 * round. Planar: steps 1. Strides in bytes, at least what a row covers, or negative for frames that
 * are stored bottom up. */
typedef struct Velmora_SR_BurstFrame {
  const uint8_t* y;
  const uint8_t* u;
  const uint8_t* v;
  ptrdiff_t yStride;
  ptrdiff_t uStride;
  ptrdiff_t vStride;
  int32_t yStep; /* 1 or more; 0 counts as 1, in all three */
  int32_t uStep;
  int32_t vStep;
} Velmora_SR_BurstFrame;

/* Where a picture goes: the same, to be written. Chroma planes have (outputWidth + 1) / 2 by
 * (outputHeight + 1) / 2 samples. */
typedef struct Velmora_SR_BurstPicture {
  uint8_t* y;
  uint8_t* u;
  uint8_t* v;
  ptrdiff_t yStride;
  ptrdiff_t uStride;
  ptrdiff_t vStride;
  int32_t yStep;
  int32_t uStep;
  int32_t vStep;
} Velmora_SR_BurstPicture;

/* What the last picture made of one frame. Fields may be added behind the last one. */
typedef struct Velmora_SR_BurstFrameReport {
  uint32_t size;      /* set by the host: sizeof(Velmora_SR_BurstFrameReport) */
  int32_t use;        /* VELMORA_SR_BURST_USED and so on */
  const char* reason; /* a phrase in English for a frame that was left out, else ""; constant */
  double
      homography[9]; /* row-major, last entry 1: luma samples of the reference to this frame's; */
                     /* the identity where none was found. (0, 0) is a sample's centre */
  double gain;       /* what makes this frame as bright as the reference: */
  double bias;       /* gain * sample + bias, in grey levels */
  double residualBefore; /* root mean square difference from the reference in grey levels, at half
                            size, outliers limited: where the frame lies as it is */
  double residualAfter;  /* and after registration and photometric match */
  double meanWeight;     /* over the region, 0 .. 1 */
  double share;          /* of all weights of the picture, 0 .. 1; all frames' shares add up to 1 */
  int32_t localTiles;    /* tiles of 32 x 32 that moved on their own by parallax */
} Velmora_SR_BurstFrameReport;

/* What the last picture took. Fields may be added behind the last one. */
typedef struct Velmora_SR_BurstReport {
  uint32_t size;      /* set by the host: sizeof(Velmora_SR_BurstReport) */
  int32_t framesUsed; /* the reference included; 0 before the first picture */
  double noise;       /* standard deviation of luma's noise in grey levels, measured or given */
  double noiseU;      /* and of chroma's */
  double noiseV;
  double milliseconds[VELMORA_SR_BURST_STAGE_COUNT]; /* elapsed times by stage */
  uint64_t memory;                                   /* bytes held by the handle now */
  uint64_t peakMemory;                               /* the most it has held at any time */
} Velmora_SR_BurstReport;

typedef struct Velmora_SR_Burst Velmora_SR_Burst;

/* Makes a handle for bursts of one frame size.
 *   params  not null, its size at least that of the first version
 *   burst   not null; takes the handle, null when the call fails
 * Returns VELMORA_SR_BURST_OK, _BAD_ARGUMENT or _NO_MEMORY. */
VELMORA_API int32_t VELMORA_SR_BurstCreate(const Velmora_SR_BurstParams* params,
                                           Velmora_SR_Burst** burst);

/* Releases a handle and all its memory.
 *   burst  null, or a handle or null, which becomes null */
VELMORA_API void VELMORA_SR_BurstDestroy(Velmora_SR_Burst** burst);

/* Takes a frame into the handle. Its samples are not copied: they must stay readable and unchanged
 * until the frame is dropped or the handle destroyed.
 *   burst  a handle
 *   frame  not null, with three planes; the record is copied
 *   id     not null; takes the frame's number, above 0 and never used twice by a handle
 * Returns VELMORA_SR_BURST_OK, _BAD_ARGUMENT, _NO_MEMORY, _CANCELLED or _FULL. */
VELMORA_API int32_t VELMORA_SR_BurstAdd(Velmora_SR_Burst* burst, const Velmora_SR_BurstFrame* frame,
                                        int32_t* id);

/* Makes the picture around one of the frames held, from all of them. What was found about pairs of
 * frames is kept for the next picture.
 *   burst      a handle
 *   reference  number of the frame whose view is shown
 *   picture    not null, its planes apart from each other and from all frames held
 * Returns VELMORA_SR_BURST_OK, also where frames were left out; _BAD_ARGUMENT, _NO_MEMORY or
 * _NO_FRAME with the picture untouched; _CANCELLED with parts of it written. */
VELMORA_API int32_t VELMORA_SR_BurstRender(Velmora_SR_Burst* burst, int32_t reference,
                                           const Velmora_SR_BurstPicture* picture);

/* Lets a frame go, with what was found about it.
 * Returns VELMORA_SR_BURST_OK, _BAD_ARGUMENT or _NO_FRAME. */
VELMORA_API int32_t VELMORA_SR_BurstDrop(Velmora_SR_Burst* burst, int32_t frame);

/* Tells what the last picture made of a frame.
 *   frame   number of a frame that is held
 *   report  not null; its size is set, the rest is written as far as the size goes
 * Returns VELMORA_SR_BURST_OK, _BAD_ARGUMENT or _NO_FRAME. */
VELMORA_API int32_t VELMORA_SR_BurstFrameReport(Velmora_SR_Burst* burst, int32_t frame,
                                                Velmora_SR_BurstFrameReport* report);

/* Tells what the last picture took.
 *   report  not null; its size is set, the rest is written as far as the size goes
 * Returns VELMORA_SR_BURST_OK or _BAD_ARGUMENT. */
VELMORA_API int32_t VELMORA_SR_BurstReport(Velmora_SR_Burst* burst, Velmora_SR_BurstReport* report);

/* Draws how much a frame counted in the last picture, sample by sample of the reference.
 *   frame    number of a frame that is held
 *   weights  not null; takes width * height bytes of the frame size, 0: not at all, 255: as much
 *            as the reference. All 255 for the reference, all 0 for a frame that was left out.
 *            It must not overlap a frame that is held
 *   stride   bytes from row to row, at least the width
 * Returns VELMORA_SR_BURST_OK, _BAD_ARGUMENT or _NO_FRAME. */
VELMORA_API int32_t VELMORA_SR_BurstWeights(Velmora_SR_Burst* burst, int32_t frame,
                                            uint8_t* weights, ptrdiff_t stride);

/* What went wrong in the last call on the handle, as a sentence in English; "" when nothing did.
 * Never null; valid until the next call on the handle. A null handle has a text, too. */
VELMORA_API const char* VELMORA_SR_BurstMessage(const Velmora_SR_Burst* burst);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* VELMORA_SR_BURST_H */
