#include <gtest/gtest.h>
#include "filterharness.h"
#include "shareddsp/filters/filterstatesvfscaled.h"
#include "support/testhost.h"

using namespace filtertest;

namespace {

// From low_n = low_n-1 + F band_n-1, high_n = D x_n - low_n - D band_n-1,
// band_n = band_n-1 + F high_n, with a = 1 - z^-1 and E = a^2 + F^2 z^-1 + D F a z^-1:
// G low / x = F^2 z^-1 / E, G high / x = a^2 / E, G band / x = F a / E (G D = 1).
std::complex<double> ScaledResponse(uint32_t in_uType, double F, double D, double in_dFrequency)
{
    const std::complex<double> zi = ZInv(in_dFrequency);
    const std::complex<double> a = 1.0 - zi;
    const std::complex<double> e = a * a + F * F * zi + D * F * a * zi;
    if (in_uType == FILTER_SVF_SCALED_LOW)
        return F * F * zi / e;
    if (in_uType == FILTER_SVF_SCALED_HIGH)
        return a * a / e;
    return F * a / e;
}

} // namespace

TEST(FilterStateSvfScaled, MatchesItsResponseForEveryTap)
{
    TestHost host;
    for (uint32_t uType = FILTER_SVF_SCALED_LOW; uType <= FILTER_SVF_SCALED_BAND; ++uType)
        for (float fRes : {0.0f, 0.5f, 1.0f})
            for (double dFreq : {50.0, 500.0, 1000.0, 2000.0, 8000.0, 20000.0}) {
                Filter filter(uType, 1000.0f, fRes);
                const double F = 2.0 * std::sin(PI * 1000.0 / 48000.0);
                const double D = 0.49 - 0.41 * fRes;
                const double dExpected = std::abs(ScaledResponse(uType, F, D, dFreq));
                // 0.5 %, or 1e-5 absolute where a tap is deep in its stop band
                EXPECT_NEAR(MeasureGain(*filter, dFreq, 1e-3, 48000), dExpected, 5e-3 * dExpected + 1e-5)
                    << "type " << uType << " res " << fRes << " at " << dFreq << " Hz";
            }
}

TEST(FilterStateSvfScaled, PassBandStaysNearUnityAsResonanceRises)
{
    TestHost host;
    for (float fRes : {0.0f, 0.5f, 1.0f}) {
        Filter low(FILTER_SVF_SCALED_LOW, 2000.0f, fRes);
        Filter high(FILTER_SVF_SCALED_HIGH, 200.0f, fRes);
        EXPECT_NEAR(MeasureGain(*low, 100.0), 1.0, 0.01) << fRes;
        EXPECT_NEAR(MeasureGain(*high, 12000.0), 1.0, 0.03) << fRes;
    }
    // At resonance 1, D = 0.49 - 0.41 = 0.08 and G = 12.5: the band tap peaks at G.
    Filter band(FILTER_SVF_SCALED_BAND, 500.0f, 1.0f);
    EXPECT_NEAR(MeasureGain(*band, 500.0 * 0.99989, 1e-3, 96000), 12.5, 0.15);
}

TEST(FilterStateSvfScaled, FrequencyCoefficientStopsAtOnePointFiveFive)
{
    TestHost host;
    // 2 sin(pi f) passes 1.55 at f = asin(0.775) / pi = 0.2823, 13551 Hz at 48 kHz; above it
    // the filter is that of F = 1.55 exactly, even where 2 sin(pi f) would reach 2.
    for (float fFc : {14000.0f, 24000.0f, 40000.0f}) {
        Filter filter(FILTER_SVF_SCALED_LOW, fFc, 0.2f);
        const double D = 0.49 - 0.41 * 0.2f;
        for (double dFreq : {1000.0, 6000.0, 11000.0})
            EXPECT_NEAR(MeasureGain(*filter, dFreq), std::abs(ScaledResponse(FILTER_SVF_SCALED_LOW, 1.55, D, dFreq)),
                        5e-3)
                << fFc << " " << dFreq;
    }
    Filter below(FILTER_SVF_SCALED_LOW, 13000.0f, 0.2f);
    EXPECT_GT(std::fabs(MeasureGain(*below, 11000.0) -
                        std::abs(ScaledResponse(FILTER_SVF_SCALED_LOW, 1.55, 0.49 - 0.41 * 0.2f, 11000.0))),
              0.02);
}

TEST(FilterStateSvfScaled, StableOverItsRange)
{
    TestHost host;
    for (uint32_t uType = FILTER_SVF_SCALED_LOW; uType <= FILTER_SVF_SCALED_BAND; ++uType)
        for (float fRes : {0.0f, 0.5f, 1.0f})
            for (float fFc : {100.0f, 1000.0f, 13000.0f, 24000.0f}) {
                Filter filter(uType, fFc, fRes);
                const NoiseRun run = NoiseThenSilence(*filter, 1.0f, 24000, 96000);
                EXPECT_LT(run.dPeak, 1e4) << uType << " " << fRes << " " << fFc;
                EXPECT_LT(run.dTailPeak, 1e-6 * run.dPeak) << uType << " " << fRes << " " << fFc;
            }
}
