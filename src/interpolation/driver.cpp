// The drivers' common part: reading the records, and the one-frame path.
#include "interpolation/driver.h"

#include "interpolation/single_frame.h"

namespace velmora {

bool readJob(const Velmora_SR_CInputImage* input, const Velmora_SR_COutPutImage* output,
             const SR_ParamsPrivate* priv, ReconstructionJob& job) {
  if (input == nullptr || output == nullptr || priv == nullptr || priv->pub == nullptr) {
    return false;
  }
  if (input->leftData == nullptr || input->leftData[0] == nullptr || output->data == nullptr) {
    return false;
  }
  const SR_ParamsPublic& handle = *priv->pub;
  job = {.firstFrame = input->leftData[0],
         .in = {input->width, input->height, input->format},
         .output = output->data,
         .out = {handle.srImageWidth, handle.srImageHeight, input->format},
         .region = regionOf(handle),
         .pad = priv->kernelTaps,
         .allocator = Allocator::of(&handle)};
  return job.in.width >= 1 && job.in.height >= 1 && job.out.width >= 1 && job.out.height >= 1 &&
         job.geometry().valid();
}

int32_t enlargeFirstFrame(const ReconstructionJob& job) {
  PaddedFrame planes;
  OutputChroma outputChroma;
  if (!planes.take(job.allocator, job.in, job.border()) ||
      !outputChroma.take(job.allocator, job.out)) {
    return SR_RET_ALLOC_FAILED;
  }
  if (job.in.format != VELMORA_SR_FORMAT_NV12 && job.in.format != VELMORA_SR_FORMAT_NV21 &&
      job.in.format != VELMORA_SR_FORMAT_PLANAR) {
    return kUnsupportedFormat;
  }
  SeparableInterpolation luma(SeparableInterpolation::Planes::luma);
  SeparableInterpolation chroma(SeparableInterpolation::Planes::chroma);
  auto prepared = luma.prepare(job.geometry(), job.allocator);
  if (prepared == SR_RET_SUCCEED) {
    prepared = chroma.prepare(job.geometry().halved(), job.allocator);
  }
  if (prepared != SR_RET_SUCCEED) return prepared;

  // The output frame is packed whatever its width: its luma needs no copy of a rounded-up pitch.
  luma.run({planes.y.data()}, {job.output}, job.out.width,
           {.rows = job.firstFrame, .padded = {planes.y.data()}});
  uint8_t* const outputPairs = job.output + job.out.lumaSize();
  const bool planar = job.in.format == VELMORA_SR_FORMAT_PLANAR;
  const bool hasPairs = !planar && job.in.chromaSize() != 0;
  if (!hasPairs) loadPlanarChroma(job.in, job.firstFrame, planes, job.border());
  // Which of U and V comes first makes no difference here: what comes in first goes out first.
  chroma.run({planes.u.data(), planes.v.data()}, {outputChroma.u.data(), outputChroma.v.data()},
             job.out.chromaWidth(),
             {.rows = hasPairs ? job.firstFrame + job.in.lumaSize() : nullptr,
              .padded = {planes.u.data(), planes.v.data()},
              .pairs = planar ? nullptr : outputPairs});
  if (planar) storePlanarChroma(job.out, outputChroma, job.output);
  return SR_RET_SUCCEED;
}

}  // namespace velmora
