// DSP side of the single-band distortion: one DistortionDsp per channel, two slots in series
// on band 3, run over whole blocks so the digital algorithms' state advances at a fixed rate.
#pragma once
#include <cstdint>
#include "kvbase/common/common_vector.h"
#include "shareddsp/distortions/skreldistortion/distortion_dsp.h"

class SkrelDistImpl
{
public:
    // Internal parameter identifiers: the host's identifier plus one, 0 being bypass.
    enum : uint32_t {
        PARAM_BYPASS = 0,
        PARAM_INPUT_GAIN = 1,
        PARAM_DRIVE = 2,
        PARAM_CHARACTER = 3,
        PARAM_MIX = 4,
        PARAM_OUTPUT_GAIN = 5,
        PARAM_ALGORITHM = 6,
        PARAMS_PER_SLOT = 6,
    };
    static constexpr uint32_t BAND = 3; // the single-band effect uses the last band only

    // Allocates; check the allocator's sticky flag afterwards.
    SkrelDistImpl(uint16_t in_uBlockSize, float in_fSampleRate, uint32_t in_uChannels, bool in_bInterleaved);

    void Reset() {} // slots and rings are kept across a host reset

    bool SetBoolParameter(uint32_t in_uId, bool in_bValue);
    bool SetFloatParameter(uint32_t in_uId, float in_fValue);
    bool SetUIntParameter(uint32_t in_uId, uint32_t in_uValue);

    void SetInputGain(float in_fDb, uint32_t iEffectSlot) { SetSlotValue(0, in_fDb, iEffectSlot); }
    void SetDrive(float in_fDrive, uint32_t iEffectSlot) { SetSlotValue(1, in_fDrive, iEffectSlot); }
    void SetCharacter(float in_fCharacter, uint32_t iEffectSlot) { SetSlotValue(2, in_fCharacter, iEffectSlot); }
    void SetMix(float in_fPercent, uint32_t iEffectSlot) { SetSlotValue(3, in_fPercent, iEffectSlot); }
    void SetOutputGain(float in_fDb, uint32_t iEffectSlot) { SetSlotValue(4, in_fDb, iEffectSlot); }
    void SetAlgorithm(uint32_t in_uAlgorithm, uint32_t iEffectSlot);

    // What channel 0 holds; 0 when there is no channel.
    float GetParameter(uint32_t in_uIndex, uint32_t iEffectSlot) const;
    uint32_t GetAlgorithm(uint32_t iEffectSlot) const;
    bool IsBypassed() const { return m_bBypass; }
    uint32_t NumChannels() const { return m_uChannels; }
    const DistortionDsp& Dsp(uint32_t in_uChannel) const { return m_dsps[in_uChannel]; }

    // Non-interleaved: one pointer per channel, in_uFrames valid frames each.
    void Process(uint32_t in_uFrames, float* const* in_ppChannels);
    // Interleaved: in_uSamples values of all channels, frame by frame.
    void ProcessInterleaved(uint32_t in_uSamples, float* io_pInterleaved);

private:
    void SetSlotValue(uint32_t in_uIndex, float in_fValue, uint32_t iEffectSlot);
    void ProcessChannel(uint32_t in_uChannel, float* io_pChannel, uint32_t in_uFrames);

    common_vector<DistortionDsp> m_dsps;
    common_aligned_vector<float> m_scratch;
    uint32_t m_uChannels;
    bool m_bBypass = false;
    uint32_t m_uBlockSize;
    bool m_bInterleaved;
    common_vector<common_aligned_vector<float>> m_channelBuffers;
    common_vector<float*> m_channelPointers;
};
