// The 48 distortion algorithms, one function each, in algorithm-number order. Each rewrites
// a slot's samples in place; only 34 to 36 keep state, and that state lives in the slot.
#pragma once
#include <cstdint>
#include "shareddsp/distortions/skreldistortion/distortion_constants.h"
#include "shareddsp/distortions/skreldistortion/distortion_slot.h"

class DistortionDsp;

typedef void (*DistortionAlgorithmFn)(DistortionDsp& io_dsp, DistortionSlot& io_slot, uint32_t in_uSamples,
                                      float* io_pSamples);

extern const DistortionAlgorithmFn g_apfnDistortionAlgorithms[KvSkrel::NUM_DISTORTION_ALGORITHMS];
