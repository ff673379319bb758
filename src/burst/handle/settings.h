// What a handle is for, checked and with the defaults filled in.
#ifndef VELMORA_SRC_BURST_HANDLE_SETTINGS_H
#define VELMORA_SRC_BURST_HANDLE_SETTINGS_H

#include <cstdint>

#include "burst/plane.h"
#include "velmora_sr/burst.h"

namespace velmora::burst {

struct Settings {
  Size frame;
  Rect region;
  Size output;
  bool fast;
  int32_t threads;   ///< 1 .. 64
  double noise;      ///< of luma; below 0: measured
  double sharpened;  ///< -0.6 .. 1
  Velmora_SR_BurstAllocator allocator;
  Velmora_SR_BurstExecutor executor;  ///< `run` null: threads of the library
  Velmora_SR_BurstProgress progress;
  void* progressUser;
};

/// False where a parameter is out of range.
bool readParams(const Velmora_SR_BurstParams& params, Settings& settings);

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_HANDLE_SETTINGS_H
