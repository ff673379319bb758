#include "velmorasr.h"

#include <gst/video/gstvideofilter.h>

#include "element.h"
#include "output_size.h"

// The type as GObject knows it. Its functions hand everything on to velmora::gst::Element.
struct Velmorasr {
  GstVideoFilter parent;
  velmora::gst::Element* element;
};

struct VelmorasrClass {
  GstVideoFilterClass parent;
};

namespace {

gpointer parent = nullptr;  // class of the base type

using velmora::gst::Effort;
using velmora::gst::Element;
using velmora::gst::Method;
using velmora::gst::Settings;

enum Property : guint { kMethod = 1, kWindow, kScale, kNoise, kSharpened, kEffort, kThreads };

// Sizes from the smallest that the burst stage takes on.
constexpr const char* kCaps =
    "video/x-raw, format = (string) { NV12, NV21, I420 }, width = (int) [ 16, 65535 ], "
    "height = (int) [ 16, 65535 ], framerate = (fraction) [ 0, max ]";

template <typename Object>
Element& elementOf(Object* object) {
  return *reinterpret_cast<Velmorasr*>(object)->element;
}

GstBaseTransformClass* parentClass() {
  return GST_BASE_TRANSFORM_CLASS(parent);
}

GType methodType() {
  static const GEnumValue values[] = {
      {static_cast<gint>(Method::burst), "Every frame from a window of frames, by the burst stage",
       "burst"},
      {static_cast<gint>(Method::cameraSingle),
       "Every frame by itself, by the one-frame path of the camera", "camera-single"},
      {0, nullptr, nullptr}};
  static const GType type = g_enum_register_static("VelmorasrMethod", values);
  return type;
}

GType effortType() {
  static const GEnumValue values[] = {
      {static_cast<gint>(Effort::fast), "For video", "fast"},
      {static_cast<gint>(Effort::normal), "Twice the time, a little more quality", "normal"},
      {0, nullptr, nullptr}};
  static const GType type = g_enum_register_static("VelmorasrEffort", values);
  return type;
}

// Properties, on any thread.

void edit(Settings& settings, guint property, const GValue* value) {
  switch (property) {
    case kMethod:
      settings.method = static_cast<Method>(g_value_get_enum(value));
      break;
    case kWindow:
      settings.window = g_value_get_int(value);
      break;
    case kScale:
      settings.scale = g_value_get_double(value);
      break;
    case kNoise:
      settings.noise = g_value_get_double(value);
      break;
    case kSharpened:
      settings.sharpened = g_value_get_double(value);
      break;
    case kEffort:
      settings.effort = static_cast<Effort>(g_value_get_enum(value));
      break;
    case kThreads:
      settings.threads = g_value_get_int(value);
      break;
    default:
      break;
  }
}

void setProperty(GObject* object, guint id, const GValue* value, GParamSpec* spec) {
  if (id < kMethod || id > kThreads) {
    G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
    return;
  }
  elementOf(object).change([&](Settings& settings) { edit(settings, id, value); });
}

void getProperty(GObject* object, guint id, GValue* value, GParamSpec* spec) {
  const Settings settings = elementOf(object).settings();
  switch (id) {
    case kMethod:
      g_value_set_enum(value, static_cast<gint>(settings.method));
      break;
    case kWindow:
      g_value_set_int(value, settings.window);
      break;
    case kScale:
      g_value_set_double(value, settings.scale);
      break;
    case kNoise:
      g_value_set_double(value, settings.noise);
      break;
    case kSharpened:
      g_value_set_double(value, settings.sharpened);
      break;
    case kEffort:
      g_value_set_enum(value, static_cast<gint>(settings.effort));
      break;
    case kThreads:
      g_value_set_int(value, settings.threads);
      break;
    default:
      G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
  }
}

void installProperties(GObjectClass* objects) {
  constexpr auto kFlags = static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS |
                                                   GST_PARAM_MUTABLE_PLAYING);
  const Settings defaults;
  const auto install = [&](Property id, GParamSpec* spec) {
    g_object_class_install_property(objects, id, spec);
  };
  install(kMethod, g_param_spec_enum("method", "Method", "How pictures are made of frames",
                                     methodType(), static_cast<gint>(defaults.method), kFlags));
  install(kWindow,
          g_param_spec_int("window", "Window",
                           "burst: frames that each picture is made from: as many before it as "
                           "behind, one more behind where the number is even. Half of them, "
                           "rounded down, are waited for",
                           1, velmora::gst::kLargestWindow, defaults.window, kFlags));
  install(kScale, g_param_spec_double("scale", "Scale",
                                      "Output size as a multiple of the input size, where the caps "
                                      "downstream leave it open",
                                      1, velmora::gst::kLargestScale, defaults.scale, kFlags));
  install(kNoise, g_param_spec_double("noise", "Noise",
                                      "burst: standard deviation of luma's noise in grey levels of "
                                      "255, of which chroma is taken to have half; below 0: both "
                                      "measured",
                                      -1, velmora::gst::kMostNoise, defaults.noise, kFlags));
  install(kSharpened, g_param_spec_double(
                          "sharpened", "Sharpened",
                          "burst: by how much the camera sharpened its frames, as a factor from "
                          "-0.6 (blurred) to 1; -1: 0.15, for frames of unknown origin",
                          -1, 1, defaults.sharpened, kFlags));
  install(kEffort, g_param_spec_enum("effort", "Effort", "burst: how much work is done",
                                     effortType(), static_cast<gint>(defaults.effort), kFlags));
  install(kThreads, g_param_spec_int("threads", "Threads",
                                     "burst: most threads at work on a picture; 0: one per "
                                     "processor",
                                     0, velmora::gst::kMostThreads, defaults.threads, kFlags));
}

// Caps, on any thread.

GstCaps* transformCaps(GstBaseTransform*, GstPadDirection direction, GstCaps* caps,
                       GstCaps* filter) {
  GstCaps* result = velmora::gst::sizesAcross(direction, caps);
  if (filter == nullptr) return result;
  GstCaps* both = gst_caps_intersect_full(filter, result, GST_CAPS_INTERSECT_FIRST);
  gst_caps_unref(result);
  return both;
}

GstCaps* fixateCaps(GstBaseTransform* base, GstPadDirection direction, GstCaps* caps,
                    GstCaps* candidates) {
  return velmora::gst::chooseSize(direction, caps, candidates, elementOf(base).settings());
}

// The stream.

gboolean setInfo(GstVideoFilter* filter, GstCaps*, GstVideoInfo* frame, GstCaps*,
                 GstVideoInfo* picture) {
  return elementOf(filter).setSizes(*frame, *picture);
}

// Never called: that it is there tells the base class that pictures get buffers of their own.
GstFlowReturn transformFrame(GstVideoFilter*, GstVideoFrame*, GstVideoFrame*) {
  return GST_FLOW_NOT_SUPPORTED;
}

gboolean start(GstBaseTransform* base) {
  elementOf(base).start();
  return TRUE;
}

gboolean stop(GstBaseTransform* base) {
  elementOf(base).stop();
  return TRUE;
}

// The base class sees to caps, and leaves the frame where generateOutput() finds it. Pictures are
// pushed from there, not handed back: the base class would mark one as following a gap when the
// frame that has just come does, which is another.
GstFlowReturn generateOutput(GstBaseTransform* base, GstBuffer**) {
  GstBuffer* frame = base->queued_buf;
  base->queued_buf = nullptr;
  return frame == nullptr ? GST_FLOW_OK : elementOf(base).take(frame);
}

// Whether pictures that are still to come belong before the event.
bool endsWindow(GstBaseTransform* base, GstEvent* event) {
  switch (GST_EVENT_TYPE(event)) {
    case GST_EVENT_STREAM_START:
    case GST_EVENT_SEGMENT_DONE:
    case GST_EVENT_GAP:
    case GST_EVENT_EOS:
      return true;
    case GST_EVENT_SEGMENT: {
      const GstSegment* segment = nullptr;
      gst_event_parse_segment(event, &segment);
      GstSegment begun = base->segment;  // all but how far it has gone
      begun.position = segment->position;
      return !gst_segment_is_equal(segment, &begun);
    }
    case GST_EVENT_CAPS: {
      GstCaps* caps = nullptr;
      gst_event_parse_caps(event, &caps);
      return elementOf(base).isOther(caps);
    }
    default:
      return false;
  }
}

gboolean sinkEvent(GstBaseTransform* base, GstEvent* event) {
  if (GST_EVENT_TYPE(event) == GST_EVENT_FLUSH_START) {
    elementOf(base).cancel();
  } else if (GST_EVENT_TYPE(event) == GST_EVENT_FLUSH_STOP) {
    elementOf(base).flush();
  } else if (endsWindow(base, event)) {
    elementOf(base).drain();
  }
  return parentClass()->sink_event(base, event);
}

// The base class would skip frames that are late; the element does that itself, since other
// pictures are made from them, too.
gboolean srcEvent(GstBaseTransform* base, GstEvent* event) {
  if (GST_EVENT_TYPE(event) != GST_EVENT_QOS) return parentClass()->src_event(base, event);
  elementOf(base).noteLateness(event);
  return gst_pad_push_event(GST_BASE_TRANSFORM_SINK_PAD(base), event);
}

gboolean query(GstBaseTransform* base, GstPadDirection direction, GstQuery* query) {
  if (!parentClass()->query(base, direction, query)) return FALSE;
  if (direction == GST_PAD_SRC && GST_QUERY_TYPE(query) == GST_QUERY_LATENCY) {
    elementOf(base).addLatency(query);
  }
  return TRUE;
}

// Who fills our frames from a pool needs one more than we hold.
gboolean proposeAllocation(GstBaseTransform* base, GstQuery* decided, GstQuery* query) {
  if (!parentClass()->propose_allocation(base, decided, query)) return FALSE;
  const Settings settings = elementOf(base).settings();
  const auto needed = static_cast<guint>(settings.before() + 1 + settings.behind() + 1);
  for (guint i = 0; i < gst_query_get_n_allocation_pools(query); ++i) {
    GstBufferPool* pool = nullptr;
    guint size = 0;
    guint least = 0;
    guint most = 0;
    gst_query_parse_nth_allocation_pool(query, i, &pool, &size, &least, &most);
    gst_query_set_nth_allocation_pool(query, i, pool, size, MAX(least, needed), most);
    if (pool != nullptr) gst_object_unref(pool);
  }
  return TRUE;
}

// What is said about a frame holds for its picture; places in it move with the size.
gboolean transformMeta(GstBaseTransform* base, GstBuffer* picture, GstMeta* meta,
                       GstBuffer* frame) {
  const GstMetaInfo* info = meta->info;
  const gchar* const* tags = gst_meta_api_type_get_tags(info->api);
  if (tags == nullptr) return TRUE;
  const gchar* known[] = {GST_META_TAG_VIDEO_STR, GST_META_TAG_VIDEO_ORIENTATION_STR,
                          GST_META_TAG_VIDEO_SIZE_STR, GST_META_TAG_VIDEO_COLORSPACE_STR, nullptr};
  bool moves = false;
  for (; *tags != nullptr; ++tags) {
    if (!g_strv_contains(known, *tags)) return FALSE;
    moves = moves || g_str_equal(*tags, GST_META_TAG_VIDEO_SIZE_STR);
  }
  if (!moves) return TRUE;
  auto* const filter = GST_VIDEO_FILTER(base);
  GstVideoMetaTransform sizes = {&filter->in_info, &filter->out_info};
  if (info->transform_func != nullptr) {
    info->transform_func(picture, meta, frame, gst_video_meta_transform_scale_get_quark(), &sizes);
  }
  return FALSE;
}

GstStateChangeReturn changeState(GstElement* object, GstStateChange change) {
  if (change == GST_STATE_CHANGE_PAUSED_TO_READY) elementOf(object).cancel();
  return GST_ELEMENT_CLASS(parent)->change_state(object, change);
}

void finalize(GObject* object) {
  delete reinterpret_cast<Velmorasr*>(object)->element;
  G_OBJECT_CLASS(parent)->finalize(object);
}

void initialize(GTypeInstance* self, gpointer) {
  reinterpret_cast<Velmorasr*>(self)->element = new Element(*GST_BASE_TRANSFORM(self));
}

void initializeClass(gpointer type, gpointer) {
  parent = g_type_class_peek_parent(type);
  GObjectClass* objects = G_OBJECT_CLASS(type);
  objects->set_property = setProperty;
  objects->get_property = getProperty;
  objects->finalize = finalize;
  installProperties(objects);

  GstElementClass* elements = GST_ELEMENT_CLASS(type);
  elements->change_state = changeState;
  gst_element_class_set_static_metadata(
      elements, "Multi-frame super-resolution", "Filter/Effect/Video/Scaler",
      "Enlarges video 1 to 4 times, every frame made from those around it", "libvelmora_sr");
  GstCaps* caps = gst_caps_from_string(kCaps);
  gst_element_class_add_pad_template(
      elements, gst_pad_template_new("sink", GST_PAD_SINK, GST_PAD_ALWAYS, caps));
  gst_element_class_add_pad_template(
      elements, gst_pad_template_new("src", GST_PAD_SRC, GST_PAD_ALWAYS, caps));
  gst_caps_unref(caps);
  gst_type_mark_as_plugin_api(methodType(), static_cast<GstPluginAPIFlags>(0));
  gst_type_mark_as_plugin_api(effortType(), static_cast<GstPluginAPIFlags>(0));

  GstBaseTransformClass* transforms = GST_BASE_TRANSFORM_CLASS(type);
  transforms->transform_caps = transformCaps;
  transforms->fixate_caps = fixateCaps;
  transforms->start = start;
  transforms->stop = stop;
  transforms->generate_output = generateOutput;
  transforms->sink_event = sinkEvent;
  transforms->src_event = srcEvent;
  transforms->query = query;
  transforms->propose_allocation = proposeAllocation;
  transforms->transform_meta = transformMeta;
  GstVideoFilterClass* filters = GST_VIDEO_FILTER_CLASS(type);
  filters->set_info = setInfo;
  filters->transform_frame = transformFrame;
}

GType velmorasrType() {
  static const GType type = g_type_register_static_simple(
      GST_TYPE_VIDEO_FILTER, "Velmorasr", sizeof(VelmorasrClass), initializeClass,
      sizeof(Velmorasr), initialize, static_cast<GTypeFlags>(0));
  return type;
}

}  // namespace

gboolean velmora::gst::registerElement(GstPlugin* plugin) {
  return gst_element_register(plugin, "velmorasr", GST_RANK_NONE, velmorasrType());
}
