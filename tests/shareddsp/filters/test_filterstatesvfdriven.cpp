#include <gtest/gtest.h>
#include "filterharness.h"
#include "shareddsp/filters/filterstatesvfdriven.h"
#include "support/testhost.h"

using namespace filtertest;

namespace {

typedef std::complex<double> cd;

// Small-signal response with two passes a sample. One pass on state (low, band):
// low' = low + F band; high' = x - damp band - low'; band' = band + F high'. So
// s' = M s + b x with M = [[1, F], [-F, 1 - F damp - F^2]], b = (0, F). Per sample the state
// goes s0 -> s1 -> s2 = s0 of the next sample; the output is half the two passes' sum.
cd DrivenResponse(uint32_t in_uType, double in_dFc, double in_dRes, double in_dFrequency)
{
    const double f = std::fmin(in_dFc / FS, 0.5);
    const double r = 0.2 + 0.8 * in_dRes;
    const double F = 2.0 * std::sin(PI * std::fmin(f * 0.5, 0.25));
    const double damp = std::fmin(2.0 * (1.0 - std::pow(r, 0.25)), std::fmin(2.0, 2.0 / F - F / 2.0));
    const double m00 = 1.0, m01 = F, m10 = -F, m11 = 1.0 - F * damp - F * F;
    // M^2 and M b + b
    const double q00 = m00 * m00 + m01 * m10, q01 = m00 * m01 + m01 * m11;
    const double q10 = m10 * m00 + m11 * m10, q11 = m10 * m01 + m11 * m11;
    const double c0 = m01 * F, c1 = m11 * F + F;
    const cd zi = ZInv(in_dFrequency);
    // S0 = z^-1 (I - z^-1 M^2)^-1 (M b + b) X, for X = 1
    const cd a00 = 1.0 - zi * q00, a01 = -zi * q01, a10 = -zi * q10, a11 = 1.0 - zi * q11;
    const cd det = a00 * a11 - a01 * a10;
    const cd l0 = zi * (a11 * c0 - a01 * c1) / det;
    const cd b0 = zi * (-a10 * c0 + a00 * c1) / det;
    const cd l1 = m00 * l0 + m01 * b0, b1 = m10 * l0 + m11 * b0 + F;
    const cd l2 = m00 * l1 + m01 * b1, b2 = m10 * l1 + m11 * b1 + F;
    const cd h1 = 1.0 - damp * b0 - l1, h2 = 1.0 - damp * b1 - l2;
    switch (in_uType) {
    case FILTER_SVF_DRIVEN_LOW:
        return 0.5 * (l1 + l2);
    case FILTER_SVF_DRIVEN_BAND:
        return 0.5 * (b1 + b2);
    case FILTER_SVF_DRIVEN_HIGH:
        return 0.5 * (h1 + h2);
    default:
        return 0.5 * (l1 - h1 + l2 - h2);
    }
}

} // namespace

TEST(FilterStateSvfDriven, MatchesTheTwoPassResponseForEveryTap)
{
    TestHost host;
    for (uint32_t uType = FILTER_SVF_DRIVEN_LOW; uType <= FILTER_SVF_DRIVEN_PEAK; ++uType)
        for (float fRes : {0.0f, 0.5f, 0.8f})
            for (double dFreq : {50.0, 700.0, 1000.0, 1400.0, 5000.0, 18000.0}) {
                Filter filter(uType, 1000.0f, fRes);
                const double dExpected = std::abs(DrivenResponse(uType, 1000.0, fRes, dFreq));
                // 0.5 %, or 1e-5 deep in a stop band; the drive term is of order 1e-9 here
                EXPECT_NEAR(MeasureGain(*filter, dFreq, 1e-3, 48000), dExpected, 5e-3 * dExpected + 1e-5)
                    << "type " << uType << " res " << fRes << " at " << dFreq << " Hz";
            }
}

TEST(FilterStateSvfDriven, TwoPassesTuneTheBandToTheSetFrequency)
{
    TestHost host;
    // Each pass is tuned to fc / 2 at the doubled rate, so the band tap peaks at fc itself.
    Filter band(FILTER_SVF_DRIVEN_BAND, 2000.0f, 0.8f);
    const double dAt = MeasureGain(*band, 2000.0);
    EXPECT_GT(dAt, MeasureGain(*band, 1600.0));
    EXPECT_GT(dAt, MeasureGain(*band, 2500.0));
    EXPECT_GT(dAt, 2.0 * MeasureGain(*band, 1000.0));
    // Low tap: unity pass band.
    Filter low(FILTER_SVF_DRIVEN_LOW, 4000.0f, 0.0f);
    EXPECT_NEAR(MeasureGain(*low, 50.0), 1.0, 0.01);
}

TEST(FilterStateSvfDriven, DriveHoldsALoudUndampedLoop)
{
    TestHost host;
    // Resonance 1 gives r = 1 and damp = 2 (1 - 1) = 0: linearly a lossless loop. The cubic
    // drive on the band state is all that holds it, with no limit on the input.
    Filter filter(FILTER_SVF_DRIVEN_BAND, 1000.0f, 1.0f);
    const NoiseRun run = NoiseThenSilence(*filter, 10.0f, 24000, 4800);
    EXPECT_LT(run.dPeak, 20.0);
    // A loud tone at the peak is pulled back against a quiet one (both at resonance 0.8).
    Filter tone(FILTER_SVF_DRIVEN_BAND, 1000.0f, 0.8f);
    const double dQuiet = MeasureGain(*tone, 1000.0, 1e-3);
    const double dLoud = MeasureGain(*tone, 1000.0, 3.0);
    EXPECT_LT(dLoud, 0.5 * dQuiet);
}

TEST(FilterStateSvfDriven, StableOverItsRange)
{
    TestHost host;
    for (uint32_t uType = FILTER_SVF_DRIVEN_LOW; uType <= FILTER_SVF_DRIVEN_PEAK; ++uType)
        for (float fRes : {0.0f, 0.5f, 0.9f})
            for (float fFc : {100.0f, 1000.0f, 10000.0f, 20000.0f, 24000.0f}) {
                // Full scale up to 20 kHz. At the clamp (f = 0.5, F = 1.414) the loop is still
                // stable for small signals, but a full-scale input drives the band state past
                // what the cubic term can hold.
                const float fAmplitude = fFc < 24000.0f ? 1.0f : 0.01f;
                Filter filter(uType, fFc, fRes);
                const NoiseRun run = NoiseThenSilence(*filter, fAmplitude, 24000, 48000);
                EXPECT_LT(run.dPeak, 100.0) << uType << " " << fRes << " " << fFc;
                EXPECT_LT(run.dTailPeak, 1e-6) << uType << " " << fRes << " " << fFc;
            }
}
