// SSE2 version of the radix-4 stage, for x86-64 processors without AVX2 (SSE2 is part of the
// baseline, so no processor check is needed).
#include "kvdspbase/dsp/fftkernels.h"

#if defined(__x86_64__)
#include <emmintrin.h>

namespace {

// d = w * t on four lanes.
inline void Rotate(__m128 wr, __m128 wi, __m128 tr, __m128 ti, __m128& dr, __m128& di)
{
    dr = _mm_sub_ps(_mm_mul_ps(wr, tr), _mm_mul_ps(wi, ti));
    di = _mm_add_ps(_mm_mul_ps(wr, ti), _mm_mul_ps(wi, tr));
}

struct Quad4
{
    __m128 r0, i0, r1, i1, r2, i2, r3, i3;
};

inline void Butterfly4(const float* ar, const float* ai, uint32_t uQ, __m128 c1r, __m128 c1i, __m128 c2r,
                       __m128 c2i, __m128 c3r, __m128 c3i, Quad4& o)
{
    const __m128 xa = _mm_loadu_ps(ar), ya = _mm_loadu_ps(ai);
    const __m128 xb = _mm_loadu_ps(ar + uQ), yb = _mm_loadu_ps(ai + uQ);
    const __m128 xc = _mm_loadu_ps(ar + 2 * uQ), yc = _mm_loadu_ps(ai + 2 * uQ);
    const __m128 xd = _mm_loadu_ps(ar + 3 * uQ), yd = _mm_loadu_ps(ai + 3 * uQ);
    const __m128 apcr = _mm_add_ps(xa, xc), apci = _mm_add_ps(ya, yc);
    const __m128 amcr = _mm_sub_ps(xa, xc), amci = _mm_sub_ps(ya, yc);
    const __m128 bpdr = _mm_add_ps(xb, xd), bpdi = _mm_add_ps(yb, yd);
    const __m128 bmdr = _mm_sub_ps(xb, xd), bmdi = _mm_sub_ps(yb, yd);
    o.r0 = _mm_add_ps(apcr, bpdr);
    o.i0 = _mm_add_ps(apci, bpdi);
    Rotate(c1r, c1i, _mm_add_ps(amcr, bmdi), _mm_sub_ps(amci, bmdr), o.r1, o.i1);
    Rotate(c2r, c2i, _mm_sub_ps(apcr, bpdr), _mm_sub_ps(apci, bpdi), o.r2, o.i2);
    Rotate(c3r, c3i, _mm_sub_ps(amcr, bmdi), _mm_add_ps(amci, bmdr), o.r3, o.i3);
}

// out[4l + j] = row j, lane l.
inline void Store4x4(float* out, __m128 y0, __m128 y1, __m128 y2, __m128 y3)
{
    _MM_TRANSPOSE4_PS(y0, y1, y2, y3);
    _mm_storeu_ps(out, y0);
    _mm_storeu_ps(out + 4, y1);
    _mm_storeu_ps(out + 8, y2);
    _mm_storeu_ps(out + 12, y3);
}

} // namespace

void FftRadix4Sse2(uint32_t n, uint32_t s, const float* tw, const float* xr, const float* xi, float* yr, float* yi)
{
    const uint32_t n1 = n >> 2;
    const uint32_t uQ = n1 * s;
    Quad4 o;
    if (s >= 4) {
        for (uint32_t p = 0; p < n1; ++p) {
            const __m128 c1r = _mm_set1_ps(tw[p]), c1i = _mm_set1_ps(tw[n1 + p]);
            const __m128 c2r = _mm_set1_ps(tw[2 * n1 + p]), c2i = _mm_set1_ps(tw[3 * n1 + p]);
            const __m128 c3r = _mm_set1_ps(tw[4 * n1 + p]), c3i = _mm_set1_ps(tw[5 * n1 + p]);
            float* y0r = yr + 4 * s * p;
            float* y0i = yi + 4 * s * p;
            for (uint32_t q = 0; q < s; q += 4) {
                Butterfly4(xr + s * p + q, xi + s * p + q, uQ, c1r, c1i, c2r, c2i, c3r, c3i, o);
                _mm_storeu_ps(y0r + q, o.r0);
                _mm_storeu_ps(y0i + q, o.i0);
                _mm_storeu_ps(y0r + q + s, o.r1);
                _mm_storeu_ps(y0i + q + s, o.i1);
                _mm_storeu_ps(y0r + q + 2 * s, o.r2);
                _mm_storeu_ps(y0i + q + 2 * s, o.i2);
                _mm_storeu_ps(y0r + q + 3 * s, o.r3);
                _mm_storeu_ps(y0i + q + 3 * s, o.i3);
            }
        }
        return;
    }
    if (s == 1 && n1 >= 4) {
        for (uint32_t p = 0; p < n1; p += 4) {
            Butterfly4(xr + p, xi + p, uQ, _mm_loadu_ps(tw + p), _mm_loadu_ps(tw + n1 + p),
                       _mm_loadu_ps(tw + 2 * n1 + p), _mm_loadu_ps(tw + 3 * n1 + p), _mm_loadu_ps(tw + 4 * n1 + p),
                       _mm_loadu_ps(tw + 5 * n1 + p), o);
            Store4x4(yr + 4 * p, o.r0, o.r1, o.r2, o.r3);
            Store4x4(yi + 4 * p, o.i0, o.i1, o.i2, o.i3);
        }
        return;
    }
    FftPortableKernels().Radix4(n, s, tw, xr, xi, yr, yi);
}
#endif
