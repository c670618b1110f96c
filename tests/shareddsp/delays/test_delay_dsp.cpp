#include <gtest/gtest.h>
#include <cmath>
#include <complex>
#include <vector>
#include "shareddsp/delays/delay_dsp.h"
#include "support/testhost.h"

namespace {

std::vector<float> RunDelay(SkrelDelayDsp& io_dsp, std::vector<float> in_samples, uint32_t in_uBlock = 256)
{
    for (size_t i = 0; i < in_samples.size(); i += in_uBlock) {
        const uint32_t uFrames = static_cast<uint32_t>(std::min<size_t>(in_uBlock, in_samples.size() - i));
        EXPECT_EQ(io_dsp.Process(uFrames, in_samples.data() + i), uFrames);
    }
    return in_samples;
}

// Wet only, no feedback, the widest user filters, clean mode, the delay in force at once.
void MakeTransparent(SkrelDelayDsp& io_dsp, float in_fDelayMs, uint32_t in_uMode = SkrelDelayDsp::DELAY_MODE_CLEAN)
{
    io_dsp.SetParam(SkrelDelayDsp::PARAM_DRY_PERCENT, 0.0f);
    io_dsp.SetParam(SkrelDelayDsp::PARAM_WET_PERCENT, 100.0f);
    io_dsp.SetParam(SkrelDelayDsp::PARAM_FEEDBACK_PERCENT, 0.0f);
    io_dsp.SetParam(SkrelDelayDsp::PARAM_LOW_CUT_HZ, 20.0f);
    io_dsp.SetParam(SkrelDelayDsp::PARAM_HIGH_CUT_HZ, 20000.0f);
    io_dsp.SetParam(SkrelDelayDsp::PARAM_DELAY_MS, in_fDelayMs);
    io_dsp.SetMode(in_uMode);
    io_dsp.Reset();
}

size_t FirstAbove(const std::vector<float>& in_y, float in_fLevel)
{
    for (size_t i = 0; i < in_y.size(); ++i)
        if (std::fabs(in_y[i]) > in_fLevel)
            return i;
    return in_y.size();
}

// |H(e^jw)| of a biquad b0 b1 b2 a0 a1 a2, in long double.
long double Magnitude(const common_vector<double>& in_taps, long double in_fOmega)
{
    const std::complex<long double> z1 = std::polar(1.0L, -in_fOmega);
    const std::complex<long double> z2 = z1 * z1;
    const std::complex<long double> num = (long double)in_taps[0] + (long double)in_taps[1] * z1 + (long double)in_taps[2] * z2;
    const std::complex<long double> den = (long double)in_taps[3] + (long double)in_taps[4] * z1 + (long double)in_taps[5] * z2;
    return std::abs(num / den);
}

} // namespace

// Impulses come back after the rounded delay plus one: 200 ms x 32 = 6400, + 1; 123.4 ms x
// 44.1 = 5441.94 -> 5442, + 1; 10 ms acts as 40: 1280 + 1. The line of 200 ms at 32 kHz holds
// 1000 ms x 0.002 x 32000 + 1 = 64001 samples; write starts at 6401, read at 0. The read head
// runs 0..64000 and then jumps to 1, so from sample 64001 on the gap is 6400: an impulse at
// 60000 comes back at 66400.
TEST(SkrelDelayDsp, CleanImpulsesReturnAfterRoundedDelayPlusOne)
{
    TestHost host;
    struct Case { uint32_t uRate; float fMs; std::vector<size_t> in, out; };
    const Case cases[] = {{32000, 200.0f, {0}, {6401}}, {44100, 123.4f, {0}, {5443}}, {32000, 10.0f, {0}, {1281}},
                          {32000, 200.0f, {100, 60000}, {6501, 66400}}};
    for (const Case& c : cases) {
        SkrelDelayDsp dsp(c.uRate);
        MakeTransparent(dsp, c.fMs);
        std::vector<float> x(c.in.back() + 10000, 0.0f);
        for (size_t n : c.in)
            x[n] = 1.0f;
        const std::vector<float> y = RunDelay(dsp, x);
        for (size_t k = 0; k < c.in.size(); ++k) {
            // Before the echo only the filters' anti-denormal drift (order 1e-5) is there.
            const std::vector<float> after(y.begin() + c.in[k], y.end());
            EXPECT_EQ(FirstAbove(after, 1e-3f) + c.in[k], c.out[k]) << c.uRate << " Hz, " << c.fMs << " ms";
            EXPECT_GT(std::fabs(y[c.out[k]]), 0.3f);
        }
    }
    // Half dry: the impulse itself comes through at once, the echo as before.
    SkrelDelayDsp dsp(32000);
    MakeTransparent(dsp, 200.0f);
    dsp.SetParam(SkrelDelayDsp::PARAM_DRY_PERCENT, 50.0f);
    float s = 1.0f;
    dsp.Process(1, &s);
    EXPECT_NEAR(s, 0.5f, 1e-4f);
    EXPECT_EQ(host.asserts.Total(), 0u);
}

// The read head is set from whole samples on every glide step. A reference engine that keeps
// the old delay shows what the line holds; the gliding engine must read it on the predicted map.
// 100 ms at 32 kHz is D = 3200 steps of one sample. Lengthening, the head stands still for D
// samples; shortening, step j sets one sample less and the head moves at double speed (an
// octave up). With d = +1 or -1 sample n >= s (the change at s) reads the reference's
// n <= s + D ? s + (1 - d)(n - s) : n - dD.
TEST(SkrelDelayDsp, GlideMovesOneSampleOfDelayPerSample)
{
    TestHost host;
    struct Case { float fFromMs, fToMs; size_t uSplit; uint32_t uBlock; long d; };
    // The last case glides after the write head has wrapped (64001 samples), so that the new
    // read position lies behind the line's start.
    const Case cases[] = {{200.0f, 300.0f, 8000, 100, 1}, {300.0f, 200.0f, 12000, 256, -1}, {200.0f, 300.0f, 60000, 256, 1}};
    const long D = 3200;
    std::vector<float> x(72000);
    for (size_t i = 0; i < x.size(); ++i)
        x[i] = 0.5f * std::sin(0.01f * static_cast<float>(i)) + 0.3f * std::sin(0.37f * static_cast<float>(i));
    for (const Case& c : cases) {
        SkrelDelayDsp dsp(32000), ref(32000);
        MakeTransparent(dsp, c.fFromMs);
        MakeTransparent(ref, c.fFromMs);
        const std::vector<float> r = RunDelay(ref, x);
        std::vector<float> y = RunDelay(dsp, std::vector<float>(x.begin(), x.begin() + c.uSplit));
        dsp.SetParam(SkrelDelayDsp::PARAM_DELAY_MS, c.fToMs);
        const std::vector<float> y2 = RunDelay(dsp, std::vector<float>(x.begin() + c.uSplit, x.end()), c.uBlock);
        y.insert(y.end(), y2.begin(), y2.end());
        const long s = static_cast<long>(c.uSplit);
        for (long n = s + 1; n < static_cast<long>(y.size()); ++n) {
            const long src = n <= s + D ? s + (1 - c.d) * (n - s) : n - c.d * D;
            if (src < static_cast<long>(r.size())) {
                ASSERT_EQ(y[n], r[src]) << "to " << c.fToMs << " ms, sample " << n;
            }
        }
    }
}

TEST(SkrelDelayDsp, ChangeBelowOneSampleLandsInOneStep)
{
    TestHost host;
    SkrelDelayDsp dsp(48000);
    MakeTransparent(dsp, 200.0f);
    dsp.SetParam(SkrelDelayDsp::PARAM_DELAY_MS, 200.015f); // 0.72 of a sample at 48 kHz
    float s = 0.0f;
    dsp.Process(1, &s);
    EXPECT_EQ(dsp.GetCurrentDelayMs(), 200.015f);
    dsp.SetParam(SkrelDelayDsp::PARAM_DELAY_MS, 201.0f); // 47.28 samples: 48 steps
    std::vector<float> x(47, 0.0f);
    RunDelay(dsp, x);
    EXPECT_LT(dsp.GetCurrentDelayMs(), 201.0f);
    dsp.Process(1, &s);
    EXPECT_EQ(dsp.GetCurrentDelayMs(), 201.0f);
}

// Each mode's stage on single values, worked out in double precision. Bit modes at amount 0
// keep 16 bits; the offset counter starts at 0, so each first value carries -1e-10.
TEST(SkrelDelayDsp, CharacterStages)
{
    TestHost host;
    using D = SkrelDelayDsp;
    struct Case { uint32_t uMode; float fAmount, x, fExpected; };
    const Case cases[] = {
        // Sine: drive 0.1 + 1.14 x 0.25 = 0.385; sin(0.5 x pi/2 x 0.385) / sin(0.385 pi/2).
        {D::DELAY_MODE_SINE, 0.25f, 0.5f, 0.5237626f}, {D::DELAY_MODE_SINE, 0.25f, -0.5f, -0.5237626f},
        // Drive 1.24, norm sin(1.24 pi/2) = 0.9297765; 2.0 folds over.
        {D::DELAY_MODE_SINE, 1.0f, 0.5f, 0.8895477f}, {D::DELAY_MODE_SINE, 1.0f, 2.0f, -0.7362491f},
        // Soft sine, amount 0: drive 0.01 normalised by the sine mode's 0.1, gain 0 dB, no clip.
        {D::DELAY_MODE_SOFT_SINE, 0.0f, 0.5f, 0.0502057f},
        // Amount 1: v = sin(0.5 x pi/2 x 0.62) / 0.9297765 = 0.5032713; u = 10^(1.8/20) v
        // = 0.6191590; 1 - 1/(1 + u) with v's sign.
        {D::DELAY_MODE_SOFT_SINE, 1.0f, 0.5f, 0.3823954f}, {D::DELAY_MODE_SOFT_SINE, 1.0f, -0.5f, -0.3823954f},
        // Knee, n = 1: -sign(v) atan(|v|); n = 7.5: atan(1)^(1/7.5), atan(2^7.5)^(1/7.5).
        {D::DELAY_MODE_KNEE, 0.0f, 0.5f, -0.4636476f}, {D::DELAY_MODE_KNEE, 0.0f, -0.5f, 0.4636476f},
        {D::DELAY_MODE_KNEE, 1.0f, 1.0f, -0.9683046f}, {D::DELAY_MODE_KNEE, 1.0f, -2.0f, 1.0615619f},
        // 0.3 x (2^31 - 1) = 0x26666666 -> 0x26660000 = 9830 / 32768 in both bit modes.
        {D::DELAY_MODE_BITS_MAGNITUDE, 0.0f, 0.3f, 0.29998779f}, {D::DELAY_MODE_BITS_TWOS, 0.0f, 0.3f, 0.29998779f},
        // -1e-6 x (2^31 - 1) = -2147: magnitude 2147 & mask = 0; two's complement 0xFFFFF79D
        // & 0xFFFF0000 = -2^-15, one step below zero.
        {D::DELAY_MODE_BITS_MAGNITUDE, 0.0f, -1e-6f, -1e-10f},
        {D::DELAY_MODE_BITS_TWOS, 0.0f, -1e-6f, -3.0517578e-5f - 1e-10f},
        // Past the clamp: 0x80000001 -> 0x80000000 = -1; magnitude 0x7FFF0000 / 2^31.
        {D::DELAY_MODE_BITS_TWOS, 0.0f, -3.0f, -1.0f}, {D::DELAY_MODE_BITS_MAGNITUDE, 0.0f, -3.0f, -0.99996948f},
        // Amount to kept bits and moving-average length: 16 - 10 a bits (13.5 -> 14), 8 a values,
        // the first averaged with zeros. a 0.25: 0.31 / 2 x 2^13 = 1269.76 -> 1269 / 8192 (13 bits
        // would give 634 / 4096). a 0.5: 0.312 / 4 x 2^10 = 79.87 -> 79 / 1024 (12 bits: 159 / 2048).
        {D::DELAY_MODE_BITS_MAGNITUDE, 0.25f, 0.31f, 1269.0f / 8192 - 1e-10f},
        {D::DELAY_MODE_BITS_TWOS, 0.5f, 0.312f, 79.0f / 1024 - 1e-10f},
    };
    for (const Case& c : cases) {
        SkrelDelayDsp dsp(48000);
        dsp.SetMode(c.uMode);
        dsp.SetAmount(c.fAmount);
        EXPECT_NEAR(dsp.ApplyCharacter(c.x), c.fExpected, 3e-6f * std::fabs(c.fExpected) + 1e-13f)
            << "mode " << c.uMode << ", amount " << c.fAmount << ", x " << c.x;
    }
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(SkrelDelayDsp, AntiDenormalOffsetAndMovingAverageRing)
{
    TestHost host;
    SkrelDelayDsp dsp(48000);
    dsp.SetMode(SkrelDelayDsp::DELAY_MODE_BITS_TWOS);
    dsp.SetAmount(0.0f);
    for (int i = 0; i < 512; ++i) // the offset flips every 128 values
        ASSERT_EQ(dsp.ApplyCharacter(0.0f), (i / 128) % 2 == 0 ? -1e-10f : 1e-10f) << i;
    dsp.SetMode(SkrelDelayDsp::DELAY_MODE_BITS_MAGNITUDE);
    dsp.SetAmount(1.0f); // N = 8, 6 bits: a step of 2^-5
    // A step of 0.8 averages to k x 0.1 for k = 1..8; each truncates below the next multiple
    // of 1/32 (0.1 -> 3/32, 0.2 -> 6/32, ..., 0.8 -> 25/32), then holds.
    const float expected[] = {3, 6, 9, 12, 15, 19, 22, 25, 25, 25};
    for (float fSteps : expected)
        EXPECT_FLOAT_EQ(dsp.ApplyCharacter(0.8f), fSteps / 32.0f);
    dsp.SetAmount(0.99f); // still N = 8 and 6 bits, but the ring starts again from zeros
    EXPECT_EQ(dsp.GetAverageLength(), 8u); // 7.92 rounds; 7 would still read 3 / 32 below
    EXPECT_FLOAT_EQ(dsp.ApplyCharacter(0.8f), 3.0f / 32.0f);
    dsp.SetMode(SkrelDelayDsp::DELAY_MODE_SINE);
    EXPECT_EQ(dsp.GetAverageLength(), 0u);
}

// Through the whole loop at 2.9 kHz, where the knee's character filter (1500 Hz) and the high
// cut lie above half the rate and pass everything; the low cut at 20 Hz takes a few percent.
TEST(SkrelDelayDsp, KneeLoopFlipsSignOnEveryPass)
{
    TestHost host;
    SkrelDelayDsp dsp(2900);
    MakeTransparent(dsp, 40.0f, SkrelDelayDsp::DELAY_MODE_KNEE); // 116 + 1 samples
    dsp.SetParam(SkrelDelayDsp::PARAM_AMOUNT, 0.0f);
    dsp.SetParam(SkrelDelayDsp::PARAM_FEEDBACK_PERCENT, 90.0f);
    dsp.SetParam(SkrelDelayDsp::PARAM_LOW_CUT_Q, 0.7071f);
    dsp.Reset();
    const size_t D = 117;
    std::vector<float> x(D * 6, 0.0f);
    x[0] = 0.5f;
    const std::vector<float> y = RunDelay(dsp, x);
    for (size_t k = 1; k <= 3; ++k) {
        // Pass k: v -> -atan(v), so the echo's main sample alternates -, +, -
        float fPeak = 0.0f;
        for (size_t i = D * k - 2; i <= D * k + 2; ++i)
            if (std::fabs(y[i]) > std::fabs(fPeak))
                fPeak = y[i];
        EXPECT_EQ(fPeak < 0.0f, k % 2 == 1) << k;
        if (k == 1) {
            EXPECT_NEAR(fPeak, -0.4636f, 0.05f); // -atan(0.5), less the few percent the low cut takes
        }
    }
}

TEST(SkrelDelayDsp, ModeTableCharacterFilters)
{
    TestHost host;
    // A resonant low-pass of this family has unit gain at DC, none at half the rate, and exactly
    // Q at its frequency; the clean mode's filter passes everything as it is.
    struct Case { uint32_t uMode; double fHz; float fQ; double fNyquist; };
    const Case cases[] = {{0, 5500, 0.38f, 0}, {1, 4000, 0.59f, 0},    {2, 1500, 0.9f, 0},
                          {3, 1865, 0.53f, 0}, {4, 1865, 0.53f, 0}, {SkrelDelayDsp::DELAY_MODE_CLEAN, 1000, 1, 1}};
    const uint32_t uRate = 48000;
    for (const Case& c : cases) {
        SkrelDelayDsp dsp(uRate);
        dsp.SetMode(c.uMode);
        common_vector<double> taps;
        taps.resize(6);
        dsp.GetCharacterFilter()->GetTaps(taps);
        const long double pi = 3.14159265358979323846L;
        EXPECT_NEAR((double)Magnitude(taps, 0.0L), 1.0, 1e-9) << c.uMode;
        EXPECT_NEAR((double)Magnitude(taps, pi), c.fNyquist, 1e-9) << c.uMode;
        EXPECT_NEAR((double)Magnitude(taps, 2.0L * pi * c.fHz / uRate), (double)c.fQ, 1e-9) << c.uMode;
    }
}

// The echo's centre of mass follows the LFO: it comes early by depth x sin(phase) samples.
// Smooth pulses keep the cubic read and the filters from moving the centre by themselves.
TEST(SkrelDelayDsp, ModeTableLfo)
{
    TestHost host;
    const uint32_t uRate = 48000;
    struct Case { uint32_t uMode; double fPeriodMs; double fDepthMs; };
    const Case cases[] = {{0, 500, 0.1}, {1, 333, 0.1}, {2, 750, 0.1}, {3, 500, 0}, {4, 500, 0}, {5, 500, 0}};
    const double fTwoPi = 6.283185307179586;
    for (const Case& c : cases) {
        SkrelDelayDsp dsp(uRate);
        MakeTransparent(dsp, 40.0f, c.uMode); // 1920 + 1 samples
        const size_t D = 1921;
        const double fPeriod = c.fPeriodMs * 48.0;
        const double fDepth = c.fDepthMs * 48.0;
        // Echo centres at n, LFO phases spread over a whole period.
        std::vector<size_t> reads;
        for (int k = 0; k < 8; ++k)
            reads.push_back(static_cast<size_t>(fPeriod * k / 8.0) + 3 * D);
        std::vector<float> x(reads.back() + 200, 0.0f);
        for (size_t n : reads)
            for (int i = -20; i <= 20; ++i)
                x[n - D + i] = 0.2f * std::exp(-static_cast<float>(i * i) / 50.0f);
        const std::vector<float> y = RunDelay(dsp, x);
        std::vector<double> shifts;
        for (size_t n : reads) {
            double fSum = 0.0, fMoment = 0.0;
            const float fSign = y[n] < 0.0f ? -1.0f : 1.0f;
            for (size_t i = n - 30; i <= n + 30; ++i) {
                const double w = std::max(0.0f, fSign * y[i]);
                fSum += w;
                fMoment += w * (static_cast<double>(i) - static_cast<double>(n));
            }
            shifts.push_back(fMoment / fSum + fDepth * std::sin(fTwoPi * static_cast<double>(n) / fPeriod));
        }
        // What is left after taking out the predicted shift is the filters' constant lag, plus
        // the four-point read's own error: exact for constants but not for slopes, it misplaces
        // a smooth edge by t(1 - t)(1 - 2t), at most 0.096 samples either way.
        for (size_t k = 1; k < shifts.size(); ++k)
            EXPECT_NEAR(shifts[k], shifts[0], 0.3) << "mode " << c.uMode << " read " << reads[k];
    }
}

TEST(SkrelDelayDsp, LimitAboveHundredPercentActsOnOutputOnly)
{
    TestHost host;
    // During the first echo the loop holds only the filtered input, whatever the feedback, so
    // an engine at 50 percent shows what the limited one would say without its limit.
    SkrelDelayDsp hot(32000), plain(32000), full(32000);
    for (SkrelDelayDsp* p : {&hot, &plain, &full})
        MakeTransparent(*p, 40.0f);
    hot.SetParam(SkrelDelayDsp::PARAM_FEEDBACK_PERCENT, 200.0f);
    plain.SetParam(SkrelDelayDsp::PARAM_FEEDBACK_PERCENT, 50.0f);
    full.SetParam(SkrelDelayDsp::PARAM_FEEDBACK_PERCENT, 100.0f);
    const size_t D = 1281;
    std::vector<float> x(D * 8, 0.0f);
    for (size_t i = 0; i < 1000; ++i)
        x[i] = 1.2f * std::sin(0.2f * static_cast<float>(i)); // 1 kHz, well above the low cut
    std::vector<float> yHot = RunDelay(hot, x), yPlain = RunDelay(plain, x), yFull = RunDelay(full, x);
    size_t uInKnee = 0, uAbove = 0;
    for (size_t n = D; n < 2 * D; ++n) {
        const double y = yPlain[n];
        double fExpected = y;
        const double a = std::fabs(y);
        if (a > 1.0)
            fExpected = std::copysign(0.975, y);
        else if (a >= 0.95) {
            // 0.95 + d / (400 d^2 + 1): meets 0.975 at |y| = 1.
            const double d = a - 0.95;
            fExpected = std::copysign(0.95 + d / (400.0 * d * d + 1.0), y);
            ++uInKnee;
        }
        uAbove += a > 1.0;
        ASSERT_NEAR(yHot[n], fExpected, 1e-6) << n;
        ASSERT_EQ(yFull[n], yPlain[n]) << n; // 100 percent exactly: no limit
    }
    EXPECT_GT(uInKnee, 10u);
    EXPECT_GT(uAbove, 100u);
    for (float y : yHot)
        ASSERT_LE(std::fabs(y), 0.975f);
    // The loop has doubled seven times; with the feedback at 0 the limit is off and shows it.
    hot.SetParam(SkrelDelayDsp::PARAM_FEEDBACK_PERCENT, 0.0f);
    std::vector<float> silence(D, 0.0f);
    const std::vector<float> yAfter = RunDelay(hot, silence);
    float fPeak = 0.0f;
    for (float y : yAfter)
        fPeak = std::max(fPeak, std::fabs(y));
    EXPECT_GT(fPeak, 50.0f);
}

TEST(SkrelDelayDsp, UserFilterChangeClearsItsState)
{
    TestHost host;
    SkrelDelayDsp changed(48000), kept(48000);
    std::vector<float> x(20, 0.0f);
    x[0] = 1.0f;
    for (SkrelDelayDsp* p : {&changed, &kept}) {
        MakeTransparent(*p, 40.0f);
        p->SetParam(SkrelDelayDsp::PARAM_LOW_CUT_HZ, 200.0f);
        p->SetParam(SkrelDelayDsp::PARAM_HIGH_CUT_Q, 0.7071f);
        RunDelay(*p, x);
    }
    const size_t D = 1921;
    // 20 samples on the low cut still rings from the impulse; a new frequency restarts it from
    // silence, so what enters the line from here on is (nearly) nothing.
    changed.SetParam(SkrelDelayDsp::PARAM_LOW_CUT_HZ, 210.0f);
    std::vector<float> rest(D + 100, 0.0f);
    const std::vector<float> yChanged = RunDelay(changed, rest), yKept = RunDelay(kept, rest);
    // The line written from sample 20 on: the high cut's own ringing is all the changed one has.
    double fChanged = 0.0, fKept = 0.0;
    for (size_t n = D; n < D + 60; ++n) {
        fChanged += std::fabs(yChanged[n]);
        fKept += std::fabs(yKept[n]);
    }
    EXPECT_GT(fKept, 0.01);
    EXPECT_LT(fChanged, 0.1 * fKept);
}

TEST(SkrelDelayDsp, ParametersOutOfRangeAreDropped)
{
    TestHost host;
    SkrelDelayDsp dsp(48000);
    const float defaults[] = {100, 0, 80, 0.2f, 10000, 0.2f, 200, 20, 0.25f};
    dsp.SetParam(SkrelDelayDsp::PARAM_DELAY_MS, 9.0f);
    dsp.SetParam(SkrelDelayDsp::PARAM_FEEDBACK_PERCENT, 201.0f);
    dsp.SetParam(SkrelDelayDsp::PARAM_LOW_CUT_Q, 0.1f);
    dsp.SetParam(SkrelDelayDsp::PARAM_AMOUNT, std::nanf(""));
    for (uint32_t i = 0; i < 9; ++i) // the defaults, untouched by the values out of range
        EXPECT_EQ(dsp.GetParam(i), defaults[i]);
    EXPECT_EQ(dsp.GetParam(9), 0.0f);
    dsp.SetMode(6);
    EXPECT_EQ(dsp.GetMode(), 0u);
    EXPECT_EQ(host.asserts.Total(), 1u);
    EXPECT_TRUE(dsp.IsActive());
}
