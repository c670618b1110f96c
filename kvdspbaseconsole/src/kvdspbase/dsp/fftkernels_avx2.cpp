// AVX2 versions of the transform kernels. The module is built for baseline x86-64, so every
// function here carries its own target attribute and is only reached after a processor check.
#include "kvdspbase/dsp/fftkernels.h"

#if defined(__x86_64__)
#include <immintrin.h>

#define KV_AVX2 __attribute__((target("avx2,fma")))

namespace {

struct Quad
{
    __m256 r0, i0, r1, i1, r2, i2, r3, i3;
};

// The radix-4 butterfly on eight lanes; legs 1 to 3 are multiplied by their twiddles.
KV_AVX2 inline void Butterfly4(__m256 ar, __m256 ai, __m256 br, __m256 bi, __m256 cr, __m256 ci, __m256 dr,
                               __m256 di, __m256 c1r, __m256 c1i, __m256 c2r, __m256 c2i, __m256 c3r,
                               __m256 c3i, Quad& o)
{
    const __m256 apcr = _mm256_add_ps(ar, cr), apci = _mm256_add_ps(ai, ci);
    const __m256 amcr = _mm256_sub_ps(ar, cr), amci = _mm256_sub_ps(ai, ci);
    const __m256 bpdr = _mm256_add_ps(br, dr), bpdi = _mm256_add_ps(bi, di);
    const __m256 bmdr = _mm256_sub_ps(br, dr), bmdi = _mm256_sub_ps(bi, di);
    const __m256 t1r = _mm256_add_ps(amcr, bmdi), t1i = _mm256_sub_ps(amci, bmdr);
    const __m256 t2r = _mm256_sub_ps(apcr, bpdr), t2i = _mm256_sub_ps(apci, bpdi);
    const __m256 t3r = _mm256_sub_ps(amcr, bmdi), t3i = _mm256_add_ps(amci, bmdr);
    o.r0 = _mm256_add_ps(apcr, bpdr);
    o.i0 = _mm256_add_ps(apci, bpdi);
    o.r1 = _mm256_fmsub_ps(c1r, t1r, _mm256_mul_ps(c1i, t1i));
    o.i1 = _mm256_fmadd_ps(c1r, t1i, _mm256_mul_ps(c1i, t1r));
    o.r2 = _mm256_fmsub_ps(c2r, t2r, _mm256_mul_ps(c2i, t2i));
    o.i2 = _mm256_fmadd_ps(c2r, t2i, _mm256_mul_ps(c2i, t2r));
    o.r3 = _mm256_fmsub_ps(c3r, t3r, _mm256_mul_ps(c3i, t3i));
    o.i3 = _mm256_fmadd_ps(c3r, t3i, _mm256_mul_ps(c3i, t3r));
}

// Writes four eight-lane rows as 32 consecutive floats, lane by lane: out[4l + j] = row j, lane l.
KV_AVX2 inline void Store4x8(float* out, __m256 y0, __m256 y1, __m256 y2, __m256 y3)
{
    const __m256 t0 = _mm256_unpacklo_ps(y0, y1), t1 = _mm256_unpackhi_ps(y0, y1);
    const __m256 t2 = _mm256_unpacklo_ps(y2, y3), t3 = _mm256_unpackhi_ps(y2, y3);
    const __m256 u0 = _mm256_shuffle_ps(t0, t2, 0x44), u1 = _mm256_shuffle_ps(t0, t2, 0xEE);
    const __m256 u2 = _mm256_shuffle_ps(t1, t3, 0x44), u3 = _mm256_shuffle_ps(t1, t3, 0xEE);
    _mm256_storeu_ps(out, _mm256_permute2f128_ps(u0, u1, 0x20));
    _mm256_storeu_ps(out + 8, _mm256_permute2f128_ps(u2, u3, 0x20));
    _mm256_storeu_ps(out + 16, _mm256_permute2f128_ps(u0, u1, 0x31));
    _mm256_storeu_ps(out + 24, _mm256_permute2f128_ps(u2, u3, 0x31));
}

KV_AVX2 void Radix4Avx2(uint32_t n, uint32_t s, const float* tw, const float* xr, const float* xi, float* yr,
                        float* yi)
{
    const uint32_t n1 = n >> 2;
    const float* w1r = tw;
    const float* w1i = tw + n1;
    const float* w2r = tw + 2 * n1;
    const float* w2i = tw + 3 * n1;
    const float* w3r = tw + 4 * n1;
    const float* w3i = tw + 5 * n1;
    const uint32_t uQ = n1 * s;
    Quad o;
    if (s >= 8) {
        // Long contiguous runs: one twiddle per run, broadcast.
        for (uint32_t p = 0; p < n1; ++p) {
            const __m256 c1r = _mm256_set1_ps(w1r[p]), c1i = _mm256_set1_ps(w1i[p]);
            const __m256 c2r = _mm256_set1_ps(w2r[p]), c2i = _mm256_set1_ps(w2i[p]);
            const __m256 c3r = _mm256_set1_ps(w3r[p]), c3i = _mm256_set1_ps(w3i[p]);
            const float* ar = xr + s * p;
            const float* ai = xi + s * p;
            float* y0r = yr + 4 * s * p;
            float* y0i = yi + 4 * s * p;
            for (uint32_t q = 0; q < s; q += 8) {
                Butterfly4(_mm256_loadu_ps(ar + q), _mm256_loadu_ps(ai + q), _mm256_loadu_ps(ar + q + uQ),
                           _mm256_loadu_ps(ai + q + uQ), _mm256_loadu_ps(ar + q + 2 * uQ),
                           _mm256_loadu_ps(ai + q + 2 * uQ), _mm256_loadu_ps(ar + q + 3 * uQ),
                           _mm256_loadu_ps(ai + q + 3 * uQ), c1r, c1i, c2r, c2i, c3r, c3i, o);
                _mm256_storeu_ps(y0r + q, o.r0);
                _mm256_storeu_ps(y0i + q, o.i0);
                _mm256_storeu_ps(y0r + q + s, o.r1);
                _mm256_storeu_ps(y0i + q + s, o.i1);
                _mm256_storeu_ps(y0r + q + 2 * s, o.r2);
                _mm256_storeu_ps(y0i + q + 2 * s, o.i2);
                _mm256_storeu_ps(y0r + q + 3 * s, o.r3);
                _mm256_storeu_ps(y0i + q + 3 * s, o.i3);
            }
        }
        return;
    }
    if (s == 4 && n1 >= 2) {
        // Two runs of four share a register; each half takes its own twiddle.
        for (uint32_t p = 0; p < n1; p += 2) {
            const __m256 c1r = _mm256_setr_m128(_mm_set1_ps(w1r[p]), _mm_set1_ps(w1r[p + 1]));
            const __m256 c1i = _mm256_setr_m128(_mm_set1_ps(w1i[p]), _mm_set1_ps(w1i[p + 1]));
            const __m256 c2r = _mm256_setr_m128(_mm_set1_ps(w2r[p]), _mm_set1_ps(w2r[p + 1]));
            const __m256 c2i = _mm256_setr_m128(_mm_set1_ps(w2i[p]), _mm_set1_ps(w2i[p + 1]));
            const __m256 c3r = _mm256_setr_m128(_mm_set1_ps(w3r[p]), _mm_set1_ps(w3r[p + 1]));
            const __m256 c3i = _mm256_setr_m128(_mm_set1_ps(w3i[p]), _mm_set1_ps(w3i[p + 1]));
            const float* ar = xr + 4 * p;
            const float* ai = xi + 4 * p;
            Butterfly4(_mm256_loadu_ps(ar), _mm256_loadu_ps(ai), _mm256_loadu_ps(ar + uQ), _mm256_loadu_ps(ai + uQ),
                       _mm256_loadu_ps(ar + 2 * uQ), _mm256_loadu_ps(ai + 2 * uQ), _mm256_loadu_ps(ar + 3 * uQ),
                       _mm256_loadu_ps(ai + 3 * uQ), c1r, c1i, c2r, c2i, c3r, c3i, o);
            float* y0r = yr + 16 * p;
            float* y0i = yi + 16 * p;
            const __m256* rows[8] = {&o.r0, &o.i0, &o.r1, &o.i1, &o.r2, &o.i2, &o.r3, &o.i3};
            for (uint32_t j = 0; j < 4; ++j) {
                const __m256 vr = *rows[2 * j], vi = *rows[2 * j + 1];
                _mm_storeu_ps(y0r + 4 * j, _mm256_castps256_ps128(vr));
                _mm_storeu_ps(y0i + 4 * j, _mm256_castps256_ps128(vi));
                _mm_storeu_ps(y0r + 16 + 4 * j, _mm256_extractf128_ps(vr, 1));
                _mm_storeu_ps(y0i + 16 + 4 * j, _mm256_extractf128_ps(vi, 1));
            }
        }
        return;
    }
    if (s == 1 && n1 >= 8) {
        // Stride 1: eight butterflies side by side, their outputs transposed into place.
        for (uint32_t p = 0; p < n1; p += 8) {
            Butterfly4(_mm256_loadu_ps(xr + p), _mm256_loadu_ps(xi + p), _mm256_loadu_ps(xr + p + uQ),
                       _mm256_loadu_ps(xi + p + uQ), _mm256_loadu_ps(xr + p + 2 * uQ),
                       _mm256_loadu_ps(xi + p + 2 * uQ), _mm256_loadu_ps(xr + p + 3 * uQ),
                       _mm256_loadu_ps(xi + p + 3 * uQ), _mm256_loadu_ps(w1r + p), _mm256_loadu_ps(w1i + p),
                       _mm256_loadu_ps(w2r + p), _mm256_loadu_ps(w2i + p), _mm256_loadu_ps(w3r + p),
                       _mm256_loadu_ps(w3i + p), o);
            Store4x8(yr + 4 * p, o.r0, o.r1, o.r2, o.r3);
            Store4x8(yi + 4 * p, o.i0, o.i1, o.i2, o.i3);
        }
        return;
    }
    FftPortableKernels().Radix4(n, s, tw, xr, xi, yr, yi);
}

KV_AVX2 void Radix2Avx2(uint32_t s, const float* xr, const float* xi, float* yr, float* yi)
{
    uint32_t q = 0;
    for (; q + 8 <= s; q += 8) {
        const __m256 ar = _mm256_loadu_ps(xr + q), ai = _mm256_loadu_ps(xi + q);
        const __m256 br = _mm256_loadu_ps(xr + q + s), bi = _mm256_loadu_ps(xi + q + s);
        _mm256_storeu_ps(yr + q, _mm256_add_ps(ar, br));
        _mm256_storeu_ps(yi + q, _mm256_add_ps(ai, bi));
        _mm256_storeu_ps(yr + q + s, _mm256_sub_ps(ar, br));
        _mm256_storeu_ps(yi + q + s, _mm256_sub_ps(ai, bi));
    }
    for (; q < s; ++q) {
        const float ar = xr[q], ai = xi[q], br = xr[q + s], bi = xi[q + s];
        yr[q] = ar + br;
        yi[q] = ai + bi;
        yr[q + s] = ar - br;
        yi[q + s] = ai - bi;
    }
}

// Lanes in reverse order.
KV_AVX2 inline __m256 Reverse8(__m256 v)
{
    return _mm256_permutevar8x32_ps(v, _mm256_setr_epi32(7, 6, 5, 4, 3, 2, 1, 0));
}

// Interleaves eight re and eight im lanes into 16 consecutive floats.
KV_AVX2 inline void StorePairs(float* out, __m256 re, __m256 im)
{
    const __m256 lo = _mm256_unpacklo_ps(re, im), hi = _mm256_unpackhi_ps(re, im);
    _mm256_storeu_ps(out, _mm256_permute2f128_ps(lo, hi, 0x20));
    _mm256_storeu_ps(out + 8, _mm256_permute2f128_ps(lo, hi, 0x31));
}

// Splits 16 consecutive floats into eight re and eight im lanes.
KV_AVX2 inline void LoadPairs(const float* in, __m256& re, __m256& im)
{
    const __m256 a = _mm256_loadu_ps(in), b = _mm256_loadu_ps(in + 8);
    const __m256 lo = _mm256_permute2f128_ps(a, b, 0x20), hi = _mm256_permute2f128_ps(a, b, 0x31);
    re = _mm256_shuffle_ps(lo, hi, 0x88);
    im = _mm256_shuffle_ps(lo, hi, 0xDD);
}

KV_AVX2 void RealPostAvx2(uint32_t h, const float* tw, const float* zr, const float* zi, float* out)
{
    const uint32_t uHalf = h >> 1;
    if (uHalf < 16) {
        FftPortableKernels().RealPost(h, tw, zr, zi, out);
        return;
    }
    const float* wr = tw;
    const float* wi = tw + uHalf;
    const __m256 half = _mm256_set1_ps(0.5f);
    // k runs 1 .. uHalf - 1 in groups of eight, the last group ending at uHalf - 1; the groups
    // at both ends are done by the scalar tail below.
    uint32_t k = 1;
    for (; k + 8 <= uHalf; k += 8) {
        const uint32_t m = h - k - 7; // lowest index of the mirrored group
        const __m256 zkr = _mm256_loadu_ps(zr + k), zki = _mm256_loadu_ps(zi + k);
        const __m256 zmr = Reverse8(_mm256_loadu_ps(zr + m)), zmi = Reverse8(_mm256_loadu_ps(zi + m));
        const __m256 er = _mm256_mul_ps(half, _mm256_add_ps(zkr, zmr));
        const __m256 ei = _mm256_mul_ps(half, _mm256_sub_ps(zki, zmi));
        const __m256 orr = _mm256_mul_ps(half, _mm256_add_ps(zki, zmi));
        const __m256 oi = _mm256_mul_ps(half, _mm256_sub_ps(zmr, zkr));
        const __m256 cr = _mm256_loadu_ps(wr + k), ci = _mm256_loadu_ps(wi + k);
        const __m256 pr = _mm256_fmsub_ps(cr, orr, _mm256_mul_ps(ci, oi));
        const __m256 pi = _mm256_fmadd_ps(cr, oi, _mm256_mul_ps(ci, orr));
        StorePairs(out + 2 * k, _mm256_add_ps(er, pr), _mm256_add_ps(ei, pi));
        StorePairs(out + 2 * m, Reverse8(_mm256_sub_ps(er, pr)), Reverse8(_mm256_sub_ps(pi, ei)));
    }
    for (; k < uHalf; ++k) {
        const uint32_t m = h - k;
        const float er = 0.5f * (zr[k] + zr[m]), ei = 0.5f * (zi[k] - zi[m]);
        const float orr = 0.5f * (zi[k] + zi[m]), oi = 0.5f * (zr[m] - zr[k]);
        const float pr = wr[k] * orr - wi[k] * oi, pi = wr[k] * oi + wi[k] * orr;
        out[2 * k] = er + pr;
        out[2 * k + 1] = ei + pi;
        out[2 * m] = er - pr;
        out[2 * m + 1] = pi - ei;
    }
    out[0] = zr[0] + zi[0];
    out[1] = 0.0f;
    out[2 * h] = zr[0] - zi[0];
    out[2 * h + 1] = 0.0f;
    out[2 * uHalf] = zr[uHalf];
    out[2 * uHalf + 1] = -zi[uHalf];
}

KV_AVX2 void RealPreAvx2(uint32_t h, const float* tw, const float* in, float* a, float* b)
{
    const uint32_t uHalf = h >> 1;
    if (uHalf < 16) {
        FftPortableKernels().RealPre(h, tw, in, a, b);
        return;
    }
    const float* wr = tw;
    const float* wi = tw + uHalf;
    const float c = 1.0f / static_cast<float>(2 * h);
    const __m256 vc = _mm256_set1_ps(c);
    uint32_t k = 1;
    for (; k + 8 <= uHalf; k += 8) {
        const uint32_t m = h - k - 7;
        __m256 xkr, xki, xmr, xmi;
        LoadPairs(in + 2 * k, xkr, xki);
        LoadPairs(in + 2 * m, xmr, xmi);
        xmr = Reverse8(xmr);
        xmi = Reverse8(xmi);
        const __m256 er = _mm256_mul_ps(_mm256_add_ps(xkr, xmr), vc);
        const __m256 ei = _mm256_mul_ps(_mm256_sub_ps(xki, xmi), vc);
        const __m256 dr = _mm256_mul_ps(_mm256_sub_ps(xkr, xmr), vc);
        const __m256 di = _mm256_mul_ps(_mm256_add_ps(xki, xmi), vc);
        const __m256 cr = _mm256_loadu_ps(wr + k), ci = _mm256_loadu_ps(wi + k);
        const __m256 orr = _mm256_fmadd_ps(dr, cr, _mm256_mul_ps(di, ci));
        const __m256 oi = _mm256_fmsub_ps(di, cr, _mm256_mul_ps(dr, ci));
        _mm256_storeu_ps(b + k, _mm256_sub_ps(er, oi));
        _mm256_storeu_ps(a + k, _mm256_add_ps(ei, orr));
        _mm256_storeu_ps(b + m, Reverse8(_mm256_add_ps(er, oi)));
        _mm256_storeu_ps(a + m, Reverse8(_mm256_sub_ps(orr, ei)));
    }
    for (; k < uHalf; ++k) {
        const uint32_t m = h - k;
        const float xkr = in[2 * k], xki = in[2 * k + 1], xmr = in[2 * m], xmi = in[2 * m + 1];
        const float er = (xkr + xmr) * c, ei = (xki - xmi) * c;
        const float dr = (xkr - xmr) * c, di = (xki + xmi) * c;
        const float orr = dr * wr[k] + di * wi[k], oi = di * wr[k] - dr * wi[k];
        b[k] = er - oi;
        a[k] = ei + orr;
        b[m] = er + oi;
        a[m] = orr - ei;
    }
    const float r0 = in[0] + in[1], rh = in[2 * h] + in[2 * h + 1];
    b[0] = (r0 + rh) * c;
    a[0] = (r0 - rh) * c;
    b[uHalf] = 2.0f * c * in[2 * uHalf];
    a[uHalf] = -2.0f * c * in[2 * uHalf + 1];
}

KV_AVX2 void DeinterleaveAvx2(uint32_t n, const float* in, float* re, float* im)
{
    uint32_t i = 0;
    for (; i + 8 <= n; i += 8) {
        __m256 vr, vi;
        LoadPairs(in + 2 * i, vr, vi);
        _mm256_storeu_ps(re + i, vr);
        _mm256_storeu_ps(im + i, vi);
    }
    for (; i < n; ++i) {
        re[i] = in[2 * i];
        im[i] = in[2 * i + 1];
    }
}

KV_AVX2 void InterleaveAvx2(uint32_t n, const float* re, const float* im, float* out)
{
    uint32_t i = 0;
    for (; i + 8 <= n; i += 8)
        StorePairs(out + 2 * i, _mm256_loadu_ps(re + i), _mm256_loadu_ps(im + i));
    for (; i < n; ++i) {
        out[2 * i] = re[i];
        out[2 * i + 1] = im[i];
    }
}

KV_AVX2 void InterleaveAddAvx2(uint32_t n, const float* re, const float* im, const float* add, float* out)
{
    uint32_t i = 0;
    for (; i + 8 <= n; i += 8) {
        const __m256 r = _mm256_loadu_ps(re + i), m = _mm256_loadu_ps(im + i);
        const __m256 lo = _mm256_unpacklo_ps(r, m), hi = _mm256_unpackhi_ps(r, m);
        const float* a = add + 2 * i;
        float* p = out + 2 * i;
        const __m256 a0 = _mm256_loadu_ps(a), a1 = _mm256_loadu_ps(a + 8);
        _mm256_storeu_ps(p, _mm256_add_ps(a0, _mm256_permute2f128_ps(lo, hi, 0x20)));
        _mm256_storeu_ps(p + 8, _mm256_add_ps(a1, _mm256_permute2f128_ps(lo, hi, 0x31)));
    }
    for (; i < n; ++i) {
        out[2 * i] = add[2 * i] + re[i];
        out[2 * i + 1] = add[2 * i + 1] + im[i];
    }
}

const FftKernels s_avx2 = {Radix4Avx2,       Radix2Avx2,     RealPostAvx2,    RealPreAvx2,
                           DeinterleaveAvx2, InterleaveAvx2, InterleaveAddAvx2};

} // namespace

const FftKernels& FftAvx2Kernels()
{
    return s_avx2;
}
#endif
