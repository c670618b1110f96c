#include "shareddsp/filters/filterstatebiquad.h"
#include "host/qwassert.h"
#include "kvbase/common/common_allocator.h"
#include "kvdspbase/dsp/filtercoeffs.h"

FilterStateBiquad::FilterStateBiquad(const FilterState* in_pSource)
    : FilterState(in_pSource), m_filter(2, nullptr, 1), m_bHasFilter(!IsOutOfMemory())
{
}

void FilterStateBiquad::Configure(uint32_t in_uType, float in_fSampleRate)
{
    QW_ASSERT(in_uType >= FILTER_BIQUAD_LOW_PASS && in_uType <= FILTER_BIQUAD_PEAK);
    m_uType = in_uType;
    Update(in_fSampleRate, m_fFrequency, m_fGainDb, m_fQ, m_fResonance);
}

void FilterStateBiquad::Update(float in_fSampleRate, float in_fFrequency, float in_fGainDb, float in_fQ, float)
{
    double adCoeffs[6];
    const double fs = in_fSampleRate;
    const double fc = in_fFrequency;
    switch (m_uType) {
    case FILTER_BIQUAD_LOW_PASS:
        DesignLowPass(adCoeffs, fs, fc, in_fQ);
        break;
    case FILTER_BIQUAD_HIGH_PASS:
        DesignHighPass(adCoeffs, fs, fc, in_fQ);
        break;
    case FILTER_BIQUAD_BAND_PASS:
        DesignBandPass(adCoeffs, fs, fc, in_fQ);
        break;
    case FILTER_BIQUAD_LOW_SHELF:
        DesignLowShelf(adCoeffs, fs, fc, in_fGainDb, ShelfSlopeFromQ(in_fQ));
        break;
    case FILTER_BIQUAD_HIGH_SHELF:
        DesignHighShelf(adCoeffs, fs, fc, in_fGainDb, ShelfSlopeFromQ(in_fQ));
        break;
    case FILTER_BIQUAD_PEAK:
        DesignPeaking(adCoeffs, fs, fc, in_fGainDb, in_fQ);
        break;
    default:
        return; // type 0 loads nothing
    }
    m_filter.SetTaps(adCoeffs, true);
}

void FilterStateBiquad::Reset()
{
    m_filter.Reset();
}

void FilterStateBiquad::Process(uint32_t in_uFrames, float* io_pSamples)
{
    if (m_uType == FILTER_NONE)
        return;
    QW_ASSERT(m_uType >= FILTER_BIQUAD_LOW_PASS && m_uType <= FILTER_BIQUAD_PEAK);
    m_filter.Process(in_uFrames, io_pSamples);
}
