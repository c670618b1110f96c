#include <gtest/gtest.h>
#include "filterharness.h"
#include "shareddsp/filters/filterstatesvfchain.h"
#include "support/testhost.h"

using namespace filtertest;

namespace {

// One stage, worked from its two updates: s_n = s_n-1 + f (u_n - t_n-1 - d s_n-1) and
// t_n = t_n-1 + f s_n give T / U = f^2 / ((1 - z^-1)(1 - (1 - f d) z^-1) + f^2 z^-1).
std::complex<double> StageResponse(double f, double d, double in_dFrequency)
{
    const std::complex<double> zi = ZInv(in_dFrequency);
    return f * f / ((1.0 - zi) * (1.0 - (1.0 - f * d) * zi) + f * f * zi);
}

std::complex<double> ChainResponse(uint32_t in_uType, double in_dFc, double in_dRes, double in_dFrequency)
{
    const double f = std::fmin(6.33 * in_dFc / FS, 0.5);
    const double d = 1.0 - 0.99 * in_dRes;
    const std::complex<double> h = StageResponse(f, d, in_dFrequency);
    if (in_uType == FILTER_SVF_ONE_STAGE)
        return h;
    if (in_uType == FILTER_SVF_TWO_STAGE)
        return h * h;
    return (h + h * h) * 0.5;
}

} // namespace

TEST(FilterStateSvfChain, MatchesTheStageResponseForEveryType)
{
    TestHost host;
    for (uint32_t uType = FILTER_SVF_ONE_STAGE; uType <= FILTER_SVF_TWO_STAGE; ++uType)
        for (float fRes : {0.0f, 0.5f, 0.9f})
            for (double dFreq : {30.0, 150.0, 300.0, 600.0, 2400.0, 9600.0}) {
                Filter filter(uType, 300.0f, fRes);
                const double dExpected = std::abs(ChainResponse(uType, 300.0, fRes, dFreq));
                // 0.5 %: the window's leakage and float output, far below any tuning error
                EXPECT_NEAR(MeasureGain(*filter, dFreq, 1e-3, 96000) / dExpected, 1.0, 5e-3)
                    << "type " << uType << " res " << fRes << " at " << dFreq << " Hz";
            }
}

TEST(FilterStateSvfChain, LowPassHasUnityPassBandAndTwelveDbPerStage)
{
    TestHost host;
    Filter one(FILTER_SVF_ONE_STAGE, 200.0f, 0.0f);
    Filter two(FILTER_SVF_TWO_STAGE, 200.0f, 0.0f);
    EXPECT_NEAR(MeasureGain(*one, 10.0, 1e-3, 96000), 1.0, 0.01);
    EXPECT_NEAR(MeasureGain(*two, 10.0, 1e-3, 96000), 1.0, 0.01);
    // Two and three octaves above the cut-off: -12 dB per octave per stage, within 1 dB.
    EXPECT_NEAR(Db(MeasureGain(*one, 1600.0)) - Db(MeasureGain(*one, 3200.0)), 12.0, 1.0);
    EXPECT_NEAR(Db(MeasureGain(*two, 1600.0)) - Db(MeasureGain(*two, 3200.0)), 24.0, 1.0);
}

TEST(FilterStateSvfChain, SettingSaturatesNearThreePointEightKilohertz)
{
    TestHost host;
    // f = 6.33 fc / fs reaches 0.5 at fc = 48000 x 0.5 / 6.33 = 3791.5 Hz.
    std::vector<float> reference;
    for (float fFc : {20000.0f, 3792.0f, 5000.0f, 30000.0f, 3700.0f}) {
        Filter filter(FILTER_SVF_TWO_STAGE, fFc, 0.3f);
        std::vector<float> s(2048);
        std::mt19937 rng(3);
        std::uniform_real_distribution<float> dist(-1.0f, 1.0f);
        for (float& v : s)
            v = dist(rng);
        RunBlocks(*filter, s);
        if (reference.empty())
            reference = s;
        else if (fFc > 3791.5f)
            EXPECT_EQ(s, reference) << fFc;
        else
            EXPECT_NE(s, reference) << fFc;
    }
}

TEST(FilterStateSvfChain, StableOverItsRange)
{
    TestHost host;
    for (uint32_t uType = FILTER_SVF_ONE_STAGE; uType <= FILTER_SVF_TWO_STAGE; ++uType)
        for (float fRes : {0.0f, 0.5f, 1.0f})
            for (float fFc : {100.0f, 1000.0f, 3000.0f, 20000.0f}) {
                Filter filter(uType, fFc, fRes);
                // The poles' time constant in samples is 2 / (d w): give the ringing 30 of them
                // (a resonance of 1 leaves d = 0.01, a Q of 100 per stage).
                const double w = 2.0 * PI * std::fmin(fFc, 3791.0f) / FS;
                const double dTau = 2.0 / ((1.0 - 0.99 * fRes) * w);
                const NoiseRun run = NoiseThenSilence(*filter, 1.0f, 24000, static_cast<uint32_t>(30.0 * dTau) + 4000);
                EXPECT_LT(run.dPeak, 1e5) << uType << " " << fRes << " " << fFc;
                EXPECT_LT(run.dTailPeak, 1e-6 * run.dPeak) << uType << " " << fRes << " " << fFc;
            }
}

TEST(FilterStateSvfChain, ResetClearsEveryStage)
{
    TestHost host;
    Filter filter(FILTER_SVF_AVERAGE, 500.0f, 0.8f);
    std::vector<float> first(512, 0.0f);
    first[0] = 1.0f;
    std::vector<float> second = first;
    RunBlocks(*filter, first);
    filter->Reset();
    RunBlocks(*filter, second);
    EXPECT_EQ(first, second);
}

TEST(FilterStateSvfChain, ForeignTypeAsserts)
{
    TestHost host;
    Filter filter(FILTER_SVF_ONE_STAGE, 500.0f, 0.0f);
    filter->Configure(FILTER_LADDER_LOW, FS);
    EXPECT_EQ(host.asserts.Count("in_uType >= FILTER_SVF_ONE_STAGE && in_uType <= FILTER_SVF_TWO_STAGE"), 1u);
}
