#include "burst/handle/picture.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <span>
#include <tuple>
#include <utility>

#include "burst/handle/region_weights.h"
#include "burst/reconstruction/reconstruction.h"
#include "burst/restoration/frame_noise.h"

namespace velmora::burst {
namespace {

/// A frame whose weights are lower in the mean shows something else.
constexpr double kLeastWeight = 0.2;
/// A noise that was given is luma's; chroma's is about half of it in what cameras deliver.
constexpr double kChromaOfLuma = 0.5;

/// Adds the time until its end to a stage's.
class StageTimer {
 public:
  explicit StageTimer(double& milliseconds) : milliseconds_(milliseconds) {}
  StageTimer(const StageTimer&) = delete;
  StageTimer& operator=(const StageTimer&) = delete;
  ~StageTimer() {
    milliseconds_ +=
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start_)
            .count();
  }

 private:
  double& milliseconds_;
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

double samples(Size size) {
  return static_cast<double>(size.width) * size.height;
}

/// Puts a value into a sorted list at the front of an array; returns the new length.
template <typename T, typename Less>
std::size_t insertSorted(std::array<T, kSlots>& list, std::size_t length, T value, Less less) {
  std::size_t i = length;
  for (; i > 0 && less(value, list[i - 1]); --i)
    list[i] = list[i - 1];
  list[i] = value;
  return length + 1;
}

bool equal(const NoiseLevels& a, const NoiseLevels& b) {
  return std::equal(std::begin(a.sigma), std::end(a.sigma), std::begin(b.sigma));
}

/// One of the frames beside the reference.
struct Candidate {
  Slot* slot;
  Pair* pair;
  int32_t use = VELMORA_SR_BURST_UNUSED;
  Motion motion;
  bool weighed = false;
  NoiseLevels weighedFor = {};
  Weights fresh;                     ///< where the last picture's do not serve
  const Weights* weights = nullptr;  ///< those, or `fresh`
  uint64_t weightSum = 0;

  [[nodiscard]] bool contributes() const { return use == VELMORA_SR_BURST_USED; }
  [[nodiscard]] MatchedPair matched(const Slot& reference, const Motion& by) const {
    return {&reference.frame, &slot->frame, &by, pair->registration.gain, pair->registration.bias};
  }
  /// What the candidates are ordered by: the same frames come in the same order from any slots.
  [[nodiscard]] auto order() const {
    const PairRegistration& found = pair->registration;
    return std::tie(found.homography.h, found.gain, found.bias, weights->mean);
  }
};

/// One picture on its way.
class PictureMaker {
 public:
  PictureMaker(Velmora_SR_Burst& burst, int32_t reference, CallWorkers& workers)
      : burst_(burst),
        workers_(workers),
        reference_(burst.slots[static_cast<std::size_t>(reference)]) {
    for (std::size_t i = 0; i < burst.slots.size(); ++i) {
      Slot& slot = burst.slots[i];
      if (slot.id == 0) continue;
      facts_.milliseconds[VELMORA_SR_BURST_STAGE_PYRAMIDS] += slot.pyramidMilliseconds;
      if (&slot == &reference_) continue;
      Candidate& candidate = candidates_[static_cast<std::size_t>(count_++)];
      candidate.slot = &slot;
      candidate.pair = &burst.pairs[static_cast<std::size_t>(reference)][i];
    }
    estimateWork();
  }

  void make(const TargetFrame& target) {
    registerAll();
    // A frame that is left out for its weights leaves no trace in the noise: then once more.
    do {
      findNoise();
      findTranslationsOfAll();
    } while (!weighAll());
    reconstructFrom(target);
    workers_.finish();
    note();
  }

 private:
  [[nodiscard]] std::span<Candidate> candidates() {
    return std::span(candidates_).first(static_cast<std::size_t>(count_));
  }
  double& milliseconds(int32_t stage) {
    return facts_.milliseconds[static_cast<std::size_t>(stage)];
  }

  // What the call will take if every frame goes in, for the progress function.
  void estimateWork() {
    const Size frame = burst_.settings.frame;
    double work = reconstructionWork(count_ + 1, reconstructionSettings());
    for (const Candidate& candidate : candidates()) {
      if (!candidate.pair->registered) work += registrationWork(frame);
      work += translationsWork(frame) + weightsWork(frame);
    }
    workers_.begin(work);
  }
  void expect(double work) { workers_.expect(firstPass_ ? work : 0); }

  /// With the noise as far as it is known.
  [[nodiscard]] ReconstructionSettings reconstructionSettings() const {
    const Settings& settings = burst_.settings;
    return {.region = settings.region,
            .output = settings.output,
            .noise = facts_.noise,
            .sharpened = settings.sharpened,
            .fast = settings.fast};
  }

  void registerAll() {
    const StageTimer timer(milliseconds(VELMORA_SR_BURST_STAGE_REGISTRATION));
    for (Candidate& candidate : candidates()) {
      Pair& pair = *candidate.pair;
      if (!pair.registered) {
        expect(registrationWork(burst_.settings.frame));
        pair.registration =
            registerFrame(burst_.memory, workers_, reference_.pyramid, candidate.slot->pyramid);
        pair.registered = true;
      }
      candidate.use = pair.registration.use;
      candidate.motion.homography = pair.registration.homography;
      if (candidate.contributes()) candidate.motion.prepare();
    }
  }

  void findNoise() {
    const double given = burst_.settings.noise;
    if (given >= 0) {
      facts_.noise = {{given, kChromaOfLuma * given, kChromaOfLuma * given}};
      return;
    }
    const StageTimer timer(milliseconds(VELMORA_SR_BURST_STAGE_WEIGHTS));
    for (Candidate& candidate : candidates()) {
      if (!candidate.contributes() || candidate.pair->noiseKnown) continue;
      expect(0);
      // The homography alone: the quietest places need no more, and local translations are looked
      // for where they surpass the noise.
      Motion motion;
      motion.homography = candidate.pair->registration.homography;
      motion.prepare();
      candidate.pair->noise =
          measureNoiseBetween(burst_.memory, workers_, candidate.matched(reference_, motion));
      candidate.pair->noiseKnown = true;
    }
    for (int32_t plane = 0; plane < kPlanes; ++plane)
      facts_.noise.sigma[plane] = noiseOf(plane);
  }

  /// The median over the pairs, of an even number the lower one: what does not fit in a pair can
  /// only add to its noise. Where no pair tells, that of the reference alone.
  double noiseOf(int32_t plane) {
    std::array<double, kSlots> found;
    std::size_t count = 0;
    for (const Candidate& candidate : candidates()) {
      const double sigma = candidate.pair->noise.sigma[plane];
      if (candidate.contributes() && sigma >= 0)
        count = insertSorted(found, count, sigma, std::less<>());
    }
    if (count > 0) return found[(count - 1) / 2];
    if (!reference_.noiseKnown[static_cast<std::size_t>(plane)]) {
      reference_.noise.sigma[plane] =
          measureFrameNoise(burst_.memory, reference_.frame.planes[plane]);
      reference_.noiseKnown[static_cast<std::size_t>(plane)] = true;
    }
    return reference_.noise.sigma[plane];
  }

  void findTranslationsOfAll() {
    const StageTimer timer(milliseconds(VELMORA_SR_BURST_STAGE_TRANSLATIONS));
    const double sigma = facts_.noise.sigma[0];
    for (Candidate& candidate : candidates()) {
      if (!candidate.contributes()) continue;
      Pair& pair = *candidate.pair;
      if (!pair.fieldKnown || pair.fieldSigma != sigma) {
        expect(translationsWork(burst_.settings.frame));
        pair.fieldKnown = false;
        pair.field = findTranslations(burst_.memory, workers_, reference_.pyramid,
                                      candidate.slot->pyramid, pair.registration, sigma);
        pair.fieldSigma = sigma;
        pair.fieldKnown = true;
      }
      candidate.motion.field = pair.field.empty() ? nullptr : &pair.field;
    }
  }

  /// False when frames have to be left out that the noise was measured with.
  bool weighAll() {
    const StageTimer timer(milliseconds(VELMORA_SR_BURST_STAGE_WEIGHTS));
    bool complete = true;
    for (Candidate& candidate : candidates()) {
      if (!candidate.contributes()) continue;
      if (!candidate.weighed || !equal(candidate.weighedFor, facts_.noise)) weigh(candidate);
      if (candidate.weights->mean >= kLeastWeight) continue;
      candidate.use = VELMORA_SR_BURST_LOW_WEIGHT;
      complete = false;
    }
    firstPass_ = false;
    return complete;
  }

  void weigh(Candidate& candidate) {
    const Outcome& last = candidate.slot->outcome;
    const bool serves = last.reference == reference_.id && !last.weights.half.empty() &&
                        equal(last.noise, facts_.noise);
    if (!serves) {
      expect(weightsWork(burst_.settings.frame));
      candidate.fresh = weighPair(burst_.memory, workers_,
                                  candidate.matched(reference_, candidate.motion), facts_.noise);
    }
    candidate.weights = serves ? &last.weights : &candidate.fresh;
    candidate.weighed = true;
    candidate.weighedFor = facts_.noise;
    candidate.weightSum = sumOfWeights(*candidate.weights, burst_.settings.region);
  }

  void reconstructFrom(const TargetFrame& target) {
    std::array<const Candidate*, kSlots> order;
    std::size_t others = 0;
    const auto before = [](const Candidate* a, const Candidate* b) {
      return a->order() < b->order();
    };
    for (const Candidate& candidate : candidates()) {
      if (candidate.contributes())
        others = insertSorted(order, others, static_cast<const Candidate*>(&candidate), before);
    }

    const Motion still;
    std::array<Contribution, kSlots> frames;
    frames[0] = {&reference_.frame, &still, 1, 0, nullptr};
    for (std::size_t i = 0; i < others; ++i) {
      const PairRegistration& found = order[i]->pair->registration;
      frames[i + 1] = {&order[i]->slot->frame, &order[i]->motion, found.gain, found.bias,
                       order[i]->weights};
    }
    facts_.framesUsed = static_cast<int32_t>(others) + 1;
    const ReconstructionSettings settings = reconstructionSettings();
    workers_.expect(reconstructionWork(facts_.framesUsed, settings));
    const ReconstructionTimes times =
        reconstruct(burst_.memory, workers_, std::span(frames).first(others + 1), settings, target);
    milliseconds(VELMORA_SR_BURST_STAGE_NOISE) = times.noise;
    milliseconds(VELMORA_SR_BURST_STAGE_RECONSTRUCTION) = times.reconstruction;
  }

  /// The picture is done: what it made of the frames takes the place of what the last one made of
  /// them. Nothing here fails.
  void note() noexcept {
    const Rect& region = burst_.settings.region;
    const double full = 255 * samples({region.width(), region.height()});
    double sum = full;
    for (const Candidate& candidate : candidates()) {
      if (candidate.contributes()) sum += static_cast<double>(candidate.weightSum);
    }
    Outcome ofReference;
    ofReference.use = VELMORA_SR_BURST_REFERENCE;
    ofReference.reference = reference_.id;
    ofReference.meanWeight = 1;
    ofReference.share = full / sum;
    reference_.outcome = std::move(ofReference);
    for (Candidate& candidate : candidates()) {
      Outcome outcome;
      outcome.use = candidate.use;
      outcome.reference = reference_.id;
      outcome.registration = candidate.pair->registration;
      if (candidate.weighed) {
        const auto weight = static_cast<double>(candidate.weightSum);
        outcome.noise = candidate.weighedFor;
        outcome.meanWeight = weight / full;
        outcome.localTiles = candidate.pair->field.accepted;
        if (candidate.contributes()) outcome.share = weight / sum;
        Weights& kept = candidate.weights == &candidate.fresh ? candidate.fresh
                                                              : candidate.slot->outcome.weights;
        outcome.weights = std::move(kept);
      }
      candidate.slot->outcome = std::move(outcome);
    }
    burst_.facts = facts_;
  }

  Velmora_SR_Burst& burst_;
  CallWorkers& workers_;
  Slot& reference_;
  std::array<Candidate, kSlots - 1> candidates_;
  int32_t count_ = 0;
  PictureFacts facts_;
  bool firstPass_ = true;
};

}  // namespace

void makePicture(Velmora_SR_Burst& burst, int32_t reference, CallWorkers& workers,
                 const TargetFrame& target) {
  PictureMaker(burst, reference, workers).make(target);
}

}  // namespace velmora::burst
