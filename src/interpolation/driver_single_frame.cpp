// The driver for requests with one frame.
#include "interpolation/driver.h"
#include "logging/log.h"
#include "velmora_sr/interpolation.h"

int32_t SRInterpolation_Single(Velmora_SR_CInputImage* input, Velmora_SR_COutPutImage* output,
                               SR_ParamsPrivate* priv) {
  velmora::ReconstructionJob job;
  if (!velmora::readJob(input, output, priv, job)) {
    return velmora::logged(SR_RET_PARAMS_OUT_OF_RANGE, __func__);
  }
  // The handle keeps the caller's region: only the job's copy is replaced.
  job.region = velmora::usableOrDefault(job.region, job.in.width, job.in.height);
  const int32_t result = velmora::enlargeFirstFrame(job);
  if (result == velmora::kUnsupportedFormat) {
    velmora::logTagged(velmora::Priority::error, "%s: unknown image format: %d\n", __func__,
                       job.in.format);
    return result;
  }
  return velmora::logged(static_cast<Velmora_SR_ESR_RET>(result), __func__);
}
