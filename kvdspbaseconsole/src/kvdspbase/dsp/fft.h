// The transform every caller uses: sizes an FftReference, checks the size and reports a failed
// set-up by assertion.
#pragma once
#include <cstdint>
#include "kvdspbase/dsp/fftreference.h"

class Fft
{
public:
    Fft();

    // Both allocate (set-up belongs outside the audio path) and replace any earlier size.
    // The order is the smallest with 2^order >= size, never below 1. Return false when memory ran out.
    bool InitReal(uint32_t in_uSize);
    bool InitComplex(uint32_t in_uSize);

    // N floats in, N + 2 out: bins 0 to N / 2 interleaved, imaginary parts of bins 0 and N / 2
    // exactly 0. Unscaled. out may equal in.
    void ForwardReal(const float* in_pIn, float* out_pOut) { m_Reference.ForwardReal(in_pIn, out_pOut); }
    // N + 2 floats in, N out, scaled by 1 / N; the imaginary parts of bins 0 and N / 2 count as
    // additions to their real parts. out must not overlap in.
    void InverseReal(const float* in_pIn, float* out_pOut) { m_Reference.InverseReal(in_pIn, out_pOut); }
    // out = InverseReal + pAdd over the first uAddCount floats (even, at most N), the inverse
    // alone over the rest: the same bits as the two steps, without a pass of its own for the sum.
    // out may be pAdd; neither may overlap in.
    void InverseRealAdd(const float* in_pIn, const float* in_pAdd, uint32_t in_uAddCount, float* out_pOut)
    {
        m_Reference.InverseRealAdd(in_pIn, in_pAdd, in_uAddCount, out_pOut);
    }
    void ForwardComplex(const float* in_pRe, const float* in_pIm, float* out_pRe, float* out_pIm)
    {
        m_Reference.ForwardComplex(in_pRe, in_pIm, out_pRe, out_pIm);
    }
    void InverseComplex(const float* in_pRe, const float* in_pIm, float* out_pRe, float* out_pIm)
    {
        m_Reference.InverseComplex(in_pRe, in_pIm, out_pRe, out_pIm);
    }

    int32_t Size() const { return m_sFFT; }
    uint32_t Order() const { return m_uOrder; }
    // Tests compare the vector kernels with the portable ones through this switch.
    void UseSimd(bool bAllow) { m_Reference.UseSimd(bAllow); }

private:
    bool Init(int32_t iMode, uint32_t in_uSize);

    int32_t m_sFFT;
    uint32_t m_uOrder;
    FftReference m_Reference;
};
