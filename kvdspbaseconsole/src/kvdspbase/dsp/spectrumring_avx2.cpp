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

namespace {

// d = a0 * b0 + a1 * b1 over whole groups of eight bins, the first product added to the old d
// when bAdd is set, else stored; the additions run left to right.
template <uint32_t K>
KV_AVX2 void MacPass(uint32_t uBins, const float* const* a, const float* const* b, float* d, bool bAdd)
{
    for (uint32_t i = 0; i + 8 <= uBins; i += 8) {
        const uint32_t o = 2 * i;
        // Written as one conditional expression each: computing the products first and then
        // choosing compiled to code a fifth slower (GCC 12).
        __m256 d0 = bAdd ? _mm256_add_ps(_mm256_loadu_ps(d + o), Mul4(_mm256_loadu_ps(a[0] + o), _mm256_loadu_ps(b[0] + o)))
                         : Mul4(_mm256_loadu_ps(a[0] + o), _mm256_loadu_ps(b[0] + o));
        __m256 d1 = bAdd ? _mm256_add_ps(_mm256_loadu_ps(d + o + 8),
                                         Mul4(_mm256_loadu_ps(a[0] + o + 8), _mm256_loadu_ps(b[0] + o + 8)))
                         : Mul4(_mm256_loadu_ps(a[0] + o + 8), _mm256_loadu_ps(b[0] + o + 8));
        for (uint32_t k = 1; k < K; ++k) {
            d0 = _mm256_add_ps(d0, Mul4(_mm256_loadu_ps(a[k] + o), _mm256_loadu_ps(b[k] + o)));
            d1 = _mm256_add_ps(d1, Mul4(_mm256_loadu_ps(a[k] + o + 8), _mm256_loadu_ps(b[k] + o + 8)));
        }
        _mm256_storeu_ps(d + o, d0);
        _mm256_storeu_ps(d + o + 8, d1);
    }
}

// MacPass for two rings that meet the same kernels: each kernel vector is read and split once
// for both sums. Per sum the operations are those of MacPass, so the bits are too.
template <uint32_t K>
KV_AVX2 void MacPassTwo(uint32_t uBins, const float* const* a, const float* const* a2, const float* const* b,
                        float* d, float* d2, bool bAdd)
{
    for (uint32_t i = 0; i + 8 <= uBins; i += 8) {
        const uint32_t o = 2 * i;
        __m256 s[2][2];
        for (uint32_t k = 0; k < K; ++k) {
            for (uint32_t h = 0; h < 2; ++h) {
                const __m256 bv = _mm256_loadu_ps(b[k] + o + 8 * h);
                const __m256 bre = _mm256_moveldup_ps(bv), bim = _mm256_movehdup_ps(bv);
                const __m256 x = _mm256_loadu_ps(a[k] + o + 8 * h), y = _mm256_loadu_ps(a2[k] + o + 8 * h);
                const __m256 px = _mm256_fmaddsub_ps(x, bre, _mm256_mul_ps(_mm256_permute_ps(x, 0xB1), bim));
                const __m256 py = _mm256_fmaddsub_ps(y, bre, _mm256_mul_ps(_mm256_permute_ps(y, 0xB1), bim));
                if (k != 0) {
                    s[0][h] = _mm256_add_ps(s[0][h], px);
                    s[1][h] = _mm256_add_ps(s[1][h], py);
                } else if (bAdd) {
                    s[0][h] = _mm256_add_ps(_mm256_loadu_ps(d + o + 8 * h), px);
                    s[1][h] = _mm256_add_ps(_mm256_loadu_ps(d2 + o + 8 * h), py);
                } else {
                    s[0][h] = px;
                    s[1][h] = py;
                }
            }
        }
        for (uint32_t h = 0; h < 2; ++h) {
            _mm256_storeu_ps(d + o + 8 * h, s[0][h]);
            _mm256_storeu_ps(d2 + o + 8 * h, s[1][h]);
        }
    }
}

} // namespace

// Slots go through in pairs, so the sum is loaded and stored once for two products; each bin
// still adds its products in slot order, so the bits are those of one slot a pass. (Four slots
// a pass, or all of them, cost fewer instructions but ran slower: more streams at once.)
KV_AVX2 void SpectrumRingMacAvx2(uint32_t uBins, uint32_t uStride, const float* pSlots, uint32_t uNumSlots,
                                 uint32_t uNewest, const float* pKernels, float* pSum, bool bAdd)
{
    if (uNumSlots == 0) {
        for (uint32_t i = 0; !bAdd && i < 2 * uBins; ++i)
            pSum[i] = 0.0f;
        return;
    }
    uint32_t uSlot = uNewest;
    for (uint32_t j = 0; j < uNumSlots;) {
        const float* a[2];
        const float* b[2];
        uint32_t k = 0;
        for (; k < 2 && j + k < uNumSlots; ++k) {
            a[k] = pSlots + uSlot * uStride;
            b[k] = pKernels + (j + k) * uStride;
            uSlot = uSlot == 0 ? uNumSlots - 1 : uSlot - 1;
        }
        if (k == 2)
            MacPass<2>(uBins, a, b, pSum, bAdd || j != 0);
        else
            MacPass<1>(uBins, a, b, pSum, bAdd || j != 0);
        j += k;
    }
    // The last bins (fewer than eight), slot by slot in the same order.
    uint32_t i = uBins & ~7u;
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
KV_AVX2 void SpectrumRingMacTwoAvx2(uint32_t uBins, uint32_t uStride, const float* pSlots, const float* pSlots2,
                                    uint32_t uNumSlots, uint32_t uNewest, const float* pKernels, float* pSum,
                                    float* pSum2, bool bAdd)
{
    uint32_t uSlot = uNewest;
    for (uint32_t j = 0; j < uNumSlots;) {
        const float* a[2];
        const float* a2[2];
        const float* b[2];
        uint32_t k = 0;
        for (; k < 2 && j + k < uNumSlots; ++k) {
            a[k] = pSlots + uSlot * uStride;
            a2[k] = pSlots2 + uSlot * uStride;
            b[k] = pKernels + (j + k) * uStride;
            uSlot = uSlot == 0 ? uNumSlots - 1 : uSlot - 1;
        }
        if (k == 2)
            MacPassTwo<2>(uBins, a, a2, b, pSum, pSum2, bAdd || j != 0);
        else
            MacPassTwo<1>(uBins, a, a2, b, pSum, pSum2, bAdd || j != 0);
        j += k;
    }
    // The last bins (fewer than eight), and the case of no slots, as the one-ring version does.
    const uint32_t uDone = uNumSlots == 0 ? 0 : uBins & ~7u;
    SpectrumRingMacAvx2(uBins - uDone, uStride, pSlots + 2 * uDone, uNumSlots, uNewest, pKernels + 2 * uDone,
                        pSum + 2 * uDone, bAdd);
    SpectrumRingMacAvx2(uBins - uDone, uStride, pSlots2 + 2 * uDone, uNumSlots, uNewest, pKernels + 2 * uDone,
                        pSum2 + 2 * uDone, bAdd);
}
#endif
