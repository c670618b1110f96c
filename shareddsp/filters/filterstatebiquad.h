// Types 1 to 6: one second-order section designed by the toolkit's filter designs and run in
// double precision by an owned IIR filter. Retuning keeps the filter's history.
#pragma once
#include "kvdspbase/dsp/iirfilter.h"
#include "shareddsp/filters/filterstate.h"

class FilterStateBiquad : public FilterState
{
public:
    explicit FilterStateBiquad(const FilterState* in_pSource);
    void Configure(uint32_t in_uType, float in_fSampleRate) override;
    void Process(uint32_t in_uFrames, float* io_pSamples) override;
    void Reset() override;
    IirFilter* StaticBiquad() override
    {
        const bool bType = m_uType >= FILTER_BIQUAD_LOW_PASS && m_uType <= FILTER_BIQUAD_PEAK;
        return bType && HasFilter() && m_filter.IsSingleBiquad() ? &m_filter : nullptr;
    }
    void Update(float in_fSampleRate, float in_fFrequency, float in_fGainDb, float in_fQ,
                float in_fResonance) override;

    // False when the filter's memory could not be had.
    bool HasFilter() const { return m_bHasFilter && m_filter.HasState(); }
    // The shelves take their slope from Q along the line through (Q 1, slope 0.1) and
    // (Q 24, slope 1), unclamped: the usual Q of 0.5 gives a slope below 0.1 on purpose.
    static float ShelfSlopeFromQ(float in_fQ) { return 0.1f + (in_fQ - 1.0f) * (0.9f / 23.0f); }

private:
    IirFilter m_filter;
    bool m_bHasFilter;
};
