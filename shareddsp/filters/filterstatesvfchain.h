// Types 7 to 9: chains of a state-variable stage tuned by a scaled frequency, so that the
// setting saturates at fs x 0.5 / 6.33 (about 3.8 kHz at 48 kHz).
#pragma once
#include "shareddsp/filters/filterstate.h"

class FilterStateSvfChain : public FilterState
{
public:
    static constexpr double FREQUENCY_SCALE = 6.33;

    explicit FilterStateSvfChain(const FilterState* in_pSource) : FilterState(in_pSource) {}
    void Configure(uint32_t in_uType, float in_fSampleRate) override;
    void Process(uint32_t in_uFrames, float* io_pSamples) override;
    void Reset() override;
    void Update(float in_fSampleRate, float in_fFrequency, float in_fGainDb, float in_fQ,
                float in_fResonance) override;

private:
    enum : uint32_t { NUM_STAGES = 6 };
    struct Stage
    {
        double s; // band
        double t; // low, the stage's result
    };

    double m_dF = 0.0;
    double m_dD = 1.0;
    // Stage 0 for type 7, stages 1-3 for type 8, stages 4-5 for type 9.
    Stage m_aStages[NUM_STAGES] = {};
};
