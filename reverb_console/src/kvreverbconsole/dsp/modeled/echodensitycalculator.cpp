#include "kvreverbconsole/dsp/modeled/echodensitycalculator.h"
#include <cmath>
#include "host/qwassert.h"
#include "kvbase/common/common_cast.h"

namespace {
// 1 / erfc(1 / sqrt 2): the share of a Gaussian outside one standard deviation, inverted.
const float GAUSSIAN_OUTLIER_SCALE = 3.151487f;
} // namespace

EchoDensityCalculator::EchoDensityCalculator(float in_fSampleRate, uint32_t in_uMaxLength)
    : m_sHalfWindow(round_cast<uint32_t>(0.015 * static_cast<double>(in_fSampleRate))),
      m_sWindow(2 * m_sHalfWindow + 1),
      m_sHop(m_sHalfWindow >> 2)
{
    // Below about 234 Hz the hop would be 0; no supported rate comes near.
    QW_ASSERT(m_sHop != 0);
    m_afWindow.resize(m_sWindow, 0.0f);
    if (m_afWindow.size() != m_sWindow)
        return;
    // The half-sample offset over a denominator of N - 1 leaves the ends unequal and the last
    // weight above 0; the window is used as it stands.
    const double dPi = 3.14159265358979323846;
    float fSum = 0.0f;
    for (uint32_t i = 0; i < m_sWindow; ++i) {
        const double dAngle = 2.0 * dPi * (static_cast<double>(i) + 0.5) / static_cast<double>(m_sWindow - 1);
        m_afWindow[i] = static_cast<float>(0.5 - 0.5 * std::cos(dAngle));
        fSum += m_afWindow[i];
    }
    const float fScale = 1.0f / fSum;
    for (uint32_t i = 0; i < m_sWindow; ++i)
        m_afWindow[i] *= fScale;
    m_afProfile.reserve(NumFrames(in_uMaxLength));
}

uint32_t EchoDensityCalculator::NumFrames(uint32_t in_uLength) const
{
    if (in_uLength <= m_sWindow || m_sHop == 0)
        return 0;
    return (in_uLength - m_sWindow) / m_sHop;
}

void EchoDensityCalculator::Calculate(uint32_t in_uLength, const float* in_pfSamples)
{
    const uint32_t uFrames = NumFrames(in_uLength);
    m_afProfile.resize(uFrames, 0.0f);
    if (m_afProfile.size() != uFrames || m_afWindow.size() != m_sWindow)
        return;
    const float* pfWindow = m_afWindow.data();
    float* pfProfile = m_afProfile.data();
    for (uint32_t f = 0; f < uFrames; ++f) {
        const uint32_t iStartSample = m_sHop * f;
        QW_ASSERT_TEXT(iStartSample + m_sWindow <= in_uLength, "iStartSample+m_sWindow <= uLength");
        const float* x = in_pfSamples + iStartSample;
        float fPower = 0.0f;
        for (uint32_t j = 0; j < m_sWindow; ++j)
            fPower += pfWindow[j] * x[j] * x[j];
        const float fDeviation = std::sqrt(fPower);
        float fOutliers = 0.0f;
        for (uint32_t j = 0; j < m_sWindow; ++j) {
            if (std::fabs(x[j]) > fDeviation)
                fOutliers += pfWindow[j];
        }
        pfProfile[f] = fOutliers * GAUSSIAN_OUTLIER_SCALE;
    }
}
