// Types 15 to 17: a state-variable filter whose input is scaled by the damping and whose
// output is scaled by its inverse, so the pass band stays near unity as resonance rises.
#pragma once
#include "shareddsp/filters/filterstate.h"

class FilterStateSvfScaled : public FilterState
{
public:
    static constexpr double MAX_F = 1.55;

    explicit FilterStateSvfScaled(const FilterState* in_pSource) : FilterState(in_pSource) {}
    void Configure(uint32_t in_uType, float in_fSampleRate) override;
    void Process(uint32_t in_uFrames, float* io_pSamples) override;
    void Reset() override;
    void Update(float in_fSampleRate, float in_fFrequency, float in_fGainDb, float in_fQ,
                float in_fResonance) override;

private:
    template <uint32_t TYPE>
    void Run(uint32_t in_uFrames, float* io_pSamples);

    double m_dF = 0.0;
    double m_dD = 0.49;
    double m_dG = 1.0 / 0.49;
    double m_dLow = 0.0;
    double m_dBand = 0.0;
};
