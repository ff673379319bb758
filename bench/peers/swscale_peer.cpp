#include <libyuv.h>

#include <memory>
#include <stdexcept>

#include "peers.h"
extern "C" {
#include <libavutil/frame.h>
#include <libavutil/opt.h>
#include <libswscale/swscale.h>
}

namespace velmora::bench {
namespace {

AVFrame* makeFrame(int width, int height, AVPixelFormat format) {
  AVFrame* frame = av_frame_alloc();
  frame->width = width;
  frame->height = height;
  frame->format = format;
  if (av_frame_get_buffer(frame, 64) < 0) throw std::runtime_error("libswscale: no frame");
  return frame;
}

struct Job {
  AVFrame* in;
  AVFrame* out;
  SwsContext* context;
  ~Job() {
    sws_freeContext(context);
    av_frame_free(&in);
    av_frame_free(&out);
  }
};

}  // namespace

std::function<void()> swscaleResize(const Nv12Frame& frame, int outWidth, int outHeight,
                                    int threads, bool planar) {
  const AVPixelFormat format = planar ? AV_PIX_FMT_YUV420P : AV_PIX_FMT_NV12;
  auto job = std::make_shared<Job>();
  job->in = makeFrame(frame.width, frame.height, format);
  job->out = makeFrame(outWidth, outHeight, format);
  libyuv::CopyPlane(frame.bytes.data(), frame.width, job->in->data[0], job->in->linesize[0],
                    frame.width, frame.height);
  if (planar) {
    libyuv::SplitUVPlane(frame.chroma(), frame.width, job->in->data[1], job->in->linesize[1],
                         job->in->data[2], job->in->linesize[2], frame.width / 2, frame.height / 2);
  } else {
    libyuv::CopyPlane(frame.chroma(), frame.width, job->in->data[1], job->in->linesize[1],
                      frame.width, frame.height / 2);
  }
  job->context = sws_alloc_context();
  av_opt_set_int(job->context, "srcw", frame.width, 0);
  av_opt_set_int(job->context, "srch", frame.height, 0);
  av_opt_set_int(job->context, "dstw", outWidth, 0);
  av_opt_set_int(job->context, "dsth", outHeight, 0);
  av_opt_set_int(job->context, "src_format", format, 0);
  av_opt_set_int(job->context, "dst_format", format, 0);
  av_opt_set_int(job->context, "sws_flags", SWS_LANCZOS, 0);
  av_opt_set_double(job->context, "param0", 2, 0);
  av_opt_set_int(job->context, "threads", threads, 0);
  if (sws_init_context(job->context, nullptr, nullptr) < 0)
    throw std::runtime_error("libswscale: no context");
  return [job] { sws_scale_frame(job->context, job->out, job->in); };
}

}  // namespace velmora::bench
