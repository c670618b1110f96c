// Runs one distortion slot over a few samples, for the algorithm and chain tests.
#pragma once
#include <cmath>
#include <cstdint>
#include <vector>
#include "shareddsp/distortions/skreldistortion/distortion_dsp.h"

struct SlotSetting
{
    uint32_t uAlgorithm = 0;
    float fDrive = 0.0f; // 0 makes the drive gain exactly 1
    float fCharacter = 0.5f;
    float fMix = 100.0f;
    float fInputDb = 0.0f;
    float fOutputDb = 0.0f;
};

inline void ApplySetting(DistortionDsp& io_dsp, const SlotSetting& in_s, uint32_t in_uBand = 3, uint32_t in_uSlot = 0)
{
    io_dsp.SetAlgorithm(in_uBand, in_s.uAlgorithm, in_uSlot);
    io_dsp.SetParameter(in_uBand, 0, in_s.fInputDb, in_uSlot);
    io_dsp.SetParameter(in_uBand, 1, in_s.fDrive, in_uSlot);
    io_dsp.SetParameter(in_uBand, 2, in_s.fCharacter, in_uSlot);
    io_dsp.SetParameter(in_uBand, 3, in_s.fMix, in_uSlot);
    io_dsp.SetParameter(in_uBand, 4, in_s.fOutputDb, in_uSlot);
}

inline std::vector<float> RunSlot(const SlotSetting& in_s, std::vector<float> in_samples)
{
    DistortionDsp dsp(48000.0f);
    ApplySetting(dsp, in_s);
    dsp.Process(3, 0, static_cast<uint32_t>(in_samples.size()), in_samples.data());
    return in_samples;
}

inline float RunOne(const SlotSetting& in_s, float in_fX) { return RunSlot(in_s, {in_fX})[0]; }

// The level corrections of the algorithm table, written as dB in double.
inline double DbGain(double in_fDb) { return std::pow(10.0, in_fDb / 20.0); }
