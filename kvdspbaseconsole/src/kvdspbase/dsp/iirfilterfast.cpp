#include "kvdspbase/dsp/iirfilterfast.h"

IirFilterFast::IirFilterFast(uint32_t uOrder, const float* pTaps, uint32_t uNumBiquads)
    : IirFilterBase<float>(uOrder, pTaps, uNumBiquads)
{
}

void IirFilterFast::Process(uint32_t uSamples, const float* pInput, float* pOutput)
{
    if (!m_pState) {
        QW_ASSERT(false);
        return;
    }
    for (uint32_t uDone = 0; uDone < uSamples;) {
        const uint32_t n = uSamples - uDone < CHUNK_SIZE ? uSamples - uDone : CHUNK_SIZE;
        ippsIIR_32f(n, pInput + uDone, pOutput + uDone, m_pState);
        uDone += n;
    }
}
