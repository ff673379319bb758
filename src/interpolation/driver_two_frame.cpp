// The driver for requests with two frames, after their registration.
#include "interpolation/driver.h"
#include "interpolation/single_frame.h"
#include "interpolation/two_frame.h"
#include "logging/log.h"
#include "velmora_sr/interpolation.h"

namespace velmora {
namespace {

/// What the second frame adds to a job.
struct SecondFrame {
  const uint8_t* frame;
  const int32_t* mapX;
  const int32_t* mapY;
};

/// A failure leaves the output untouched.
Velmora_SR_ESR_RET fuseFrames(const ReconstructionJob& job, const SecondFrame& second) {
  PaddedFrame planes1;
  PaddedFrame planes2;
  OutputChroma outputChroma;
  if (!planes1.take(job.allocator, job.in, job.border()) ||
      !planes2.take(job.allocator, job.in, job.border()) ||
      !outputChroma.take(job.allocator, job.out)) {
    return SR_RET_ALLOC_FAILED;
  }
  LumaFusion luma;
  SeparableInterpolation chroma(SeparableInterpolation::Planes::chroma);
  auto prepared = luma.prepare(job.geometry());
  if (prepared == SR_RET_SUCCEED) {
    prepared = chroma.prepare(job.geometry().halved(), job.allocator);
  }
  if (prepared != SR_RET_SUCCEED) return prepared;

  loadFrames(job.in, {job.firstFrame, planes1, second.frame, planes2}, job.border());
  luma.run({planes1.y.data(), planes2.y.data(), job.output, second.mapX, second.mapY});
  chroma.run({planes1.u.data(), planes1.v.data()}, {outputChroma.u.data(), outputChroma.v.data()},
             job.out.chromaWidth());
  storeChromaPairs(job.out, outputChroma, job.output);
  return SR_RET_SUCCEED;
}

}  // namespace
}  // namespace velmora

int32_t SRInterpolation(Velmora_SR_CInputImage* input, Velmora_SR_COutPutImage* output,
                        SR_ParamsPrivate* priv) {
  using velmora::logged;
  velmora::ReconstructionJob job;
  if (!velmora::readJob(input, output, priv, job)) {
    return logged(SR_RET_PARAMS_OUT_OF_RANGE, __func__);
  }
  if (job.in.format != VELMORA_SR_FORMAT_NV12 && job.in.format != VELMORA_SR_FORMAT_NV21) {
    velmora::logLine(velmora::Priority::error, "UnSupport image format!\n");
    return 1;
  }
  if (priv->registFailed != 0) {
    // The format is known here, so this is one of the internal codes.
    return logged(static_cast<Velmora_SR_ESR_RET>(velmora::enlargeFirstFrame(job)), __func__);
  }
  if (input->rightData == nullptr || input->rightData[0] == nullptr || priv->posMap1 == nullptr ||
      priv->posMap2 == nullptr) {
    return logged(SR_RET_PARAMS_OUT_OF_RANGE, __func__);
  }
  return logged(velmora::fuseFrames(job, {input->rightData[0], priv->posMap1, priv->posMap2}),
                __func__);
}

int32_t Query_Interpolation(Velmora_SR_CInputImage* /*input*/, SR_ParamsPublic* /*pub*/,
                            uint32_t& size) {
  size = 0;
  return 0;
}
