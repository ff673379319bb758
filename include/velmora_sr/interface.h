// Steps behind the entry points, for hosts that drive them one by one. A host that uses the three
// entry points of velmora_sr.h needs none of these.
//
// Threads: everything here works on process-wide state (zelkParamPrivate, the kernel tables, the
// worker threads, one working block). Serialise these calls with each other and with the entry
// points. All are synchronous; failures are returned and logged, see each function. What a host's
// allocator throws leaves these functions as that exception, with all blocks returned. Unlike the
// entry points they compute in the caller's floating-point environment: call them in the default
// one.
#ifndef VELMORA_SR_INTERFACE_H
#define VELMORA_SR_INTERFACE_H

#include <cstdint>

#include "velmora_sr/export.h"
#include "velmora_sr/records.h"

/// Initialises what handles share, as VELMORA_SR_Create does for a handle that it has filled:
/// ParseConfigFile with the handle's configFileNamePtr and kernelFileNamePtr, CheckParams, and one
/// more reference to the worker threads.
/// @param handle  Not null; only its two path pointers are read (each null or a readable string).
/// @return SR_RET_SUCCEED; -1 for a null handle or when the worker threads fail to start (logged).
///         The reference to the threads is taken in the latter case too: pair every call that got a
///         handle with one SR_Uninitializtion.
VELMORA_API Velmora_SR_ESR_RET SR_Initializtion(SR_ParamsPublic* handle);

/// Resets the de-ghosting thresholds to 1 and 5 unless 0 <= ghostLowThr <= ghostHighThr <= 255.
/// Both are read from and written to zelkParamPrivate; nothing is logged. Call it after changing
/// them and not during a process call.
/// @return SR_RET_SUCCEED: it cannot fail, and needs no handle.
VELMORA_API Velmora_SR_ESR_RET CheckParams();

/// Sums up how large a working block the stages want, in a process-wide total. No stage wants one
/// at present: the total is 0.
/// @param input  Passed to the stages' queries, which do not read it; may be null.
/// @param pub    Likewise.
/// @return 0.
VELMORA_API int32_t SR_Query(Velmora_SR_CInputImage* input, SR_ParamsPublic* pub);

/// Runs SR_Query and allocates the working block on the C heap, in place of an earlier one. The
/// block belongs to the library; SR_Uninitializtion (and so VELMORA_SR_Destroy) releases it.
/// @param input  As for SR_Query.
/// @param pub    Not null; its memSize and memBuffer are set to the block, on failure to 0 and
///               null.
/// @return SR_RET_SUCCEED; SR_RET_ALLOC_FAILED when the heap is exhausted (logged);
///         SR_RET_PARAMS_OUT_OF_RANGE for a null pub (logged).
VELMORA_API Velmora_SR_ESR_RET SR_MemManagement(Velmora_SR_CInputImage* input,
                                                SR_ParamsPublic* pub);

/// Undoes SR_Initializtion and SR_MemManagement: releases the working block and the kernel tables,
/// and one reference to the worker threads, which end with the last one. Harmless when nothing is
/// initialised.
/// @return 0.
VELMORA_API int32_t SR_Uninitializtion();

/// The two-frame part of a process call (scenes 1 and 2): registers the second frame onto the
/// first, narrows the valid region to what both frames show, de-ghosts the first frame, makes the
/// region even and valid, and interpolates it onto the output. After a failed registration, a lack
/// of memory for the position maps included, the output comes from the first frame alone.
/// @param in   Not null. leftData[0] and rightData[0]: NV12 or NV21 frames of width x height, not
///             null; the first frame is modified in place where de-ghosting replaces samples, the
///             second frame's bytes and its entry in rightData are left as they were. Of frames
///             that overlap in memory a copy of the second one is used, taken beforehand.
/// @param out  Not null. data: srImageWidth * srImageHeight * 3 / 2 bytes, written.
/// @param pub  Not null, created, with an allocator pair. Read: output size, allocator, region to
///             enlarge; written: the region that was used, memSize, memBuffer.
/// @return The result of SRInterpolation (0: the output is written); SR_RET_ALLOC_FAILED without
///         memory for that copy or for de-ghosting; -1 for null arguments or frames and impossible
///         frame sizes (logged). The output is untouched unless 0 is returned.
VELMORA_API int32_t SR_Process(Velmora_SR_CInputImage* in, Velmora_SR_COutPutImage* out,
                               SR_ParamsPublic* pub);

#endif  // VELMORA_SR_INTERFACE_H
