// AVX2 version of the partition sum; reached only after a processor check.
#include "kvdspbase/dsp/spectrumring.h"

#if defined(__x86_64__)
#include <immintrin.h>

#define KV_AVX2 __attribute__((target("avx2,fma")))

namespace {

// a * b on four interleaved complex values.
KV_AVX2 inline __m256 Mul4(__m256 a, __m256 b)
{
    const __m256 bre = _mm256_moveldup_ps(b), bim = _mm256_movehdup_ps(b);
    const __m256 aswap = _mm256_permute_ps(a, 0xB1);
    // Even lanes ar*br - ai*bi, odd lanes ai*br + ar*bi.
    return _mm256_fmaddsub_ps(a, bre, _mm256_mul_ps(aswap, bim));
}

// d = a * b (bAdd false) or d += a * b. The flag is a template argument so that the loop
// carries no test.
template <bool bAdd>
KV_AVX2 void MacOneAvx2(uint32_t uBins, const float* a, const float* b, float* d)
{
    uint32_t i = 0;
    for (; i + 8 <= uBins; i += 8) {
        __m256 d0 = Mul4(_mm256_loadu_ps(a + 2 * i), _mm256_loadu_ps(b + 2 * i));
        __m256 d1 = Mul4(_mm256_loadu_ps(a + 2 * i + 8), _mm256_loadu_ps(b + 2 * i + 8));
        if (bAdd) {
            d0 = _mm256_add_ps(_mm256_loadu_ps(d + 2 * i), d0);
            d1 = _mm256_add_ps(_mm256_loadu_ps(d + 2 * i + 8), d1);
        }
        _mm256_storeu_ps(d + 2 * i, d0);
        _mm256_storeu_ps(d + 2 * i + 8, d1);
    }
    for (; i < uBins; ++i) {
        const float ar = a[2 * i], ai = a[2 * i + 1];
        const float br = b[2 * i], bi = b[2 * i + 1];
        const float pr = ar * br - ai * bi, pi = ar * bi + ai * br;
        d[2 * i] = bAdd ? d[2 * i] + pr : pr;
        d[2 * i + 1] = bAdd ? d[2 * i + 1] + pi : pi;
    }
}

} // namespace

KV_AVX2 void SpectrumRingMacAvx2(uint32_t uBins, uint32_t uStride, const float* pSlots, uint32_t uNumSlots,
                                 uint32_t uNewest, const float* pKernels, float* pSum, bool bAdd)
{
    if (uNumSlots == 0 && !bAdd) {
        for (uint32_t i = 0; i < 2 * uBins; ++i)
            pSum[i] = 0.0f;
    }
    uint32_t uSlot = uNewest;
    for (uint32_t j = 0; j < uNumSlots; ++j) {
        if (j == 0 && !bAdd)
            MacOneAvx2<false>(uBins, pSlots + uSlot * uStride, pKernels, pSum);
        else
            MacOneAvx2<true>(uBins, pSlots + uSlot * uStride, pKernels + j * uStride, pSum);
        uSlot = uSlot == 0 ? uNumSlots - 1 : uSlot - 1;
    }
}
#endif
