// Frames come and go while others are made.
#ifndef VELMORA_TOOL_FRAME_PUMP_H
#define VELMORA_TOOL_FRAME_PUMP_H

#include <atomic>
#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <thread>

#include "frame_io.h"

namespace velmora::tool {

/// Reads frames ahead and writes finished ones behind, each in a thread of its own, so that who
/// feeds the tool and who reads from it wait only for what takes longest. A few frames are held on
/// either side. The reader and the writer belong to the pump while it lives; it is used by the main
/// thread.
class FramePump {
 public:
  /// Counts in `written` the frames that are written whole.
  FramePump(FrameReader& reader, FrameWriter& writer, long& written);
  /// Calls off what is still read or written.
  ~FramePump();
  FramePump(const FramePump&) = delete;
  FramePump& operator=(const FramePump&) = delete;

  /// The next frame, in exchange for memory that is used again; false at the end. Throws what the
  /// reader has thrown when the frames before it are delivered, what the writer has thrown as soon
  /// as that is known, and Interrupted when a signal arrives.
  bool next(Picture& picture);

  /// Takes over a frame to be written, and leaves memory for another. Waits while too many are
  /// held; a signal waits, too, since a frame that is made is also written. Throws what the writer
  /// has thrown.
  void put(Picture& picture);

  /// Waits until all frames are written, or throws what the writer has thrown.
  void finish();

 private:
  struct Side {
    std::deque<Picture> frames;
    std::deque<Picture> spare;  // memory of frames that have gone
    bool ended = false;
    std::exception_ptr failure;
    std::thread thread;
  };

  void start(Side& side, void (FramePump::*work)());
  void readAll();
  void writeAll();
  void callOff(Side& side) noexcept;
  static Picture takeSpare(Side& side);
  void requireWriter() const;

  FrameReader& reader_;
  FrameWriter& writer_;
  long& written_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::atomic<bool> calledOff_ = false;
  bool complete_ = false;  // nothing more is put
  Side in_;
  Side out_;
};

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_FRAME_PUMP_H
