// Closed forms of the first-order crossover sections, for checking measured responses: the
// analogue low-pass 1 / (1 + s / wc) and high-pass (s / wc) / (1 + s / wc) through the bilinear
// map s = j 2 fs tan(theta / 2), and a direct DFT of a measured impulse response.
#pragma once
#include <cmath>
#include <complex>
#include <vector>

inline std::complex<double> AnalogueFirstOrder(double in_fCutoff, double in_fFrequency, double in_fRate, bool in_bHigh)
{
    const double fTheta = 2.0 * M_PI * in_fFrequency / in_fRate;
    const std::complex<double> s(0.0, 2.0 * in_fRate * std::tan(fTheta / 2.0));
    const std::complex<double> x = s / (2.0 * M_PI * in_fCutoff);
    return in_bHigh ? x / (1.0 + x) : 1.0 / (1.0 + x);
}

inline std::complex<double> DftAt(const std::vector<float>& in_h, double in_fFrequency, double in_fRate)
{
    std::complex<double> sum(0.0, 0.0);
    const double w = 2.0 * M_PI * in_fFrequency / in_fRate;
    for (size_t n = 0; n < in_h.size(); ++n)
        sum += static_cast<double>(in_h[n]) * std::polar(1.0, -w * static_cast<double>(n));
    return sum;
}
