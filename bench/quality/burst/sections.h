// The sections of the measurement; each prints its tables.
#ifndef VELMORA_BENCH_QUALITY_BURST_SECTIONS_H
#define VELMORA_BENCH_QUALITY_BURST_SECTIONS_H

#include "burst/take.h"

namespace velmora::quality {

/// Nothing moves but the camera: luma of the whole frame, luma without its border, chroma.
void measureStill(const Plan& plan);
/// The same on photos with large smooth parts.
void measureSmooth(const Plan& plan);
/// The same with BTV-L1 as a peer, on few frames.
void measureBtv(const Plan& plan);
/// A textured disc moves, exposures differ.
void measureMoving(const Plan& plan);
/// A disc changes its colour only.
void measureColour(const Plan& plan);
/// Exposures differ.
void measureExposure(const Plan& plan);
/// Frames come from JPEG files.
void measureJpeg(const Plan& plan);
/// The camera sharpened its frames, or blurred them.
void measureSharpened(const Plan& plan);
/// The nearer half of the scene moves against the rest.
void measureParallax(const Plan& plan);
/// Enlarged by 1 to 4.
void measureScales(const Plan& plan);
/// Registration, on frames of 0.3 to 14 megapixels.
void measureRegistration(const Plan& plan);
/// Crops of the results beside the truth and peers, in the plan's folder.
void savePictures(const Plan& plan);

/// A subset that takes two minutes: one line per goal. Returns how many were missed.
int checkGoals(const Plan& plan);

}  // namespace velmora::quality

#endif  // VELMORA_BENCH_QUALITY_BURST_SECTIONS_H
