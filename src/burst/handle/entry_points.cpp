// The functions of velmora_sr/burst.h: they check arguments, keep exceptions in and leave a text.
#include <chrono>
#include <cstddef>
#include <cstring>
#include <exception>
#include <new>
#include <utility>

#include "burst/handle/burst_handle.h"
#include "burst/handle/call_workers.h"
#include "burst/handle/layout.h"
#include "burst/handle/picture.h"
#include "burst/handle/region_weights.h"
#include "burst/handle/report_records.h"
#include "common/float_environment.h"
#include "velmora_sr/burst.h"

namespace velmora::burst {
namespace {

// Blocks of the host are aligned like malloc's.
static_assert(alignof(Velmora_SR_Burst) <= alignof(std::max_align_t));

/// Runs the body of a call on a handle. What it throws becomes a code and a text.
template <typename Body>
int32_t guarded(Velmora_SR_Burst* burst, const Body& body) noexcept {
  if (burst == nullptr) return VELMORA_SR_BURST_BAD_ARGUMENT;
  const DefaultFloatEnvironment environment;
  burst->message.clear();
  try {
    return body();
  } catch (const std::bad_alloc&) {
    burst->message.set("Memory ran out; the handle held %llu bytes, %llu at most.",
                       static_cast<unsigned long long>(burst->memory.held()),
                       static_cast<unsigned long long>(burst->memory.peak()));
    return VELMORA_SR_BURST_NO_MEMORY;
  } catch (const Cancelled&) {
    burst->message.set("The progress function has stopped the call.");
    return VELMORA_SR_BURST_CANCELLED;
  } catch (const std::exception& error) {
    burst->message.set("Something was thrown: %s.", error.what());
  } catch (...) {
    burst->message.set("A function of the host has thrown.");
  }
  return VELMORA_SR_BURST_INTERNAL;
}

int32_t refuse(Velmora_SR_Burst& burst, const char* text) {
  burst.message.set("%s", text);
  return VELMORA_SR_BURST_BAD_ARGUMENT;
}

int32_t noFrame(Velmora_SR_Burst& burst, int32_t id) {
  burst.message.set("No frame with the number %d is held.", id);
  return VELMORA_SR_BURST_NO_FRAME;
}

/// The index of the slot that holds a frame, 0 for a free one; -1: none.
int32_t slotOf(const Velmora_SR_Burst& burst, int32_t id) {
  for (std::size_t i = 0; i < burst.slots.size(); ++i) {
    if (burst.slots[i].id == id) return static_cast<int32_t>(i);
  }
  return -1;
}

/// The slot of a frame that a host names; null where it is not held.
Slot* heldSlot(Velmora_SR_Burst& burst, int32_t id) {
  const int32_t slot = id > 0 ? slotOf(burst, id) : -1;
  return slot < 0 ? nullptr : &burst.slots[static_cast<std::size_t>(slot)];
}

CallWorkersSettings workersOf(const Velmora_SR_Burst& burst) {
  const Settings& settings = burst.settings;
  return {settings.threads, settings.executor, settings.progress, settings.progressUser};
}

int32_t create(const Velmora_SR_BurstParams& params, Velmora_SR_Burst*& burst) noexcept {
  const DefaultFloatEnvironment environment;
  Settings settings = {};
  if (!readParams(params, settings)) return VELMORA_SR_BURST_BAD_ARGUMENT;
  try {
    void* const block = settings.allocator.alloc(settings.allocator.user, sizeof *burst);
    if (block == nullptr) return VELMORA_SR_BURST_NO_MEMORY;
    burst = new (block) Velmora_SR_Burst(settings);
    return VELMORA_SR_BURST_OK;
  } catch (...) {
    return VELMORA_SR_BURST_INTERNAL;
  }
}

int32_t add(Velmora_SR_Burst& burst, const Velmora_SR_BurstFrame* record, int32_t* id) {
  if (record == nullptr || id == nullptr)
    return refuse(burst, "The frame or the place for its number is null.");
  SourceFrame frame;
  if (!readFrame(*record, burst.settings.frame, frame, burst.message))
    return VELMORA_SR_BURST_BAD_ARGUMENT;
  const int32_t free = slotOf(burst, 0);
  if (free < 0 || burst.lastId == INT32_MAX) {
    burst.message.set("The handle holds %d frames, or has used up its numbers.", kSlots);
    return VELMORA_SR_BURST_FULL;
  }
  const auto start = std::chrono::steady_clock::now();
  Slot slot;
  slot.frame = frame;
  {
    CallWorkers workers(workersOf(burst));
    const double weight = pyramidWork(burst.settings.frame);
    workers.begin(weight);
    workers.expect(weight);
    slot.pyramid = buildPyramid(burst.memory, workers, frame.planes[0]);
    workers.finish();
  }
  const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - start;
  slot.pyramidMilliseconds = taken.count();
  slot.id = ++burst.lastId;
  *id = slot.id;
  burst.slots[static_cast<std::size_t>(free)] = std::move(slot);
  return VELMORA_SR_BURST_OK;
}

int32_t render(Velmora_SR_Burst& burst, int32_t reference, const Velmora_SR_BurstPicture* record) {
  if (record == nullptr) return refuse(burst, "The picture is null.");
  if (heldSlot(burst, reference) == nullptr) return noFrame(burst, reference);
  TargetFrame picture;
  if (!readPicture(*record, burst.settings.output, picture, burst.message))
    return VELMORA_SR_BURST_BAD_ARGUMENT;
  if (overlapsItself(picture)) return refuse(burst, "Planes of the picture overlap.");
  for (const Slot& slot : burst.slots) {
    if (slot.id == 0) continue;
    for (const TargetPlane& plane : picture.planes) {
      if (!overlaps(plane, slot.frame)) continue;
      burst.message.set("The picture overlaps the frame with the number %d.", slot.id);
      return VELMORA_SR_BURST_BAD_ARGUMENT;
    }
  }
  CallWorkers workers(workersOf(burst));
  makePicture(burst, slotOf(burst, reference), workers, picture);
  return VELMORA_SR_BURST_OK;
}

int32_t drop(Velmora_SR_Burst& burst, int32_t id) {
  Slot* const held = heldSlot(burst, id);
  if (held == nullptr) return noFrame(burst, id);
  const auto index = static_cast<std::size_t>(held - burst.slots.data());
  for (std::size_t other = 0; other < burst.slots.size(); ++other) {
    burst.pairs[index][other] = Pair{};
    burst.pairs[other][index] = Pair{};
  }
  *held = Slot{};
  return VELMORA_SR_BURST_OK;
}

/// Hands a record out as far as its host knows it; `size` in front stays.
template <typename Record>
int32_t handOut(Velmora_SR_Burst& burst, Record& to, const Record& from) {
  // A record of the first version has all fields that there are.
  if (to.size < sizeof(Record)) return refuse(burst, "The size of the report is not set.");
  const uint32_t size = to.size;
  to = from;
  to.size = size;
  return VELMORA_SR_BURST_OK;
}

int32_t weights(Velmora_SR_Burst& burst, int32_t id, uint8_t* out, std::ptrdiff_t stride) {
  const Slot* const held = heldSlot(burst, id);
  if (held == nullptr) return noFrame(burst, id);
  const Size size = burst.settings.frame;
  if (stride < size.width) return refuse(burst, "The stride is shorter than a row of weights.");
  if (const char* const fault = planeFault(out, stride, 1, size)) {
    burst.message.set("The plane for weights %s.", fault);
    return VELMORA_SR_BURST_BAD_ARGUMENT;
  }
  const TargetPlane plane = {out, stride, 1, size};
  for (const Slot& slot : burst.slots) {
    if (slot.id != 0 && overlaps(plane, slot.frame))
      return refuse(burst, "The plane for weights overlaps a frame.");
  }
  const Outcome& outcome = held->outcome;
  if (outcome.use == VELMORA_SR_BURST_USED) {
    drawWeights(outcome.weights, size, out, stride);
    return VELMORA_SR_BURST_OK;
  }
  const int value = outcome.use == VELMORA_SR_BURST_REFERENCE ? 255 : 0;
  for (int32_t y = 0; y < size.height; ++y)
    std::memset(out + y * stride, value, static_cast<std::size_t>(size.width));
  return VELMORA_SR_BURST_OK;
}

}  // namespace
}  // namespace velmora::burst

using namespace velmora::burst;

int32_t VELMORA_SR_BurstCreate(const Velmora_SR_BurstParams* params, Velmora_SR_Burst** burst) {
  if (burst == nullptr) return VELMORA_SR_BURST_BAD_ARGUMENT;
  *burst = nullptr;
  if (params == nullptr) return VELMORA_SR_BURST_BAD_ARGUMENT;
  return create(*params, *burst);
}

void VELMORA_SR_BurstDestroy(Velmora_SR_Burst** burst) {
  if (burst == nullptr || *burst == nullptr) return;
  Velmora_SR_Burst* const ended = std::exchange(*burst, nullptr);
  const Velmora_SR_BurstAllocator allocator = ended->settings.allocator;
  ended->~Velmora_SR_Burst();
  allocator.free(allocator.user, ended);
}

int32_t VELMORA_SR_BurstAdd(Velmora_SR_Burst* burst, const Velmora_SR_BurstFrame* frame,
                            int32_t* id) {
  return guarded(burst, [&] { return add(*burst, frame, id); });
}

int32_t VELMORA_SR_BurstRender(Velmora_SR_Burst* burst, int32_t reference,
                               const Velmora_SR_BurstPicture* picture) {
  return guarded(burst, [&] { return render(*burst, reference, picture); });
}

int32_t VELMORA_SR_BurstDrop(Velmora_SR_Burst* burst, int32_t frame) {
  return guarded(burst, [&] { return drop(*burst, frame); });
}

int32_t VELMORA_SR_BurstFrameReport(Velmora_SR_Burst* burst, int32_t frame,
                                    Velmora_SR_BurstFrameReport* report) {
  return guarded(burst, [&] {
    if (report == nullptr) return refuse(*burst, "The report is null.");
    const Slot* const held = heldSlot(*burst, frame);
    if (held == nullptr) return noFrame(*burst, frame);
    return handOut(*burst, *report, frameReport(held->outcome));
  });
}

int32_t VELMORA_SR_BurstReport(Velmora_SR_Burst* burst, Velmora_SR_BurstReport* report) {
  return guarded(burst, [&] {
    if (report == nullptr) return refuse(*burst, "The report is null.");
    return handOut(*burst, *report, pictureReport(*burst));
  });
}

int32_t VELMORA_SR_BurstWeights(Velmora_SR_Burst* burst, int32_t frame, uint8_t* plane,
                                ptrdiff_t stride) {
  return guarded(burst, [&] { return weights(*burst, frame, plane, stride); });
}

const char* VELMORA_SR_BurstMessage(const Velmora_SR_Burst* burst) {
  return burst == nullptr ? "There is no handle: its creation failed or it is null."
                          : burst->message.text();
}
