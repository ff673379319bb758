/* What a call did: whether its two frames were fused, and if not, why. C99 and C++.
 *
 *   Velmora_SR_Report report = {.size = sizeof report};
 *   if (VELMORA_SR_Process(handle, &in, 2, &out) == 0 &&
 *       VELMORA_SR_GetReport(handle, &report) == 0 && !report.fused)
 *     printf("not fused: %s\n", report.reason);
 *
 * Threads: serialise these functions with each other and with the three calls of velmora_sr.h.
 */
#ifndef VELMORA_SR_REPORT_H
#define VELMORA_SR_REPORT_H

#include <stdint.h>

#include "velmora_sr/export.h"
#include "velmora_sr/velmora_sr.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Stages of a call, in the order in which they run; the first four of registration, REDUCTION to
 * DESCRIPTOR, run for both frames. */
enum {
  VELMORA_SR_STAGE_NONE = 0,
  VELMORA_SR_STAGE_CALL = 1,           /* arguments, kernel tables, memory of the call's records */
  VELMORA_SR_STAGE_REDUCTION = 2,      /* frames to a quarter of their width and height */
  VELMORA_SR_STAGE_INTEGRAL = 3,       /* integral image */
  VELMORA_SR_STAGE_DETECTOR = 4,       /* luma statistics, key points */
  VELMORA_SR_STAGE_DESCRIPTOR = 5,     /* descriptors of the key points */
  VELMORA_SR_STAGE_TREES = 6,          /* kd-trees over the first frame's descriptors */
  VELMORA_SR_STAGE_SEARCH = 7,         /* nearest neighbours, ratio test */
  VELMORA_SR_STAGE_RANSAC = 8,         /* the homography that most matches agree with */
  VELMORA_SR_STAGE_REFINEMENT = 9,     /* its fit to all inliers */
  VELMORA_SR_STAGE_AREA = 10,          /* the rectangle that both frames show */
  VELMORA_SR_STAGE_MAPS = 11,          /* position maps */
  VELMORA_SR_STAGE_DEGHOSTING = 12,    /* replacement of samples that differ */
  VELMORA_SR_STAGE_INTERPOLATION = 13, /* the output */
  VELMORA_SR_STAGE_ROOM = 16           /* length of Velmora_SR_Report::milliseconds */
};

/* Kinds of causes of a failure. */
enum {
  VELMORA_SR_CAUSE_NONE = 0,
  VELMORA_SR_CAUSE_FRAMES = 1,    /* the two frames cannot be registered */
  VELMORA_SR_CAUSE_MEMORY = 2,    /* an allocation failed */
  VELMORA_SR_CAUSE_ARGUMENTS = 3, /* null, a size, format or scene that is not handled */
  VELMORA_SR_CAUSE_SETUP = 4,     /* no kernel tables or no allocator functions */
  VELMORA_SR_CAUSE_EXCEPTION = 5  /* an allocator of the caller, or a stage, has thrown */
};

/* A key point in pixels of its frame: 0 is the centre of the first column or row. */
typedef struct Velmora_SR_KeyPoint {
  float x;
  float y;
} Velmora_SR_KeyPoint;

/* A key point of the second frame and its partner in the first. */
typedef struct Velmora_SR_Match {
  int32_t first;  /* index in keyPoints[0] */
  int32_t second; /* index in keyPoints[1] */
  int32_t inlier; /* 1: agrees with the homography, which is refined over these matches; else 0 */
} Velmora_SR_Match;

/* The report. Fields may be added behind the last one, never in between: `size` tells how many
 * bytes are meant. Everything is 0 where a stage did not run, unless a line says otherwise. */
typedef struct Velmora_SR_Report {
  uint32_t size;   /* set by the host: sizeof(Velmora_SR_Report); then how much of it was written */
  int32_t scene;   /* scene code */
  int32_t result;  /* what the call returned; 0 before the first one */
  int32_t written; /* 1: the whole output was written; 0: it was left untouched */
  int32_t fused;   /* 1: the output shows both frames; 0: the first alone, or nothing */
  int32_t registered; /* 1: the second frame was registered to the first */

  /* What kept the call from fusing its frames or from writing its output. A one-frame call that has
   * written its output has no cause, and neither has an output of the input's size, a copy. */
  int32_t stage;      /* VELMORA_SR_STAGE_... that failed */
  int32_t cause;      /* VELMORA_SR_CAUSE_... */
  const char* reason; /* a phrase in English, never null, "" without a cause; constant */

  /* Registration. */
  int32_t reduction;        /* by which the analysed frames are smaller: 4 or 1 */
  float detectorThreshold;  /* after the luma statistics: 280, 150 or 50 */
  float matchRatio;         /* bound of the ratio test: 0.45 or 0.4 */
  int32_t keyPointCount[2]; /* of the first and the second frame */
  int32_t matchCount;       /* key points of the second frame with a partner in the first */
  int32_t inlierCount;      /* matches that are inliers */
  const Velmora_SR_KeyPoint* keyPoints[2]; /* keyPointCount entries each; null without any. Both */
  const Velmora_SR_Match* matches;         /* lists are the library's, valid until its next call */
  int32_t hasHomography; /* 1: there was a homography to test, accepted (see registered) or not */
  float homography[9];   /* row-major, last entry 1: pixels of the first frame to the second */
  int32_t left;          /* the rectangle of the first frame that the second covers, ends */
  int32_t top;           /* inclusive; of registered frames only */
  int32_t right;
  int32_t bottom;

  /* De-ghosting. */
  int32_t ghostLow;  /* thresholds in force, 0..255: differences below the first keep a sample, */
  int32_t ghostHigh; /* from the second on it is replaced */
  double replacedShare; /* share of the samples of the enlarged region that were replaced, a half
                           replaced one counting half; measured on 65,536 of them at most */

  /* Tuning, of the creation of the handle. */
  int32_t configurationRead; /* 1: thresholds come from the configuration given, 0: built in */
  int32_t kernelsRead;       /* 1: kernel tables come, whole, from the file or bytes given */
  int32_t kernelPhases;      /* phases of the kernel tables; 0 when there are none */

  /* The part of the first frame that the output shows, ends inclusive: the region after all
   * narrowing and replacement. Scene 0 reports the caller's region even where it was replaced. */
  int32_t shownLeft;
  int32_t shownTop;
  int32_t shownRight;
  int32_t shownBottom;

  double milliseconds[VELMORA_SR_STAGE_ROOM]; /* elapsed time of each stage, by its number */
} Velmora_SR_Report;

/* Tells what the last call did. Works after any call on the handle, from its creation on, failed
 * ones included; not after calls with a null handle.
 *   handle  of the last VELMORA_SR_Create, VELMORA_SR_Process or VELMORA_SR_Register
 *   report  not null; its size is set, the rest is written as far as the size goes
 * Returns 0; -1 for a null argument or a size below that of the first two fields; -2 when the last
 * call was one on another handle. Takes no memory and writes no log line. */
VELMORA_API int32_t VELMORA_SR_GetReport(const SR_ParamsPublic* handle, Velmora_SR_Report* report);

/* Registers the second frame of a scene with two frames to the first, and stops there: nothing is
 * written, no frame is changed. The report has what was found; `fused` and `written` are 0 there.
 * The next process call on the handle, if it has the same frames at the same addresses, takes this
 * registration in place of one of its own: so a host can choose region and output size by what
 * both frames show. Any other call forgets it.
 *   handle      from VELMORA_SR_Create
 *   input       not null; as in VELMORA_SR_Process, but region and chroma are not read. The frames
 *               must not change before the process call
 *   frameCount  as in VELMORA_SR_Process
 * Returns 0, also when the frames cannot be registered; otherwise the codes of VELMORA_SR_Process,
 * and -4 for scene 0, too. Memory and threads as in VELMORA_SR_Process. */
VELMORA_API int32_t VELMORA_SR_Register(SR_ParamsPublic* handle,
                                        const Velmora_SR_InputFrames* input, int32_t frameCount);

/* Asks for the weights of de-ghosting as a picture, in all process calls of the handle from now on.
 *   handle   of the last VELMORA_SR_Create
 *   weights  inImageWidth * inImageHeight bytes of the caller, row-major, or null to stop. A call
 *            writes the weight of each sample of the first frame: 255 keeps the sample, 0 takes
 *            the second frame's; 255 everywhere when the frames are not fused. Calls with another
 *            input size, and calls that are refused, leave it alone
 * Returns 0; -1 for a null handle; -2 for another handle. */
VELMORA_API int32_t VELMORA_SR_RequestWeights(const SR_ParamsPublic* handle, uint8_t* weights);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* VELMORA_SR_REPORT_H */
