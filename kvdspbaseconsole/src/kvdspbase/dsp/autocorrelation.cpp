#include "kvdspbase/dsp/autocorrelation.h"
#include <cmath>

void Autocorrelation::Init(uint32_t uFrame, uint32_t uNumLags)
{
    m_uFrame = 0;
    m_uNumLags = uNumLags;
    m_afWindow.resize(uFrame, 0.0f);
    m_adWindowed.resize(uFrame, 0.0);
    if (m_afWindow.size() != uFrame || m_adWindowed.size() != uFrame)
        return;
    m_uFrame = uFrame;
    // Sampled at the centres of the samples, so that no sample of the frame is weighted 0.
    const double dPi = 3.14159265358979323846;
    for (uint32_t n = 0; n < uFrame; ++n)
        m_afWindow[n] = static_cast<float>(0.5 - 0.5 * std::cos(2.0 * dPi * (n + 0.5) / uFrame));
}

void Autocorrelation::Compute(const float* in_pFrame, float* out_pfLags)
{
    const uint32_t N = m_uFrame;
    if (N == 0)
        return;
    const float* pWindow = m_afWindow.data();
    double* pY = m_adWindowed.data();
    for (uint32_t n = 0; n < N; ++n)
        pY[n] = static_cast<double>(in_pFrame[n]) * pWindow[n];
    for (uint32_t k = 0; k < m_uNumLags; ++k) {
        // Four partial sums, so that the loop does not wait on one chain of additions.
        double d0 = 0.0, d1 = 0.0, d2 = 0.0, d3 = 0.0;
        const uint32_t uCount = k < N ? N - k : 0;
        uint32_t n = 0;
        for (; n + 4 <= uCount; n += 4) {
            d0 += pY[n] * pY[n + k];
            d1 += pY[n + 1] * pY[n + 1 + k];
            d2 += pY[n + 2] * pY[n + 2 + k];
            d3 += pY[n + 3] * pY[n + 3 + k];
        }
        for (; n < uCount; ++n)
            d0 += pY[n] * pY[n + k];
        out_pfLags[k] = static_cast<float>((d0 + d1) + (d2 + d3));
    }
}
