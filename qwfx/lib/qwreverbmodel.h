// Writes the reverb's model record (plug-in media of the reverb), and builds simple models for
// the demo and tests: the six network values, a one-tap equalising filter and a synthetic early
// response. The authoring-side fitter writes through the same writer.
#pragma once
#include <cstdint>
#include <vector>

struct QwReverbModel
{
    float fDecayTime = 0.5f; // seconds to fall 15 dB
    float fLowCrossover = 400.0f;
    float fHighCrossover = 10000.0f;
    float fLowMultiplier = 1.0f;
    float fMidMultiplier = 1.0f;
    float fHighMultiplier = 1.0f;
    float fModelGain = 1.0f;
    std::vector<float> afEqualiser[2]; // same length on both channels
    std::vector<float> afEarly[2];     // same length on both channels
};

// Little-endian record of exactly 36 + 8 N1 + 8 N2 bytes; empty when the channel lengths differ.
std::vector<uint8_t> QwWriteReverbModel(const QwReverbModel& in_model);

// A model whose equaliser is one unit tap and whose early response is a sparse, decaying,
// decorrelated pair of in_fEarlyMs milliseconds.
QwReverbModel QwSyntheticReverbModel(uint32_t in_uSampleRate, float in_fEarlyMs, uint32_t in_uSeed = 1);
