#include "kvdspbase/dsp/spectrumring.h"
#include "kvdspbase/dsp/fftkernels.h"

#if defined(__x86_64__)
void SpectrumRingMacAvx2(uint32_t uBins, uint32_t uStride, const float* pSlots, uint32_t uNumSlots,
                         uint32_t uNewest, const float* pKernels, float* pSum, bool bAdd);
void SpectrumMulAvx2(uint32_t uBins, const float* pA, const float* pB, float* pDst);
void SpectrumRingMacTwoAvx2(uint32_t uBins, uint32_t uStride, const float* pSlots, const float* pSlots2,
                            uint32_t uNumSlots, uint32_t uNewest, const float* pKernels, float* pSum, float* pSum2,
                            bool bAdd);
#endif

namespace {

void MacOne(uint32_t uBins, const float* __restrict a, const float* __restrict b, float* __restrict d)
{
    for (uint32_t i = 0; i < uBins; ++i) {
        const float ar = a[2 * i], ai = a[2 * i + 1];
        const float br = b[2 * i], bi = b[2 * i + 1];
        d[2 * i] += ar * br - ai * bi;
        d[2 * i + 1] += ar * bi + ai * br;
    }
}

void MulOne(uint32_t uBins, const float* __restrict a, const float* __restrict b, float* __restrict d)
{
    for (uint32_t i = 0; i < uBins; ++i) {
        const float ar = a[2 * i], ai = a[2 * i + 1];
        const float br = b[2 * i], bi = b[2 * i + 1];
        d[2 * i] = ar * br - ai * bi;
        d[2 * i + 1] = ar * bi + ai * br;
    }
}

} // namespace

void SpectrumRingMacPortable(uint32_t uBins, uint32_t uStride, const float* pSlots, uint32_t uNumSlots,
                             uint32_t uNewest, const float* pKernels, float* pSum, bool bAdd)
{
    if (uNumSlots == 0 && !bAdd) {
        for (uint32_t i = 0; i < 2 * uBins; ++i)
            pSum[i] = 0.0f;
    }
    uint32_t uSlot = uNewest;
    for (uint32_t j = 0; j < uNumSlots; ++j) {
        if (j == 0 && !bAdd)
            MulOne(uBins, pSlots + uSlot * uStride, pKernels, pSum);
        else
            MacOne(uBins, pSlots + uSlot * uStride, pKernels + j * uStride, pSum);
        uSlot = uSlot == 0 ? uNumSlots - 1 : uSlot - 1;
    }
}

SpectrumRingMacFn SelectSpectrumRingMac(bool bAllowSimd)
{
#if defined(__x86_64__)
    if (bAllowSimd && FftHasAvx2())
        return SpectrumRingMacAvx2;
#else
    (void)bAllowSimd;
#endif
    return SpectrumRingMacPortable;
}

namespace {

void SpectrumRingMacTwoPortable(uint32_t uBins, uint32_t uStride, const float* pSlots, const float* pSlots2,
                                uint32_t uNumSlots, uint32_t uNewest, const float* pKernels, float* pSum, float* pSum2,
                                bool bAdd)
{
    SpectrumRingMacPortable(uBins, uStride, pSlots, uNumSlots, uNewest, pKernels, pSum, bAdd);
    SpectrumRingMacPortable(uBins, uStride, pSlots2, uNumSlots, uNewest, pKernels, pSum2, bAdd);
}

} // namespace

SpectrumRingMacTwoFn SelectSpectrumRingMacTwo(bool bAllowSimd)
{
#if defined(__x86_64__)
    if (bAllowSimd && FftHasAvx2())
        return SpectrumRingMacTwoAvx2;
#else
    (void)bAllowSimd;
#endif
    return SpectrumRingMacTwoPortable;
}

void SpectrumMulPortable(uint32_t uBins, const float* pA, const float* pB, float* pDst)
{
    for (uint32_t i = 0; i < uBins; ++i) {
        const float ar = pA[2 * i], ai = pA[2 * i + 1];
        const float br = pB[2 * i], bi = pB[2 * i + 1];
        pDst[2 * i] = ar * br - ai * bi;
        pDst[2 * i + 1] = ar * bi + ai * br;
    }
}

SpectrumMulFn SelectSpectrumMul(bool bAllowSimd)
{
#if defined(__x86_64__)
    if (bAllowSimd && FftHasAvx2())
        return SpectrumMulAvx2;
#else
    (void)bAllowSimd;
#endif
    return SpectrumMulPortable;
}
