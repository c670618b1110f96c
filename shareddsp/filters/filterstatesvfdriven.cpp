#include "shareddsp/filters/filterstatesvfdriven.h"
#include <algorithm>
#include <cmath>
#include "host/qwassert.h"

void FilterStateSvfDriven::Configure(uint32_t in_uType, float in_fSampleRate)
{
    QW_ASSERT(in_uType >= FILTER_SVF_DRIVEN_LOW && in_uType <= FILTER_SVF_DRIVEN_PEAK);
    Update(in_fSampleRate, m_fFrequency, m_fGainDb, m_fQ, m_fResonance);
}

void FilterStateSvfDriven::Update(float in_fSampleRate, float in_fFrequency, float, float, float in_fResonance)
{
    const double f =
        FilterClamp(static_cast<double>(in_fFrequency) / static_cast<double>(in_fSampleRate), 0.0, 0.5);
    m_dResonance = 0.2 + 0.8 * static_cast<double>(in_fResonance);
    m_dDrive = DRIVE;
    // Two passes a sample: the stage is tuned for twice the rate.
    m_dF = 2.0 * std::sin(FILTER_PI * std::min(f * 0.5, 0.25));
    m_dDamp = std::min(2.0 * (1.0 - std::pow(m_dResonance, 0.25)), std::min(2.0, 2.0 / m_dF - m_dF * 0.5));
}

void FilterStateSvfDriven::Reset()
{
    m_dLow = 0.0;
    m_dHigh = 0.0;
    m_dBand = 0.0;
}

template <uint32_t TYPE>
void FilterStateSvfDriven::Run(uint32_t in_uFrames, float* io_pSamples)
{
    const double F = m_dF;
    const double damp = m_dDamp;
    const double drive = m_dDrive;
    double low = m_dLow;
    double high = m_dHigh;
    double band = m_dBand;
    for (uint32_t i = 0; i < in_uFrames; ++i) {
        const double x = io_pSamples[i];
        double sum = 0.0;
        for (int pass = 0; pass < 2; ++pass) {
            low = F * band + low;
            high = x - damp * band - low;
            band = F * high + band - drive * band * band * band;
            sum += TYPE == FILTER_SVF_DRIVEN_LOW    ? low
                   : TYPE == FILTER_SVF_DRIVEN_BAND ? band
                   : TYPE == FILTER_SVF_DRIVEN_HIGH ? high
                                                    : low - high;
        }
        io_pSamples[i] = static_cast<float>(0.5 * sum);
    }
    m_dLow = low;
    m_dHigh = high;
    m_dBand = band;
}

void FilterStateSvfDriven::Process(uint32_t in_uFrames, float* io_pSamples)
{
    switch (m_uType) {
    case FILTER_SVF_DRIVEN_LOW:
        Run<FILTER_SVF_DRIVEN_LOW>(in_uFrames, io_pSamples);
        break;
    case FILTER_SVF_DRIVEN_BAND:
        Run<FILTER_SVF_DRIVEN_BAND>(in_uFrames, io_pSamples);
        break;
    case FILTER_SVF_DRIVEN_HIGH:
        Run<FILTER_SVF_DRIVEN_HIGH>(in_uFrames, io_pSamples);
        break;
    case FILTER_SVF_DRIVEN_PEAK:
        Run<FILTER_SVF_DRIVEN_PEAK>(in_uFrames, io_pSamples);
        break;
    default:
        QW_ASSERT(m_uType >= FILTER_SVF_DRIVEN_LOW && m_uType <= FILTER_SVF_DRIVEN_PEAK);
        break;
    }
}
