// An owning IIR filter on float audio whose recursion runs in double precision: a direct form of
// any order or a cascade of biquads. Used where coefficients sit close to the unit circle.
#pragma once
#include <cstdint>
#include "kvdspbase/dsp/iirfilterbase.h"

class IirFilter : public IirFilterBase<double>
{
public:
    // Taps section by section as b0..bN, a0..aN (null: pass-through). Allocates; an order of 0,
    // or a cascade whose order is not 2, reports "false" and leaves a filter that does nothing.
    IirFilter(uint32_t uOrder, const double* pTaps, uint32_t uNumBiquads);

    // Without a state: reports "false" and returns the input.
    float ProcessSample(float fIn);
    // ProcessSample inline, for a filter IsSingleBiquad() has said yes to.
    float ProcessSampleBiquad(float fIn)
    {
        return static_cast<float>(ippsIIROneBiquad64f_32f(static_cast<double>(fIn), *m_pState));
    }
    // Chunks of at most 256 samples through the double scratch. Allocates nothing.
    void Process(uint32_t uSamples, const float* pInput, float* pOutput);
    void Process(uint32_t uSamples, float* pInOut) { Process(uSamples, pInOut, pInOut); }

    // True for one second-order section with its state: a filter ProcessChain takes.
    bool IsSingleBiquad() const { return m_pState && m_uOrder == 2 && m_uNumBiquads == 1; }
    // uCount (at most MAX_CHAIN) single biquads in turn over the same samples: the values of
    // calling Process on each in order, with the sections' recursions overlapping.
    static const uint32_t MAX_CHAIN = 4;
    static void ProcessChain(uint32_t uSamples, float* pInOut, IirFilter* const* ppFilters, uint32_t uCount);
    // Two chains of the same length over two channels at once: the values of ProcessChain on each.
    static void ProcessChainPair(uint32_t uSamples, float* pInOut0, float* pInOut1, IirFilter* const* ppFilters0,
                                 IirFilter* const* ppFilters1, uint32_t uCount);

private:
    static const uint32_t CHUNK_SIZE = 256;

    common_vector<double> m_InBuffer;
    common_vector<double> m_OutBuffer;
};
