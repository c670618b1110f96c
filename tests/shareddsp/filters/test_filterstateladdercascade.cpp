#include <gtest/gtest.h>
#include "filterharness.h"
#include "shareddsp/filters/filterstateladdercascade.h"
#include "support/testhost.h"

using namespace filtertest;

namespace {

// Each stage o_n = v_n + 0.3 v_n-1 + m o_n-1 is B = (1 + 0.3 z^-1) / (1 - m z^-1); the input is
// g (x - fb z^-1 o4) with g = c^4 x 0.35013, so H = g B^4 / (1 + g fb z^-1 B^4).
std::complex<double> CascadeResponse(double in_dFc, double in_dRes, double in_dFrequency)
{
    const double f = std::fmin(5.16 * in_dFc / FS, 0.5);
    const double c = 1.16 * f;
    const double g = c * c * c * c * 0.35013;
    const double m = 1.0 - c;
    const double fb = (1.0 - 0.15 * c * c) * 4.0 * in_dRes;
    const std::complex<double> zi = ZInv(in_dFrequency);
    const std::complex<double> b = (1.0 + 0.3 * zi) / (1.0 - m * zi);
    const std::complex<double> b4 = b * b * b * b;
    return g * b4 / (1.0 + g * fb * zi * b4);
}

} // namespace

TEST(FilterStateLadderCascade, MatchesItsResponse)
{
    TestHost host;
    for (float fRes : {0.0f, 0.5f, 0.9f})
        for (double dFreq : {40.0, 300.0, 600.0, 1200.0, 4800.0}) {
            Filter filter(FILTER_LADDER_CASCADE, 600.0f, fRes);
            const double dExpected = std::abs(CascadeResponse(600.0, fRes, dFreq));
            EXPECT_NEAR(MeasureGain(*filter, dFreq, 1e-3, 48000), dExpected, 5e-3 * dExpected + 1e-5)
                << "res " << fRes << " at " << dFreq << " Hz";
        }
}

TEST(FilterStateLadderCascade, UnityPassBandAndTwentyFourDbPerOctave)
{
    TestHost host;
    // DC gain per stage 1.3 / c, four stages times c^4 x 0.35013: 0.35013 x 1.3^4 = 0.999994.
    Filter pass(FILTER_LADDER_CASCADE, 2000.0f, 0.0f);
    EXPECT_NEAR(MeasureGain(*pass, 20.0, 1e-3, 48000), 0.999994, 0.002);
    Filter stop(FILTER_LADDER_CASCADE, 200.0f, 0.0f);
    EXPECT_NEAR(Db(MeasureGain(*stop, 3200.0)) - Db(MeasureGain(*stop, 6400.0)), 24.0, 2.0);
}

TEST(FilterStateLadderCascade, StableOverItsRange)
{
    TestHost host;
    // Up to a resonance of 0.9; at 1 the loop stands at the edge of self-oscillation.
    for (float fRes : {0.0f, 0.5f, 0.9f})
        for (float fFc : {50.0f, 1000.0f, 4651.0f, 20000.0f}) {
            Filter filter(FILTER_LADDER_CASCADE, fFc, fRes);
            const NoiseRun run = NoiseThenSilence(*filter, 1.0f, 24000, 96000);
            EXPECT_LT(run.dPeak, 1e3) << fRes << " " << fFc;
            EXPECT_LT(run.dTailPeak, 1e-6 * run.dPeak) << fRes << " " << fFc;
        }
}
