// Each family against values worked out from its transfer in double precision, at zero, the
// knees and region limits, large and negative inputs. Drive 0 gives a drive gain of exactly 1,
// so w = x unless a test says otherwise; Mix 100 leaves only the wet path, scaled by the trim.
#include <gtest/gtest.h>
#include <algorithm>
#include <cmath>
#include <set>
#include "distortion_test_util.h"
#include "shareddsp/distortions/skreldistortion/distortion_algorithm_info.h"
#include "support/testhost.h"

namespace {

// Float evaluation of a transfer with a handful of roundings against a double reference.
constexpr double TOL = 3e-6;

void ExpectCurve(uint32_t in_uAlgorithm, double in_fTrimDb, double (*in_ref)(double),
                 std::initializer_list<double> in_points, float in_fCharacter = 0.5f)
{
    SlotSetting s;
    s.uAlgorithm = in_uAlgorithm;
    s.fCharacter = in_fCharacter;
    for (double x : in_points) {
        const double fExpected = in_ref(x) * DbGain(in_fTrimDb);
        EXPECT_NEAR(RunOne(s, static_cast<float>(x)), fExpected, TOL * (1.0 + std::fabs(fExpected)))
            << "algorithm " << in_uAlgorithm << " at " << x;
    }
}

} // namespace

TEST(DistortionAlgorithms, NoneTouchesNothingWhateverTheGains)
{
    TestHost host;
    SlotSetting s;
    s.fMix = 0.0f;
    s.fInputDb = 12.0f;
    s.fOutputDb = -20.0f;
    s.fDrive = 10.0f;
    const std::vector<float> in = {0.25f, -1.5f, 1e-30f, 0.0f, -0.0f, 3.0e7f};
    const std::vector<float> out = RunSlot(s, in);
    for (size_t i = 0; i < in.size(); ++i)
        EXPECT_EQ(std::signbit(out[i]), std::signbit(in[i]));
    EXPECT_EQ(out, in);
}

TEST(DistortionAlgorithms, ClosedFormShapersKneesAndRegions)
{
    TestHost host;
    ExpectCurve(1, -8, [](double w) { return std::atan(3.31 * w); }, {0.0, 0.1, -0.1, 1.0, -4.0, 100.0});
    ExpectCurve(2, -8, [](double w) { return std::sin(2.15 * std::atan(3.31 * w)); }, {0.0, 0.3, -0.3, 2.0, -50.0});
    ExpectCurve(11, -8, [](double w) { return std::sin(2.15 * std::atan(3.31 * w)); }, {0.5, -0.7});
    // Distropia: u = 0.03 w; at u = 0.25 (w = 8.3333) the curve is at exactly half.
    ExpectCurve(3, 0, [](double w) { return w >= 0 ? 0.5 : -0.5; }, {25.0 / 3.0, -25.0 / 3.0});
    ExpectCurve(3, 0, [](double w) { return (w >= 0 ? 1 : -1) * (1 - 0.25 / (std::fabs(0.03 * w) + 0.25)); },
                {0.0, 1.0, -1.0, 1000.0});
    ExpectCurve(4, 0,
                [](double w) {
                    const double u = 0.686306 * w;
                    const double b = std::exp(-0.75 * std::sqrt(std::fabs(u)));
                    return (std::exp(u) - std::exp(-(b + 1) * u)) / (std::exp(-u) + std::exp(u));
                },
                {0.0, 0.2, -0.2, 1.0, -1.0, 10.0, -10.0});
    ExpectCurve(16, 0, [](double w) { return 0.5 * std::atan(w); }, {0.0, 1.0, -3.0, 1e4});
    ExpectCurve(17, -3, [](double w) { return std::tanh(w); }, {0.0, 0.5, -0.5, 20.0});
    // Blues Driver: (|w| + 1) w / (w^2 + 1): 1 at w = 1, 4 x 3 / 10 = 1.2 at w = 3.
    ExpectCurve(22, 0, [](double w) { return w == 3 ? 1.2 : (w == 1 ? 1.0 : -1.0); }, {1.0, 3.0, -1.0});
    // Tape Saturation: the factor is 1 / sin(pi / 20), so f(1) = 1 and the peak is at w = 10.
    ExpectCurve(30, 0, [](double w) { return std::sin(M_PI / 20 * w) / std::sin(M_PI / 20); }, {1.0, 10.0, -10.0, 0.0});
    // Garage Fuzz: (1 / (1 + e^-wg) - 0.5) x 2 is tanh(w g / 2); g = 9 C + 1.
    ExpectCurve(33, 0, [](double w) { return std::tanh(w / 2); }, {0.0, 1.0, -2.0, 40.0}, 0.0f);
    ExpectCurve(33, 0, [](double w) { return std::tanh(w * 5.5 / 2); }, {0.1, -0.1}, 0.5f);
    // Mirror Overdrive: 2w below the knee 0.2884, (3 - (2 - 3a)^2) / 3 with its sign up to the
    // limit 0.5768, then +-1. At a = 0.4: t = 0.8, (3 - 0.64) / 3 = 0.786667.
    ExpectCurve(5, -6, [](double w) { return w == 0.1 ? 0.2 : (w > 0 ? 2.36 / 3 : -2.36 / 3); }, {0.1, 0.4, -0.4});
    ExpectCurve(5, -6, [](double w) { return w > 0 ? 1.0 : (w < 0 ? -1.0 : 0.0); }, {0.0, 0.6, -0.6, 50.0});
    // Hard Limits: knee 0.8128, limit 1.6257. At a = 1: t = -1, (3 - 1) / 3.
    ExpectCurve(13, -6, [](double w) { return w == 0.5 ? 1.0 : (w > 0 ? 2.0 / 3 : -2.0 / 3); }, {0.5, 1.0, -1.0});
    ExpectCurve(13, -6, [](double w) { return w > 0 ? 1.0 : -1.0; }, {1.7, -1.7, 1e6});
    // Two parabolas meeting at 0, flat from +-1: c (2 - |c|) with c = w clamped to [-1, 1].
    ExpectCurve(8, -7,
                [](double w) {
                    const double c = std::max(-1.0, std::min(1.0, w));
                    return c * (2 - std::fabs(c));
                },
                {0.0, 0.5, -0.5, 1.0, -1.0, 2.0, -3.0});
    // Tube Drainer, middle: 3.9375 w - 6.152 w^2; at 0.1: 0.39375 - 0.06152 = 0.33223.
    ExpectCurve(9, -6, [](double) { return 0.33223; }, {0.1});
    // Hard ceiling above 0.320018, even though the parabola peaks at 0.63 just before it.
    ExpectCurve(9, -6, [](double) { return 0.60035; }, {0.33, 0.5, 10.0, 1e6});
    // Below -0.08905: a = w + 0.967153 clamped to [-1, 1]. At w = -1, a^12 is ~1e-18, so
    // f = 0.2275 - (0.75 - (-0.25 + 0.00821175)) = -0.76428825. At w = -3, a = -1 and
    // f = 0.2275 - (0 - (-0.75 + 0.00821175)) = -0.51428825: the negative side turns back.
    ExpectCurve(9, -6, [](double w) { return w == -1 ? -0.76428825 : -0.51428825; }, {-1.0, -3.0});
    ExpectCurve(9, -6,
                [](double w) {
                    const double a = w + 0.967153;
                    return 0.2275 - ((1 - std::pow(a, 12)) * 0.75 - (0.25 * w + 0.00821175));
                },
                {-0.09, -0.5});
    ExpectCurve(9, -6, [](double w) { return 3.9375 * w - 6.152 * w * w; }, {-0.089, 0.0, 0.32});
}

TEST(DistortionAlgorithms, CharacterShapers)
{
    TestHost host;
    // Smooth Overdrive at Character 0 is linear at any Drive: out = w W.
    SlotSetting s;
    s.uAlgorithm = 6;
    s.fCharacter = 0.0f;
    s.fDrive = 10.0f; // 40 dB: w = 100 x
    EXPECT_NEAR(RunOne(s, 0.5f), 50.0 * DbGain(-6), 50.0 * TOL);
    EXPECT_NEAR(RunOne(s, -2.0f), -200.0 * DbGain(-6), 200.0 * TOL);
    // At Character 1, k = 10^1.5 = 31.6228: w = 0.1 gives u = 3.16228, 1 - 1 / 4.16228.
    ExpectCurve(6, -6, [](double w) { return (w > 0 ? 1 : -1) * (1 - 1 / (1 + std::pow(10, 1.5) * std::fabs(w))); },
                {0.1, -0.1, 0.0, 30.0}, 1.0f);
    // Straight Fuzz at Character 0.5: threshold -24 dB, make-up +17.5 dB on top of the -3 dB trim.
    ExpectCurve(7, -3 + 17.5, [](double w) { return w > 0 ? DbGain(-24) : -DbGain(-24); }, {0.5, -0.5}, 0.5f);
    ExpectCurve(7, -3 + 17.5, [](double w) { return w; }, {0.01, -0.01}, 0.5f);
    // Positive and Negative Fuzz at Character 1: threshold -60 dB, make-up +3 dB, one side only.
    ExpectCurve(14, 3, [](double w) { return w > 0.001 ? 0.001 : w; }, {0.5, -0.5, 0.0005}, 1.0f);
    ExpectCurve(15, 3, [](double w) { return w < -0.001 ? -0.001 : w; }, {0.5, -0.5, -0.0005}, 1.0f);
    // Wrecktifier: C 0 untouched, C 1 inverted negative half.
    ExpectCurve(12, 0, [](double w) { return w; }, {0.3, -0.3}, 0.0f);
    ExpectCurve(12, 0, [](double w) { return std::fabs(w); }, {0.3, -0.3}, 1.0f);
    // At C 0.5 it is a half wave: the negative side exactly silent, whatever the gains.
    s.uAlgorithm = 12;
    s.fCharacter = 0.5f;
    s.fDrive = 7.3f;
    s.fOutputDb = 3.0f;
    EXPECT_EQ(RunSlot(s, {-0.1f, -0.7f, -1e-20f, -123.0f}), std::vector<float>(4, 0.0f));
    // Double Stages: s = 0.75 C + 0.1, m = 2 s / (1 - s); C 1: m = 1.7 / 0.15, at 0.5: 0.925.
    ExpectCurve(23, -8, [](double w) { return w > 0 ? 0.925 : -0.925; }, {0.5, -0.5}, 1.0f);
    ExpectCurve(23, -8, [](double w) { return w; }, {1.0, -1.0, 0.0}, 0.0f);
    // Elastic Skrel: sin((4.9 C + 0.1) w); C 1: sin(5 w).
    ExpectCurve(29, 0, [](double w) { return std::sin(5 * w); }, {0.3, -0.3, 2.0}, 1.0f);
}

TEST(DistortionAlgorithms, InvertedOutputKeepsWetPolarityAndInvertsDry)
{
    TestHost host;
    // Smooth Fuzz: y = e^-|w| - 1 for w >= 0, then the mixed sample is negated.
    SlotSetting s;
    s.uAlgorithm = 10;
    EXPECT_NEAR(RunOne(s, 1.0f), 1.0 - std::exp(-1.0), TOL);
    EXPECT_NEAR(RunOne(s, -1.0f), -(1.0 - std::exp(-1.0)), TOL);
    s.fMix = 0.0f;
    EXPECT_EQ(RunOne(s, 0.4f), -0.4f);
    s.fMix = 75.0f; // away from the midpoint, where a swap of wet and dry would not show
    EXPECT_NEAR(RunOne(s, 1.0f), -(-(1.0 - std::exp(-1.0)) * 0.75 + 0.25), TOL);
    // Clip Control and Delicate Harmonics: k = 9 C + 1, wet atan(|w|^k)^(1/k) with w's sign.
    ExpectCurve(18, 0, [](double w) { return std::atan(w); }, {1.0, -1.0, 0.2}, 0.0f);
    ExpectCurve(18, 0, [](double w) { return (w > 0 ? 1 : -1) * std::pow(std::atan(std::pow(std::fabs(w), 10)), 0.1); },
                {1.0, -1.0, 0.9}, 1.0f);
    ExpectCurve(19, 0, [](double w) { return std::atan(w); }, {0.5}, 0.0f);
    s.uAlgorithm = 19;
    s.fMix = 0.0f;
    EXPECT_EQ(RunOne(s, 0.25f), -0.25f);
}

TEST(DistortionAlgorithms, OneSidedShapers)
{
    TestHost host;
    // Squealer: u = 0.03 w, sine up to u = 0.04995 (its first zero), then exactly 1; the
    // negative half keeps folding with no limit.
    auto squeal = [](double w) { return 0.03 * w <= 0.04995005 ? 15.925292 * std::sin(62.894688 * 0.03 * w) : 1.0; };
    ExpectCurve(20, -30, squeal, {0.0, 1.0, 1.6, -1.0, -2.0, -30.0});
    ExpectCurve(20, -30, [](double) { return 1.0; }, {1.7, 2.0, 100.0});
    // Hot Tin Roof: 8.136725 x 0.38610038 = pi, so the sine ends at zero and jumps to 1.
    ExpectCurve(21, -20, [](double w) { return 1.0413482 * std::sin(8.136725 * w); }, {0.0, 0.19, 0.38, -0.2, -5.0});
    ExpectCurve(21, -20, [](double) { return 1.0; }, {0.3862, 3.0});
    // 0.99 + 0.00999999 tanh((w - 0.99) 100.0001); at w = 1 the argument is 1.000001.
    ExpectCurve(31, 0, [](double w) { return w; }, {0.0, 0.5, -0.5, 0.98, -0.98});
    ExpectCurve(31, 0, [](double w) { return 0.99 + 0.00999999 * std::tanh((w - 0.99) * 100.0001); }, {0.99, 1.0, 5.0});
    ExpectCurve(31, 0, [](double w) { return -0.99 - 0.00999999 * std::tanh(-100.0001 * w - 99.0001); },
                {-0.99, -1.0, -5.0});
    ExpectCurve(32, 0, [](double w) { return w; }, {-0.99, -5.0, -100.0, 0.5});
    ExpectCurve(32, 0, [](double w) { return 0.99 + 0.00999999 * std::tanh((w - 0.99) * 100.0001); }, {1.0, 5.0});
}

TEST(DistortionAlgorithms, PolynomialFamilyGrowsWithTheSquareOfTheDrive)
{
    TestHost host;
    const double aB[] = {1, 1, 0.2, 1, 0};
    const double aC[] = {0.4, 0.6, 0.4, 1, 0.8};
    for (uint32_t k = 0; k < 5; ++k) {
        SlotSetting s;
        s.uAlgorithm = 24 + k;
        for (double x : {0.5, -0.5, 2.0, -3.0})
            EXPECT_NEAR(RunOne(s, static_cast<float>(x)), x * (aB[k] + aC[k] * std::fabs(x)), 1e-5)
                << "algorithm " << 24 + k;
    }
    // Radio Contact (b 0, c 0.8) at Drive 10 of its 40 dB row: w = 100 x, nothing clips.
    SlotSetting s;
    s.uAlgorithm = 28;
    s.fDrive = 10.0f;
    EXPECT_NEAR(RunOne(s, 0.5f), 0.8 * 50 * 50, 0.8 * 2500 * 1e-5);
    // A new slot stands on Drive 5 (20 dB: a tenth of the drive, a hundredth of the output),
    // no gains and Mix 100.
    DistortionDsp fresh(48000.0f);
    fresh.SetAlgorithm(3, 28, 0);
    float x = 0.5f;
    fresh.Process(3, 0, 1, &x);
    EXPECT_NEAR(x, 0.8 * 5 * 5, 20 * 1e-5);
}

TEST(DistortionAlgorithms, CharacterIsIgnoredWhereTheTableSaysSo)
{
    TestHost host;
    const std::vector<float> in = {0.3f, -0.2f, 0.05f, -0.9f};
    const std::set<uint32_t> readsCharacter = {6, 7, 12, 14, 15, 18, 19, 23, 29, 33, 34, 35, 36};
    for (uint32_t a = 1; a < KvSkrel::NUM_DISTORTION_ALGORITHMS; ++a) {
        EXPECT_EQ(g_aDistortionAlgorithms[a].bUsesCharacter != 0, readsCharacter.count(a) == 1) << a;
        if (readsCharacter.count(a))
            continue;
        SlotSetting s;
        s.uAlgorithm = a;
        s.fDrive = 3.0f;
        s.fCharacter = 0.0f;
        const std::vector<float> out0 = RunSlot(s, in);
        s.fCharacter = 1.0f;
        EXPECT_EQ(RunSlot(s, in), out0) << "algorithm " << a;
    }
}

// The bit family on short runs. Silence and exact zeros keep only the guard, -1e-10 for the
// first 128 samples.
TEST(DistortionAlgorithms, BitFamilyQuantisesAndAverages)
{
    TestHost host;
    struct Case { uint32_t uAlgorithm; float fCharacter, fDrive, fMix, fInputDb; std::vector<float> in; std::vector<double> out; };
    const double G = -1e-10;
    const std::vector<Case> cases = {
        // Bit Wrench, Character 0.5: 16 - 7 = 9 bits, steps of 1/256. 0.3 x (2^31 - 1) lies 76.8
        // steps up, so 76/256; two's complement takes -0.3 down to -77/256.
        {34, 0.5f, 0, 100, 0, {0.3f, -0.3f, 0.0f}, {76.0 / 256, -77.0 / 256, G}},
        // Character 1: two bits, steps of a half; overload clamps to the largest code.
        {34, 1.0f, 10, 100, 0, {0.3f, -0.001f, -5.0f}, {0.5, -0.5, -1.0}},
        // Mix 0 at input gain +6 dB: the dry path carries v.
        {34, 1.0f, 10, 0, 6, {0.25f}, {0.25 * DbGain(6)}},
        // Cheap Digital, Character 0: 16 bits, no averaging; 0.3 x 2^31 is 9830.4 steps of 2^16,
        // the same magnitude on both sides.
        {35, 0.0f, 0, 100, 0, {0.3f, -0.3f}, {9830.0 / 32768, -9830.0 / 32768}},
        // A full-scale sample (clamped from 5 x 10) wraps and comes out with the other sign.
        {35, 0.0f, 5, 100, 0, {0.5f, -0.5f, 1.0f}, {-1.0, 1.0, -1.0}},
        // Character 0.25: n = 4, round(12.5) = 13 bits. Drive 5 (20 dB) makes an impulse of 0.04
        // 0.4, averaged to 0.1 for four samples: floor(409.6) / 4096.
        {35, 0.25f, 5, 100, 0, {0.04f, 0, 0, 0, 0}, {409.0 / 4096, 409.0 / 4096, 409.0 / 4096, 409.0 / 4096, G}},
        // Bit Aliasing ignores the drive: n = 4 averages at either drive.
        {36, 0.25f, 0, 100, 0, {1, 0, 0, 0, 0, 0.5f, -0.5f}, {0.25, 0.25, 0.25, 0.25, G, 0.125, G}},
        {36, 0.25f, 10, 100, 0, {1, 0, 0, 0, 0, 0.5f, -0.5f}, {0.25, 0.25, 0.25, 0.25, G, 0.125, G}},
        // Below Character 1/32 n is 0: a pure gain plus the guard.
        {36, 0.03f, 0, 100, -6, {0.8f}, {0.8 * DbGain(-6)}},
    };
    for (const Case& c : cases) {
        SlotSetting s;
        s.uAlgorithm = c.uAlgorithm;
        s.fCharacter = c.fCharacter;
        s.fDrive = c.fDrive;
        s.fMix = c.fMix;
        s.fInputDb = c.fInputDb;
        const std::vector<float> out = RunSlot(s, c.in);
        for (size_t i = 0; i < c.out.size(); ++i)
            EXPECT_NEAR(out[i], c.out[i], 1e-6 * std::fabs(c.out[i]) + 1e-13)
                << "algorithm " << c.uAlgorithm << ", character " << c.fCharacter << ", sample " << i;
    }
    // Over a long silence the guard is a square wave of period 256: -1e-10, then +1e-10.
    for (uint32_t a : {34u, 35u, 36u}) {
        SlotSetting s;
        s.uAlgorithm = a;
        const std::vector<float> out = RunSlot(s, std::vector<float>(600, 0.0f));
        for (uint32_t n = 0; n < out.size(); ++n)
            ASSERT_NEAR(out[n], n % 256 < 128 ? G : -G, 1e-16) << "algorithm " << a << ", sample " << n;
    }
    // Only the three wrapped full-scale samples are reported (by the checked cast).
    EXPECT_EQ(host.asserts.Total(), 3u);
}

TEST(DistortionAlgorithms, BitAliasingRestartsItsAverageAndCanDropIt)
{
    TestHost host;
    // A change of n empties the ring: the next block starts from an average of nothing.
    DistortionDsp dsp(48000.0f);
    SlotSetting t;
    t.uAlgorithm = 36;
    t.fCharacter = 0.25f;
    ApplySetting(dsp, t);
    std::vector<float> ones(8, 1.0f);
    dsp.Process(3, 0, 8, ones.data());
    EXPECT_NEAR(ones[7], 1.0, 1e-6);
    dsp.SetParameter(3, 2, 0.5f, 0); // n = 8
    std::vector<float> more(2, 1.0f);
    dsp.Process(3, 0, 2, more.data());
    EXPECT_NEAR(more[0], 1.0 / 8, 1e-6);
    EXPECT_NEAR(more[1], 2.0 / 8, 1e-6);
    dsp.SetSampleAveraging(false); // no ring at all: each sample stands alone
    std::vector<float> lone = {1.0f, 0.0f};
    dsp.Process(3, 0, 2, lone.data());
    EXPECT_NEAR(lone[0], 1.0, 1e-6);
    EXPECT_NEAR(lone[1], 0.0, 1e-9);
}

TEST(DistortionAlgorithms, LookupFamilyOffsetOnSilenceAndColumns)
{
    TestHost host;
    const double aTrimDb[] = {-6, -6, -6, 0, 0, -8, 0, 0, -8, -8, -6};
    for (uint32_t a = 37; a < 48; ++a) {
        SlotSetting s;
        s.uAlgorithm = a;
        s.fOutputDb = 6.0f;
        const double fExpected = -2230.2146 / 32767 * DbGain(aTrimDb[a - 37]) * DbGain(6);
        EXPECT_NEAR(RunOne(s, 0.0f), fExpected, 1e-6) << "algorithm " << a;
        s.fMix = 0.0f; // the dry path: no offset, no trim, but the output gain
        EXPECT_NEAR(RunOne(s, 0.5f), 0.5 * DbGain(6), 1e-6) << "algorithm " << a;
    }
    // Acid Fuzz: positive column a line from silence to 15268.4 at position 184, then flat;
    // every |w| >= 1 reads position 860. Position 92.5 is w = 92.5 / 860.
    ExpectCurve(43, 0, [](double) { return 15268.4 / 32767; }, {1.0, 5.0, 1e9});
    ExpectCurve(43, 0, [](double) { return (-2230.2146 + (15268.4 + 2230.2146) * 92.5 / 184) / 32767; },
                {92.5 / 860});
    // Negative column: to 11494.2 at 859 and back to silence at 860.
    ExpectCurve(43, 0, [](double) { return (-2230.2146 + (11494.2 + 2230.2146) * 430 / 859) / 32767; }, {-0.5});
    ExpectCurve(43, 0, [](double) { return -2230.2146 / 32767; }, {-1.0, -7.0});
    // Cracked Actor folds: a negative input reads a positive value (position 430, between
    // 158:15096.8 and 860:11837.3).
    ExpectCurve(37, -6, [](double) { return (15096.8 + (11837.3 - 15096.8) * (430.0 - 158) / 702) / 32767; },
                {-0.5});
}
