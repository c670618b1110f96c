// Types 11 to 13: a four-pole ladder with low-, high- and band-pass taps. The formant filters
// reuse its tuning and its taps in front of their vowel sections.
#pragma once
#include "shareddsp/filters/filterstate.h"

class FilterStateLadder : public FilterState
{
public:
    static constexpr double FREQUENCY_SCALE = 1.78;

    explicit FilterStateLadder(const FilterState* in_pSource) : FilterState(in_pSource) {}
    void Configure(uint32_t in_uType, float in_fSampleRate) override;
    void Process(uint32_t in_uFrames, float* io_pSamples) override;
    void Reset() override;
    void Update(float in_fSampleRate, float in_fFrequency, float in_fGainDb, float in_fQ,
                float in_fResonance) override;

protected:
    // in_uTap: 0 low, 1 high, 2 band.
    void ProcessTap(uint32_t in_uTap, uint32_t in_uFrames, float* io_pSamples);

private:
    template <uint32_t TAP>
    void Run(uint32_t in_uFrames, float* io_pSamples);

    double m_dK = -1.0;
    double m_dP = 0.0;
    double m_dR = 0.0;
    double m_dPrevInput = 0.0;
    double m_adY[4] = {};
};
