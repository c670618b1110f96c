#include <gtest/gtest.h>
#include "filterharness.h"
#include "shareddsp/filters/filterstatebiquad.h"
#include "support/dspreference.h"
#include "support/testhost.h"

using namespace filtertest;

namespace {

typedef std::complex<long double> cld;

struct Coeffs
{
    long double b0, b1, b2, a0, a1, a2;
};

// The textbook designs, worked in long double from the table of the filter designs: Q-based
// alpha for the pass shapes and the peak (A = 10^(g / 40)), the shelves from a slope with
// A = 10^(g / 20), the designs' own exponent.
Coeffs Design(uint32_t in_uType, long double fc, long double g, long double q, long double slope)
{
    const long double w0 = 2.0L * 3.141592653589793238462643L * fc / FS;
    const long double c = std::cos(w0), s = std::sin(w0), alpha = s * (0.5L / q);
    switch (in_uType) {
    case FILTER_BIQUAD_LOW_PASS:
        return {(1 - c) / 2, 1 - c, (1 - c) / 2, 1 + alpha, -2 * c, 1 - alpha};
    case FILTER_BIQUAD_HIGH_PASS:
        return {(1 + c) / 2, -1 - c, (1 + c) / 2, 1 + alpha, -2 * c, 1 - alpha};
    case FILTER_BIQUAD_BAND_PASS:
        return {alpha, 0, -alpha, 1 + alpha, -2 * c, 1 - alpha};
    case FILTER_BIQUAD_PEAK: {
        const long double A = std::pow(10.0L, g * 0.025L);
        return {1 + alpha * A, -2 * c, 1 - alpha * A, 1 + alpha / A, -2 * c, 1 - alpha / A};
    }
    default: {
        const long double A = std::pow(10.0L, g * 0.05L), p = A + 1, m = A - 1;
        const long double beta = s * std::sqrt((A * A + 1) / slope - m * m);
        if (in_uType == FILTER_BIQUAD_LOW_SHELF)
            return {A * (p - m * c + beta), 2 * A * (m - p * c), A * (p - m * c - beta), p + m * c + beta,
                    -2 * m - 2 * p * c, p + m * c - beta};
        return {A * (p + m * c + beta), -2 * A * (m + p * c), A * (p + m * c - beta), p - m * c + beta,
                2 * (m - p * c), p - m * c - beta};
    }
    }
}

long double Magnitude(const Coeffs& k, long double f)
{
    const cld zi = std::polar(1.0L, -2.0L * 3.141592653589793238462643L * f / FS);
    return std::abs((k.b0 + k.b1 * zi + k.b2 * zi * zi) / (k.a0 + k.a1 * zi + k.a2 * zi * zi));
}

} // namespace

TEST(FilterStateBiquad, MatchesTheDesignedResponses)
{
    TestHost host;
    for (uint32_t uType = FILTER_BIQUAD_LOW_PASS; uType <= FILTER_BIQUAD_PEAK; ++uType)
        for (float fQ : {0.5f, 2.0f, 24.0f}) {
            // The shelves take their slope from Q on the line (1, 0.1) - (24, 1), unclamped:
            // Q 0.5 gives 0.1 - 0.5 x 0.9 / 23 = 0.080435.
            const long double slope = 0.1L + (fQ - 1.0L) * 0.9L / 23.0L;
            Filter filter(uType, 1000.0f, 0.0f, 9.0f, fQ);
            const Coeffs k = Design(uType, 1000.0L, 9.0L, fQ, slope);
            for (double f : {100.0, 700.0, 1000.0, 1400.0, 5000.0}) {
                const double dExpected = static_cast<double>(Magnitude(k, f));
                // 0.3 %, or 2e-5 in a deep stop band; Q 24 rings long, hence the settling
                EXPECT_NEAR(MeasureGain(*filter, f, 1e-2, 48000), dExpected, 3e-3 * dExpected + 2e-5)
                    << "type " << uType << " Q " << fQ << " at " << f << " Hz";
            }
        }
}

TEST(FilterStateBiquad, RetuningKeepsTheHistory)
{
    TestHost host;
    // 400 samples at 500 Hz, then Update to 3 kHz: the filter goes on from its history, as a
    // long-double transposed direct form II whose coefficients switch at sample 400 while its
    // two state values carry on.
    const std::vector<float> input = RefNoise(800, 4);
    Filter filter(FILTER_BIQUAD_LOW_PASS, 500.0f, 0.0f, 0.0f, 0.7f);
    std::vector<float> got = input;
    filter->Process(400, got.data());
    filter->Update(FS, 3000.0f, 0.0f, 0.7f, 0.0f);
    filter->Process(400, got.data() + 400);

    long double z0 = 0, z1 = 0;
    for (size_t n = 0; n < input.size(); ++n) {
        const Coeffs k = Design(FILTER_BIQUAD_LOW_PASS, n < 400 ? 500.0L : 3000.0L, 0, 0.7f, 1);
        const long double x = input[n];
        const long double y = k.b0 / k.a0 * x + z0;
        z0 = k.b1 / k.a0 * x + z1 - k.a1 / k.a0 * y;
        z1 = k.b2 / k.a0 * x - k.a2 / k.a0 * y;
        // 2e-6: float output, plus the recursion's 1e-10 offset
        ASSERT_NEAR(got[n], static_cast<double>(y), 2e-6) << n;
    }
}
