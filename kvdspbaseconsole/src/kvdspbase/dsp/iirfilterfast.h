// The single-precision twin of IirFilter: same interface, recursion in float, no conversion.
#pragma once
#include <cstdint>
#include "kvdspbase/dsp/iirfilterbase.h"

class IirFilterFast : public IirFilterBase<float>
{
public:
    // Taps section by section as b0..bN, a0..aN (null: pass-through). Allocates.
    IirFilterFast(uint32_t uOrder, const float* pTaps, uint32_t uNumBiquads);

    // Chunks of at most 256 samples straight through the primitive. Allocates nothing.
    void Process(uint32_t uSamples, const float* pInput, float* pOutput);
    void Process(uint32_t uSamples, float* pInOut) { Process(uSamples, pInOut, pInOut); }

    // A first-order filter's section into locals and its state back, for loops that run
    // several filters side by side; false when this filter is not one first-order section.
    bool LoadFirstOrder(QwIppFirstOrder32f& out_section) const { return ippsIIRGetFirstOrder_32f(m_pState, out_section); }
    void StoreFirstOrder(const QwIppFirstOrder32f& in_section) { ippsIIRSetFirstOrderDelay_32f(m_pState, in_section); }

private:
    static const uint32_t CHUNK_SIZE = 256;
};
