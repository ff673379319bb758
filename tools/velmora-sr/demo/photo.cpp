#include "demo/photo.h"

#include <algorithm>
#include <vector>

#include "colour.h"
#include "errors.h"
#include "frame_io.h"
#include "size_limits.h"

namespace velmora::tool {
Canvas photoScene(const std::string& path, Size size) {
  const auto reader = openInput({path, {}, {}});
  Picture photo;
  if (!reader->next(photo)) throw Failure(reader->name() + ": holds no picture");
  if (photo.size().width < size.width || photo.size().height < size.height) {
    throw Failure(reader->name() + ": is " + text(photo.size()) + ", the demo wants " + text(size) +
                  " and more");
  }
  convertRange(photo, Range::full);
  const double factor =
      std::max(double(size.width) / photo.size().width, double(size.height) / photo.size().height);
  const Size covering = {std::max(size.width, int(photo.size().width * factor + 0.5)),
                         std::max(size.height, int(photo.size().height * factor + 0.5))};
  Picture scene(covering);
  scene.y = reduced(photo.y, scene.y.size);
  scene.u = reduced(photo.u, scene.u.size);
  scene.v = reduced(photo.v, scene.v.size);
  std::vector<uint8_t> rgb(std::size_t(covering.width) * std::size_t(covering.height) * 3);
  toRgb(scene, 0, covering.height, rgb);
  Canvas canvas(covering, {});
  canvas.place(0, 0, covering, rgb, 1);
  return canvas.part((covering.width - size.width) / 2, (covering.height - size.height) / 2, size);
}

}  // namespace velmora::tool
