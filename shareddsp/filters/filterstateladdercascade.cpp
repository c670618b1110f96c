#include "shareddsp/filters/filterstateladdercascade.h"
#include "host/qwassert.h"

void FilterStateLadderCascade::Configure(uint32_t in_uType, float in_fSampleRate)
{
    QW_ASSERT(in_uType == FILTER_LADDER_CASCADE);
    Update(in_fSampleRate, m_fFrequency, m_fGainDb, m_fQ, m_fResonance);
}

void FilterStateLadderCascade::Update(float in_fSampleRate, float in_fFrequency, float, float, float in_fResonance)
{
    const double f = FilterClamp(FREQUENCY_SCALE * static_cast<double>(in_fFrequency) /
                                     static_cast<double>(in_fSampleRate),
                                 0.0, 0.5);
    const double c = 1.16 * f;
    m_dC4 = f * f * 1.3456 * c * c;
    m_dM = 1.0 - c;
    m_dFeedback = (1.0 - 0.15 * c * c) * 4.0 * static_cast<double>(in_fResonance);
}

void FilterStateLadderCascade::Reset()
{
    for (int i = 0; i < 4; ++i) {
        m_adOut[i] = 0.0;
        m_adPrevInput[i] = 0.0;
    }
}

void FilterStateLadderCascade::Process(uint32_t in_uFrames, float* io_pSamples)
{
    if (m_uType != FILTER_LADDER_CASCADE) {
        QW_ASSERT(m_uType == FILTER_LADDER_CASCADE);
        return;
    }
    const double c4 = m_dC4;
    const double m = m_dM;
    const double fb = m_dFeedback;
    double o1 = m_adOut[0], o2 = m_adOut[1], o3 = m_adOut[2], o4 = m_adOut[3];
    double i1 = m_adPrevInput[0], i2 = m_adPrevInput[1], i3 = m_adPrevInput[2], i4 = m_adPrevInput[3];
    const double g = c4 * 0.35013;
    const double gfb = g * fb;
    for (uint32_t n = 0; n < in_uFrames; ++n) {
        // u = (x - o4 fb) c4 0.35013, and each stage o = v + 0.3 i + m o, grouped so that
        // only one multiply or add per stage waits on the stage before.
        const double u = g * io_pSamples[n] - gfb * o4;
        o1 = u + (0.3 * i1 + m * o1);
        i1 = u;
        o2 = o1 + (0.3 * i2 + m * o2);
        i2 = o1;
        o3 = o2 + (0.3 * i3 + m * o3);
        i3 = o2;
        o4 = o3 + (0.3 * i4 + m * o4);
        i4 = o3;
        io_pSamples[n] = static_cast<float>(o4);
    }
    m_adOut[0] = o1, m_adOut[1] = o2, m_adOut[2] = o3, m_adOut[3] = o4;
    m_adPrevInput[0] = i1, m_adPrevInput[1] = i2, m_adPrevInput[2] = i3, m_adPrevInput[3] = i4;
}
