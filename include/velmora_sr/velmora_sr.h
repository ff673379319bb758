/* libvelmora_sr: one or two 8-bit YUV 4:2:0 frames in, one larger frame out.
 *
 * The three entry points of the library and the records that cross them. C99 and C++.
 *
 *   create   VELMORA_SR_Create    one handle for a scene
 *   process  VELMORA_SR_Process   one frame set in, one frame out, any number of times
 *   destroy  VELMORA_SR_Destroy   ends the handle
 *
 * A PROCESS CALL THAT WROTE NOTHING RETURNS 0, TOO: when memory runs out or another stage fails,
 * the log says so and the output keeps its old bytes. A host that must tell fills them beforehand
 * or listens to the log.
 *
 * Threads: the three calls are synchronous and not re-entrant. Kernel tables, configuration and the
 * worker threads are shared by the whole process, so keep one live handle at a time and serialise
 * the calls; they may come from different threads. The sixteen workers have stacks of 256 KB, of
 * which no call uses more than 16. The child of a fork() has no workers: there the calls of an
 * inherited handle run on the calling thread alone, to the same bytes, and a handle created after
 * its destruction has workers again. A child that was forked during a call must not use the
 * library.
 *
 * Floating point: the calls compute with the default environment (to nearest, no traps) whatever
 * the host has set, call the allocator and the log in it, and restore the host's, flags included.
 *
 * Frames: a frame is one block of width * height luma bytes followed by its chroma, 4:2:0, 8 bits,
 * no row padding: width * height * 3 / 2 bytes for even sizes. Chroma is interleaved (NV12, NV21)
 * or two planes (planar), see Velmora_SR_InputFrames::format. Chroma rows hold 2 * (width / 2)
 * bytes and there are height / 2 of them: an odd last column or row has no chroma of its own.
 *
 * Geometry: sample (0, 0) is the centre of the top-left pixel. The valid region is stretched onto
 * the whole output so that its first and last columns and rows land on the first and last output
 * columns and rows. Chroma is resampled on its own half-size grid by the same rule. Both axes scale
 * on their own: proportions are the caller's to keep.
 *
 * Log: everything that happens is told to the system log under the tag "NB7UO_ZELK", ordinary steps
 * of a creation at error priority among it; registration and the worker threads also print progress
 * to standard output. platform.h says where the log is outside Android, and how a host takes its
 * lines over, to filter or to silence them (examples/host_log.c).
 *
 * Debug dumps: while the system property "persist.camera.nb7uo.zelk.yuv" begins with 1, each
 * process call writes its frames to new files of mode 0600 below /data/zelk/. Links are not
 * followed there; a name that is taken gets a counter.
 */
#ifndef VELMORA_SR_VELMORA_SR_H
#define VELMORA_SR_VELMORA_SR_H

#include <stdint.h>

#include "velmora_sr/export.h"
#include "velmora_sr/version.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Length of the path buffers in the handle; a longer path is cut at 2047 bytes there (the file
 * itself is opened through the caller's own pointer, whatever its length). */
#define VELMORA_SR_PATH_SIZE 2048

/* Scene codes (Velmora_SR_CreateParams::srScene). */
enum {
  /* "singleFrameZoom": leftData alone, no registration. */
  VELMORA_SR_SCENE_SINGLE = 0,
  /* "doubleFrame_leftRight": leftData and rightData, the frames of two cameras. */
  VELMORA_SR_SCENE_LEFT_RIGHT = 1,
  /* "doubleFrame_leftLeft": leftData and leftData2, two frames of one camera. */
  VELMORA_SR_SCENE_LEFT_LEFT = 2
};

/* Image format codes. All frames of a call share one; the output uses the input's. */
enum {
  VELMORA_SR_FORMAT_PLANAR = 0, /* luma, U plane, V plane; scene 0 only */
  VELMORA_SR_FORMAT_NV12 = 4,   /* luma, pairs U V */
  VELMORA_SR_FORMAT_NV21 = 5    /* luma, pairs V U */
};

/* Allocator of the caller: size in bytes, a tag (always "SR_Process"), reserved (always 0). Returns
 * a block aligned like malloc's, or null, which the library survives. Called on the thread of the
 * process call. */
typedef void* (*SR_AllocFxn)(uint32_t size, const char* tag, int32_t reserved);

/* Release function: takes back each block of SR_AllocFxn exactly once, before the process call that
 * took it returns, with the same tag and reserved value. */
typedef void (*SR_FreeFxn)(void* ptr, const char* tag, int32_t reserved);

/* Internal result codes of the steps and stages, see GetRetInfo in records.h for their texts. The
 * three calls return none of them but 0. */
#ifdef __cplusplus
enum Velmora_SR_ESR_RET : int32_t {
#else
typedef int32_t Velmora_SR_ESR_RET;
enum {
#endif
  SR_RET_SUCCEED = 0,
  SR_RET_LOAD_CONFIG_FAILED = 2,
  SR_RET_ALLOC_FAILED = 3,
  SR_RET_PARAMS_OUT_OF_RANGE = 4,
  SR_RET_ODD_EVEN_INCONSISTENT = 5
};

/* What VELMORA_SR_Create needs to know; read once, the strings are copied. */
typedef struct Velmora_SR_CreateParams {
  int32_t inImageWidth;  /* input width in pixels; told in the handle and the log, not checked */
  int32_t inImageHeight; /* input height, likewise */
  int32_t srScene;       /* scene code; a code outside 0..2 is refused at process time */
  SR_AllocFxn alloc; /* with free: where every buffer of a process call comes from. The two are */
  SR_FreeFxn free;   /* kept only as a pair; without them no process call can work */
  const char* configFileName; /* XML configuration; null or unreadable: built-in thresholds */
  const char* kernelFileName; /* kernel file; null or not openable: built-in kernels */
} Velmora_SR_CreateParams;

/* The handle. Made and released by the library; read it, do not write it. */
typedef struct SR_ParamsPublic {
  int32_t srImageWidth;  /* output width of the last process call */
  int32_t srImageHeight; /* output height of the last process call */
  uint32_t memSize;      /* size of memBuffer in bytes, 0: no stage needs it */
  void* memBuffer;       /* shared working block, null for the same reason */
  uint32_t reserved;     /* 0 */
  int32_t state;         /* 0 empty, 1 being filled, 2 created */
  int32_t inImageWidth;  /* from the creation parameters */
  int32_t inImageHeight;
  int32_t vrStartW; /* valid region of the last process call in input pixels, ends inclusive */
  int32_t vrStartH;
  int32_t vrEndW;
  int32_t vrEndH;
  int32_t srScene;
  SR_AllocFxn alloc; /* both set or both null */
  SR_FreeFxn free;
  const char* configFileNamePtr; /* the caller's pointers, used during creation only */
  const char* kernelFileNamePtr;
  char configFileName[VELMORA_SR_PATH_SIZE]; /* the library's copies, cut at 2047 bytes */
  char kernelFileName[VELMORA_SR_PATH_SIZE];
} SR_ParamsPublic;

/* The frames of one process call. The library never frees a frame. In scenes 1 and 2 it changes
 * leftData in place where de-ghosting replaces samples; the second frame's bytes never change but
 * where it shares memory with the first. Two frames that do are no error: the call then works from
 * a copy of the second one. */
typedef struct Velmora_SR_InputFrames {
  int32_t width;     /* of this call's frames, >= 1; sizes of the creation are not compared */
  int32_t height;    /* likewise; width * height * 3 / 2 below 2^31 */
  int32_t format;    /* image format code of all frames */
  uint8_t* leftData; /* first frame, the reference of every scene */
  uint32_t reserved5;
  uint8_t* rightData; /* second frame of scene 1, otherwise not read */
  uint32_t reserved7;
  int32_t vrDepthStartW; /* region to enlarge, in input pixels: first column, */
  int32_t vrDepthStartH; /* first row, */
  int32_t vrDepthEndW;   /* last column (inclusive, below width), */
  int32_t vrDepthEndH;   /* last row (inclusive, below height); see VELMORA_SR_Process */
  uint32_t reserved12;
  uint32_t reserved13;
  uint32_t reserved14;
  uint8_t* leftData2; /* second frame of scene 2, otherwise not read */
} Velmora_SR_InputFrames;

/* Where one process call puts its result. */
typedef struct Velmora_SR_OutputFrame {
  int32_t width;  /* output width in pixels, >= 1 */
  int32_t height; /* output height in pixels, >= 1; width * height * 3 / 2 below 2^31 */
  int32_t format; /* used in the name of the debug dump only; the samples have the input's format */
  uint8_t* data;  /* width * height * 3 / 2 bytes of the caller, apart from the input frames */
  int32_t vrStartW; /* written: the valid region, in input pixels; see VELMORA_SR_Process */
  int32_t vrStartH;
  int32_t vrEndW;
  int32_t vrEndH;
} Velmora_SR_OutputFrame;

/* Creates a handle: reads the configuration and the kernel file, starts the worker threads. What
 * cannot be read is replaced by what is built in; the log says so. The kernel tables of an earlier
 * handle that was not destroyed are lost, not released.
 *   params     not null; read during the call only
 *   handleOut  not null; set to null first, then to the new handle, which VELMORA_SR_Destroy ends
 * Returns 0; -1 for a null argument, when the handle cannot be allocated (*handleOut stays null),
 * or when the worker threads or the configuration fail for want of resources (*handleOut is set all
 * the same, works, and must be destroyed). */
VELMORA_API int32_t VELMORA_SR_Create(const Velmora_SR_CreateParams* params,
                                      SR_ParamsPublic** handleOut);

/* Bytes of tuning files that the host has read itself. */
typedef struct Velmora_SR_Tuning {
  const uint8_t* configuration; /* an XML configuration, or null: what configFileName says */
  uint32_t configurationSize;   /* bytes */
  const uint8_t* kernels;       /* a kernel file, or null: what kernelFileName says */
  uint32_t kernelsSize;         /* bytes */
} Velmora_SR_Tuning;

/* VELMORA_SR_Create with tuning from memory: bytes take the place of the file, which is not opened;
 * the log names them as the file, or "memory" where the name is null.
 *   params, handleOut  as in VELMORA_SR_Create
 *   tuning             null: VELMORA_SR_Create; it and its bytes are read during the call only
 * Returns what VELMORA_SR_Create returns. Bytes that are no configuration or no kernel file have
 * the effect of such a file; VELMORA_SR_GetReport (report.h) tells what was taken. */
VELMORA_API int32_t VELMORA_SR_CreateFromMemory(const Velmora_SR_CreateParams* params,
                                                const Velmora_SR_Tuning* tuning,
                                                SR_ParamsPublic** handleOut);

/* Turns one frame set into one output frame.
 *   handle      from VELMORA_SR_Create
 *   input       not null; read during the call only (scenes 1 and 2 may change the first frame)
 *   frameCount  number of frames supplied, >= 1; at least 2 for scene 2
 *   output      not null; its data is written, then its valid region
 * Returns 0 when done, AND ALSO 0 WHEN A STAGE FAILED AND THE OUTPUT WAS LEFT UNTOUCHED (one error
 * line in the log says why; after "VELMORA_SR_Process stopped", which tells of an exception, the
 * output may be written in part); -1 for a null argument, frameCount < 1, an impossible size or
 * null output data; -2 when the handle is not a created one; -3 when a frame that the scene needs
 * is missing; -4 for an unknown scene. Memory that runs out, missing kernel tables, missing
 * allocator functions and a format that the scene does not know are failures of a stage.
 *
 * Region: it has to lie inside the frame and to span at least 100 columns and rows; otherwise the
 * frame without a margin of 150 pixels takes its place. Scene 0 reports the caller's region as it
 * was given. Scenes 1 and 2 narrow it to what both frames show, then to even values, and report
 * what they used.
 *
 * Scenes 1 and 2: the second frame is registered onto the first. That takes frames rich in detail;
 * frames of less than 400 pixels either way are too small for it and belong in scene 0. Frames that
 * cannot be registered are no error: the first one is enlarged alone. An output of the input's size
 * is a plain copy of the first frame, which it may overlap; the region is then reported as 0, 0,
 * width, height.
 *
 * Memory: all working buffers come from the handle's allocator and are back before the return, the
 * copy of a second frame that overlaps the first among them; calls with the same sizes and the same
 * outcome take the same blocks. No thread is started. */
VELMORA_API int32_t VELMORA_SR_Process(SR_ParamsPublic* handle, const Velmora_SR_InputFrames* input,
                                       int32_t frameCount, Velmora_SR_OutputFrame* output);

/* Ends a handle and sets *handle to null. Kernel tables and one reference to the worker threads are
 * released before the handle is looked at, so also when *handle turns out to be null or not a
 * created handle; a null argument releases nothing.
 * Returns 0, or -1 for a null or unusable handle. */
VELMORA_API int32_t VELMORA_SR_Destroy(SR_ParamsPublic** handle);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* VELMORA_SR_VELMORA_SR_H */
