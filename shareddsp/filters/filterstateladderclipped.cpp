#include "shareddsp/filters/filterstateladderclipped.h"
#include <cmath>
#include "host/qwassert.h"

void FilterStateLadderClipped::Configure(uint32_t in_uType, float in_fSampleRate)
{
    QW_ASSERT(in_uType == FILTER_LADDER_CLIPPED);
    Update(in_fSampleRate, m_fFrequency, m_fGainDb, m_fQ, m_fResonance);
}

void FilterStateLadderClipped::Update(float in_fSampleRate, float in_fFrequency, float, float, float in_fResonance)
{
    const double fn =
        FilterClamp(2.0 * static_cast<double>(in_fFrequency) / static_cast<double>(in_fSampleRate), 0.0, 1.0);
    const float fCompare = static_cast<float>(fn);
    if (in_fResonance == m_fCachedResonance && fCompare == m_fCachedFrequency)
        return;
    m_fCachedResonance = in_fResonance;
    m_fCachedFrequency = fCompare;
    m_dK = 3.6 * fn - 1.6 * fn * fn - 1.0;
    m_dP = (m_dK + 1.0) * 0.5;
    const double s = std::exp((1.0 - m_dP) * 1.386249);
    m_dR = 0.95 * static_cast<double>(in_fResonance) * s;
}

void FilterStateLadderClipped::Reset()
{
    for (int i = 0; i < 4; ++i) {
        m_adStage[i] = 0.0;
        m_adPrevInput[i] = 0.0;
    }
}

void FilterStateLadderClipped::Process(uint32_t in_uFrames, float* io_pSamples)
{
    if (m_uType != FILTER_LADDER_CLIPPED) {
        QW_ASSERT(m_uType == FILTER_LADDER_CLIPPED);
        return;
    }
    const double k = m_dK;
    const double p = m_dP;
    const double r = m_dR;
    double y1 = m_adStage[0], y2 = m_adStage[1], y3 = m_adStage[2], y4 = m_adStage[3];
    double i1 = m_adPrevInput[0], i2 = m_adPrevInput[1], i3 = m_adPrevInput[2], i4 = m_adPrevInput[3];
    const double pr = p * r;
    const double c3 = 0.16666666666666666;
    for (uint32_t n = 0; n < in_uFrames; ++n) {
        const double x = FilterClamp(io_pSamples[n], -1.0, 1.0);
        const double u = x - y4 * r;
        // y1 = (u + i1) p - k y1, grouped so that one multiply and one add wait on y4.
        y1 = ((p * x + p * i1) - k * y1) - pr * y4;
        i1 = u;
        const double n2 = p * y1 + (p * i2 - k * y2);
        i2 = y1;
        y2 = n2;
        const double n3 = p * y2 + (p * i3 - k * y3);
        i3 = y2;
        y3 = n3;
        y4 = p * y3 + (p * i4 - k * y4);
        i4 = y3;
        y4 = y4 - (y4 * c3) * (y4 * y4);
        io_pSamples[n] = static_cast<float>(y4);
    }
    m_adStage[0] = y1, m_adStage[1] = y2, m_adStage[2] = y3, m_adStage[3] = y4;
    m_adPrevInput[0] = i1, m_adPrevInput[1] = i2, m_adPrevInput[2] = i3, m_adPrevInput[3] = i4;
}
