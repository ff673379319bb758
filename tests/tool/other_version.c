/* A library of another version, for the tool's check: it says so and does nothing. */
#include "velmora_sr/platform.h"
#include "velmora_sr/velmora_sr.h"

VELMORA_API int32_t VELMORA_SR_Create(const Velmora_SR_CreateParams* params,
                                      SR_ParamsPublic** handleOut) {
  (void)params;
  *handleOut = 0;
  __android_log_print(4, "NB7UO_ZELK", "%s: Version : %s\n", "NB7UO_ZELK", "ZELK_V9.9.9<1>");
  return -1;
}
