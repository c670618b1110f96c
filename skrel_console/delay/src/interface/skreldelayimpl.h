// Between the delay effect and its per-channel engines: one engine a channel, and the
// zero-padded scratch block that keeps every engine running at a constant rate.
#pragma once
#include <cstdint>
#include "kvbase/common/common_smart_ptr.h"
#include "kvbase/common/common_vector.h"
#include "shareddsp/delays/delay_dsp.h"

class SkrelDelayImpl
{
public:
    enum : uint32_t {
        INT_PARAM_BYPASS = 0,
        INT_PARAM_MODE = 10,
    };

    // Allocates an engine per channel and the scratch memory; the owner tests the sticky
    // out-of-memory flag afterwards.
    SkrelDelayImpl(uint16_t in_uMaxBlockFrames, uint32_t in_uSampleRate, uint32_t in_uNumChannels,
                   bool in_bInterleaved);

    // Indices 1 to 9 are the engine's parameters 0 to 8.
    bool SetFloatParam(uint32_t in_uIndex, float in_fValue);
    bool SetIntParam(uint32_t in_uIndex, uint32_t in_uValue);
    bool SetBoolParam(uint32_t in_uIndex, bool in_bValue);

    float GetDryPercent() const { return GetFloat(SkrelDelayDsp::PARAM_DRY_PERCENT); }
    float GetWetPercent() const { return GetFloat(SkrelDelayDsp::PARAM_WET_PERCENT); }
    float GetLowCutHz() const { return GetFloat(SkrelDelayDsp::PARAM_LOW_CUT_HZ); }
    float GetLowCutQ() const { return GetFloat(SkrelDelayDsp::PARAM_LOW_CUT_Q); }
    float GetHighCutHz() const { return GetFloat(SkrelDelayDsp::PARAM_HIGH_CUT_HZ); }
    float GetHighCutQ() const { return GetFloat(SkrelDelayDsp::PARAM_HIGH_CUT_Q); }
    float GetDelayMs() const { return GetFloat(SkrelDelayDsp::PARAM_DELAY_MS); }
    float GetFeedbackPercent() const { return GetFloat(SkrelDelayDsp::PARAM_FEEDBACK_PERCENT); }
    float GetAmount() const { return GetFloat(SkrelDelayDsp::PARAM_AMOUNT); }
    uint32_t GetMode() const;

    bool GetBypass() const { return m_bBypass; }
    void SetBypass(bool in_bBypass) { m_bBypass = in_bBypass; }

    // Frames the echoes need to fall by 100 dB, from channel 0's feedback and requested delay.
    uint32_t GetTailFrames() const;
    void Reset();

    // Every channel runs over the whole maximum block, whatever the valid count.
    void ProcessDeinterleaved(uint32_t in_uFrames, float* const* io_ppChannels);
    void ProcessInterleaved(uint32_t in_uSamples, float* io_pBuffer);

    uint32_t NumChannels() const { return m_uNumChannels; }
    uint32_t MaxBlockFrames() const { return m_uMaxBlockFrames; }
    SkrelDelayDsp* GetEngine(uint32_t in_uChannel) const { return m_pDelay[in_uChannel].raw(); }

private:
    float GetFloat(uint32_t in_uEngineIndex) const;
    void ProcessChannel(uint32_t in_uChannel, uint32_t in_uFrames, float* io_pChannel);

    common_vector<common_smart_ptr<SkrelDelayDsp>> m_pDelay;
    common_aligned_vector<float> m_scratch;
    uint32_t m_uNumChannels;
    bool m_bBypass = false;
    uint32_t m_uMaxBlockFrames;
    uint32_t m_uSampleRate;
    bool m_bInterleaved;
    common_aligned_vector<float> m_interleavedScratch;
    common_vector<float*> m_interleavedChannels;
};
