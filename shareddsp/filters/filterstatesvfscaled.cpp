#include "shareddsp/filters/filterstatesvfscaled.h"
#include <algorithm>
#include <cmath>
#include "host/qwassert.h"

void FilterStateSvfScaled::Configure(uint32_t in_uType, float in_fSampleRate)
{
    QW_ASSERT(in_uType >= FILTER_SVF_SCALED_LOW && in_uType <= FILTER_SVF_SCALED_BAND);
    Update(in_fSampleRate, m_fFrequency, m_fGainDb, m_fQ, m_fResonance);
}

void FilterStateSvfScaled::Update(float in_fSampleRate, float in_fFrequency, float, float, float in_fResonance)
{
    const double f =
        FilterClamp(static_cast<double>(in_fFrequency) / static_cast<double>(in_fSampleRate), 0.0, 0.5);
    // Held below 2 sin(pi/2) = 2: the recursion would not be stable up there.
    m_dF = FilterClamp(2.0 * std::sin(FILTER_PI * f), 0.0, MAX_F);
    m_dD = 0.49 - 0.41 * static_cast<double>(in_fResonance);
    m_dG = 1.0 / m_dD;
}

void FilterStateSvfScaled::Reset()
{
    m_dLow = 0.0;
    m_dBand = 0.0;
}

template <uint32_t TYPE>
void FilterStateSvfScaled::Run(uint32_t in_uFrames, float* io_pSamples)
{
    const double F = m_dF;
    const double D = m_dD;
    const double G = m_dG;
    double low = m_dLow;
    double band = m_dBand;
    for (uint32_t i = 0; i < in_uFrames; ++i) {
        const double x = io_pSamples[i];
        low = F * band + low;
        const double high = D * x - low - D * band;
        band = F * high + band;
        const double y = TYPE == FILTER_SVF_SCALED_LOW ? low : (TYPE == FILTER_SVF_SCALED_HIGH ? high : band);
        io_pSamples[i] = static_cast<float>(G * y);
    }
    m_dLow = low;
    m_dBand = band;
}

void FilterStateSvfScaled::Process(uint32_t in_uFrames, float* io_pSamples)
{
    switch (m_uType) {
    case FILTER_SVF_SCALED_LOW:
        Run<FILTER_SVF_SCALED_LOW>(in_uFrames, io_pSamples);
        break;
    case FILTER_SVF_SCALED_HIGH:
        Run<FILTER_SVF_SCALED_HIGH>(in_uFrames, io_pSamples);
        break;
    case FILTER_SVF_SCALED_BAND:
        Run<FILTER_SVF_SCALED_BAND>(in_uFrames, io_pSamples);
        break;
    default:
        QW_ASSERT(m_uType >= FILTER_SVF_SCALED_LOW && m_uType <= FILTER_SVF_SCALED_BAND);
        break;
    }
}
