#include "kvdspbase/dsp/iirfilter.h"

IirFilter::IirFilter(uint32_t uOrder, const double* pTaps, uint32_t uNumBiquads)
    : IirFilterBase<double>(uOrder, pTaps, uNumBiquads)
{
    if (IsOutOfMemory())
        return;
    m_InBuffer.resize(CHUNK_SIZE);
    m_OutBuffer.resize(CHUNK_SIZE);
}

float IirFilter::ProcessSample(float fIn)
{
    if (!m_pState) {
        QW_ASSERT(false);
        return fIn;
    }
    return static_cast<float>(ippsIIROne64f_32f(static_cast<double>(fIn), m_pState));
}

void IirFilter::Process(uint32_t uSamples, const float* pInput, float* pOutput)
{
    if (!m_pState) {
        QW_ASSERT(false);
        return;
    }
    if (uSamples == 0)
        return;
    const uint32_t uChunk = uSamples < CHUNK_SIZE ? uSamples : CHUNK_SIZE;
    // Within the capacity reserved at construction: no allocation.
    m_InBuffer.resize(uChunk);
    m_OutBuffer.resize(uChunk);
    if (m_InBuffer.size() != uChunk || m_OutBuffer.size() != uChunk)
        return;
    double* pIn = m_InBuffer.data();
    double* pOut = m_OutBuffer.data();
    for (uint32_t uDone = 0; uDone < uSamples;) {
        const uint32_t n = uSamples - uDone < uChunk ? uSamples - uDone : uChunk;
        const float* pSrc = pInput + uDone;
        float* pDst = pOutput + uDone;
        for (uint32_t i = 0; i < n; ++i)
            pIn[i] = static_cast<double>(pSrc[i]);
        ippsIIR64f_32f(n, pIn, pOut, m_pState);
        for (uint32_t i = 0; i < n; ++i)
            pDst[i] = static_cast<float>(pOut[i]);
        uDone += n;
    }
}

void IirFilter::ProcessChain(uint32_t uSamples, float* pInOut, IirFilter* const* ppFilters, uint32_t uCount)
{
    QwIppIirState64f* apStates[MAX_CHAIN];
    for (uint32_t i = 0; i < uCount && i < MAX_CHAIN; ++i) {
        if (!ppFilters[i]->IsSingleBiquad()) {
            QW_ASSERT(false);
            return;
        }
        apStates[i] = ppFilters[i]->m_pState;
    }
    QW_ASSERT(uCount <= MAX_CHAIN);
    if (uCount == 0 || uCount > MAX_CHAIN)
        return;
    ippsIIRBiquadChain64f_32f(uSamples, pInOut, apStates, uCount);
}

void IirFilter::ProcessChainPair(uint32_t uSamples, float* pInOut0, float* pInOut1, IirFilter* const* ppFilters0,
                                 IirFilter* const* ppFilters1, uint32_t uCount)
{
    QwIppIirState64f* apStates0[MAX_CHAIN];
    QwIppIirState64f* apStates1[MAX_CHAIN];
    QW_ASSERT(uCount <= MAX_CHAIN);
    if (uCount == 0 || uCount > MAX_CHAIN)
        return;
    for (uint32_t i = 0; i < uCount; ++i) {
        if (!ppFilters0[i]->IsSingleBiquad() || !ppFilters1[i]->IsSingleBiquad()) {
            QW_ASSERT(false);
            return;
        }
        apStates0[i] = ppFilters0[i]->m_pState;
        apStates1[i] = ppFilters1[i]->m_pState;
    }
    ippsIIRBiquadChainPair64f_32f(uSamples, pInOut0, pInOut1, apStates0, apStates1, uCount);
}
