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
    const double pr = p * r;
    const double c3 = 0.166667;
    for (uint32_t n = 0; n < in_uFrames; ++n) {
        const double x = io_pSamples[n];
        const double u = x - y4 * r;
        // Each stage's previous input is its predecessor's value from the sample before. The
        // terms are grouped so that only one multiply and one add per stage wait on the stage
        // before: n1 = (u + x0) p - k y1 with u = x - r y4.
        const double n1 = ((p * x + p * x0) - k * y1) - pr * y4;
        const double n2 = p * n1 + (p * y1 - k * y2);
        const double n3 = p * n2 + (p * y2 - k * y3);
        double n4 = p * n3 + (p * y3 - k * y4);
        // The shorter constant than the clipped ladder's is deliberate.
        n4 = n4 - (n4 * c3) * (n4 * n4);
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
