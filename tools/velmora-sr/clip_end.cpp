#include "clip_end.h"

#include <string>

#include "errors.h"
#include "interrupt.h"

namespace velmora::tool {

std::exception_ptr writeClip(FrameWriter& writer, const long& done,
                             const std::function<void()>& work) {
  std::exception_ptr cut;
  try {
    work();
  } catch (const Interrupted& interrupted) {
    if (done == 0) throw;
    cut = std::make_exception_ptr(
        Interrupted{interrupted.signal,
                    "stopped after frame " + std::to_string(done) + "; the clip ends there"});
  } catch (const InputBroken& broken) {
    if (done == 0) throw;
    cut = std::make_exception_ptr(
        Failure(std::string(broken.what()) + "; the clip ends with frame " + std::to_string(done)));
  }
  const interrupt::Hold wholeClip;
  writer.finish();
  return cut;
}

}  // namespace velmora::tool
