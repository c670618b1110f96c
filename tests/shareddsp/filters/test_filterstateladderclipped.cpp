#include <gtest/gtest.h>
#include "filterharness.h"
#include "shareddsp/filters/filterstateladderclipped.h"
#include "support/testhost.h"

using namespace filtertest;

namespace {

struct ClippedCoeffs
{
    double k, p, r;
};

ClippedCoeffs Coeffs(double in_dFc, double in_dRes)
{
    const double fn = std::fmin(2.0 * in_dFc / FS, 1.0);
    const double k = 3.6 * fn - 1.6 * fn * fn - 1.0;
    const double p = (k + 1.0) * 0.5;
    return {k, p, 0.95 * in_dRes * std::exp((1.0 - p) * 1.386249)};
}

// Small signal: four stages A = p (1 + z^-1) / (1 + k z^-1) inside u = x - r z^-1 y4.
std::complex<double> ClippedResponse(double in_dFc, double in_dRes, double in_dFrequency)
{
    const ClippedCoeffs c = Coeffs(in_dFc, in_dRes);
    const std::complex<double> zi = ZInv(in_dFrequency);
    const std::complex<double> a = c.p * (1.0 + zi) / (1.0 + c.k * zi);
    const std::complex<double> a4 = a * a * a * a;
    return a4 / (1.0 + c.r * zi * a4);
}

std::vector<float> Noise(size_t in_uCount, float in_fAmplitude, uint32_t in_uSeed)
{
    std::mt19937 rng(in_uSeed);
    std::uniform_real_distribution<float> dist(-in_fAmplitude, in_fAmplitude);
    std::vector<float> s(in_uCount);
    for (float& v : s)
        v = dist(rng);
    return s;
}

} // namespace

TEST(FilterStateLadderClipped, MatchesItsSmallSignalResponse)
{
    TestHost host;
    for (float fRes : {0.0f, 0.3f, 0.6f})
        for (double dFreq : {40.0, 500.0, 1000.0, 2000.0, 8000.0}) {
            Filter filter(FILTER_LADDER_CLIPPED, 1000.0f, fRes);
            const double dExpected = std::abs(ClippedResponse(1000.0, fRes, dFreq));
            EXPECT_NEAR(MeasureGain(*filter, dFreq, 1e-3, 48000), dExpected, 5e-3 * dExpected + 1e-5)
                << "res " << fRes << " at " << dFreq << " Hz";
        }
}

TEST(FilterStateLadderClipped, UnityPassBandAndTwentyFourDbPerOctave)
{
    TestHost host;
    Filter filter(FILTER_LADDER_CLIPPED, 300.0f, 0.0f);
    EXPECT_NEAR(MeasureGain(*filter, 20.0, 1e-3, 48000), 1.0, 0.01);
    EXPECT_NEAR(Db(MeasureGain(*filter, 2400.0)) - Db(MeasureGain(*filter, 4800.0)), 24.0, 1.5);
}

TEST(FilterStateLadderClipped, ClipsTheInputBeforeTheFeedback)
{
    TestHost host;
    // A signal and the same signal scaled by 3 where every sample is at least 1 in size:
    // after the clip both are the same, so the outputs are identical.
    std::vector<float> quiet = Noise(4096, 1.0f, 5);
    for (float& v : quiet)
        v = v < 0.0f ? -1.0f : 1.0f;
    std::vector<float> loud = quiet;
    for (float& v : loud)
        v *= 3.0f;
    Filter a(FILTER_LADDER_CLIPPED, 2000.0f, 0.7f);
    Filter b(FILTER_LADDER_CLIPPED, 2000.0f, 0.7f);
    RunBlocks(*a, quiet);
    RunBlocks(*b, loud);
    EXPECT_EQ(quiet, loud);
}

TEST(FilterStateLadderClipped, RecomputesOnlyWhenTheSettingChanges)
{
    TestHost host;
    // Two frequencies whose 2 fc / fs differ in double but round to the same float: the
    // second Update sees no change and keeps the first one's coefficients.
    float fA = 1000.0f, fB = std::nextafter(fA, 2000.0f);
    while (static_cast<float>(2.0 * fA / FS) != static_cast<float>(2.0 * fB / FS))
        fB = std::nextafter(fB, 2000.0f);
    ASSERT_NE(2.0 * fA / FS, 2.0 * fB / FS);
    const std::vector<float> input = Noise(2048, 0.5f, 9);
    auto run = [&](std::initializer_list<float> in_updates) {
        Filter filter(FILTER_LADDER_CLIPPED, 5000.0f, 0.8f);
        for (float fFc : in_updates)
            filter->Update(FS, fFc, 0.0f, 1.0f, 0.8f);
        std::vector<float> s = input;
        RunBlocks(*filter, s);
        return s;
    };
    const std::vector<float> onlyA = run({fA}), onlyB = run({fB}), aThenB = run({fA, fB});
    EXPECT_NE(onlyA, onlyB);
    EXPECT_EQ(aThenB, onlyA);
    // A change of resonance alone recomputes.
    Filter filter(FILTER_LADDER_CLIPPED, 1000.0f, 0.8f);
    filter->Update(FS, 1000.0f, 0.0f, 1.0f, 0.2f);
    std::vector<float> s = input;
    RunBlocks(*filter, s);
    EXPECT_NE(s, onlyA);
}

TEST(FilterStateLadderClipped, StableForAnyInputUpToTwelveKilohertz)
{
    TestHost host;
    // The clip bounds what enters, and below fc = fs / 4 every resonance up to 0.8 decays. (Near the top
    // of the range it does not: at fn = 1 the stages' pole reaches -1, and a high resonance
    // with a hot input drives y4 past the turn of y - y^3 / 6.)
    for (float fRes : {0.0f, 0.5f, 0.8f})
        for (float fFc : {50.0f, 1000.0f, 5000.0f, 12000.0f}) {
            Filter filter(FILTER_LADDER_CLIPPED, fFc, fRes);
            const NoiseRun run = NoiseThenSilence(*filter, 100.0f, 24000, 48000);
            EXPECT_LT(run.dPeak, 10.0) << fRes << " " << fFc;
            EXPECT_LT(run.dTailPeak, 1e-6) << fRes << " " << fFc;
        }
}
