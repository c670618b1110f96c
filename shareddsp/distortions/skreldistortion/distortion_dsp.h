// Per-channel distortion processor: a grid of bands x slots, each running one of the 48
// algorithms in place. The caller picks the band, the slot and the order of the slots.
#pragma once
#include <cstdint>
#include "shareddsp/distortions/skreldistortion/distortion_algorithms.h"
#include "shareddsp/distortions/skreldistortion/distortion_constants.h"
#include "shareddsp/distortions/skreldistortion/distortion_slot.h"

class DistortionDsp
{
public:
    // The sample rate is not kept: no algorithm depends on it.
    explicit DistortionDsp(float in_fSampleRate);
    virtual ~DistortionDsp() = default;

    uint32_t GetAlgorithm(uint32_t iBand, uint32_t iEffectSlot) const;
    // Recomputes drive and wet gain from the new algorithm's row.
    void SetAlgorithm(uint32_t iBand, uint32_t iAlgorithm, uint32_t iEffectSlot);

    // Index 0 input gain dB, 1 Drive, 2 Character, 3 Mix, 4 output gain dB.
    float GetParameter(uint32_t iBand, uint32_t in_uIndex, uint32_t iEffectSlot) const;
    void SetParameter(uint32_t iBand, uint32_t in_uIndex, float in_fValue, uint32_t iEffectSlot);

    // In place, no range checks: one indirect call per block.
    void Process(uint32_t in_uBand, uint32_t in_uSlot, uint32_t in_uSamples, float* io_pSamples)
    {
        DistortionSlot& slot = m_aSlots[in_uBand + in_uSlot * KvSkrel::NUM_BANDS];
        m_apfnAlgorithms[slot.m_uAlgorithm](*this, slot, in_uSamples, io_pSamples);
    }

    void SetSampleAveraging(bool in_bEnable);
    // Heals out-of-range algorithms and clears the moving averages.
    void Reset();

    const DistortionSlot& Slot(uint32_t in_uBand, uint32_t in_uSlot) const
    {
        return m_aSlots[in_uBand + in_uSlot * KvSkrel::NUM_BANDS];
    }

private:
    // Null, after the assertions, when the band or slot is out of range.
    DistortionSlot* CheckedSlot(uint32_t iBand, uint32_t iEffectSlot);
    static void UpdateDriveGain(DistortionSlot& io_slot);
    static void UpdateMix(DistortionSlot& io_slot);

    DistortionSlot m_aSlots[KvSkrel::NUM_BANDS * KvSkrel::NUM_DISTORTION_SLOTS];
    DistortionAlgorithmFn m_apfnAlgorithms[KvSkrel::NUM_DISTORTION_ALGORITHMS];
};
