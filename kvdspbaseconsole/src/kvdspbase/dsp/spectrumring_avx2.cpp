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

// a * b on four interleaved complex values with no fused step: each product is rounded, then the
// sum or difference, exactly as the portable loop does.
KV_AVX2 inline __m256 Mul4Unfused(__m256 a, __m256 b)
{
    const __m256 bre = _mm256_moveldup_ps(b), bim = _mm256_movehdup_ps(b);
    const __m256 aswap = _mm256_permute_ps(a, 0xB1);
    return _mm256_addsub_ps(_mm256_mul_ps(a, bre), _mm256_mul_ps(aswap, bim));
}

} // namespace

KV_AVX2 void SpectrumMulAvx2(uint32_t uBins, const float* pA, const float* pB, float* pDst)
{
    uint32_t i = 0;
    for (; i + 4 <= uBins; i += 4)
        _mm256_storeu_ps(pDst + 2 * i, Mul4Unfused(_mm256_loadu_ps(pA + 2 * i), _mm256_loadu_ps(pB + 2 * i)));
    if (i < uBins) {
        // The last one to three bins through the same vector step (a scalar line here could be
        // fused by the compiler and round differently).
        alignas(32) float a[8] = {}, b[8] = {}, d[8];
        const uint32_t uLeft = 2 * (uBins - i);
        for (uint32_t k = 0; k < uLeft; ++k) {
            a[k] = pA[2 * i + k];
            b[k] = pB[2 * i + k];
        }
        _mm256_store_ps(d, Mul4Unfused(_mm256_load_ps(a), _mm256_load_ps(b)));
        for (uint32_t k = 0; k < uLeft; ++k)
            pDst[2 * i + k] = d[k];
    }
}

// Sixteen bins of the sum at a time stay in registers while every slot passes through them, so
// the sum is loaded and stored once rather than once a slot. Each bin still adds its products
// in slot order, as the slot-by-slot loop did, so the bits are the same.
KV_AVX2 void SpectrumRingMacAvx2(uint32_t uBins, uint32_t uStride, const float* pSlots, uint32_t uNumSlots,
                                 uint32_t uNewest, const float* pKernels, float* pSum, bool bAdd)
{
    if (uNumSlots == 0) {
        for (uint32_t i = 0; !bAdd && i < 2 * uBins; ++i)
            pSum[i] = 0.0f;
        return;
    }
    // The ring read from the newest slot back to slot 0, then from the last slot back to the
    // one after the newest.
    const uint32_t uFirstRun = uNewest + 1;
    const float* pNewest = pSlots + uNewest * uStride;
    const float* pLast = pSlots + (uNumSlots - 1) * uStride;
    uint32_t i = 0;
    for (; i + 16 <= uBins; i += 16) {
        const uint32_t o = 2 * i;
        __m256 d0, d1, d2, d3;
        const float* a = pNewest + o;
        const float* b = pKernels + o;
        if (bAdd) {
            d0 = _mm256_add_ps(_mm256_loadu_ps(pSum + o), Mul4(_mm256_loadu_ps(a), _mm256_loadu_ps(b)));
            d1 = _mm256_add_ps(_mm256_loadu_ps(pSum + o + 8), Mul4(_mm256_loadu_ps(a + 8), _mm256_loadu_ps(b + 8)));
            d2 = _mm256_add_ps(_mm256_loadu_ps(pSum + o + 16), Mul4(_mm256_loadu_ps(a + 16), _mm256_loadu_ps(b + 16)));
            d3 = _mm256_add_ps(_mm256_loadu_ps(pSum + o + 24), Mul4(_mm256_loadu_ps(a + 24), _mm256_loadu_ps(b + 24)));
        } else {
            d0 = Mul4(_mm256_loadu_ps(a), _mm256_loadu_ps(b));
            d1 = Mul4(_mm256_loadu_ps(a + 8), _mm256_loadu_ps(b + 8));
            d2 = Mul4(_mm256_loadu_ps(a + 16), _mm256_loadu_ps(b + 16));
            d3 = Mul4(_mm256_loadu_ps(a + 24), _mm256_loadu_ps(b + 24));
        }
        for (uint32_t j = 1; j < uNumSlots; ++j) {
            a = j < uFirstRun ? a - uStride : pLast + o - (j - uFirstRun) * uStride;
            b += uStride;
            d0 = _mm256_add_ps(d0, Mul4(_mm256_loadu_ps(a), _mm256_loadu_ps(b)));
            d1 = _mm256_add_ps(d1, Mul4(_mm256_loadu_ps(a + 8), _mm256_loadu_ps(b + 8)));
            d2 = _mm256_add_ps(d2, Mul4(_mm256_loadu_ps(a + 16), _mm256_loadu_ps(b + 16)));
            d3 = _mm256_add_ps(d3, Mul4(_mm256_loadu_ps(a + 24), _mm256_loadu_ps(b + 24)));
        }
        _mm256_storeu_ps(pSum + o, d0);
        _mm256_storeu_ps(pSum + o + 8, d1);
        _mm256_storeu_ps(pSum + o + 16, d2);
        _mm256_storeu_ps(pSum + o + 24, d3);
    }
    for (; i < uBins; ++i) {
        float dr = 0.0f, di = 0.0f;
        uint32_t uSlot = uNewest;
        for (uint32_t j = 0; j < uNumSlots; ++j) {
            const float* a = pSlots + uSlot * uStride + 2 * i;
            const float* b = pKernels + j * uStride + 2 * i;
            const float ar = a[0], ai = a[1], br = b[0], bi = b[1];
            const float pr = ar * br - ai * bi, pi = ar * bi + ai * br;
            dr = j == 0 ? (bAdd ? pSum[2 * i] + pr : pr) : dr + pr;
            di = j == 0 ? (bAdd ? pSum[2 * i + 1] + pi : pi) : di + pi;
            uSlot = uSlot == 0 ? uNumSlots - 1 : uSlot - 1;
        }
        pSum[2 * i] = dr;
        pSum[2 * i + 1] = di;
    }
}
#endif
