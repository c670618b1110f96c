#include "kvreverbconsole/dsp/fdn/bandgainfilter.h"
#include <cmath>
#if defined(__SSE__)
#include <xmmintrin.h>
#endif
#include "host/qwassert.h"
#include "kvdspbase/dsp/filtercoeffs.h"

BandGainFilter::BandGainFilter(double in_fSampleRate, uint32_t in_nFilters)
    : m_fSampleRate(in_fSampleRate), m_nFilters(in_nFilters)
{
    m_fDelays.resize(in_nFilters, 0.0);
    if (IsOutOfMemory())
        return;
    m_fStore.resize(7 * in_nFilters, 0.0f);
    if (IsOutOfMemory() || m_fStore.size() != 7 * in_nFilters)
        return;
    float* p = m_fStore.data();
    m_pB0 = p;
    m_pB1 = p + in_nFilters;
    m_pB2 = p + 2 * in_nFilters;
    m_pA1 = p + 3 * in_nFilters;
    m_pA2 = p + 4 * in_nFilters;
    m_pZ1 = p + 5 * in_nFilters;
    m_pZ2 = p + 6 * in_nFilters;
}

void BandGainFilter::SetDelay(uint32_t in_iLine, double in_fSamples)
{
    m_fDelays[in_iLine] = in_fSamples;
    Update();
}

void BandGainFilter::SetLowCrossover(double in_fHz)
{
    m_fLowCrossover = in_fHz;
    Update();
}

void BandGainFilter::SetHighCrossover(double in_fHz)
{
    m_fHighCrossover = in_fHz;
    Update();
}

void BandGainFilter::SetLowGain(double in_fGain)
{
    m_fLowGain = in_fGain;
    Update();
}

void BandGainFilter::SetMidGain(double in_fGain)
{
    m_fMidGain = in_fGain;
    Update();
}

void BandGainFilter::SetHighGain(double in_fGain)
{
    m_fHighGain = in_fGain;
    Update();
}

void BandGainFilter::Update()
{
    if (IsOutOfMemory() || !m_pB0)
        return;
    const double tL = 0.15915494309189535 / m_fLowCrossover;
    const double tH = 0.15915494309189535 / m_fHighCrossover;
    const BilinearWarp<double> noWarp = {0.0, false};
    for (uint32_t i = 0; i < m_nFilters; ++i) {
        const double d = m_fDelays[i];
        const double gL = static_cast<float>(std::pow(m_fLowGain, d));
        const double gM = static_cast<float>(std::pow(m_fMidGain, d));
        const double gH = static_cast<float>(std::pow(m_fHighGain, d));
        // Shelf with poles at the two crossovers: gL below, gM between, gH above.
        const double afAnalog[6] = {gL, gM * tL + gL * tH, gH * tL * tH, 1.0, tH + tL, tH * tL};
        double fCoeffs[6];
        BilinearTransform(fCoeffs, afAnalog, 2, m_fSampleRate, noWarp);
        QW_ASSERT(fCoeffs[3] == 1);
        m_pB0[i] = static_cast<float>(fCoeffs[0]);
        m_pB1[i] = static_cast<float>(fCoeffs[1]);
        m_pB2[i] = static_cast<float>(fCoeffs[2]);
        m_pA1[i] = static_cast<float>(fCoeffs[4]);
        m_pA2[i] = static_cast<float>(fCoeffs[5]);
        // Deliberate: a redesign starts from silence rather than ringing through old state.
        m_pZ1[i] = 0.0f;
        m_pZ2[i] = 0.0f;
    }
}

void BandGainFilter::ProcessFour(uint32_t in_uGroup, uint32_t in_uFrames, float* const* io_ppLines)
{
#if defined(__SSE__)
    const uint32_t iFirstFilter = 4 * in_uGroup;
    QW_ASSERT(iFirstFilter+3 < m_nFilters);
    __m128 b0 = _mm_loadu_ps(m_pB0 + iFirstFilter);
    __m128 b1 = _mm_loadu_ps(m_pB1 + iFirstFilter);
    __m128 b2 = _mm_loadu_ps(m_pB2 + iFirstFilter);
    __m128 a1 = _mm_loadu_ps(m_pA1 + iFirstFilter);
    __m128 a2 = _mm_loadu_ps(m_pA2 + iFirstFilter);
    __m128 z1 = _mm_loadu_ps(m_pZ1 + iFirstFilter);
    __m128 z2 = _mm_loadu_ps(m_pZ2 + iFirstFilter);
    float* p0 = io_ppLines[0];
    float* p1 = io_ppLines[1];
    float* p2 = io_ppLines[2];
    float* p3 = io_ppLines[3];
    // Same operation order as the portable form, so both give identical results.
    auto Step = [&](__m128 x) {
        const __m128 w = _mm_sub_ps(_mm_sub_ps(x, _mm_mul_ps(a1, z1)), _mm_mul_ps(a2, z2));
        const __m128 y = _mm_add_ps(_mm_add_ps(_mm_mul_ps(b0, w), _mm_mul_ps(b1, z1)), _mm_mul_ps(b2, z2));
        z2 = z1;
        z1 = w;
        return y;
    };
    uint32_t i = 0;
    // Four frames at a time: a 4 x 4 transpose turns four line runs into four frame vectors.
    for (; i + 4 <= in_uFrames; i += 4) {
        __m128 r0 = _mm_loadu_ps(p0 + i), r1 = _mm_loadu_ps(p1 + i), r2 = _mm_loadu_ps(p2 + i),
               r3 = _mm_loadu_ps(p3 + i);
        _MM_TRANSPOSE4_PS(r0, r1, r2, r3);
        r0 = Step(r0);
        r1 = Step(r1);
        r2 = Step(r2);
        r3 = Step(r3);
        _MM_TRANSPOSE4_PS(r0, r1, r2, r3);
        _mm_storeu_ps(p0 + i, r0);
        _mm_storeu_ps(p1 + i, r1);
        _mm_storeu_ps(p2 + i, r2);
        _mm_storeu_ps(p3 + i, r3);
    }
    for (; i < in_uFrames; ++i) {
        alignas(16) float afY[4];
        _mm_store_ps(afY, Step(_mm_setr_ps(p0[i], p1[i], p2[i], p3[i])));
        p0[i] = afY[0];
        p1[i] = afY[1];
        p2[i] = afY[2];
        p3[i] = afY[3];
    }
    _mm_storeu_ps(m_pZ1 + iFirstFilter, z1);
    _mm_storeu_ps(m_pZ2 + iFirstFilter, z2);
#else
    ProcessFourPortable(in_uGroup, in_uFrames, io_ppLines);
#endif
}

void BandGainFilter::ProcessFourPortable(uint32_t in_uGroup, uint32_t in_uFrames, float* const* io_ppLines)
{
    const uint32_t iFirstFilter = 4 * in_uGroup;
    QW_ASSERT(iFirstFilter+3 < m_nFilters);
    for (uint32_t lane = 0; lane < 4; ++lane) {
        const uint32_t f = iFirstFilter + lane;
        const float b0 = m_pB0[f], b1 = m_pB1[f], b2 = m_pB2[f], a1 = m_pA1[f], a2 = m_pA2[f];
        float z1 = m_pZ1[f], z2 = m_pZ2[f];
        float* p = io_ppLines[lane];
        for (uint32_t i = 0; i < in_uFrames; ++i) {
            const float w = p[i] - a1 * z1 - a2 * z2;
            p[i] = b0 * w + b1 * z1 + b2 * z2;
            z2 = z1;
            z1 = w;
        }
        m_pZ1[f] = z1;
        m_pZ2[f] = z2;
    }
}

void BandGainFilter::Reset()
{
    for (uint32_t i = 0; i < m_nFilters && m_pZ1; ++i) {
        m_pZ1[i] = 0.0f;
        m_pZ2[i] = 0.0f;
    }
}

void BandGainFilter::GetCoefficients(uint32_t in_iLine, float out_afCoeffs[5]) const
{
    out_afCoeffs[0] = m_pB0[in_iLine];
    out_afCoeffs[1] = m_pB1[in_iLine];
    out_afCoeffs[2] = m_pB2[in_iLine];
    out_afCoeffs[3] = m_pA1[in_iLine];
    out_afCoeffs[4] = m_pA2[in_iLine];
}
