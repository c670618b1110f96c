// Measuring tools for the filter tests: a filter built by type, its gain at a frequency taken
// from a sine run through it, and its behaviour on noise followed by silence.
#pragma once
#include <cmath>
#include <complex>
#include <cstdint>
#include <random>
#include <vector>
#include "kvbase/common/common_allocator.h"
#include "shareddsp/filters/filterstatefactory.h"
#include "shareddsp/filters/filterstatenone.h"

namespace filtertest {

constexpr double PI = 3.14159265358979323846;
constexpr float FS = 48000.0f;

// Owns a configured filter; needs a TestHost alive for its whole life.
class Filter
{
public:
    Filter(uint32_t in_uType, float in_fFrequency, float in_fResonance, float in_fGainDb = 0.0f, float in_fQ = 0.7071f,
           float in_fSampleRate = FS)
    {
        FilterStateNone settings;
        settings.m_uType = in_uType;
        settings.m_fFrequency = in_fFrequency;
        settings.m_fGainDb = in_fGainDb;
        settings.m_fQ = in_fQ;
        settings.m_fResonance = in_fResonance;
        p = CreateFilterState(in_uType, &settings);
        if (p)
            p->Configure(in_uType, in_fSampleRate);
    }
    ~Filter() { QwDelete(p); }
    Filter(const Filter&) = delete;
    Filter& operator=(const Filter&) = delete;
    FilterState* operator->() const { return p; }
    FilterState& operator*() const { return *p; }

    FilterState* p = nullptr;
};

// Runs a signal through in blocks of 256, as the effect would.
inline void RunBlocks(FilterState& io_filter, std::vector<float>& io_signal)
{
    for (size_t i = 0; i < io_signal.size(); i += 256) {
        const uint32_t n = static_cast<uint32_t>(io_signal.size() - i < 256 ? io_signal.size() - i : 256);
        io_filter.Process(n, io_signal.data() + i);
    }
}

// |H| at in_dFrequency: a sine of in_dAmplitude through the filter, the first in_uSettle
// samples discarded, then the Hann-windowed single-bin DFT of output over input.
inline double MeasureGain(FilterState& io_filter, double in_dFrequency, double in_dAmplitude = 1e-3,
                          uint32_t in_uSettle = 24000, uint32_t in_uMeasure = 16384, double in_dFs = FS)
{
    io_filter.Reset();
    const double w = 2.0 * PI * in_dFrequency / in_dFs;
    std::vector<float> x(in_uSettle + in_uMeasure);
    for (size_t n = 0; n < x.size(); ++n)
        x[n] = static_cast<float>(in_dAmplitude * std::sin(w * static_cast<double>(n)));
    std::vector<float> y = x;
    RunBlocks(io_filter, y);
    std::complex<double> X = 0.0, Y = 0.0;
    for (uint32_t n = 0; n < in_uMeasure; ++n) {
        const double window = 0.5 - 0.5 * std::cos(2.0 * PI * n / in_uMeasure);
        const std::complex<double> e = std::polar(window, -w * (in_uSettle + n));
        X += static_cast<double>(x[in_uSettle + n]) * e;
        Y += static_cast<double>(y[in_uSettle + n]) * e;
    }
    return std::abs(Y) / std::abs(X);
}

inline double Db(double in_dGain) { return 20.0 * std::log10(in_dGain); }

// z^-1 on the unit circle at in_dFrequency.
inline std::complex<double> ZInv(double in_dFrequency, double in_dFs = FS)
{
    return std::polar(1.0, -2.0 * PI * in_dFrequency / in_dFs);
}

struct NoiseRun
{
    double dPeak;     // largest |y| while the noise plays
    double dTailPeak; // largest |y| over the last 1000 samples of the silence
};

// White noise of in_fAmplitude for in_uNoise samples, then in_uSilence samples of silence.
inline NoiseRun NoiseThenSilence(FilterState& io_filter, float in_fAmplitude, uint32_t in_uNoise = 24000,
                                 uint32_t in_uSilence = 96000, uint32_t in_uSeed = 7)
{
    std::mt19937 rng(in_uSeed);
    std::uniform_real_distribution<float> dist(-in_fAmplitude, in_fAmplitude);
    std::vector<float> s(in_uNoise + in_uSilence, 0.0f);
    for (uint32_t n = 0; n < in_uNoise; ++n)
        s[n] = dist(rng);
    RunBlocks(io_filter, s);
    NoiseRun result = {0.0, 0.0};
    // A non-finite sample counts as unbounded.
    auto magnitude = [](float v) { return std::isfinite(v) ? std::fabs(static_cast<double>(v)) : HUGE_VAL; };
    for (uint32_t n = 0; n < in_uNoise; ++n)
        result.dPeak = std::fmax(result.dPeak, magnitude(s[n]));
    for (size_t n = s.size() - 1000; n < s.size(); ++n)
        result.dTailPeak = std::fmax(result.dTailPeak, magnitude(s[n]));
    return result;
}

} // namespace filtertest
