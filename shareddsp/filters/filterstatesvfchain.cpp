#include "shareddsp/filters/filterstatesvfchain.h"
#include "host/qwassert.h"

namespace {

inline double RunStage(double in_dU, double in_dF, double in_dD, double& io_dS, double& io_dT)
{
    io_dS = ((in_dU - io_dT) - io_dS * in_dD) * in_dF + io_dS;
    io_dT = io_dS * in_dF + io_dT;
    return io_dT;
}

} // namespace

void FilterStateSvfChain::Configure(uint32_t in_uType, float in_fSampleRate)
{
    QW_ASSERT(in_uType >= FILTER_SVF_ONE_STAGE && in_uType <= FILTER_SVF_TWO_STAGE);
    Update(in_fSampleRate, m_fFrequency, m_fGainDb, m_fQ, m_fResonance);
}

void FilterStateSvfChain::Update(float in_fSampleRate, float in_fFrequency, float, float, float in_fResonance)
{
    m_dF = FilterClamp(FREQUENCY_SCALE * static_cast<double>(in_fFrequency) / static_cast<double>(in_fSampleRate),
                       0.0, 0.5);
    m_dD = 1.0 - 0.99 * static_cast<double>(in_fResonance);
}

void FilterStateSvfChain::Reset()
{
    for (Stage& stage : m_aStages)
        stage = Stage{0.0, 0.0};
}

void FilterStateSvfChain::Process(uint32_t in_uFrames, float* io_pSamples)
{
    const double f = m_dF;
    const double d = m_dD;
    Stage* st = m_aStages;
    switch (m_uType) {
    case FILTER_SVF_ONE_STAGE:
        for (uint32_t i = 0; i < in_uFrames; ++i)
            io_pSamples[i] = static_cast<float>(RunStage(io_pSamples[i], f, d, st[0].s, st[0].t));
        break;
    case FILTER_SVF_AVERAGE:
        for (uint32_t i = 0; i < in_uFrames; ++i) {
            const double x = io_pSamples[i];
            const double a = RunStage(x, f, d, st[1].s, st[1].t);
            const double b = RunStage(x, f, d, st[2].s, st[2].t);
            const double c = RunStage(b, f, d, st[3].s, st[3].t);
            io_pSamples[i] = static_cast<float>((a + c) * 0.5);
        }
        break;
    case FILTER_SVF_TWO_STAGE:
        for (uint32_t i = 0; i < in_uFrames; ++i) {
            const double a = RunStage(io_pSamples[i], f, d, st[4].s, st[4].t);
            io_pSamples[i] = static_cast<float>(RunStage(a, f, d, st[5].s, st[5].t));
        }
        break;
    default:
        QW_ASSERT(m_uType >= FILTER_SVF_ONE_STAGE && m_uType <= FILTER_SVF_TWO_STAGE);
        break;
    }
}
