// Independent double-precision references for the DSP toolkit tests: random signals and ramps,
// the textbook DFT, an iterative radix-2 FFT, direct convolution and error measures.
#pragma once
#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <random>
#include <vector>

typedef std::complex<double> cd;
const double REF_PI = 3.14159265358979323846;

inline std::vector<float> RefNoise(size_t n, uint32_t seed, float scale = 1.0f)
{
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> dist(-scale, scale);
    std::vector<float> v(n);
    for (float& x : v)
        x = dist(rng);
    return v;
}

// in_fStart, in_fStart + 1, ...: every misplaced sample shows.
inline std::vector<float> RefRamp(size_t n, float in_fStart = 1.0f)
{
    std::vector<float> v(n);
    for (size_t i = 0; i < n; ++i)
        v[i] = in_fStart + static_cast<float>(i);
    return v;
}

// O(N^2) DFT, kernel exp(-2 pi i k n / N).
inline std::vector<cd> RefDft(const std::vector<cd>& x)
{
    const size_t n = x.size();
    std::vector<cd> w(n), y(n);
    for (size_t k = 0; k < n; ++k)
        w[k] = std::polar(1.0, -2.0 * REF_PI * static_cast<double>(k) / static_cast<double>(n));
    for (size_t k = 0; k < n; ++k)
        for (size_t j = 0; j < n; ++j)
            y[k] += x[j] * w[(k * j) % n];
    return y;
}

// Bit reversal, then butterflies with directly computed twiddles; same kernel as RefDft.
inline void RefFft(std::vector<cd>& x)
{
    const size_t n = x.size();
    for (size_t i = 1, j = 0; i < n; ++i) {
        size_t bit = n >> 1;
        for (; j & bit; bit >>= 1)
            j ^= bit;
        j |= bit;
        if (i < j)
            std::swap(x[i], x[j]);
    }
    for (size_t len = 2; len <= n; len <<= 1)
        for (size_t k = 0; k < len / 2; ++k) {
            const cd w = std::polar(1.0, -2.0 * REF_PI * static_cast<double>(k) / static_cast<double>(len));
            for (size_t i = k; i < n; i += len) {
                const cd t = w * x[i + len / 2];
                x[i + len / 2] = x[i] - t;
                x[i] += t;
            }
        }
}

// y[t] = sum_k h[k] x[t - k], cut at the input length.
inline std::vector<double> RefConvolution(const std::vector<float>& x, const std::vector<float>& h)
{
    std::vector<double> y(x.size(), 0.0);
    for (size_t t = 0; t < x.size(); ++t)
        for (size_t k = 0; k < h.size() && k <= t; ++k)
            y[t] += static_cast<double>(h[k]) * x[t - k];
    return y;
}

// sqrt(sum |got - want|^2 / sum |want|^2), over want's length.
inline double RefRelativeRms(const std::vector<cd>& got, const std::vector<cd>& want)
{
    double e = 0, r = 0;
    for (size_t i = 0; i < want.size(); ++i) {
        e += std::norm(got[i] - want[i]);
        r += std::norm(want[i]);
    }
    return r > 0 ? std::sqrt(e / r) : std::sqrt(e);
}

// Over the shorter of the two.
inline double RefMaxError(const std::vector<float>& got, const std::vector<double>& want)
{
    double e = 0;
    for (size_t i = 0; i < std::min(got.size(), want.size()); ++i)
        e = std::max(e, std::fabs(got[i] - want[i]));
    return e;
}

// Interleaved pairs, or two arrays, as complex values.
inline std::vector<cd> RefPairs(const std::vector<float>& s)
{
    std::vector<cd> v(s.size() / 2);
    for (size_t i = 0; i < v.size(); ++i)
        v[i] = cd(s[2 * i], s[2 * i + 1]);
    return v;
}

inline std::vector<cd> RefSplit(const std::vector<float>& re, const std::vector<float>& im)
{
    std::vector<cd> v(re.size());
    for (size_t i = 0; i < v.size(); ++i)
        v[i] = cd(re[i], im[i]);
    return v;
}
