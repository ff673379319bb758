// What the properties of the element say.
#ifndef VELMORA_GSTREAMER_SETTINGS_H
#define VELMORA_GSTREAMER_SETTINGS_H

namespace velmora::gst {

enum class Method {
  burst,        ///< every frame made from a window of frames, by the burst stage
  cameraSingle  ///< every frame by itself, by the one-frame path of the camera
};

enum class Effort { fast, normal };

inline constexpr int kLargestWindow = 7;
inline constexpr int kLargestScale = 4;
inline constexpr int kMostThreads = 64;
inline constexpr int kMostNoise = 64;

struct Settings {
  Method method = Method::burst;
  int window = 3;     ///< frames that each is made from, 1 .. 7
  double scale = 2;   ///< output size as a multiple of the input's, where downstream leaves it open
  double noise = -1;  ///< of luma in grey levels; below 0: measured
  double sharpened = -1;  ///< by how much the camera did; -1: the library's choice
  Effort effort = Effort::fast;
  int threads = 0;  ///< at work in a call; 0: one per processor

  /// Frames of the window before and behind the one that is shown.
  [[nodiscard]] int before() const { return method == Method::burst ? (window - 1) / 2 : 0; }
  [[nodiscard]] int behind() const { return method == Method::burst ? window / 2 : 0; }

  bool operator==(const Settings&) const = default;
};

}  // namespace velmora::gst

#endif  // VELMORA_GSTREAMER_SETTINGS_H
