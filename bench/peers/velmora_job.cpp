#include "velmora_job.h"

#include <cstdlib>
#include <map>

#include "velmora_sr/records.h"

namespace velmora::bench {
namespace {

// Keeps returned blocks for the next call, as a host that processes a stream would: the first touch
// of fresh pages costs as much as a resize.
std::multimap<uint32_t, void*> spare;
std::map<void*, uint32_t> sizes;

void* take(uint32_t size, const char*, int32_t) {
  if (const auto found = spare.find(size); found != spare.end()) {
    void* block = found->second;
    spare.erase(found);
    return block;
  }
  void* block = std::malloc(size);
  if (block != nullptr) sizes[block] = size;
  return block;
}

void giveBack(void* block, const char*, int32_t) {
  spare.emplace(sizes[block], block);
}

void releaseSpare() {
  for (const auto& [size, block] : spare)
    std::free(block);
  spare.clear();
  sizes.clear();
}

}  // namespace

VelmoraJob::VelmoraJob(const Nv12Frame& first, const Nv12Frame* second, int outWidth, int outHeight)
    : first_(first),
      second_(second),
      firstCopy_(first.bytes),
      outWidth_(outWidth),
      outHeight_(outHeight),
      out_(static_cast<std::size_t>(outWidth) * outHeight * 3 / 2) {
  const Velmora_SR_CreateParams params = {
      first.width, first.height, second == nullptr ? 0 : 2, take, giveBack, nullptr, nullptr};
  VELMORA_SR_Create(&params, &handle_);
}

VelmoraJob::~VelmoraJob() {
  VELMORA_SR_Destroy(&handle_);
  releaseSpare();
}

void VelmoraJob::run() {
  Velmora_SR_InputFrames input = {};
  input.width = first_.width;
  input.height = first_.height;
  input.format = VELMORA_SR_FORMAT_NV12;
  input.leftData = firstCopy_.data();
  input.vrDepthEndW = first_.width - 1;
  input.vrDepthEndH = first_.height - 1;
  if (second_ != nullptr) {
    firstCopy_ = first_.bytes;
    input.leftData2 = const_cast<uint8_t*>(second_->bytes.data());
  }
  Velmora_SR_OutputFrame output = {};
  output.width = outWidth_;
  output.height = outHeight_;
  output.format = VELMORA_SR_FORMAT_NV12;
  output.data = out_.data();
  VELMORA_SR_Process(handle_, &input, second_ == nullptr ? 1 : 2, &output);
}

bool VelmoraJob::registered() const {
  return zelkParamPrivate.registFailed == 0;
}

}  // namespace velmora::bench
