// Residuals of pixels and their sums with NEON, 64-bit ARM. Intrinsics and static functions only:
// see cmake/VelmoraCpu.cmake.
#ifdef __aarch64__

#include <arm_neon.h>

#include "burst/alignment/arm/neon.h"
#include "burst/alignment/function_sets.h"

namespace velmora::burst::neon {
namespace {

float32x4_t set(float value) {
  return vdupq_n_f32(value);
}

uint32x4_t columnsAt(const PixelRow& row, int32_t i) {
  return vmovl_u16(vld1_u16(row.columns + i));
}
// The X coordinates of four pixels.
float32x4_t coordinates(const PixelRow& row, uint32x4_t columns) {
  return vmulq_f32(vsubq_f32(vcvtq_f32_u32(columns), set(row.centre)), set(row.scale));
}
// Four 16-bit values as floats in units of `unit`.
float32x4_t floats(const int16_t* from, float unit) {
  return vmulq_f32(vcvtq_f32_s32(vmovl_s16(vld1_s16(from))), set(unit));
}

// Catmull-Rom's taps for positions f behind the second sample.
struct Taps {
  explicit Taps(float32x4_t f) {
    const float32x4_t ff = vmulq_f32(f, f);
    const float32x4_t half = vmulq_f32(set(0.5f), f);
    const float32x4_t more = vmulq_f32(set(1.5f), f);
    of[0] = vmulq_f32(f, vsubq_f32(vmulq_f32(f, vsubq_f32(set(1.0f), half)), set(0.5f)));
    of[1] = vaddq_f32(vmulq_f32(ff, vsubq_f32(more, set(2.5f))), set(1.0f));
    of[2] = vmulq_f32(f, vaddq_f32(vmulq_f32(f, vsubq_f32(set(2.0f), more)), set(0.5f)));
    of[3] = vmulq_f32(ff, vsubq_f32(half, set(0.5f)));
  }
  float32x4_t of[4];
};

// By the addition of a large number, as the scalar function does.
int32x4_t rounded(float32x4_t tap) {
  const float32x4_t magic = set(12582912.0f);
  const float32x4_t sum = vaddq_f32(vmulq_f32(tap, set(16384)), magic);
  return vsubq_s32(vreinterpretq_s32_f32(sum), vreinterpretq_s32_f32(magic));
}

// The taps as Q14 integers, pixel by pixel.
struct IntegerTaps {
  explicit IntegerTaps(const Taps& taps) {
    const int32x4_t first = rounded(taps.of[0]);
    const int32x4_t third = rounded(taps.of[2]);
    const int32x4_t fourth = rounded(taps.of[3]);
    const int32x4_t second =
        vsubq_s32(vdupq_n_s32(16384), vaddq_s32(vaddq_s32(first, third), fourth));
    int16_t values[16];
    vst4_s16(
        values,
        (int16x4x4_t{{vmovn_s32(first), vmovn_s32(second), vmovn_s32(third), vmovn_s32(fourth)}}));
    for (int i = 0; i < 4; ++i)
      of[i] = vld1_s16(values + 4 * i);
  }
  int16x4_t of[4];
};

// Where four pixels lie. Those outside the frame get the place (1, 1).
struct Places {
  Places(const PixelRow& row, const WarpedRow& warp, int32_t i) {
    const uint32x4_t columns = columnsAt(row, i);
    const float32x4_t x = coordinates(row, columns);
    const float32x4_t inverse =
        vdivq_f32(set(1.0f), vaddq_f32(set(warp.w0), vmulq_f32(x, set(warp.w1))));
    const float32x4_t bent = vaddq_f32(set(warp.x1), vmulq_f32(x, set(warp.x2)));
    const float32x4_t dx = vmulq_f32(vaddq_f32(set(warp.x0), vmulq_f32(x, bent)), inverse);
    const float32x4_t dy = vmulq_f32(vaddq_f32(set(warp.y0), vmulq_f32(x, set(warp.y1))), inverse);
    const float32x4_t wholeX = vrndmq_f32(dx);
    const float32x4_t wholeY = vrndmq_f32(dy);
    const int32x4_t column = vaddq_s32(vreinterpretq_s32_u32(columns), vcvtq_s32_f32(wholeX));
    const int32x4_t line = vaddq_s32(vdupq_n_s32(warp.y), vcvtq_s32_f32(wholeY));
    const uint32x4_t near =
        vandq_u32(vcltq_f32(vabsq_f32(dx), set(1e5f)), vcltq_f32(vabsq_f32(dy), set(1e5f)));
    inside = vandq_u32(vandq_u32(within(column, warp.width - 3), within(line, warp.height - 3)),
                       vbicq_u32(near, vceqq_u32(columns, vdupq_n_u32(kNoColumn))));
    const int32x4_t one = vdupq_n_s32(1);
    vst1q_s32(columnOf, vbslq_s32(inside, column, one));
    vst1q_s32(lineOf, vbslq_s32(inside, line, one));
    right = vsubq_f32(dx, wholeX);
    down = vsubq_f32(dy, wholeY);
  }
  static uint32x4_t within(int32x4_t value, int32_t high) {
    return vandq_u32(vcgeq_s32(value, vdupq_n_s32(1)), vcleq_s32(value, vdupq_n_s32(high)));
  }
  int32_t columnOf[4];
  int32_t lineOf[4];
  uint32x4_t inside;
  float32x4_t right;
  float32x4_t down;
};

// All ones for those of four places that are not masked.
uint32x4_t unmarked(const WarpedRow& warp, const Places& places) {
  uint32_t marks[4];
  for (int i = 0; i < 4; ++i)
    marks[i] = warp.masked[places.lineOf[i] * warp.maskedPitch + places.columnOf[i]] & 2;
  return vceqq_u32(vld1q_u32(marks), vdupq_n_u32(0));
}

// Eight lanes.
struct Lanes {
  float32x4_t a;
  float32x4_t b;
};
Lanes operator+(const Lanes& one, const Lanes& other) {
  return {vaddq_f32(one.a, other.a), vaddq_f32(one.b, other.b)};
}
Lanes operator*(const Lanes& one, const Lanes& other) {
  return {vmulq_f32(one.a, other.a), vmulq_f32(one.b, other.b)};
}
Lanes load(const float* from) {
  return {vld1q_f32(from), vld1q_f32(from + 4)};
}
void store(float* to, const Lanes& lanes) {
  vst1q_f32(to, lanes.a);
  vst1q_f32(to + 4, lanes.b);
}
Lanes gradients(const int16_t* from) {
  return {floats(from, 1.0f / 64), floats(from + 4, 1.0f / 64)};
}
float32x4_t where(uint32x4_t mask, float32x4_t values) {
  return vreinterpretq_f32_u32(vandq_u32(mask, vreinterpretq_u32_f32(values)));
}

// Which of eight residuals are any.
struct Valid {
  explicit Valid(const Lanes& given)
      : a(vmvnq_u32(vceqq_f32(given.a, set(kNoResidual)))),
        b(vmvnq_u32(vceqq_f32(given.b, set(kNoResidual)))) {}
  [[nodiscard]] Lanes of(const Lanes& values) const {
    return {where(a, values.a), where(b, values.b)};
  }
  uint32x4_t a;
  uint32x4_t b;
};

float folded(const Lanes& partial) {
  const float32x4_t four = vaddq_f32(partial.a, partial.b);
  const float32x2_t two = vadd_f32(vget_low_f32(four), vget_high_f32(four));
  return vget_lane_f32(two, 0) + vget_lane_f32(two, 1);
}

// Eight partial sums each of value * X^k, k = 0 .. powers - 1.
template <int powers>
struct PowerSums {
  explicit PowerSums(const float* from) {
    for (int k = 0; k < powers; ++k)
      sums[k] = load(from + 8 * k);
  }
  void add(Lanes value, const Lanes& x) {
    for (int k = 0; k < powers; ++k) {
      if (k > 0) value = value * x;
      sums[k] = sums[k] + value;
    }
  }
  void storeTo(float* to) const {
    for (int k = 0; k < powers; ++k)
      store(to + 8 * k, sums[k]);
  }
  Lanes sums[powers];
};

// Pixels between the loops: more sums than there are registers are needed of them.
constexpr int32_t kStretch = 256;
struct Stretch {
  float x[kStretch];
  float gx[kStretch];
  float gy[kStretch];
  float r[kStretch];
  float w[kStretch];
  float wx[kStretch];
  float wy[kStretch];
};

void prepare(const PixelRow& row, const float* residuals, int32_t begin, int32_t end, float limit2,
             Stretch& s, float* scores) {
  const Lanes limits = {set(limit2), set(limit2)};
  PowerSums<1> score(scores);
  PowerSums<1> count(scores + 8);
  for (int32_t i = begin; i < end; i += 8) {
    const int32_t at = i - begin;
    const Lanes given = load(residuals + i);
    const Valid valid(given);
    const Lanes r = valid.of(given);
    const Lanes r2 = r * r;
    const Lanes sum = limits + r2;
    const Lanes q = {vdivq_f32(limits.a, sum.a), vdivq_f32(limits.b, sum.b)};
    const Lanes w = valid.of(q * q);
    const Lanes gx = gradients(row.gradientsX + i);
    const Lanes gy = gradients(row.gradientsY + i);
    const Lanes x = {coordinates(row, columnsAt(row, i)), coordinates(row, columnsAt(row, i + 4))};
    store(s.x + at, x);
    store(s.gx + at, gx);
    store(s.gy + at, gy);
    store(s.r + at, r);
    store(s.w + at, w);
    store(s.wx + at, w * gx);
    store(s.wy + at, w * gy);
    score.add(r2 * q, x);
    count.add(valid.of({set(1.0f), set(1.0f)}), x);
  }
  score.storeTo(scores);
  count.storeTo(scores + 8);
}

// partial[8 * s ..] are those of sum s, in the order of RowSums.
void addGeometric(const Stretch& s, int32_t count, float* partial) {
  PowerSums<5> gxgx(partial);
  PowerSums<5> gxgy(partial + 8 * 5);
  for (int32_t i = 0; i < count; i += 8) {
    const Lanes x = load(s.x + i);
    const Lanes wx = load(s.wx + i);
    gxgx.add(wx * load(s.gx + i), x);
    gxgy.add(wx * load(s.gy + i), x);
  }
  gxgx.storeTo(partial);
  gxgy.storeTo(partial + 8 * 5);
  PowerSums<5> gygy(partial + 8 * 10);
  PowerSums<3> rgx(partial + 8 * 15);
  PowerSums<3> rgy(partial + 8 * 18);
  for (int32_t i = 0; i < count; i += 8) {
    const Lanes x = load(s.x + i);
    const Lanes wy = load(s.wy + i);
    const Lanes r = load(s.r + i);
    gygy.add(wy * load(s.gy + i), x);
    rgx.add(load(s.wx + i) * r, x);
    rgy.add(wy * r, x);
  }
  gygy.storeTo(partial + 8 * 10);
  rgx.storeTo(partial + 8 * 15);
  rgy.storeTo(partial + 8 * 18);
}

void addPhotometric(const Stretch& s, const float* warped, int32_t count, float* partial) {
  PowerSums<3> bgx(partial + 8 * 23);
  PowerSums<3> bgy(partial + 8 * 26);
  PowerSums<3> gx(partial + 8 * 29);
  PowerSums<3> gy(partial + 8 * 32);
  for (int32_t i = 0; i < count; i += 8) {
    const Lanes x = load(s.x + i);
    const Lanes b = load(warped + i);
    bgx.add(load(s.wx + i) * b, x);
    bgy.add(load(s.wy + i) * b, x);
    gx.add(load(s.wx + i), x);
    gy.add(load(s.wy + i), x);
  }
  bgx.storeTo(partial + 8 * 23);
  bgy.storeTo(partial + 8 * 26);
  gx.storeTo(partial + 8 * 29);
  gy.storeTo(partial + 8 * 32);
  PowerSums<5> rest(partial + 8 * 35);
  for (int32_t i = 0; i < count; i += 8) {
    const Lanes w = load(s.w + i);
    const Lanes r = load(s.r + i);
    const Lanes b = load(warped + i);
    const Lanes wb = w * b;
    rest.sums[0] = rest.sums[0] + wb * b;
    rest.sums[1] = rest.sums[1] + wb;
    rest.sums[2] = rest.sums[2] + w;
    rest.sums[3] = rest.sums[3] + wb * r;
    rest.sums[4] = rest.sums[4] + w * r;
  }
  rest.storeTo(partial + 8 * 35);
}

}  // namespace

void residuals(const PixelRow& row, const WarpedRow& warp, float* residuals, float* warped) {
  const float gain = warp.gain * (1.0f / 524288);
  for (int32_t i = 0; i < row.count; i += 4) {
    const Places places(row, warp, i);
    const IntegerTaps across(Taps(places.right));
    const Taps down(places.down);
    const int16_t* from[4];
    for (int k = 0; k < 4; ++k)
      from[k] = warp.samples + (places.lineOf[k] - 1) * warp.pitch + places.columnOf[k] - 1;
    float32x4_t terms[4];
    for (int j = 0; j < 4; ++j) {
      const auto products = [&](int k) {  // below 2^27
        return vmull_s16(vld1_s16(from[k] + j * warp.pitch), across.of[k]);
      };
      const int32x4_t sums =
          vpaddq_s32(vpaddq_s32(products(0), products(1)), vpaddq_s32(products(2), products(3)));
      terms[j] = vmulq_f32(vcvtq_f32_s32(sums), down.of[j]);
    }
    const float32x4_t sample =
        vaddq_f32(vaddq_f32(terms[0], terms[1]), vaddq_f32(terms[2], terms[3]));
    uint32x4_t usable = places.inside;
    if (warp.masked != nullptr) usable = vandq_u32(usable, unmarked(warp, places));
    const float32x4_t scaled = where(usable, vmulq_f32(sample, set(gain)));
    const float32x4_t residual =
        vsubq_f32(vaddq_f32(scaled, set(warp.bias)), floats(row.values + i, 1.0f / 32));
    vst1q_f32(warped + i, scaled);
    vst1q_f32(residuals + i, vbslq_f32(usable, residual, set(kNoResidual)));
  }
}

void addUp(const PixelRow& row, const float* residuals, const float* warped, float limit, bool all,
           RowSums& sums) {
  float partial[8 * kAllSums] = {};
  Stretch stretch;
  for (int32_t begin = 0; begin < row.count; begin += kStretch) {
    const int32_t end = begin + kStretch < row.count ? begin + kStretch : row.count;
    prepare(row, residuals, begin, end, limit * limit, stretch, partial + 8 * 21);
    addGeometric(stretch, end - begin, partial);
    if (all) addPhotometric(stretch, warped + begin, end - begin, partial);
  }
  auto* const out = reinterpret_cast<float*>(&sums);
  for (int32_t s = 0; s < kAllSums; ++s)
    out[s] = folded(load(partial + 8 * s));
}

void addCells(const PixelRow& row, const float* residuals, int32_t width, CellSums* sums) {
  for (int32_t begin = 0; begin < row.count; begin += width, ++sums) {
    Lanes s[kCellSums];
    for (Lanes& sum : s)
      sum = {set(0), set(0)};
    for (int32_t i = begin; i < begin + width; i += 8) {
      const Lanes given = load(residuals + i);
      const Valid valid(given);
      const Lanes r = valid.of(given);
      const Lanes gx = valid.of(gradients(row.gradientsX + i));
      const Lanes gy = valid.of(gradients(row.gradientsY + i));
      s[0] = s[0] + r * r;
      s[1] = s[1] + gx * gx;
      s[2] = s[2] + gx * gy;
      s[3] = s[3] + gy * gy;
      s[4] = s[4] + r * gx;
      s[5] = s[5] + r * gy;
      s[6] = s[6] + valid.of({set(1.0f), set(1.0f)});
    }
    auto* const out = reinterpret_cast<float*>(sums);
    for (int32_t k = 0; k < kCellSums; ++k)
      out[k] += folded(s[k]);
  }
}

}  // namespace velmora::burst::neon

#endif  // __aarch64__
