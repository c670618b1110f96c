// A moving average under a Hann-shaped kernel whose cost does not grow with its width: the
// envelopes of the reverb fitter are smoothed over thousands of samples.
#pragma once
#include <cstdint>

// Smooths in_uLength samples of in_pfSource into out_pfDest (which must not overlap it) with a
// kernel of 2 h + 1 taps summing to 1, h = in_uHalfWidth, or n / 2 - 1 where that is smaller.
// The signal is reflected at both ends. Below 3 samples the source is copied. Single precision
// with running sums: rounding error accumulates along the signal and is accepted.
void HannSmooth(uint32_t in_uLength, const float* in_pfSource, uint32_t in_uHalfWidth, float* out_pfDest);
