#include "kvreverbconsole/dsp/modeled/hannsmoother.h"
#include <cmath>

// Weight j of the window is (1 - cos(pi (2j + 1) / N)) / N, so the output is the window's plain
// sum plus the real part of one DFT bin of it. Both slide along the signal in O(1) a sample: the
// sum takes the entering minus the leaving sample, the bin is rotated by one step and takes the
// same difference at the phasor that entering and leaving samples share after the rotation.
void HannSmooth(uint32_t in_uLength, const float* in_pfSource, uint32_t in_uHalfWidth, float* out_pfDest)
{
    const uint32_t n = in_uLength;
    const float* x = in_pfSource;
    float* y = out_pfDest;
    if (n < 3) {
        for (uint32_t i = 0; i < n; ++i)
            y[i] = x[i];
        return;
    }
    uint32_t h = in_uHalfWidth;
    if (n / 2 <= h)
        h = n / 2 - 1;
    const uint32_t N = 2 * h + 1;
    const float fN = static_cast<float>(N);
    const float fPi = 3.14159265f;

    float S = 0.0f;
    float R = 0.0f;
    float I = 0.0f;
    for (uint32_t j = 0; j < N; ++j) {
        const float v = x[j >= h ? j - h : h - j];
        const float fAngle = fPi * static_cast<float>(2 * j + 1) / fN;
        S += v;
        R -= v * std::cos(fAngle);
        I -= v * std::sin(fAngle);
    }
    const float fInvN = 1.0f / fN;
    y[0] = (S + R) * fInvN;

    const float fRotCos = std::cos(2.0f * fPi / fN);
    const float fRotSin = std::sin(2.0f * fPi / fN);
    const float fAddRe = -std::cos(fPi / fN);
    const float fAddIm = std::sin(fPi / fN);
    auto Step = [&](float d) {
        const float fR = R * fRotCos + I * fRotSin;
        const float fI = I * fRotCos - R * fRotSin;
        S += d;
        R = fR + d * fAddRe;
        I = fI + d * fAddIm;
        return (S + R) * fInvN;
    };
    // Leaving samples reflect about sample 0.
    for (uint32_t i = 1; i <= h; ++i)
        y[i] = Step(x[i + h] - x[h - i + 1]);
    for (uint32_t i = h + 1; i + h < n; ++i)
        y[i] = Step(x[i + h] - x[i - h - 1]);
    // Entering samples reflect about the end, the last sample taken again first: the index is
    // the one every fitted model was made with.
    for (uint32_t i = n - h; i < n; ++i)
        y[i] = Step(x[2 * n - i - h - 1] - x[i - h - 1]);
}
