#include <gtest/gtest.h>
#include <cmath>
#include <random>
#include <vector>
#include "shareddsp/dynamics/dynamicsdsp.h"
#include "support/testhost.h"

namespace {

const uint32_t STAGE = 3;
const double FS = 48000.0;

// The denormal offset at sample n after a reset: positive for the first 128 samples only.
float Guard(uint32_t n) { return n < 128 ? 1e-10f : -1e-10f; }

// Runs one sample at a time so that every applied gain can be read back as output / input.
std::vector<double> AppliedGains(DynamicsDsp& dsp, const std::vector<float>& in_input, uint32_t in_uFirst)
{
    std::vector<double> gains;
    for (size_t i = 0; i < in_input.size(); ++i) {
        const uint32_t n = in_uFirst + static_cast<uint32_t>(i);
        float s = in_input[i];
        dsp.Process(STAGE, 1, &s);
        const double fIn = static_cast<double>(in_input[i] + Guard(n));
        gains.push_back((static_cast<double>(s) - Guard(n)) / fIn);
    }
    return gains;
}

void Set(DynamicsDsp& dsp, uint32_t in_uIndex, float in_fValue) { dsp.SetParameter(STAGE, in_uIndex, in_fValue); }

} // namespace

TEST(DynamicsDsp, DefaultsAddOnlyTheTwoGuards)
{
    TestHost host;
    DynamicsDsp dsp(48000.0f);
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> dist(-2.0f, 2.0f);
    std::vector<float> input(400), output;
    for (float& s : input)
        s = dist(rng);
    output = input;
    for (uint32_t b = 0; b < 4; ++b) // blocks of 100: the sign turn at 128 falls inside the second
        dsp.Process(STAGE, 100, output.data() + 100 * b);
    for (uint32_t n = 0; n < 400; ++n)
        ASSERT_EQ(output[n], (input[n] + Guard(n)) + Guard(n)) << n;

    // Silence shows both offsets, 1e-10 + 1e-10 = 2e-10, and the sign stays negative past 256,
    // where an 8-bit counter would have turned it positive again.
    std::vector<float> silence(300, 0.0f);
    dsp.Process(STAGE, 300, silence.data());
    for (float s : silence)
        ASSERT_EQ(s, -2e-10f);
    dsp.Reset();
    silence.assign(2, 0.0f);
    dsp.Process(STAGE, 2, silence.data());
    EXPECT_EQ(silence[0], 2e-10f);
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(DynamicsDsp, GuardsSitEitherSideOfTheGain)
{
    TestHost host;
    DynamicsDsp dsp(48000.0f);
    Set(dsp, DynamicsDsp::OUTPUT_GAIN_DB, 20.0f);
    std::vector<float> silence(200, 0.0f);
    dsp.Process(STAGE, 200, silence.data());
    // 10 x 1e-10 (input guard through +20 dB) + 1e-10 (output guard) = 1.1e-9, then negative.
    EXPECT_NEAR(silence[0], 1.1e-9, 1.1e-9 * 1e-6);
    EXPECT_NEAR(silence[127], 1.1e-9, 1.1e-9 * 1e-6);
    EXPECT_NEAR(silence[128], -1.1e-9, 1.1e-9 * 1e-6);
    EXPECT_NEAR(silence[199], -1.1e-9, 1.1e-9 * 1e-6);
}

TEST(DynamicsDsp, AttackZeroAppliesTheStaticCurveEverySample)
{
    TestHost host;
    for (float fRatio : {2.0f, 4.0f, 10.0f}) {
        DynamicsDsp dsp(48000.0f);
        Set(dsp, DynamicsDsp::COMP_THRESHOLD_DB, -20.0f);
        Set(dsp, DynamicsDsp::COMP_RATIO, fRatio);
        Set(dsp, DynamicsDsp::COMP_ATTACK_MS, 0.0f);
        // A rising level with random signs: each sample's target lies below the last, so the
        // attack branch applies on every sample above the threshold.
        std::mt19937 rng(3);
        std::vector<float> input;
        for (uint32_t i = 0; i < 300; ++i)
            input.push_back((rng() & 1 ? 1.0f : -1.0f) * (0.02f + 0.01f * static_cast<float>(i)));
        const std::vector<double> gains = AppliedGains(dsp, input, 0);
        for (uint32_t n = 0; n < input.size(); ++n) {
            const double x = std::fabs(static_cast<double>(input[n] + Guard(n)));
            const double fExpected = x > 0.1 ? std::pow(x / 0.1, 1.0 / fRatio - 1.0) : 1.0;
            // float pow and the threshold's float exp, a few ulps
            ASSERT_NEAR(gains[n], fExpected, 2e-6 * fExpected) << "ratio " << fRatio << " sample " << n;
        }
    }
}

TEST(DynamicsDsp, LevelStepSettlesWithinAttackAndRelease)
{
    TestHost host;
    DynamicsDsp dsp(48000.0f);
    Set(dsp, DynamicsDsp::COMP_THRESHOLD_DB, -20.0f);
    Set(dsp, DynamicsDsp::COMP_RATIO, 4.0f);
    Set(dsp, DynamicsDsp::COMP_ATTACK_MS, 10.0f);
    Set(dsp, DynamicsDsp::COMP_RELEASE_MS, 50.0f);
    // 0 dB against -20 dB at 4:1: target (1 / 0.1)^(1/4 - 1) = 10^-0.75.
    const double c = std::pow(10.0, -0.75);
    const uint32_t uAttack = 480, uRelease = 2400; // 10 ms and 50 ms at 48 kHz
    const std::vector<double> attack = AppliedGains(dsp, std::vector<float>(3 * uAttack, 1.0f), 0);
    for (uint32_t n = 0; n < attack.size(); ++n) {
        // After k updates a first-order smoother has gone 1 - e^(-2k/N) of the way.
        const double fExpected = c + (1.0 - c) * std::exp(-2.0 * (n + 1) / uAttack);
        ASSERT_NEAR(attack[n], fExpected, 1e-4) << n; // float recursion over 1440 steps
    }
    EXPECT_NEAR((1.0 - attack[uAttack - 1]) / (1.0 - c), 1.0 - std::exp(-2.0), 1e-4);

    const double h0 = attack.back();
    const std::vector<double> release = AppliedGains(dsp, std::vector<float>(3 * uRelease, 0.01f), 3 * uAttack);
    for (uint32_t n = 0; n < release.size(); ++n) {
        const double fExpected = 1.0 - (1.0 - h0) * std::exp(-2.0 * (n + 1) / uRelease);
        ASSERT_NEAR(release[n], fExpected, 5e-4) << n; // float recursion over 7200 steps
    }
    EXPECT_NEAR((release[uRelease - 1] - h0) / (1.0 - h0), 1.0 - std::exp(-2.0), 5e-4);
}

TEST(DynamicsDsp, ReleaseTowardsOneHuntsAroundTheTarget)
{
    TestHost host;
    for (float fReleaseMs : {1.0f, 0.0f}) {
        DynamicsDsp dsp(48000.0f);
        Set(dsp, DynamicsDsp::COMP_THRESHOLD_DB, -20.0f);
        Set(dsp, DynamicsDsp::COMP_RATIO, 4.0f);
        Set(dsp, DynamicsDsp::COMP_ATTACK_MS, 0.0f);
        Set(dsp, DynamicsDsp::COMP_RELEASE_MS, fReleaseMs);
        // With attack 0 the gain lands on the target c; on the next sample it is not above c,
        // so the release lifts it towards 1 by the fraction 1 - a; then the attack drops it
        // back to c. Release 1 ms: a = e^(-2000 / 48000); release 0: a = 0, the gain jumps to 1.
        const double c = std::pow(10.0, -0.75);
        const double a = fReleaseMs > 0.0f ? std::exp(-2000.0 / FS / fReleaseMs) : 0.0;
        const std::vector<double> gains = AppliedGains(dsp, std::vector<float>(200, 1.0f), 0);
        for (uint32_t n = 0; n < gains.size(); ++n) {
            const double fExpected = n % 2 == 0 ? c : c * a + (1.0 - a);
            ASSERT_NEAR(gains[n], fExpected, 2e-6) << "release " << fReleaseMs << " sample " << n;
        }
    }
}

TEST(DynamicsDsp, ExpanderClosesBelowThresholdAndOpensAbove)
{
    TestHost host;
    DynamicsDsp dsp(48000.0f);
    Set(dsp, DynamicsDsp::EXP_THRESHOLD_DB, -40.0f);
    Set(dsp, DynamicsDsp::EXP_RATIO, 2.0f);
    Set(dsp, DynamicsDsp::EXP_ATTACK_MS, 5.0f);
    Set(dsp, DynamicsDsp::EXP_RELEASE_MS, 20.0f);
    // -60 dB against -40 dB at 2:1: target (0.001 / 0.01)^(2 - 1) = 0.1, i.e. -20 dB more.
    const double e = 0.1;
    const uint32_t uAttack = 240, uRelease = 960;
    const std::vector<double> closing = AppliedGains(dsp, std::vector<float>(8 * uRelease, 0.001f), 0);
    for (uint32_t n = 0; n < closing.size(); ++n) {
        const double fExpected = e + (1.0 - e) * std::exp(-2.0 * (n + 1) / uRelease);
        ASSERT_NEAR(closing[n], fExpected, 3e-4) << n; // float recursion, float threshold
    }
    EXPECT_NEAR(closing.back(), 0.1, 1e-4);

    // Above the threshold the attack time opens it towards 1.
    const double g0 = closing.back();
    const std::vector<double> opening = AppliedGains(dsp, std::vector<float>(4 * uAttack, 0.1f), 8 * uRelease);
    for (uint32_t n = 0; n < opening.size(); ++n)
        ASSERT_NEAR(opening[n], 1.0 - (1.0 - g0) * std::exp(-2.0 * (n + 1) / uAttack), 1e-4) << n;
}

TEST(DynamicsDsp, ExpanderLeavesSamplesUnderTheFloorAlone)
{
    TestHost host;
    for (float fLevel : {5e-9f, 2e-8f}) {
        DynamicsDsp dsp(48000.0f);
        Set(dsp, DynamicsDsp::EXP_THRESHOLD_DB, -40.0f);
        Set(dsp, DynamicsDsp::EXP_RATIO, 4.0f);
        Set(dsp, DynamicsDsp::EXP_RELEASE_MS, 1.0f);
        std::vector<float> block(2000, fLevel);
        dsp.Process(STAGE, 2000, block.data());
        const float fReduction = dsp.GetGainReduction(STAGE);
        if (fLevel < 1e-8f) {
            EXPECT_EQ(fReduction, 1.0f); // 5e-9 +- 1e-10 stays under 1e-08: target 1
            EXPECT_EQ(block[1999], (fLevel - 1e-10f) - 1e-10f);
        } else {
            // 2e-8 is over the floor: (2e-8 / 0.01)^3 = 8e-18, the gain falls far below 1e-6.
            EXPECT_LT(fReduction, 1e-6f);
        }
    }
}

TEST(DynamicsDsp, MetersRestartOnRead)
{
    TestHost host;
    DynamicsDsp dsp(48000.0f);
    Set(dsp, DynamicsDsp::COMP_THRESHOLD_DB, -20.0f);
    Set(dsp, DynamicsDsp::COMP_RATIO, 2.0f);
    Set(dsp, DynamicsDsp::COMP_ATTACK_MS, 0.0f);
    float block[3] = {0.5f, -1.0f, 0.25f};
    dsp.Process(STAGE, 3, block);
    EXPECT_FLOAT_EQ(dsp.GetPeak(STAGE), 1.0f);
    EXPECT_EQ(dsp.GetPeak(STAGE), 0.0f);
    // Lowest gain on the loudest sample: (1 / 0.1)^(1/2 - 1) = 0.31623.
    EXPECT_NEAR(dsp.GetGainReduction(STAGE), std::pow(10.0, -0.5), 1e-6);
    EXPECT_EQ(dsp.GetGainReduction(STAGE), 1.0f);
}

TEST(DynamicsDsp, ParametersAndStagesAreSeparate)
{
    TestHost host;
    DynamicsDsp dsp(48000.0f);
    dsp.SetParameter(STAGE, 9, 5.0f);
    EXPECT_EQ(dsp.GetParameter(STAGE, 9), -401.0f);
    dsp.SetParameter(STAGE, DynamicsDsp::COMP_RATIO, 8.0f);
    dsp.SetParameter(STAGE, DynamicsDsp::COMP_THRESHOLD_DB, -30.0f);
    EXPECT_EQ(dsp.GetParameter(STAGE, DynamicsDsp::COMP_RATIO), 8.0f);
    EXPECT_EQ(dsp.GetParameter(0, DynamicsDsp::COMP_RATIO), 1.0f);
    float fLoud = 1.0f;
    dsp.Process(0, 1, &fLoud); // stage 0 still has ratio 1
    EXPECT_EQ(fLoud, (1.0f + 1e-10f) + 1e-10f);

    // A new rate recomputes the compressor's time constants only: e^(-2000 / fs / t).
    dsp.SetSampleRate(96000.0f);
    const DynamicsStage& stage = dsp.GetStage(STAGE);
    EXPECT_NEAR(stage.m_fCompAttackCoeff, std::exp(-2000.0 / 96000.0 / 10.0), 1e-7);
    EXPECT_NEAR(stage.m_fCompReleaseCoeff, std::exp(-2000.0 / 96000.0 / 200.0), 1e-7);
    EXPECT_NEAR(stage.m_fExpAttackCoeff, std::exp(-2000.0 / 48000.0 / 10.0), 1e-7);
    EXPECT_NEAR(stage.m_fExpReleaseCoeff, std::exp(-2000.0 / 48000.0 / 200.0), 1e-7);
    EXPECT_EQ(host.asserts.Total(), 0u);
}
