#include "interpolation/call.h"

#include "geometry/valid_region.h"
#include "velmora_sr/interpolation.h"

namespace velmora::test {
namespace {

int roundedUpTo8(int width) {
  return (width + 7) / 8 * 8;
}

Span halved(Span span) {
  return {span.from / 2, span.to / 2, span.out / 2};
}

/// The 4:2:0 frame of three planes.
Bytes frameOf(const Bytes& y, const Bytes& u, const Bytes& v, int format) {
  Bytes frame = y;
  for (std::size_t i = 0; i < 2 * u.size(); ++i) {
    const bool second = format == 0 ? i >= u.size() : i % 2 != (format == 5 ? 1 : 0);
    frame.push_back((second ? v : u)[format == 0 ? i % u.size() : i / 2]);
  }
  return frame;
}

/// What becomes of a chroma plane of format 0: it lies as one block at the start of the padded
/// plane, and the interior of that is the image.
Image asOneBlock(const Image& image) {
  Bytes block = image.data;
  block.resize(static_cast<std::size_t>((image.w + 4) * (image.h + 4)));
  Image interior = {image.w, image.h, {}};
  for (int row = 2; row < image.h + 2; ++row) {
    const auto begin = block.begin() + row * (image.w + 4) + 2;
    interior.data.insert(interior.data.end(), begin, begin + image.w);
  }
  return interior;
}

/// What is passed of a call, for luma or for chroma.
Case lumaOf(const Call& c) {
  const Case& g = c.grid;
  return {c.w, c.h, {g.columns.from, g.columns.to, c.outW}, {g.rows.from, g.rows.to, c.outH}};
}
Case chromaOf(const Call& c) {
  const Case luma = lumaOf(c);
  return {c.w >> 1, c.h >> 1, halved(luma.columns), halved(luma.rows)};
}

/// Calls a one-frame function with these planes.
template <typename Function, typename... Planes>
int enlarge(Function function, Call& c, const Case& g, const Planes&... planes) {
  return function(c.pass(planes.data())..., c.pad, -1, g.w, g.h, g.columns.out, g.rows.out,
                  g.columns.from, g.rows.from, g.columns.to, g.rows.to);
}

int oneFrame(Call& c) {
  return enlarge(ShiftInvariantIntepolation1Frame, c, lumaOf(c), c.inputs[0], c.inputs[1],
                 c.inputs[2], c.outputs[0], c.outputs[1], c.outputs[2]);
}

int oneFrameLuma(Call& c) {
  const auto function = ShiftInvariantIntepolationSeparateY1FrameLUTFix;
  return enlarge(function, c, lumaOf(c), c.inputs[0], c.outputs[0]);
}

int oneFrameChroma(Call& c) {
  return enlarge(ShiftInvariantIntepolationSeparateUV1FrameLUTFix, c, chromaOf(c), c.inputs[1],
                 c.inputs[2], c.outputs[0], c.outputs[1]);
}

int twoFrames(Call& c) {
  const Case& g = c.grid;
  return ShiftInvariantIntepolation2Frame(
      c.pass(c.inputs[0].data()), c.pass(c.inputs[1].data()), c.pass(c.inputs[2].data()),
      c.pass(c.inputs[3].data()), nullptr, nullptr, c.pass(c.outputs[0].data()),
      c.pass(c.outputs[1].data()), c.pass(c.outputs[2].data()), c.pad, 0, c.w, c.h, c.outW, c.outH,
      0.f, c.pass(c.mapX.data()), c.pass(c.mapY.data()), g.columns.from, g.rows.from, g.columns.to,
      g.rows.to);
}

int twoFrameLuma(Call& c) {
  const Case& g = c.grid;
  return ShiftInvariantIntepolationHighPerformanceFastY2FrameLUTFix(
      c.pass(c.inputs[0].data()), c.pass(c.inputs[3].data()), c.pass(c.outputs[0].data()), c.pad, 0,
      c.w, c.h, c.outW, c.outH, 1.5f, c.pass(c.mapX.data()), c.pass(c.mapY.data()), g.columns.from,
      g.rows.from, g.columns.to, g.rows.to);
}

/// The drivers. Nothing is known of a second frame that is not fused.
template <auto kDriver>
int driver(Call& c) {
  SR_ParamsPublic& pub = c.handle.pub;
  SR_ParamsPrivate& priv = c.handle.priv;
  const ValidRegion region = {c.grid.columns.from, c.grid.rows.from, c.grid.columns.to,
                              c.grid.rows.to};
  setRegion(pub, region);
  pub.srImageWidth = c.outW;
  pub.srImageHeight = c.outH;
  priv.kernelTaps = c.pad;
  priv.registFailed = c.entry.fuses ? 0 : 1;
  priv.pub = c.pass(&pub);
  uint8_t* left[] = {c.pass(c.inputs[0].data())};
  Velmora_SR_COutPutImage output = {c.pass(c.outputs[0].data())};
  Velmora_SR_CInputImage input = {c.pass(left), nullptr, 1, 1, c.w, c.h, c.format};
  uint8_t* right[1];
  if (c.entry.fuses) {
    right[0] = c.pass(c.inputs[1].data());
    input.rightData = c.pass(right);
    priv.posMap1 = c.pass(c.mapX.data());
    priv.posMap2 = c.pass(c.mapY.data());
  }
  const int result = kDriver(c.pass(&input), c.pass(&output), c.pass(&priv));
  // The handle keeps the caller's region, also where it was replaced for the call.
  EXPECT_EQ(regionOf(pub), region);
  return result;
}

const EntryPoint kEntryPoints[] = {
    {"ShiftInvariantIntepolation1Frame", oneFrame, true, true, false, -1},
    {"ShiftInvariantIntepolationSeparateY1FrameLUTFix", oneFrameLuma, true, false, false, -1},
    {"ShiftInvariantIntepolationSeparateUV1FrameLUTFix", oneFrameChroma, false, true, false, -1},
    {"ShiftInvariantIntepolation2Frame", twoFrames, true, true, true, -1},
    {"ShiftInvariantIntepolationHighPerformanceFastY2FrameLUTFix", twoFrameLuma, true, false, true,
     -1},
    {"SRInterpolation_Single", driver<SRInterpolation_Single>, true, true, false, 4},
    {"SRInterpolation_Single", driver<SRInterpolation_Single>, true, true, false, 5},
    {"SRInterpolation_Single", driver<SRInterpolation_Single>, true, true, false, 0},
    {"SRInterpolation", driver<SRInterpolation>, true, true, true, 4},
    {"SRInterpolation", driver<SRInterpolation>, true, true, true, 5},
    {"SRInterpolation", driver<SRInterpolation>, true, true, false, 4},
    {"SRInterpolation", driver<SRInterpolation>, true, true, false, 5},
};

}  // namespace

std::span<const EntryPoint> entryPoints() {
  return kEntryPoints;
}

Call::Call(const EntryPoint& entryPoint, const Case& what, const Maps& positions)
    : entry(entryPoint), grid(what), maps(positions) {
  const auto& [y, u, v, second] = images;
  if (entry.isDriver()) {
    inputs.emplace_back(frameOf(y.data, u.data, v.data, format));
    inputs.emplace_back(frameOf(second.data, v.data, u.data, format));
    outputs.emplace_back(outW * outH + outW / 2 * (outH / 2) * 2, 1, INT_MAX);
    return;
  }
  for (const Image& image : images)
    inputs.emplace_back(padded(image));
  if (entry.luma) outputs.emplace_back(outW, outH, entry.fuses ? outW : roundedUpTo8(outW));
  for (int plane = 0; entry.chroma && plane < 2; ++plane)
    outputs.emplace_back(outW / 2, outH / 2, roundedUpTo8(outW / 2));
}

int Call::run() {
  std::vector<Bytes> before;
  for (const auto& input : inputs)
    before.push_back(input.values());
  LogCapture capture;
  const int result = entry.function(*this);
  log = capture.take();
  for (std::size_t i = 0; i < inputs.size(); ++i)
    EXPECT_TRUE(inputs[i].intact() && inputs[i].values() == before[i]) << "wrote into its input";
  EXPECT_EQ(Handle::leftovers(), "");
  return result;
}

bool Call::untouched() const {
  return std::all_of(outputs.begin(), outputs.end(), [](const auto& o) { return o.untouched(); });
}

std::vector<Bytes> Call::output() const {
  std::vector<Bytes> all;
  for (const Destination& plane : outputs)
    all.push_back(plane.packed());
  return all;
}

std::vector<Bytes> Call::expected(const Kernels& kernels) const {
  const auto& [y, u, v, second] = images;
  auto [columns, rows] = std::pair(grid.columns, grid.rows);
  const ValidRegion region = {columns.from, rows.from, columns.to, rows.to};
  if (entry.name == std::string("SRInterpolation_Single") && !isUsable(region, w, h)) {
    const ValidRegion other = defaultRegion(w, h);
    columns = {other.startW, other.endW, columns.out};
    rows = {other.startH, other.endH, rows.out};
  }
  std::vector<Bytes> planes;
  if (entry.luma && entry.fuses) planes.push_back(fused(y, second, maps, kernels, columns, rows));
  if (entry.luma && !entry.fuses) planes.push_back(interpolated(y, kernels.sharp, columns, rows));
  for (const Image* image : {&u, &v}) {
    if (!entry.chroma) continue;
    planes.push_back(interpolated(format == 0 ? asOneBlock(*image) : *image, kernels.plain,
                                  halved(columns), halved(rows)));
  }
  if (!entry.isDriver()) return planes;
  return {frameOf(planes[0], planes[1], planes[2], format)};
}

}  // namespace velmora::test
