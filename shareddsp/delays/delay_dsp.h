// One channel of the degrading delay: whatever enters the line is worn down by a per-mode
// character stage and three filters on every trip round the loop.
#pragma once
#include <cstdint>
#include "kvbase/common/common_smart_ptr.h"
#include "kvbase/common/common_vector.h"
#include "kvdspbase/dsp/iirfilter.h"

class SkrelDelayDsp
{
public:
    enum : uint32_t {
        DELAY_MODE_SINE = 0,
        DELAY_MODE_SOFT_SINE = 1,
        DELAY_MODE_KNEE = 2,
        DELAY_MODE_BITS_MAGNITUDE = 3,
        DELAY_MODE_BITS_TWOS = 4,
        DELAY_MODE_CLEAN = 5,
        NUM_DELAY_MODES = 6,
    };

    enum : uint32_t {
        PARAM_DRY_PERCENT = 0,
        PARAM_WET_PERCENT = 1,
        PARAM_LOW_CUT_HZ = 2,
        PARAM_LOW_CUT_Q = 3,
        PARAM_HIGH_CUT_HZ = 4,
        PARAM_HIGH_CUT_Q = 5,
        PARAM_DELAY_MS = 6,
        PARAM_FEEDBACK_PERCENT = 7,
        PARAM_AMOUNT = 8,
        NUM_PARAMS = 9,
    };

    // Allocates the filters and the line; the owner tests the sticky out-of-memory flag.
    explicit SkrelDelayDsp(uint32_t in_uSampleRate);

    virtual bool IsActive() const;
    // Resizes the delay line (allocates) and returns the engine to silence.
    virtual void SetSampleRate(uint32_t in_uSampleRate);
    // In place over one channel; returns in_uFrames. Allocates nothing.
    virtual uint32_t Process(uint32_t in_uFrames, float* io_pSamples);
    virtual ~SkrelDelayDsp();
    virtual void Reset();

    // Out-of-range and unchanged values are dropped silently.
    void SetParam(uint32_t in_uIndex, float in_fValue);
    float GetParam(uint32_t in_uIndex) const;
    void SetMode(uint32_t in_uMode);
    uint32_t GetMode() const { return m_uMode; }
    void SetAmount(float in_fAmount);

    // One value through the mode's character stage: shaper or crusher with its moving average
    // and anti-denormal offset. Process runs this on every value entering the line.
    float ApplyCharacter(float in_fValue);

    uint32_t GetSampleRate() const { return m_uSampleRate; }
    float GetCurrentDelayMs() const { return m_fCurrentDelayMs; }
    uint32_t GetBitMask() const { return m_uBitMask; }
    uint32_t GetAverageLength() const { return m_averageRing.size(); }
    uint32_t GetDelayLineSize() const { return m_delayBuffer.size(); }
    const IirFilter* GetLowCut() const { return m_pLowCut.raw(); }
    const IirFilter* GetHighCut() const { return m_pHighCut.raw(); }
    const IirFilter* GetCharacterFilter() const { return m_pCharacterFilter.raw(); }

    static const float DELAY_MIN_MS;
    static const float DELAY_MAX_MS;

private:
    template <uint32_t MODE>
    float Character(float in_fValue);
    template <uint32_t MODE>
    uint32_t Run(uint32_t in_uFrames, float* io_pSamples);
    template <uint32_t MODE>
    uint32_t RunChunked(uint32_t in_uFrames, float* io_pSamples);
    static const uint32_t RUN_CHUNK = 64;
    void UpdateLfoTerms();
    void Glide(uint32_t in_uWrite, float in_fTarget, float in_fRate, float in_fSize);
    void UpdateModeGains();
    void RebuildAverageRing();
    void DesignLowCut();
    void DesignHighCut();
    void DesignCharacterFilter();
    float ClampedDelayMs() const;
    float ReadCubic(float in_fPos, const float* in_pLine, uint32_t in_uSize) const;
    float LimitOutput(float in_fValue) const;

    uint32_t m_uSampleRate = 0;
    float m_fMsPerSample = 0.0f;
    bool m_bFlagA = false;
    bool m_bFlagB = false;
    float m_fDryPercent = 100.0f;
    float m_fWetPercent = 0.0f;
    float m_fDryGain = 1.0f;
    float m_fInputGain = 1.0f;
    float m_fWetGain = 0.0f;
    float m_fWetTrim = 1.0f;
    float m_fLowCutHz = 80.0f;
    float m_fLowCutQ = 0.2f;
    float m_fHighCutHz = 10000.0f;
    float m_fHighCutQ = 0.2f;
    common_smart_ptr<IirFilter> m_pLowCut;
    common_smart_ptr<IirFilter> m_pHighCut;
    float m_fDelayMs = 200.0f;
    // Holds the default from construction on, so the LFO depth is bounded correctly
    // before the first Reset.
    float m_fCurrentDelayMs = 200.0f;
    float m_fTargetDelayMs = 200.0f;
    float m_fDelayStepMs = 0.0f;
    uint32_t m_uLfoPhase = 0;
    float m_fLfoPeriodMs = 500.0f;
    float m_fLfoDepthMs = 0.0f;
    float m_fLfoDepthSamples = 0.0f;
    float m_fLfoPhaseInc = 0.0f;
    float m_fFeedbackPercent = 20.0f;
    float m_fFeedbackGain = 0.2f;
    uint32_t m_uMode = NUM_DELAY_MODES;
    float m_fAmount = 0.25f;
    float m_fSineDrive = 0.0f;
    float m_fSineNorm = 1.0f;
    float m_fSoftDrive = 0.0f;
    float m_fSoftNorm = 1.0f;
    float m_fSoftGain = 1.0f;
    float m_fKneeExponent = 1.0f;
    uint32_t m_uBitMask = 0xFFFFFFFFu;
    common_vector<float> m_averageRing;
    float m_fAverageSum = 0.0f;
    uint32_t m_uAverageIndex = 0;
    uint8_t m_uDenormalCounter = 0;
    common_smart_ptr<IirFilter> m_pCharacterFilter;
    common_vector<float> m_delayBuffer;
    uint32_t m_iWrite = 0;
    float m_fRead = 0.0f;
};
