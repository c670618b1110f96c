// Type 14: a four-pole cascade with a one-sample feed-forward in every stage and a scaled
// input, tuned so that its pass band sits at unity.
#pragma once
#include "shareddsp/filters/filterstate.h"

class FilterStateLadderCascade : public FilterState
{
public:
    static constexpr double FREQUENCY_SCALE = 5.16;

    explicit FilterStateLadderCascade(const FilterState* in_pSource) : FilterState(in_pSource) {}
    void Configure(uint32_t in_uType, float in_fSampleRate) override;
    void Process(uint32_t in_uFrames, float* io_pSamples) override;
    void Reset() override;
    void Update(float in_fSampleRate, float in_fFrequency, float in_fGainDb, float in_fQ,
                float in_fResonance) override;

private:
    double m_dC4 = 0.0;
    double m_dM = 1.0;
    double m_dFeedback = 0.0;
    double m_adOut[4] = {};
    double m_adPrevInput[4] = {};
};
