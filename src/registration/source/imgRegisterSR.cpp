// The driver's entry to registration, and the position maps made from its homography.
#include <array>
#include <cstddef>
#include <cstdint>

#include "logging/log.h"
#include "memory/call_buffer.h"
#include "registration/functions.h"
#include "registration/observed_stages.h"
#include "thread_pool/row_band.h"
#include "thread_pool/slot_group.h"
#include "velmora_sr/registration.h"

namespace {

using velmora::CallBuffer;

constexpr const char* kLogSource = "src/registration/source/imgRegisterSR";
constexpr int32_t kNullArgument = 6;
/// The last band of the position maps runs on the caller under this number.
constexpr int32_t kCallerIndex = 15;

bool hasFrame(uint8_t* const* frames) {
  return frames != nullptr && frames[0] != nullptr;
}

_YUVIM frameRecord(uint8_t* frame, _WIDTHHEIGHT size) {
  return {0, frame, frame + static_cast<ptrdiff_t>(size.width) * size.height};
}

}  // namespace

int32_t Query_GlobalRegistration(Velmora_SR_CInputImage*, SR_ParamsPublic*, uint32_t& size) {
  size = 0;
  return 0;
}

int32_t RegisterImgOnePlane(Velmora_SR_CInputImage* input, SR_ParamsPrivate* priv, int32_t* posX,
                            int32_t* posY, int32_t& left, int32_t& top, int32_t& right,
                            int32_t& bottom) {
  if (priv != nullptr) priv->registFailed = 1;
  if (priv == nullptr || input == nullptr || posX == nullptr || posY == nullptr ||
      !hasFrame(input->leftData) || !hasFrame(input->rightData)) {
    velmora::logSourceFailure("input para pointer is null!!\n", __LINE__, __func__, kLogSource);
    return kNullArgument;
  }
  if (priv->pub == nullptr) {
    velmora::logSourceFailure("depth data pointer is null!!\n", __LINE__, __func__, kLogSource);
    return kNullArgument;
  }
  return velmora::registerPair(input, priv, posX, posY, left, top, right, bottom, {});
}

int32_t velmora::registerPair(Velmora_SR_CInputImage* input, SR_ParamsPrivate* priv, int32_t* posX,
                              int32_t* posY, int32_t& left, int32_t& top, int32_t& right,
                              int32_t& bottom, const Observer& observer) {
  priv->registFailed = 1;
  const CallBuffer<float*> holder(velmora::Allocator::of(priv->pub), 1);
  const CallBuffer<float> homography(velmora::Allocator::of(priv->pub), 9);
  if (!holder || !homography) {
    velmora::logSourceFailure(GetRetInfo(SR_RET_ALLOC_FAILED), __LINE__, "RegisterImgOnePlane",
                              kLogSource);
    observer.checked(VELMORA_SR_STAGE_CALL, VELMORA_SR_RESULT_ALLOC_FAILED);
    return 0;
  }
  holder.data()[0] = homography.data();

  const _WIDTHHEIGHT size = {input->width, input->height};
  _YUVIM first = frameRecord(input->leftData[0], size);
  _YUVIM second = frameRecord(input->rightData[0], size);
  const int32_t result = registerWhole(second, first, size, holder.data(), left, top, right, bottom,
                                       velmora::Allocator::of(priv->pub), observer);
  if (result != 0) {
    printProgress("homography register failed!retVal %d\n", result);
    return 0;
  }
  observer.area(left, top, right, bottom);
  if (posX != nullptr) {
    const StageTime time = observer.time(VELMORA_SR_STAGE_MAPS);
    GetSubPixelPositionGlobalRegist(homography.data(), posY, posX, size.width, size.height);
  }
  priv->registFailed = 0;
  return 0;
}

void GetSubPixelPositionGlobalRegist(float* homography, int32_t* posY, int32_t* posX, int32_t width,
                                     int32_t height) {
  constexpr std::array<int32_t, 3> kSlots = {12, 13, 14};
  if (width < 1 || height < 1) return;
  std::array<PositionBandJob, 4> bands;
  std::array<void*, 4> args{};
  for (int32_t i = 0; i < 4; ++i) {
    const auto index = static_cast<std::size_t>(i);
    const velmora::RowBand rows = velmora::rowBand(height, i, velmora::Remainder::last);
    bands[index] = {homography, posY, posX, width, rows.first, rows.end};
    args[index] = &bands[index];
  }
  velmora::runOnSlots(kSlots, GetPosThreadFunc, args, kCallerIndex);
}

void GetPosThreadFunc(void* bandContext, int32_t /*threadIndex*/) {
  const auto& band = *static_cast<const PositionBandJob*>(bandContext);
  const auto positionRow = velmora::registrationFunctions().positionRow;
  for (int32_t y = band.firstRow; y < band.endRow; ++y) {
    const ptrdiff_t start = static_cast<ptrdiff_t>(y) * band.width;
    positionRow(band.homography, y, band.posX + start, band.posY + start, band.width);
  }
}
