// Type 10: a four-pole ladder with the input clipped to -1..1 before the feedback; the only
// class that caches its setting and recomputes its coefficients only when it changes.
#pragma once
#include "shareddsp/filters/filterstate.h"

class FilterStateLadderClipped : public FilterState
{
public:
    explicit FilterStateLadderClipped(const FilterState* in_pSource) : FilterState(in_pSource) {}
    void Configure(uint32_t in_uType, float in_fSampleRate) override;
    void Process(uint32_t in_uFrames, float* io_pSamples) override;
    void Reset() override;
    void Update(float in_fSampleRate, float in_fFrequency, float in_fGainDb, float in_fQ,
                float in_fResonance) override;

private:
    double m_adStage[4] = {};
    double m_adPrevInput[4] = {};
    // Beyond any real setting, so that the first Update computes.
    float m_fCachedResonance = 2.0f;
    float m_fCachedFrequency = 0.0f;
    double m_dK = 0.0;
    double m_dP = 0.0;
    double m_dR = 0.0;
};
