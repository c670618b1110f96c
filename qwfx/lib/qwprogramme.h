// Synthetic test programmes: the demo's short mixed programme and the benchmark's noise.
#pragma once
#include <cstdint>
#include "qwfx/lib/qwplanaraudio.h"

// About six seconds of stereo: drum-like hits, a chord, a sweep, noise bursts, then a short
// silence so that tails can be heard. Peaks stay near -3 dBFS.
QwPlanarAudio QwMakeDemoProgramme(uint32_t in_uSampleRate);

// Noise-like programme with a slowly moving level (so that level-dependent effects work
// throughout), the same every run.
QwPlanarAudio QwMakeBenchProgramme(uint32_t in_uSampleRate, double in_fSeconds, uint32_t in_uChannels);
