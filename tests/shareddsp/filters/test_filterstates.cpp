// The state-variable and ladder filter states (types 7 to 21) against their small-signal
// responses worked from each one's update equations, over one table; then what each does
// beyond the linear picture.
#include <gtest/gtest.h>
#include "filterharness.h"
#include "shareddsp/filters/filterstateladder.h"
#include "shareddsp/filters/filterstatesvfchain.h"
#include "support/dspreference.h"
#include "support/testhost.h"

using namespace filtertest;

namespace {

typedef std::complex<double> cd;

// Two passes a sample on state (low, band): low' = low + F band; high' = x - damp band - low';
// band' = band + F high'. So s' = M s + b x with M = [[1, F], [-F, 1 - F damp - F^2]], b = (0, F).
// Per sample the state goes s0 -> s1 -> s2 = s0 of the next; the output is half the two passes' sum.
cd DrivenResponse(uint32_t in_uType, double in_dFc, double in_dRes, const cd& zi)
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
    // S0 = z^-1 (I - z^-1 M^2)^-1 (M b + b) X, for X = 1
    const cd a00 = 1.0 - zi * q00, a01 = -zi * q01, a10 = -zi * q10, a11 = 1.0 - zi * q11;
    const cd det = a00 * a11 - a01 * a10;
    const cd l0 = zi * (a11 * c0 - a01 * c1) / det;
    const cd b0 = zi * (-a10 * c0 + a00 * c1) / det;
    const cd l1 = m00 * l0 + m01 * b0, b1 = m10 * l0 + m11 * b0 + F;
    const cd l2 = m00 * l1 + m01 * b1, b2 = m10 * l1 + m11 * b1 + F;
    const cd h1 = 1.0 - damp * b0 - l1, h2 = 1.0 - damp * b1 - l2;
    switch (in_uType) {
    case FILTER_SVF_DRIVEN_LOW: return 0.5 * (l1 + l2);
    case FILTER_SVF_DRIVEN_BAND: return 0.5 * (b1 + b2);
    case FILTER_SVF_DRIVEN_HIGH: return 0.5 * (h1 + h2);
    default: return 0.5 * (l1 - h1 + l2 - h2);
    }
}

// The scaled SVF: low_n = low_n-1 + F band_n-1, high_n = D x_n - low_n - D band_n-1,
// band_n = band_n-1 + F high_n; with a = 1 - z^-1 and E = a^2 + F^2 z^-1 + D F a z^-1:
// G low / x = F^2 z^-1 / E, G high / x = a^2 / E, G band / x = F a / E (G D = 1).
cd ScaledResponse(uint32_t in_uType, double F, double D, const cd& zi)
{
    const cd a = 1.0 - zi;
    const cd e = a * a + F * F * zi + D * F * a * zi;
    return in_uType == FILTER_SVF_SCALED_LOW ? F * F * zi / e : (in_uType == FILTER_SVF_SCALED_HIGH ? a * a / e : F * a / e);
}

cd Response(uint32_t in_uType, double in_dFc, double r, double in_dFrequency)
{
    const cd zi = ZInv(in_dFrequency);
    if (in_uType <= FILTER_SVF_TWO_STAGE) {
        // One chain stage, s_n = s_n-1 + f (u_n - t_n-1 - d s_n-1), t_n = t_n-1 + f s_n:
        // T / U = f^2 / ((1 - z^-1)(1 - (1 - f d) z^-1) + f^2 z^-1); the average is (h + h^2) / 2.
        const double f = std::fmin(6.33 * in_dFc / FS, 0.5), d = 1.0 - 0.99 * r;
        const cd h = f * f / ((1.0 - zi) * (1.0 - (1.0 - f * d) * zi) + f * f * zi);
        return in_uType == FILTER_SVF_ONE_STAGE ? h : (in_uType == FILTER_SVF_TWO_STAGE ? h * h : (h + h * h) * 0.5);
    }
    if (in_uType <= FILTER_LADDER_BAND) {
        // Stages y_n = p (v_n + v_n-1) - k y_n-1, A = p (1 + z^-1) / (1 + k z^-1), inside the loop
        // u = x - r z^-1 y4: low A^4 / (1 + r z^-1 A^4), high (1 - A^4) / (...), band 3 (A^3 - A^4) / (...).
        double p, k, rr;
        if (in_uType == FILTER_LADDER_CLIPPED) {
            const double fn = std::fmin(2.0 * in_dFc / FS, 1.0);
            k = 3.6 * fn - 1.6 * fn * fn - 1.0;
            p = (k + 1.0) * 0.5;
            rr = 0.95 * r * std::exp((1.0 - p) * 1.386249);
        } else {
            const double f = std::fmin(1.78 * in_dFc / FS, 0.5), q = 1.0 - f;
            p = f + 0.8 * f * q;
            k = 2.0 * p - 1.0;
            rr = 0.95 * r * (1.0 + 0.5 * q * (1.0 - q + 5.6 * q * q));
        }
        const cd a = p * (1.0 + zi) / (1.0 + k * zi), a3 = a * a * a, a4 = a3 * a;
        const cd loop = 1.0 + rr * zi * a4;
        return in_uType == FILTER_LADDER_HIGH ? (1.0 - a4) / loop
                                              : (in_uType == FILTER_LADDER_BAND ? 3.0 * (a3 - a4) / loop : a4 / loop);
    }
    if (in_uType == FILTER_LADDER_CASCADE) {
        // Stages o_n = v_n + 0.3 v_n-1 + m o_n-1, B = (1 + 0.3 z^-1) / (1 - m z^-1), fed with
        // g (x - fb z^-1 o4), g = c^4 x 0.35013: H = g B^4 / (1 + g fb z^-1 B^4).
        const double c = 1.16 * std::fmin(5.16 * in_dFc / FS, 0.5), g = c * c * c * c * 0.35013;
        const double fb = (1.0 - 0.15 * c * c) * 4.0 * r;
        const cd b = (1.0 + 0.3 * zi) / (1.0 - (1.0 - c) * zi), b4 = b * b * b * b;
        return g * b4 / (1.0 + g * fb * zi * b4);
    }
    if (in_uType <= FILTER_SVF_SCALED_BAND)
        return ScaledResponse(in_uType, 2.0 * std::sin(PI * in_dFc / FS), 0.49 - 0.41 * r, zi);
    return DrivenResponse(in_uType, in_dFc, r, zi);
}

} // namespace

TEST(FilterStates, MatchTheirSmallSignalResponses)
{
    TestHost host;
    struct Family
    {
        uint32_t uFirst, uLast;
        float fFc;
        std::vector<float> resonances;
        std::vector<double> frequencies;
        uint32_t uSettle;
    };
    const Family aFamilies[] = {
        {FILTER_SVF_ONE_STAGE, FILTER_SVF_TWO_STAGE, 300, {0, 0.5f, 0.9f}, {30, 150, 300, 600, 2400, 9600}, 96000},
        {FILTER_LADDER_CLIPPED, FILTER_LADDER_CLIPPED, 1000, {0, 0.3f, 0.6f}, {40, 500, 1000, 2000, 8000}, 48000},
        {FILTER_LADDER_LOW, FILTER_LADDER_BAND, 800, {0, 0.5f, 0.9f}, {60, 400, 800, 1600, 6400}, 48000},
        {FILTER_LADDER_CASCADE, FILTER_LADDER_CASCADE, 600, {0, 0.5f, 0.9f}, {40, 300, 600, 1200, 4800}, 48000},
        {FILTER_SVF_SCALED_LOW, FILTER_SVF_SCALED_BAND, 1000, {0, 0.5f, 1}, {50, 500, 1000, 2000, 8000, 20000}, 48000},
        {FILTER_SVF_DRIVEN_LOW, FILTER_SVF_DRIVEN_PEAK, 1000, {0, 0.5f, 0.8f}, {50, 700, 1000, 1400, 5000, 18000}, 48000},
    };
    for (const Family& family : aFamilies)
        for (uint32_t uType = family.uFirst; uType <= family.uLast; ++uType)
            for (float fRes : family.resonances)
                for (double dFreq : family.frequencies) {
                    Filter filter(uType, family.fFc, fRes);
                    const double dExpected = std::abs(Response(uType, family.fFc, fRes, dFreq));
                    // 0.5 % (the window's leakage and float output), or 1e-5 deep in a stop band;
                    // at 1e-3 input the cubic and drive terms are of order 1e-7 and less
                    EXPECT_NEAR(MeasureGain(*filter, dFreq, 1e-3, family.uSettle), dExpected, 5e-3 * dExpected + 1e-5)
                        << "type " << uType << " res " << fRes << " at " << dFreq << " Hz";
                }
}

// Noise, then silence: bounded while it plays, and then decaying to nothing, over each
// family's range of cut-offs and resonances.
TEST(FilterStates, StableOverTheirRanges)
{
    TestHost host;
    struct Family
    {
        uint32_t uFirst, uLast;
        std::vector<float> resonances, cutoffs;
        float fAmplitude;
        uint32_t uSilence;
        double dPeak, dTail; // the tail's bound is relative to the peak where dTail < 0
    };
    const Family aFamilies[] = {
        {FILTER_LADDER_CLIPPED, FILTER_LADDER_CLIPPED, {0, 0.5f, 0.8f}, {50, 1000, 5000, 12000}, 100, 48000, 10, 1e-6},
        {FILTER_LADDER_LOW, FILTER_LADDER_BAND, {0, 0.5f, 0.9f}, {50, 1000, 13483, 24000}, 1, 48000, 10, 1e-6},
        // Up to a resonance of 0.9; at 1 the loop stands at the edge of self-oscillation.
        {FILTER_LADDER_CASCADE, FILTER_LADDER_CASCADE, {0, 0.5f, 0.9f}, {50, 1000, 4651, 20000}, 1, 96000, 1e3, -1e-6},
        {FILTER_SVF_SCALED_LOW, FILTER_SVF_SCALED_BAND, {0, 0.5f, 1}, {100, 1000, 13000, 24000}, 1, 96000, 1e4, -1e-6},
        {FILTER_SVF_DRIVEN_LOW, FILTER_SVF_DRIVEN_PEAK, {0, 0.5f, 0.9f}, {100, 1000, 10000, 20000}, 1, 48000, 100, 1e-6},
        // At the clamp (f = 0.5, F = 1.414) the driven loop is stable for small signals only: a
        // full-scale input drives the band state past what the cubic term can hold.
        {FILTER_SVF_DRIVEN_LOW, FILTER_SVF_DRIVEN_PEAK, {0, 0.5f, 0.9f}, {24000}, 0.01f, 48000, 100, 1e-6},
        // Every vowel after each ladder tap.
        {FILTER_FORMANT_LOW, FILTER_FORMANT_LAST, {0.5f}, {5000}, 1, 48000, 100, -1e-6},
    };
    for (const Family& family : aFamilies)
        for (uint32_t uType = family.uFirst; uType <= family.uLast; ++uType)
            for (float fRes : family.resonances)
                for (float fFc : family.cutoffs) {
                    Filter filter(uType, fFc, fRes);
                    const NoiseRun run = NoiseThenSilence(*filter, family.fAmplitude, 24000, family.uSilence);
                    const double dTail = family.dTail > 0 ? family.dTail : -family.dTail * run.dPeak;
                    EXPECT_LT(run.dPeak, family.dPeak) << uType << " " << fRes << " " << fFc;
                    EXPECT_LT(run.dTailPeak, dTail) << uType << " " << fRes << " " << fFc;
                }
    // The chain's poles have a time constant of 2 / (d w) samples: its ringing gets 30 of them
    // (a resonance of 1 leaves d = 0.01, a Q of 100 per stage).
    for (uint32_t uType = FILTER_SVF_ONE_STAGE; uType <= FILTER_SVF_TWO_STAGE; ++uType)
        for (float fRes : {0.0f, 0.5f, 1.0f})
            for (float fFc : {100.0f, 1000.0f, 3000.0f, 20000.0f}) {
                Filter filter(uType, fFc, fRes);
                const double dTau = 2.0 / ((1.0 - 0.99 * fRes) * 2.0 * PI * std::fmin(fFc, 3791.0f) / FS);
                const NoiseRun run = NoiseThenSilence(*filter, 1.0f, 24000, static_cast<uint32_t>(30.0 * dTau) + 4000);
                EXPECT_LT(run.dPeak, 1e5) << uType << " " << fRes << " " << fFc;
                EXPECT_LT(run.dTailPeak, 1e-6 * run.dPeak) << uType << " " << fRes << " " << fFc;
            }
}

TEST(FilterStates, ScaledFrequencyCoefficientStopsAtOnePointFiveFive)
{
    TestHost host;
    // 2 sin(pi f) passes 1.55 at f = asin(0.775) / pi = 0.2823, 13551 Hz at 48 kHz; above it
    // the filter is that of F = 1.55 exactly, even where 2 sin(pi f) would reach 2.
    const double D = 0.49 - 0.41 * 0.2f;
    for (float fFc : {14000.0f, 24000.0f, 40000.0f}) {
        Filter filter(FILTER_SVF_SCALED_LOW, fFc, 0.2f);
        for (double dFreq : {1000.0, 6000.0, 11000.0})
            EXPECT_NEAR(MeasureGain(*filter, dFreq), std::abs(ScaledResponse(FILTER_SVF_SCALED_LOW, 1.55, D, ZInv(dFreq))),
                        5e-3) << fFc << " " << dFreq;
    }
    Filter below(FILTER_SVF_SCALED_LOW, 13000.0f, 0.2f);
    EXPECT_GT(std::fabs(MeasureGain(*below, 11000.0) - std::abs(ScaledResponse(FILTER_SVF_SCALED_LOW, 1.55, D, ZInv(11000.0)))),
              0.02);
}

TEST(FilterStates, ChainSettingSaturatesNearThreePointEightKilohertz)
{
    TestHost host;
    // f = 6.33 fc / fs reaches 0.5 at fc = 48000 x 0.5 / 6.33 = 3791.5 Hz.
    std::vector<float> reference;
    for (float fFc : {20000.0f, 3792.0f, 5000.0f, 30000.0f, 3700.0f}) {
        Filter filter(FILTER_SVF_TWO_STAGE, fFc, 0.3f);
        std::vector<float> s = RefNoise(2048, 3);
        RunBlocks(*filter, s);
        if (reference.empty())
            reference = s;
        else if (fFc > 3791.5f)
            EXPECT_EQ(s, reference) << fFc;
        else
            EXPECT_NE(s, reference) << fFc;
    }
    // Reset clears every stage: an impulse after it rings as from new.
    Filter chain(FILTER_SVF_AVERAGE, 500.0f, 0.8f);
    std::vector<float> first(512, 0.0f);
    first[0] = 1.0f;
    std::vector<float> second = first;
    RunBlocks(*chain, first);
    chain->Reset();
    RunBlocks(*chain, second);
    EXPECT_EQ(first, second);
    chain->Configure(FILTER_LADDER_LOW, FS);
    EXPECT_EQ(host.asserts.Count("in_uType >= FILTER_SVF_ONE_STAGE && in_uType <= FILTER_SVF_TWO_STAGE"), 1u);
}

TEST(FilterStates, LadderFirstSampleShowsNoClipAndTheShortCubicConstant)
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

TEST(FilterStates, ClippedLadderClipsTheInputAndRecomputesOnlyOnAChange)
{
    TestHost host;
    // A signal and the same signal scaled by 3 where every sample is at least 1 in size:
    // after the clip both are the same, so the outputs are identical.
    std::vector<float> quiet = RefNoise(4096, 5);
    for (float& v : quiet)
        v = v < 0.0f ? -1.0f : 1.0f;
    std::vector<float> loud = quiet;
    for (float& v : loud)
        v *= 3.0f;
    Filter a(FILTER_LADDER_CLIPPED, 2000.0f, 0.7f), b(FILTER_LADDER_CLIPPED, 2000.0f, 0.7f);
    RunBlocks(*a, quiet);
    RunBlocks(*b, loud);
    EXPECT_EQ(quiet, loud);

    // Two frequencies whose 2 fc / fs differ in double but round to the same float: the
    // second Update sees no change and keeps the first one's coefficients.
    float fA = 1000.0f, fB = std::nextafter(fA, 2000.0f);
    while (static_cast<float>(2.0 * fA / FS) != static_cast<float>(2.0 * fB / FS))
        fB = std::nextafter(fB, 2000.0f);
    ASSERT_NE(2.0 * fA / FS, 2.0 * fB / FS);
    const std::vector<float> input = RefNoise(2048, 9, 0.5f);
    auto run = [&](std::initializer_list<float> in_updates, float in_fRes) {
        Filter filter(FILTER_LADDER_CLIPPED, 5000.0f, 0.8f);
        for (float fFc : in_updates)
            filter->Update(FS, fFc, 0.0f, 1.0f, in_fRes);
        std::vector<float> s = input;
        RunBlocks(*filter, s);
        return s;
    };
    const std::vector<float> onlyA = run({fA}, 0.8f);
    EXPECT_NE(run({fB}, 0.8f), onlyA);
    EXPECT_EQ(run({fA, fB}, 0.8f), onlyA);
    EXPECT_NE(run({fA}, 0.2f), onlyA); // a change of resonance alone recomputes
}

TEST(FilterStates, DrivenSvfDriveHoldsAnUndampedLoop)
{
    TestHost host;
    // Resonance 1 gives r = 1 and damp = 2 (1 - 1) = 0: linearly a lossless loop. The cubic
    // drive on the band state is all that holds it, with no limit on the input.
    Filter filter(FILTER_SVF_DRIVEN_BAND, 1000.0f, 1.0f);
    EXPECT_LT(NoiseThenSilence(*filter, 10.0f, 24000, 4800).dPeak, 20.0);
    // A loud tone at the peak is pulled back against a quiet one (both at resonance 0.8).
    Filter tone(FILTER_SVF_DRIVEN_BAND, 1000.0f, 0.8f);
    EXPECT_LT(MeasureGain(*tone, 1000.0, 3.0), 0.5 * MeasureGain(*tone, 1000.0, 1e-3));
}
