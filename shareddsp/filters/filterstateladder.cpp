#include "shareddsp/filters/filterstateladder.h"
#include "host/qwassert.h"

void FilterStateLadder::Configure(uint32_t in_uType, float in_fSampleRate)
{
    QW_ASSERT(in_uType >= FILTER_LADDER_LOW && in_uType <= FILTER_LADDER_BAND);
    Update(in_fSampleRate, m_fFrequency, m_fGainDb, m_fQ, m_fResonance);
}

void FilterStateLadder::Update(float in_fSampleRate, float in_fFrequency, float, float, float in_fResonance)
{
    const double f = FilterClamp(FREQUENCY_SCALE * static_cast<double>(in_fFrequency) /
                                     static_cast<double>(in_fSampleRate),
                                 0.0, 0.5);
    const double q = 1.0 - f;
    m_dP = f + 0.8 * f * q;
    m_dK = 2.0 * m_dP - 1.0;
    m_dR = 0.95 * static_cast<double>(in_fResonance) * (1.0 + 0.5 * q * (1.0 - q + 5.6 * q * q));
}

void FilterStateLadder::Reset()
{
    m_dPrevInput = 0.0;
    for (double& y : m_adY)
        y = 0.0;
}

template <uint32_t TAP>
void FilterStateLadder::Run(uint32_t in_uFrames, float* io_pSamples)
{
    const double k = m_dK;
    const double p = m_dP;
    const double r = m_dR;
    double x0 = m_dPrevInput;
    double y1 = m_adY[0], y2 = m_adY[1], y3 = m_adY[2], y4 = m_adY[3];
    for (uint32_t n = 0; n < in_uFrames; ++n) {
        const double u = io_pSamples[n] - y4 * r;
        // Each stage's previous input is its predecessor's value from the sample before.
        const double n1 = (u + x0) * p - k * y1;
        const double n2 = (n1 + y1) * p - k * y2;
        const double n3 = (n2 + y2) * p - k * y3;
        double n4 = (n3 + y3) * p - k * y4;
        // The shorter constant than the clipped ladder's is deliberate.
        n4 = n4 - n4 * n4 * n4 * 0.166667;
        x0 = u;
        y1 = n1, y2 = n2, y3 = n3, y4 = n4;
        const double out = TAP == 0 ? y4 : (TAP == 1 ? u - y4 : (y3 - y4) * 3.0);
        io_pSamples[n] = static_cast<float>(out);
    }
    m_dPrevInput = x0;
    m_adY[0] = y1, m_adY[1] = y2, m_adY[2] = y3, m_adY[3] = y4;
}

void FilterStateLadder::ProcessTap(uint32_t in_uTap, uint32_t in_uFrames, float* io_pSamples)
{
    if (in_uTap == 0)
        Run<0>(in_uFrames, io_pSamples);
    else if (in_uTap == 1)
        Run<1>(in_uFrames, io_pSamples);
    else
        Run<2>(in_uFrames, io_pSamples);
}

void FilterStateLadder::Process(uint32_t in_uFrames, float* io_pSamples)
{
    if (m_uType < FILTER_LADDER_LOW || m_uType > FILTER_LADDER_BAND) {
        QW_ASSERT(m_uType >= FILTER_LADDER_LOW && m_uType <= FILTER_LADDER_BAND);
        return;
    }
    ProcessTap(m_uType - FILTER_LADDER_LOW, in_uFrames, io_pSamples);
}
