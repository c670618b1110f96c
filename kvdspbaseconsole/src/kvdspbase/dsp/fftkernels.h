// The inner loops of the transform: radix-4 and radix-2 Stockham stages on split real and
// imaginary arrays, and the pre- and post-passes that turn a half-size complex transform into a
// real one. Each kernel has a portable version, written so the compiler vectorises it with the
// baseline instruction set, and an AVX2 version that is only called when the processor has it.
#pragma once
#include <cstdint>

// One radix-4 decimation-in-frequency Stockham stage of sub-length n (a multiple of 4) at stride
// s: reads x, writes y (never the same memory). tw holds the six split tables of this stage:
// re and im of w^p, w^2p, w^3p for p < n / 4, with w = exp(-2 pi i / n).
typedef void (*FftRadix4Fn)(uint32_t n, uint32_t s, const float* tw, const float* xr, const float* xi,
                            float* yr, float* yi);
// The closing radix-2 stage of an odd order: n = 2, stride s = half the transform size.
typedef void (*FftRadix2Fn)(uint32_t s, const float* xr, const float* xi, float* yr, float* yi);
// Real forward post-pass: from the half-size complex result z (h points, split) to the
// interleaved spectrum of h + 1 bins. tw: re and im of exp(-2 pi i k / 2h) for k < h / 2.
typedef void (*FftRealPostFn)(uint32_t h, const float* tw, const float* zr, const float* zi, float* out);
// Real inverse pre-pass: from the interleaved spectrum of h + 1 bins to the half-size spectrum Z
// whose inverse transform holds the even samples in its real part and the odd ones in its
// imaginary part. It is written exchanged (Im Z to a, Re Z to b), so that a forward transform of
// (a, b) gives (odd, even) samples. The scale 1 / 2h is applied here. The imaginary parts of bins
// 0 and h are added to their real parts, as the Hartley form of the inverse does.
typedef void (*FftRealPreFn)(uint32_t h, const float* tw, const float* in, float* a, float* b);
// Splits n interleaved pairs into two arrays, and the reverse.
typedef void (*FftDeinterleaveFn)(uint32_t n, const float* in, float* re, float* im);
typedef void (*FftInterleaveFn)(uint32_t n, const float* re, const float* im, float* out);
// Interleave that adds each pair to the pair at the same place of add (one rounding per sum);
// out may be add.
typedef void (*FftInterleaveAddFn)(uint32_t n, const float* re, const float* im, const float* add, float* out);

struct FftKernels
{
    FftRadix4Fn Radix4;
    FftRadix2Fn Radix2;
    FftRealPostFn RealPost;
    FftRealPreFn RealPre;
    FftDeinterleaveFn Deinterleave;
    FftInterleaveFn Interleave;
    FftInterleaveAddFn InterleaveAdd;
};

const FftKernels& FftPortableKernels();
#if defined(__x86_64__)
// The hand-written SSE2 stage with portable loops elsewhere; chosen where AVX2 is missing.
const FftKernels& FftSse2Kernels();
#endif
// The fastest set this processor runs; bAllowSimd false gives the portable set.
const FftKernels& FftSelectKernels(bool bAllowSimd);
// True when the AVX2 set exists in this build and the processor runs it.
bool FftHasAvx2();
