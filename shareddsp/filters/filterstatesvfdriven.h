// Types 18 to 21: a state-variable filter run twice a sample on the same input (doubling its
// rate), with a cubic drive term in the band state that pulls loud signals back in the loop.
#pragma once
#include "shareddsp/filters/filterstate.h"

class FilterStateSvfDriven : public FilterState
{
public:
    static constexpr double DRIVE = 0.05;

    explicit FilterStateSvfDriven(const FilterState* in_pSource) : FilterState(in_pSource) {}
    void Configure(uint32_t in_uType, float in_fSampleRate) override;
    void Process(uint32_t in_uFrames, float* io_pSamples) override;
    void Reset() override;
    void Update(float in_fSampleRate, float in_fFrequency, float in_fGainDb, float in_fQ,
                float in_fResonance) override;

private:
    template <uint32_t TYPE>
    void Run(uint32_t in_uFrames, float* io_pSamples);

    double m_dF = 0.0;
    double m_dDamp = 2.0;
    double m_dResonance = 0.2;
    double m_dDrive = DRIVE;
    double m_dLow = 0.0;
    double m_dHigh = 0.0;
    double m_dBand = 0.0;
};
