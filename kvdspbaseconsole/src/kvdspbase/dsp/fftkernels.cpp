// Portable transform kernels, and the choice between them and the AVX2 set.
#include "kvdspbase/dsp/fftkernels.h"

namespace {

void Radix4Portable(uint32_t n, uint32_t s, const float* tw, const float* xr, const float* xi, float* yr,
                    float* yi)
{
    const uint32_t n1 = n >> 2;
    const float* w1r = tw;
    const float* w1i = tw + n1;
    const float* w2r = tw + 2 * n1;
    const float* w2i = tw + 3 * n1;
    const float* w3r = tw + 4 * n1;
    const float* w3i = tw + 5 * n1;
    const uint32_t uQuarter = n1 * s;
    for (uint32_t p = 0; p < n1; ++p) {
        const float c1r = w1r[p], c1i = w1i[p];
        const float c2r = w2r[p], c2i = w2i[p];
        const float c3r = w3r[p], c3i = w3i[p];
        const float* __restrict ar = xr + s * p;
        const float* __restrict ai = xi + s * p;
        float* __restrict y0r = yr + 4 * s * p;
        float* __restrict y0i = yi + 4 * s * p;
        for (uint32_t q = 0; q < s; ++q) {
            const float apcr = ar[q] + ar[q + 2 * uQuarter], apci = ai[q] + ai[q + 2 * uQuarter];
            const float amcr = ar[q] - ar[q + 2 * uQuarter], amci = ai[q] - ai[q + 2 * uQuarter];
            const float bpdr = ar[q + uQuarter] + ar[q + 3 * uQuarter];
            const float bpdi = ai[q + uQuarter] + ai[q + 3 * uQuarter];
            const float bmdr = ar[q + uQuarter] - ar[q + 3 * uQuarter];
            const float bmdi = ai[q + uQuarter] - ai[q + 3 * uQuarter];
            // Leg 1 turns (b - d) by -i, leg 3 by +i.
            const float t1r = amcr + bmdi, t1i = amci - bmdr;
            const float t2r = apcr - bpdr, t2i = apci - bpdi;
            const float t3r = amcr - bmdi, t3i = amci + bmdr;
            y0r[q] = apcr + bpdr;
            y0i[q] = apci + bpdi;
            y0r[q + s] = c1r * t1r - c1i * t1i;
            y0i[q + s] = c1r * t1i + c1i * t1r;
            y0r[q + 2 * s] = c2r * t2r - c2i * t2i;
            y0i[q + 2 * s] = c2r * t2i + c2i * t2r;
            y0r[q + 3 * s] = c3r * t3r - c3i * t3i;
            y0i[q + 3 * s] = c3r * t3i + c3i * t3r;
        }
    }
}

void Radix2Portable(uint32_t s, const float* __restrict xr, const float* __restrict xi, float* __restrict yr,
                    float* __restrict yi)
{
    for (uint32_t q = 0; q < s; ++q) {
        const float ar = xr[q], ai = xi[q], br = xr[q + s], bi = xi[q + s];
        yr[q] = ar + br;
        yi[q] = ai + bi;
        yr[q + s] = ar - br;
        yi[q + s] = ai - bi;
    }
}

void RealPostPortable(uint32_t h, const float* tw, const float* __restrict zr, const float* __restrict zi,
                      float* __restrict out)
{
    const uint32_t uHalf = h >> 1;
    const float* wr = tw;
    const float* wi = tw + uHalf;
    out[0] = zr[0] + zi[0];
    out[1] = 0.0f;
    out[2 * h] = zr[0] - zi[0];
    out[2 * h + 1] = 0.0f;
    for (uint32_t k = 1; k < uHalf; ++k) {
        const uint32_t m = h - k;
        const float er = 0.5f * (zr[k] + zr[m]), ei = 0.5f * (zi[k] - zi[m]);
        const float orr = 0.5f * (zi[k] + zi[m]), oi = 0.5f * (zr[m] - zr[k]);
        const float pr = wr[k] * orr - wi[k] * oi, pi = wr[k] * oi + wi[k] * orr;
        out[2 * k] = er + pr;
        out[2 * k + 1] = ei + pi;
        out[2 * m] = er - pr;
        out[2 * m + 1] = pi - ei;
    }
    // Bin h / 2 pairs with itself; its twiddle is -i.
    out[2 * uHalf] = zr[uHalf];
    out[2 * uHalf + 1] = -zi[uHalf];
}

void RealPrePortable(uint32_t h, const float* tw, const float* __restrict in, float* __restrict a,
                     float* __restrict b)
{
    const uint32_t uHalf = h >> 1;
    const float* wr = tw;
    const float* wi = tw + uHalf;
    const float c = 1.0f / static_cast<float>(2 * h);
    const float r0 = in[0] + in[1], rh = in[2 * h] + in[2 * h + 1];
    b[0] = (r0 + rh) * c;
    a[0] = (r0 - rh) * c;
    for (uint32_t k = 1; k < uHalf; ++k) {
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
    b[uHalf] = 2.0f * c * in[2 * uHalf];
    a[uHalf] = -2.0f * c * in[2 * uHalf + 1];
}

void DeinterleavePortable(uint32_t n, const float* __restrict in, float* __restrict re, float* __restrict im)
{
    for (uint32_t i = 0; i < n; ++i) {
        re[i] = in[2 * i];
        im[i] = in[2 * i + 1];
    }
}

void InterleavePortable(uint32_t n, const float* __restrict re, const float* __restrict im, float* __restrict out)
{
    for (uint32_t i = 0; i < n; ++i) {
        out[2 * i] = re[i];
        out[2 * i + 1] = im[i];
    }
}

void InterleaveAddPortable(uint32_t n, const float* __restrict re, const float* __restrict im, const float* add,
                           float* out)
{
    for (uint32_t i = 0; i < n; ++i) {
        out[2 * i] = add[2 * i] + re[i];
        out[2 * i + 1] = add[2 * i + 1] + im[i];
    }
}

const FftKernels s_portable = {Radix4Portable, Radix2Portable, RealPostPortable, RealPrePortable,
                               DeinterleavePortable, InterleavePortable, InterleaveAddPortable};

} // namespace

#if defined(__x86_64__)
const FftKernels& FftAvx2Kernels();
void FftRadix4Sse2(uint32_t n, uint32_t s, const float* tw, const float* xr, const float* xi, float* yr, float* yi);

namespace {
// SSE2 is part of every x86-64: the hand-written stage, with the portable loops around it.
const FftKernels s_sse2 = {FftRadix4Sse2, Radix2Portable, RealPostPortable, RealPrePortable,
                           DeinterleavePortable, InterleavePortable, InterleaveAddPortable};
} // namespace

const FftKernels& FftSse2Kernels()
{
    return s_sse2;
}
#endif

const FftKernels& FftPortableKernels()
{
    return s_portable;
}

bool FftHasAvx2()
{
#if defined(__x86_64__)
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
#else
    return false;
#endif
}

const FftKernels& FftSelectKernels(bool bAllowSimd)
{
#if defined(__x86_64__)
    if (bAllowSimd)
        return FftHasAvx2() ? FftAvx2Kernels() : s_sse2;
#else
    (void)bAllowSimd;
#endif
    return s_portable;
}
