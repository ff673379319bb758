// Records behind the entry points: what the process driver hands to registration and
// reconstruction.
#ifndef VELMORA_SR_RECORDS_H
#define VELMORA_SR_RECORDS_H

#include <cstdint>

#include "velmora_sr/velmora_sr.h"

/// Input of the stages, built by the process driver for one call.
struct Velmora_SR_CInputImage {
  uint8_t** leftData;   ///< leftNum first frames, of the caller
  uint8_t** rightData;  ///< rightNum second frames; unset in scene 0
  int32_t leftNum;      ///< always 1
  int32_t rightNum;     ///< 1; unset in scene 0
  int32_t width;        ///< pixels
  int32_t height;       ///< pixels
  int32_t format;       ///< image format code
};

/// Output of the stages: the caller's buffer. Its size stands in the handle (srImageWidth, ...).
struct Velmora_SR_COutPutImage {
  uint8_t* data;
};

/// What the stages of one process call share. One instance per process, `zelkParamPrivate`.
struct SR_ParamsPrivate {
  SR_ParamsPublic* pub;    ///< handle of the call in progress: allocator, sizes, valid region
  int32_t kernelRadius;    ///< 2: Lanczos order of the kernel tables
  int32_t kernelTaps;      ///< 4: taps per 1D kernel row; a 2D row holds 4 * 4 + 1 values
  int32_t stageFields[8];  ///< free for the stages
  uint8_t registFailed;    ///< 0 after a successful registration, else 1
  uint8_t registFailedPadding[3];
  int32_t stageField13;  ///< free for the stages
  int32_t* posMap1;      ///< horizontal position map of the call, 16.16, width * height
  int32_t* posMap2;      ///< vertical position map, same shape
  int32_t ghostLowThr;   ///< de-ghosting: differences below it keep the first frame; 0..255
  int32_t ghostHighThr;  ///< differences from it on take the second frame; 0..255
};

/// What the call in progress shares with its stages. Written by creation, process and destroy only.
VELMORA_API extern SR_ParamsPrivate zelkParamPrivate;

/// Gives the text of an internal result code.
/// @param code  any value
/// @return a constant string, never null; "unknow error info." for values without a text of their
///         own, 1 and 6 among them
/// Any thread.
VELMORA_API const char* GetRetInfo(Velmora_SR_ESR_RET code);

#if UINTPTR_MAX == 0xFFFFFFFFu
#include <cstddef>
// On the 32-bit device the layouts are fixed to the byte.
static_assert(sizeof(Velmora_SR_CreateParams) == 28);
static_assert(sizeof(Velmora_SR_InputFrames) == 60);
static_assert(offsetof(Velmora_SR_InputFrames, leftData) == 12);
static_assert(offsetof(Velmora_SR_InputFrames, rightData) == 20);
static_assert(offsetof(Velmora_SR_InputFrames, vrDepthStartW) == 28);
static_assert(offsetof(Velmora_SR_InputFrames, leftData2) == 56);
static_assert(sizeof(Velmora_SR_OutputFrame) == 32);
static_assert(offsetof(Velmora_SR_OutputFrame, data) == 12);
static_assert(offsetof(SR_ParamsPublic, state) == 20);
static_assert(offsetof(SR_ParamsPublic, vrStartW) == 32);
static_assert(offsetof(SR_ParamsPublic, alloc) == 52);
static_assert(offsetof(SR_ParamsPublic, configFileName) == 68);
static_assert(sizeof(SR_ParamsPublic) == 68 + 2 * VELMORA_SR_PATH_SIZE);
static_assert(sizeof(Velmora_SR_CInputImage) == 28);
static_assert(sizeof(SR_ParamsPrivate) == 68);
static_assert(offsetof(SR_ParamsPrivate, registFailed) == 44);
static_assert(offsetof(SR_ParamsPrivate, posMap1) == 52);
static_assert(offsetof(SR_ParamsPrivate, ghostHighThr) == 64);
#endif

#endif  // VELMORA_SR_RECORDS_H
