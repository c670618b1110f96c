#include "kvdspbase/dsp/uniformpartconv.h"
#include "host/qwassert.h"
#include "kvbase/ipp/ipp_vector_ref.h"

UniformPartConv::UniformPartConv(uint32_t uNumChannels, uint32_t uBlockSize)
    : m_uNumChannels(uNumChannels),
      m_uNumPartitions(0),
      m_uBlockSize(uBlockSize),
      m_uSlot(0),
      m_bReady(false),
      m_pfnMac(SelectSpectrumRingMac(true))
{
    if (uBlockSize != 0)
        m_FFT.InitReal(2 * uBlockSize);
}

bool UniformPartConv::SetImpulse(uint32_t uNumTaps, const float* pTaps)
{
    if (m_uBlockSize == 0) {
        QW_ASSERT(false);
        return false;
    }
    const uint32_t B = m_uBlockSize;
    const uint32_t uSpectrum = Stride();
    m_bReady = false;
    m_uNumPartitions = (uNumTaps + B - 1) / B;
    m_uSlot = 0;
    // Existing floats are kept, new ones are zero.
    m_afWork.resize(uSpectrum, 0.0f);
    m_afSpectrumSum.resize(uSpectrum, 0.0f);
    m_aafOverlap.resize(m_uNumChannels);
    m_aaafDelayLine.resize(m_uNumChannels);
    m_aafKernel.resize(m_uNumPartitions * uSpectrum, 0.0f);
    bool bOk = m_afWork.size() == uSpectrum && m_afSpectrumSum.size() == uSpectrum &&
               m_aafOverlap.size() == m_uNumChannels && m_aaafDelayLine.size() == m_uNumChannels &&
               m_aafKernel.size() == m_uNumPartitions * uSpectrum;
    for (uint32_t c = 0; bOk && c < m_uNumChannels; ++c) {
        m_aafOverlap[c].resize(B, 0.0f);
        m_aaafDelayLine[c].resize(m_uNumPartitions * uSpectrum, 0.0f);
        bOk = m_aafOverlap[c].size() == B && m_aaafDelayLine[c].size() == m_uNumPartitions * uSpectrum;
    }
    if (!bOk)
        return false;
    float* pWork = m_afWork.data();
    for (uint32_t p = 0; p < m_uNumPartitions; ++p) {
        const uint32_t n = uNumTaps - B * p < B ? uNumTaps - B * p : B;
        ippsCopy_32f(n, pTaps + B * p, pWork);
        ippsZero_32f(2 * B - n, pWork + n);
        m_FFT.ForwardReal(pWork, m_aafKernel.data() + p * uSpectrum);
    }
    m_bReady = true;
    return true;
}

void UniformPartConv::ProcessBlock(float* const* ppChannels)
{
    if (!m_bReady)
        return;
    const uint32_t B = m_uBlockSize;
    const uint32_t P = m_uNumPartitions;
    const uint32_t uSpectrum = Stride();
    if (P == 0) {
        // An empty impulse: silence.
        for (uint32_t c = 0; c < m_uNumChannels; ++c)
            ippsZero_32f(B, ppChannels[c]);
        return;
    }
    float* pWork = m_afWork.data();
    float* pSum = m_afSpectrumSum.data();
    const float* pKernel = m_aafKernel.data();
    for (uint32_t c = 0; c < m_uNumChannels; ++c) {
        float* x = ppChannels[c];
        float* pLine = m_aaafDelayLine[c].data();
        float* pOverlap = m_aafOverlap[c].data();
        ippsCopy_32f(B, x, pWork);
        ippsZero_32f(B, pWork + B);
        m_FFT.ForwardReal(pWork, pLine + m_uSlot * uSpectrum);
        // Partition p meets the block of p calls ago; the first product is stored, so the sum
        // needs no clearing.
        m_pfnMac(B + 1, uSpectrum, pLine, P, m_uSlot, pKernel, pSum, false);
        m_FFT.InverseReal(pSum, pWork);
        for (uint32_t i = 0; i < B; ++i)
            x[i] = pWork[i] + pOverlap[i];
        ippsCopy_32f(B, pWork + B, pOverlap);
    }
    if (++m_uSlot >= P)
        m_uSlot = 0;
}

void UniformPartConv::Reset()
{
    m_uSlot = 0;
    for (uint32_t c = 0; m_bReady && c < m_uNumChannels; ++c) {
        ippsZero_32f(m_aafOverlap[c].size(), m_aafOverlap[c].data());
        ippsZero_32f(m_aaafDelayLine[c].size(), m_aaafDelayLine[c].data());
    }
}
