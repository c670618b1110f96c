#include <gtest/gtest.h>
#include "filterharness.h"
#include "shareddsp/filters/filterstateladder.h"
#include "support/testhost.h"

using namespace filtertest;

namespace {

// Small-signal response. Each stage y_n = p (v_n + v_n-1) - k y_n-1 is A = p (1 + z^-1) / (1 + k z^-1);
// the loop subtracts r times last sample's y4: u = x - r z^-1 y4. So
// low = A^4 / (1 + r z^-1 A^4), high = (1 - A^4) / (...), band = 3 (A^3 - A^4) / (...).
std::complex<double> LadderResponse(uint32_t in_uTap, double in_dFc, double in_dRes, double in_dFrequency)
{
    const double f = std::fmin(1.78 * in_dFc / FS, 0.5);
    const double q = 1.0 - f;
    const double p = f + 0.8 * f * q;
    const double k = 2.0 * p - 1.0;
    const double r = 0.95 * in_dRes * (1.0 + 0.5 * q * (1.0 - q + 5.6 * q * q));
    const std::complex<double> zi = ZInv(in_dFrequency);
    const std::complex<double> a = p * (1.0 + zi) / (1.0 + k * zi);
    const std::complex<double> a3 = a * a * a, a4 = a3 * a;
    const std::complex<double> loop = 1.0 + r * zi * a4;
    if (in_uTap == 0)
        return a4 / loop;
    if (in_uTap == 1)
        return (1.0 - a4) / loop;
    return 3.0 * (a3 - a4) / loop;
}

} // namespace

TEST(FilterStateLadder, MatchesItsSmallSignalResponseForEveryTap)
{
    TestHost host;
    for (uint32_t uType = FILTER_LADDER_LOW; uType <= FILTER_LADDER_BAND; ++uType)
        for (float fRes : {0.0f, 0.5f, 0.9f})
            for (double dFreq : {60.0, 400.0, 800.0, 1600.0, 6400.0}) {
                Filter filter(uType, 800.0f, fRes);
                const double dExpected = std::abs(LadderResponse(uType - FILTER_LADDER_LOW, 800.0, fRes, dFreq));
                // 0.5 % or 1e-5: at 1e-3 input the cubic term is of order 1e-7
                EXPECT_NEAR(MeasureGain(*filter, dFreq, 1e-3, 48000), dExpected, 5e-3 * dExpected + 1e-5)
                    << "type " << uType << " res " << fRes << " at " << dFreq << " Hz";
            }
}

TEST(FilterStateLadder, LowTapHasUnityPassBandAndTwentyFourDbPerOctave)
{
    TestHost host;
    Filter low(FILTER_LADDER_LOW, 300.0f, 0.0f);
    EXPECT_NEAR(MeasureGain(*low, 20.0, 1e-3, 48000), 1.0, 0.01);
    EXPECT_NEAR(Db(MeasureGain(*low, 2400.0)) - Db(MeasureGain(*low, 4800.0)), 24.0, 1.5);
}

TEST(FilterStateLadder, FirstSampleShowsNoClipAndTheShortCubicConstant)
{
    TestHost host;
    // fc at its clamp: f = 0.5, q = 0.5, p = 0.5 + 0.8 x 0.25 = 0.7, k = 0.4; resonance 0, r = 0.
    // From rest, an input of 100 is not clipped: y1 = 0.7 x 100, ... y4 = 0.7^4 x 100 = 24.01,
    // then y4 - y4^3 x 0.166667 = -2283.5. With 1/6 in place of 0.166667 the result moves by
    // 24.01^3 x 3.3e-7 = 0.0046, some 19 float steps at that size.
    Filter filter(FILTER_LADDER_LOW, 24000.0f, 0.0f);
    float x = 100.0f;
    filter->Process(1, &x);
    const double y4 = 0.7 * 0.7 * 0.7 * 0.7 * 100.0;
    EXPECT_NEAR(x, y4 - y4 * y4 * y4 * 0.166667, 2e-3);
    EXPECT_GT(std::fabs(x - (y4 - y4 * y4 * y4 / 6.0)), 3e-3);
}

TEST(FilterStateLadder, StableForFullScaleInput)
{
    TestHost host;
    for (uint32_t uType = FILTER_LADDER_LOW; uType <= FILTER_LADDER_BAND; ++uType)
        for (float fRes : {0.0f, 0.5f, 0.9f})
            for (float fFc : {50.0f, 1000.0f, 13483.0f, 24000.0f}) {
                Filter filter(uType, fFc, fRes);
                const NoiseRun run = NoiseThenSilence(*filter, 1.0f, 24000, 48000);
                EXPECT_LT(run.dPeak, 10.0) << uType << " " << fRes << " " << fFc;
                EXPECT_LT(run.dTailPeak, 1e-6) << uType << " " << fRes << " " << fFc;
            }
}
