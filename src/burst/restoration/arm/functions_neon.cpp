// NEON functions of restoration, 32-bit and 64-bit ARM. Intrinsics and static functions only: see
// cmake/VelmoraCpu.cmake.
#include <arm_neon.h>

#include "burst/restoration/function_sets.h"
#include "burst/restoration/vector_functions.h"

namespace velmora::burst {
namespace {

// Eight values at a time. 32-bit ARM cannot divide them and flushes subnormal ones: what takes
// floats stays scalar there.
struct Vectors128 {
  static constexpr int32_t kLanes = 8;
  using Words = int16x8_t;
  struct Halves {
    int32x4_t low, high;
  };
  struct Pairs {
    int16x8_t first, second;
  };

  static Words load(const int16_t* from) { return vld1q_s16(from); }
  static void store(int16_t* to, Words a) { vst1q_s16(to, a); }
  static Words fill(int16_t value) { return vdupq_n_s16(value); }
  static Words fillPairs(int32_t pair) { return vreinterpretq_s16_s32(vdupq_n_s32(pair)); }
  static Words add(Words a, Words b) { return vaddq_s16(a, b); }
  static Words subtract(Words a, Words b) { return vsubq_s16(a, b); }
  static void keepLarger(Words& a, Words threshold, Words& kept) {
    const Words keep = vreinterpretq_s16_u16(vcgtq_s16(vabsq_s16(a), threshold));
    a = vandq_s16(a, keep);
    kept = vsubq_s16(kept, keep);
  }
  template <int Shift>
  static Words shiftRight(Words a) {
    return vshrq_n_s16(a, Shift);
  }
  static Words fraction(Words a, Words b) { return vqrdmulhq_s16(a, b); }

  static Pairs pairs(Words a, Words b) { return {a, b}; }
  static Halves product(const Pairs& a, int32_t factors) {
    const auto first = static_cast<int16_t>(factors & 0xFFFF);
    const auto second = static_cast<int16_t>(factors >> 16);
    return {
        vmlal_n_s16(vmull_n_s16(vget_low_s16(a.first), first), vget_low_s16(a.second), second),
        vmlal_n_s16(vmull_n_s16(vget_high_s16(a.first), first), vget_high_s16(a.second), second)};
  }
  // narrow() rounds by itself.
  template <int Shift>
  static Halves roundedProduct(const Pairs& a, int32_t factors) {
    return product(a, factors);
  }
  static Halves add(const Halves& a, const Halves& b) {
    return {vaddq_s32(a.low, b.low), vaddq_s32(a.high, b.high)};
  }
  static Halves subtract(const Halves& a, const Halves& b) {
    return {vsubq_s32(a.low, b.low), vsubq_s32(a.high, b.high)};
  }
  template <int Shift>
  static Words narrow(const Halves& a) {
    return vcombine_s16(vmovn_s32(vrshrq_n_s32(a.low, Shift)),
                        vmovn_s32(vrshrq_n_s32(a.high, Shift)));
  }

#ifdef __aarch64__
  using Floats = float32x4_t;
  struct FloatHalves {
    float32x4_t low, high;
  };

  static Words loss(Words p, const FloatHalves& n2) {
    return vcombine_s16(lossHalf(vget_low_s16(p), n2.low), lossHalf(vget_high_s16(p), n2.high));
  }
  static FloatHalves fillFloats(float value) {
    return {vdupq_n_f32(value), vdupq_n_f32(value)};
  }
  static FloatHalves loadFloats(const float* from) {
    return {vld1q_f32(from), vld1q_f32(from + 4)};
  }
  static void storeQuotients(int16_t* to, float numerator, float one, Words a) {
    store(to, vcombine_s16(quotients(numerator, one, vget_low_s16(a)),
                           quotients(numerator, one, vget_high_s16(a))));
  }

  static Halves noSum() {
    return {vdupq_n_s32(0), vdupq_n_s32(0)};
  }
  static Halves addProduct(const Halves& sum, const Pairs& a, const Pairs& b) {
    return {vmlal_s16(vmlal_s16(sum.low, vget_low_s16(a.first), vget_low_s16(b.first)),
                      vget_low_s16(a.second), vget_low_s16(b.second)),
            vmlal_s16(vmlal_s16(sum.high, vget_high_s16(a.first), vget_high_s16(b.first)),
                      vget_high_s16(a.second), vget_high_s16(b.second))};
  }
  static void toFloats(const Halves& a, Floats& first, Floats& second) {
    first = vcvtq_f32_s32(a.low);
    second = vcvtq_f32_s32(a.high);
  }
  static Floats multiply(Floats a, float b) {
    return vmulq_n_f32(a, b);
  }
  static Floats addFloats(Floats a, Floats b) {
    return vaddq_f32(a, b);
  }
  static Floats subtractFloats(Floats a, Floats b) {
    return vsubq_f32(a, b);
  }
  static void addTo(float* sum, Floats a) {
    vst1q_f32(sum, vaddq_f32(vld1q_f32(sum), a));
  }

  static void divide(const float* numerators, const float* denominators, int16_t* out) {
    store(out, vcombine_s16(divideHalf(numerators, denominators),
                            divideHalf(numerators + 4, denominators + 4)));
  }

 private:
  static int16x4_t lossHalf(int16x4_t p, float32x4_t n2) {
    const float32x4_t power = vcvtq_f32_s32(vmlal_s16(vdupq_n_s32(1), p, p));
    const float32x4_t quotients = vdivq_f32(vmulq_n_f32(n2, 32768.0F), vaddq_f32(power, n2));
    return vqmovn_s32(vcvtq_s32_f32(quotients));
  }
  static int16x4_t quotients(float numerator, float one, int16x4_t a) {
    const float32x4_t wide = vcvtq_f32_s32(vmovl_s16(a));
    return vmovn_s32(
        vcvtq_s32_f32(vdivq_f32(vdupq_n_f32(numerator), vaddq_f32(vdupq_n_f32(one), wide))));
  }
  static int16x4_t divideHalf(const float* numerators, const float* denominators) {
    constexpr auto kLimit = static_cast<float>(kSampleLimit);
    const float32x4_t quotients =
        vdivq_f32(vld1q_f32(numerators), vmaxq_f32(vld1q_f32(denominators), vdupq_n_f32(1)));
    const float32x4_t limited =
        vminq_f32(vmaxq_f32(quotients, vdupq_n_f32(-kLimit)), vdupq_n_f32(kLimit));
    const int32x4_t rounded = vcvtq_s32_f32(vaddq_f32(limited, vdupq_n_f32(kLimit + 0.5F)));
    return vmovn_s32(vaddq_s32(rounded, vdupq_n_s32(kMidGrey - kSampleLimit)));
  }
#else
  static void storeQuotients(int16_t* to, float numerator, float one, Words a) {
    int16_t values[kLanes];
    store(values, a);
    for (int32_t i = 0; i < kLanes; ++i)
      to[i] = static_cast<int16_t>(numerator / (one + static_cast<float>(values[i])));
  }
#endif
};

int16x8_t centred(int16x8_t samples) {
  const int16x8_t difference = vqsubq_s16(samples, vdupq_n_s16(kMidGrey));
  return vminq_s16(vmaxq_s16(difference, vdupq_n_s16(-kSampleLimit)), vdupq_n_s16(kSampleLimit));
}

void split(const int16_t* in, int32_t count, int32_t stride, std::ptrdiff_t phase, int16_t* out) {
  for (; count >= 8 * stride; count -= 8 * stride, in += 8 * stride, out += 8) {
    if (stride == 1) {
      vst1q_s16(out, centred(vld1q_s16(in)));
    } else if (stride == 2) {
      const int16x8x2_t samples = vld2q_s16(in);
      for (int32_t i = 0; i < 2; ++i)
        vst1q_s16(out + i * phase, centred(samples.val[i]));
    } else if (stride == 3) {
      const int16x8x3_t samples = vld3q_s16(in);
      for (int32_t i = 0; i < 3; ++i)
        vst1q_s16(out + i * phase, centred(samples.val[i]));
    } else {
      const int16x8x4_t samples = vld4q_s16(in);
      for (int32_t i = 0; i < 4; ++i)
        vst1q_s16(out + i * phase, centred(samples.val[i]));
    }
  }
  scalar::split(in, count, stride, phase, out);
}

void merge(const int16_t* in, int32_t count, int32_t stride, std::ptrdiff_t phase, int16_t* out) {
  for (; count >= 8 * stride; count -= 8 * stride, in += 8, out += 8 * stride) {
    if (stride == 1) {
      vst1q_s16(out, vld1q_s16(in));
    } else if (stride == 2) {
      vst2q_s16(out, {{vld1q_s16(in), vld1q_s16(in + phase)}});
    } else if (stride == 3) {
      vst3q_s16(out, {{vld1q_s16(in), vld1q_s16(in + phase), vld1q_s16(in + 2 * phase)}});
    } else {
      vst4q_s16(out, {{vld1q_s16(in), vld1q_s16(in + phase), vld1q_s16(in + 2 * phase),
                       vld1q_s16(in + 3 * phase)}});
    }
  }
  scalar::merge(in, count, stride, phase, out);
}

}  // namespace

void installNeon(RestorationFunctions& table) {
  using Functions = VectorFunctions<Vectors128>;
  table.split = split;
  table.merge = merge;
  table.transformColumns = Functions::transformColumns;
  table.shrinkByThreshold = Functions::shrinkByThreshold;
#ifdef __aarch64__
  table.shrinkByPilot = Functions::shrinkByPilot;
  table.addColumns = Functions::addColumns;
  table.divide = Functions::divide;
#endif
}

}  // namespace velmora::burst
