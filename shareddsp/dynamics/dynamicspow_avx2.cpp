// The block pow on four lanes of doubles. The module is built for baseline x86-64, so the
// function carries its own target attribute and is only reached after a processor check. The
// sums are those of the portable version term for term, its std::fma steps here as fused
// multiply-adds, so both give the same floats.
#include "shareddsp/dynamics/dynamicspow.h"

#if defined(__x86_64__)
#include <immintrin.h>
#include "shareddsp/dynamics/dynamicspowconsts.h"

using namespace dynamicspow;

#define KV_AVX2 __attribute__((target("avx2,fma")))

namespace {

KV_AVX2 inline __m256d Four(double in_d) { return _mm256_set1_pd(in_d); }

KV_AVX2 inline __m128 PowFour(__m128 in_base, __m256d in_exponent)
{
    __m128i bits = _mm_castps_si128(in_base);
    // Unsigned clamp of the bits: positive floats order as their bits do; a sign bit set (a
    // negative base, outside the domain) reads as huge and takes the largest finite value.
    const __m128i bias = _mm_set1_epi32(static_cast<int32_t>(0x80000000u));
    const __m128i lo = _mm_xor_si128(_mm_set1_epi32(static_cast<int32_t>(MIN_NORMAL_BITS)), bias);
    const __m128i hi = _mm_xor_si128(_mm_set1_epi32(static_cast<int32_t>(MAX_FINITE_BITS)), bias);
    __m128i biased = _mm_xor_si128(bits, bias);
    biased = _mm_max_epi32(biased, lo);
    biased = _mm_min_epi32(biased, hi);
    bits = _mm_xor_si128(biased, bias);
    const __m128i shift = _mm_sub_epi32(bits, _mm_set1_epi32(static_cast<int32_t>(SQRT_HALF_BITS)));
    const __m128i k = _mm_srai_epi32(shift, 23);
    const __m128i mantissa =
        _mm_sub_epi32(bits, _mm_and_si128(shift, _mm_set1_epi32(static_cast<int32_t>(0xff800000u))));
    const __m256d m = _mm256_cvtps_pd(_mm_castsi128_ps(mantissa));
    const __m256d one = Four(1.0);
    const __m256d s = _mm256_div_pd(_mm256_sub_pd(m, one), _mm256_add_pd(m, one));
    const __m256d z = _mm256_mul_pd(s, s);
    __m256d p = Four(LOG_COEFFS[7]);
    for (int i = 6; i >= 0; --i)
        p = _mm256_fmadd_pd(p, z, Four(LOG_COEFFS[i]));
    const __m256d dK = _mm256_cvtepi32_pd(k);
    const __m256d logr = _mm256_add_pd(_mm256_add_pd(_mm256_mul_pd(dK, Four(LN2_LO)), _mm256_mul_pd(s, p)),
                                       _mm256_mul_pd(dK, Four(LN2_HI)));
    __m256d y = _mm256_mul_pd(in_exponent, logr);
    y = _mm256_min_pd(_mm256_max_pd(y, Four(-EXPONENT_LIMIT)), Four(EXPONENT_LIMIT));
    const __m256d rounded = _mm256_add_pd(_mm256_mul_pd(y, Four(INV_LN2)), Four(ROUND_MAGIC));
    const __m256d n = _mm256_sub_pd(rounded, Four(ROUND_MAGIC));
    const __m256d f = _mm256_sub_pd(_mm256_sub_pd(y, _mm256_mul_pd(n, Four(LN2_HI))), _mm256_mul_pd(n, Four(LN2_LO)));
    __m256d e = Four(EXP_COEFFS[12]);
    for (int i = 11; i >= 0; --i)
        e = _mm256_fmadd_pd(e, f, Four(EXP_COEFFS[i]));
    const __m256i scale =
        _mm256_slli_epi64(_mm256_add_epi64(_mm256_castpd_si256(rounded), _mm256_set1_epi64x(1023)), 52);
    return _mm256_cvtpd_ps(_mm256_mul_pd(e, _mm256_castsi256_pd(scale)));
}

} // namespace

KV_AVX2 void DynamicsPowAvx2(uint32_t in_uCount, const float* in_pBase, float in_fExponent, float* out_pResult)
{
    const __m256d exponent = _mm256_set1_pd(in_fExponent);
    uint32_t i = 0;
    for (; i + 4 <= in_uCount; i += 4)
        _mm_storeu_ps(out_pResult + i, PowFour(_mm_loadu_ps(in_pBase + i), exponent));
    if (i < in_uCount)
        DynamicsPowPortable(in_uCount - i, in_pBase + i, in_fExponent, out_pResult + i);
}
#endif
