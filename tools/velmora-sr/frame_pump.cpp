#include "frame_pump.h"

#include <chrono>
#include <system_error>
#include <utility>

#include "errors.h"
#include "interrupt.h"

namespace velmora::tool {
namespace {

// Held on either side, besides the one that is being read or written.
constexpr std::size_t kFramesHeld = 2;
// How long a signal may go unnoticed.
constexpr auto kPatience = std::chrono::milliseconds(20);

}  // namespace

FramePump::FramePump(FrameReader& reader, FrameWriter& writer, long& written)
    : reader_(reader), writer_(writer), written_(written) {
  start(in_, &FramePump::readAll);
  try {
    start(out_, &FramePump::writeAll);
  } catch (...) {
    calledOff_ = true;
    callOff(in_);
    throw;
  }
}

FramePump::~FramePump() {
  calledOff_ = true;
  callOff(in_);
  callOff(out_);
}

void FramePump::start(Side& side, void (FramePump::*work)()) {
  const auto run = [this, &side, work] {
    const interrupt::Background background(calledOff_);
    std::exception_ptr failure;
    try {
      (this->*work)();
    } catch (...) {
      failure = std::current_exception();
    }
    const std::lock_guard lock(mutex_);
    side.failure = failure;
    side.ended = true;
    changed_.notify_all();
  };
  try {
    side.thread = std::thread(run);
  } catch (const std::system_error& error) {
    throw Failure(std::string("cannot start a thread: ") + error.what());
  }
}

void FramePump::callOff(Side& side) noexcept {
  {
    std::unique_lock lock(mutex_);
    changed_.notify_all();
    while (!side.ended) {
      interrupt::wake(side.thread.native_handle());
      changed_.wait_for(lock, kPatience);
    }
  }
  side.thread.join();
}

void FramePump::readAll() {
  for (;;) {
    Picture picture;
    {
      std::unique_lock lock(mutex_);
      changed_.wait(lock, [&] { return calledOff_ || in_.frames.size() < kFramesHeld; });
      if (calledOff_) return;
      picture = takeSpare(in_);
    }
    if (!reader_.next(picture)) return;
    const std::lock_guard lock(mutex_);
    in_.frames.push_back(std::move(picture));
    changed_.notify_all();
  }
}

void FramePump::writeAll() {
  for (;;) {
    Picture picture;
    {
      std::unique_lock lock(mutex_);
      changed_.wait(lock, [&] { return calledOff_ || complete_ || !out_.frames.empty(); });
      if (calledOff_ || out_.frames.empty()) return;
      picture = std::move(out_.frames.front());
      out_.frames.pop_front();
      changed_.notify_all();
    }
    writer_.write(picture);
    const std::lock_guard lock(mutex_);
    ++written_;
    out_.spare.push_back(std::move(picture));
  }
}

// Called with the mutex held.
Picture FramePump::takeSpare(Side& side) {
  Picture picture;
  if (!side.spare.empty()) {
    picture = std::move(side.spare.back());
    side.spare.pop_back();
  }
  return picture;
}

// Called with the mutex held.
void FramePump::requireWriter() const {
  if (out_.failure) std::rethrow_exception(out_.failure);
}

bool FramePump::next(Picture& picture) {
  std::unique_lock lock(mutex_);
  for (;;) {
    requireWriter();
    interrupt::check();
    if (!in_.frames.empty()) break;
    if (in_.failure) std::rethrow_exception(in_.failure);
    if (in_.ended) return false;
    changed_.wait_for(lock, kPatience);
  }
  std::swap(picture, in_.frames.front());
  in_.spare.push_back(std::move(in_.frames.front()));
  in_.frames.pop_front();
  changed_.notify_all();
  return true;
}

void FramePump::put(Picture& picture) {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [&] { return out_.ended || out_.frames.size() < kFramesHeld; });
  requireWriter();
  out_.frames.push_back(std::move(picture));
  picture = takeSpare(out_);
  changed_.notify_all();
}

void FramePump::finish() {
  std::unique_lock lock(mutex_);
  complete_ = true;
  changed_.notify_all();
  changed_.wait(lock, [&] { return out_.ended; });
  requireWriter();
}

}  // namespace velmora::tool
