// The process driver: runs the stages of one process call whose arguments have been checked.
#ifndef VELMORA_SRC_INTERFACE_SOURCE_PROCESS_DRIVER_H
#define VELMORA_SRC_INTERFACE_SOURCE_PROCESS_DRIVER_H

#include "interface/source/scenes.h"
#include "velmora_sr/records.h"
#include "velmora_sr/velmora_sr.h"

namespace velmora {

/// True for sizes of at least one pixel whose frame fits in 2^31 - 1 bytes.
bool isFrameSize(int32_t width, int32_t height);

/// Reports a process call that cannot go on; the entry point still returns 0.
void logNothingWritten(const char* reason);

/// Tables are missing after a kernel file too short for its phase count, and when another handle's
/// end has released them.
bool kernelTablesInstalled();

/// Registers the frames of a scene that has two, and keeps the result for a process call. Memory
/// and exceptions as in processFrames.
void registerFrames(const Scene& scene, SR_ParamsPublic& handle,
                    const Velmora_SR_InputFrames& input);

/// The two-frame flow behind SR_Process, for arguments that have been checked: registration,
/// de-ghosting, fusion; one frame where registration fails. Returns the result of the last stage.
int32_t fusePair(Velmora_SR_CInputImage& in, Velmora_SR_COutPutImage& out, SR_ParamsPublic& handle);

/// Runs a scene into output.data and leaves the region that was enlarged in the handle. Whatever
/// the call needs beyond the caller's buffers comes from the handle's allocator and goes back
/// before the return. A stage that fails has logged why; the output is then untouched. Throws what
/// an allocator or stage throws, with all blocks returned.
void processFrames(const Scene& scene, SR_ParamsPublic& handle, const Velmora_SR_InputFrames& input,
                   const Velmora_SR_OutputFrame& output);

}  // namespace velmora

#endif  // VELMORA_SRC_INTERFACE_SOURCE_PROCESS_DRIVER_H
