#include <gtest/gtest.h>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>
#include "shareddsp/dynamics/dynamicsdsp.h"
#include "support/testhost.h"

namespace {

const uint32_t STAGE = 3;

// The denormal offset at sample n after a reset: positive for the first 128 samples only.
float Guard(uint32_t n) { return n < 128 ? 1e-10f : -1e-10f; }

// Builds an engine with the given (index, value) settings on STAGE.
DynamicsDsp Make(std::initializer_list<std::pair<uint32_t, float>> in_settings)
{
    DynamicsDsp dsp(48000.0f);
    for (const auto& setting : in_settings)
        dsp.SetParameter(STAGE, setting.first, setting.second);
    return dsp;
}

// Runs one sample at a time and reads back each applied gain as (output - guard) / guarded input.
std::vector<double> AppliedGains(DynamicsDsp& dsp, const std::vector<float>& in_input, uint32_t in_uFirst)
{
    std::vector<double> gains;
    for (size_t i = 0; i < in_input.size(); ++i) {
        const uint32_t n = in_uFirst + static_cast<uint32_t>(i);
        float s = in_input[i];
        dsp.Process(STAGE, 1, &s);
        gains.push_back((static_cast<double>(s) - Guard(n)) / static_cast<double>(in_input[i] + Guard(n)));
    }
    return gains;
}

// A first-order smoother from g0 towards t, k updates in, covers 1 - e^(-2k/N) of the way in N samples.
double Smoothed(double g0, double t, uint32_t k, uint32_t N) { return t + (g0 - t) * std::exp(-2.0 * k / N); }

} // namespace

TEST(DynamicsDsp, DefaultsAddOnlyTheTwoGuards)
{
    TestHost host;
    DynamicsDsp dsp(48000.0f);
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> dist(-2.0f, 2.0f);
    std::vector<float> input(700), output;
    for (float& s : input)
        s = dist(rng);
    output = input;
    // Blocks of 100: the sign turns at 128, inside the second, and past 256 it stays negative,
    // where an 8-bit counter would turn it positive again.
    for (uint32_t b = 0; b < 7; ++b)
        dsp.Process(STAGE, 100, output.data() + 100 * b);
    for (uint32_t n = 0; n < 700; ++n)
        ASSERT_EQ(output[n], (input[n] + Guard(n)) + Guard(n)) << n;
    dsp.Reset();
    // +20 dB make-up shows which side of the gain each guard sits: 10 x 1e-10 + 1e-10 = 1.1e-9.
    dsp.SetParameter(STAGE, DynamicsDsp::OUTPUT_GAIN_DB, 20.0f);
    std::vector<float> silence(200, 0.0f);
    dsp.Process(STAGE, 200, silence.data());
    EXPECT_NEAR(silence[127], 1.1e-9, 1e-15);
    EXPECT_NEAR(silence[128], -1.1e-9, 1e-15);
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(DynamicsDsp, AttackZeroAppliesTheStaticCurveEverySample)
{
    TestHost host;
    for (float fRatio : {2.0f, 4.0f, 10.0f}) {
        DynamicsDsp dsp = Make({{DynamicsDsp::COMP_THRESHOLD_DB, -20.0f}, {DynamicsDsp::COMP_RATIO, fRatio},
                                {DynamicsDsp::COMP_ATTACK_MS, 0.0f}});
        // A rising level with random signs: each target lies below the last, so the attack
        // branch applies on every sample over the threshold (0.1).
        std::mt19937 rng(3);
        std::vector<float> input;
        for (uint32_t i = 0; i < 300; ++i)
            input.push_back((rng() & 1 ? 1.0f : -1.0f) * (0.02f + 0.01f * static_cast<float>(i)));
        const std::vector<double> gains = AppliedGains(dsp, input, 0);
        for (uint32_t n = 0; n < input.size(); ++n) {
            const double x = std::fabs(static_cast<double>(input[n] + Guard(n)));
            const double fExpected = x > 0.1 ? std::pow(x / 0.1, 1.0 / fRatio - 1.0) : 1.0;
            ASSERT_NEAR(gains[n], fExpected, 2e-6 * fExpected) << fRatio << " " << n; // float pow, exp: ulps
        }
    }
}

TEST(DynamicsDsp, LevelStepSettlesWithinAttackAndRelease)
{
    TestHost host;
    DynamicsDsp dsp = Make({{DynamicsDsp::COMP_THRESHOLD_DB, -20.0f}, {DynamicsDsp::COMP_RATIO, 4.0f},
                            {DynamicsDsp::COMP_ATTACK_MS, 10.0f}, {DynamicsDsp::COMP_RELEASE_MS, 50.0f}});
    const double c = std::pow(10.0, -0.75); // 0 dB over -20 dB at 4:1: 10^(1/4 - 1)
    const uint32_t uAttack = 480, uRelease = 2400; // 10 ms and 50 ms at 48 kHz
    const std::vector<double> attack = AppliedGains(dsp, std::vector<float>(3 * uAttack, 1.0f), 0);
    for (uint32_t n = 0; n < attack.size(); ++n)
        ASSERT_NEAR(attack[n], Smoothed(1.0, c, n + 1, uAttack), 1e-4) << n; // float recursion, 1440 steps
    EXPECT_NEAR((1.0 - attack[uAttack - 1]) / (1.0 - c), 1.0 - std::exp(-2.0), 1e-4);
    // Under the threshold the release lifts the gain towards 1.
    const double h0 = attack.back();
    const std::vector<double> release = AppliedGains(dsp, std::vector<float>(3 * uRelease, 0.01f), 3 * uAttack);
    for (uint32_t n = 0; n < release.size(); ++n)
        ASSERT_NEAR(release[n], Smoothed(h0, 1.0, n + 1, uRelease), 5e-4) << n; // 7200 steps
}

TEST(DynamicsDsp, ReleaseTowardsOneHuntsAroundTheTarget)
{
    TestHost host;
    for (float fReleaseMs : {1.0f, 0.0f}) {
        DynamicsDsp dsp = Make({{DynamicsDsp::COMP_THRESHOLD_DB, -20.0f}, {DynamicsDsp::COMP_RATIO, 4.0f},
                                {DynamicsDsp::COMP_ATTACK_MS, 0.0f}, {DynamicsDsp::COMP_RELEASE_MS, fReleaseMs}});
        // Attack 0 lands the gain on c; next sample it is not above c, so the release lifts it
        // towards 1 by 1 - a; then the attack drops it back: c, c a + 1 - a, c, ...
        // Release 1 ms: a = e^(-2000 / 48000); release 0: a = 0, the gain jumps to exactly 1.
        const double c = std::pow(10.0, -0.75);
        const double a = fReleaseMs > 0.0f ? std::exp(-2000.0 / 48000.0) : 0.0;
        const std::vector<double> gains = AppliedGains(dsp, std::vector<float>(200, 1.0f), 0);
        for (uint32_t n = 0; n < gains.size(); ++n)
            ASSERT_NEAR(gains[n], n % 2 == 0 ? c : c * a + (1.0 - a), 2e-6) << fReleaseMs << " " << n;
    }
}

TEST(DynamicsDsp, ExpanderClosesBelowThresholdOpensAboveAndSparesTheFloor)
{
    TestHost host;
    DynamicsDsp dsp = Make({{DynamicsDsp::EXP_THRESHOLD_DB, -40.0f}, {DynamicsDsp::EXP_RATIO, 2.0f},
                            {DynamicsDsp::EXP_ATTACK_MS, 5.0f}, {DynamicsDsp::EXP_RELEASE_MS, 20.0f}});
    // -60 dB under -40 dB at 2:1: target (0.001 / 0.01)^(2 - 1) = 0.1; the release closes towards it.
    const uint32_t uAttack = 240, uRelease = 960;
    const std::vector<double> closing = AppliedGains(dsp, std::vector<float>(8 * uRelease, 0.001f), 0);
    for (uint32_t n = 0; n < closing.size(); ++n)
        ASSERT_NEAR(closing[n], Smoothed(1.0, 0.1, n + 1, uRelease), 1e-4) << n;
    // Over the threshold the attack opens it towards 1.
    const double g0 = closing.back();
    const std::vector<double> opening = AppliedGains(dsp, std::vector<float>(4 * uAttack, 0.1f), 8 * uRelease);
    for (uint32_t n = 0; n < opening.size(); ++n)
        ASSERT_NEAR(opening[n], Smoothed(g0, 1.0, n + 1, uAttack), 1e-4) << n;

    // 5e-9 +- 1e-10 stays under 1e-08: target 1, nothing changes. 2e-8 is over the floor:
    // (2e-8 / 0.01)^(4 - 1) = 8e-18, and the gain falls far below 1e-6.
    for (float fLevel : {5e-9f, 2e-8f}) {
        DynamicsDsp quiet = Make({{DynamicsDsp::EXP_THRESHOLD_DB, -40.0f}, {DynamicsDsp::EXP_RATIO, 4.0f},
                                  {DynamicsDsp::EXP_RELEASE_MS, 1.0f}});
        std::vector<float> block(2000, fLevel);
        quiet.Process(STAGE, 2000, block.data());
        if (fLevel < 1e-8f) {
            EXPECT_EQ(quiet.GetGainReduction(STAGE), 1.0f);
            EXPECT_EQ(block[1999], (fLevel - 1e-10f) - 1e-10f);
        } else {
            EXPECT_LT(quiet.GetGainReduction(STAGE), 1e-6f);
        }
    }
}

TEST(DynamicsDsp, NewSampleRateRetimesTheCompressorOnly)
{
    TestHost host;
    DynamicsDsp dsp(48000.0f);
    EXPECT_EQ(dsp.GetParameter(STAGE, 9), -401.0f);
    dsp.SetSampleRate(96000.0f);
    const DynamicsStage& stage = dsp.GetStage(STAGE);
    // a = e^(-2000 / fs / t): the compressor at 96 kHz, the expander still at 48 kHz.
    EXPECT_NEAR(stage.m_fCompAttackCoeff, std::exp(-2000.0 / 96000.0 / 10.0), 1e-7);
    EXPECT_NEAR(stage.m_fCompReleaseCoeff, std::exp(-2000.0 / 96000.0 / 200.0), 1e-7);
    EXPECT_NEAR(stage.m_fExpAttackCoeff, std::exp(-2000.0 / 48000.0 / 10.0), 1e-7);
    EXPECT_NEAR(stage.m_fExpReleaseCoeff, std::exp(-2000.0 / 48000.0 / 200.0), 1e-7);
}

TEST(DynamicsDsp, PeakMeterHoldsTheLargestMagnitudeUntilRead)
{
    TestHost host;
    DynamicsDsp dsp(48000.0f);
    std::vector<float> block = {0.1f, -0.7f, 0.3f};
    dsp.Process(STAGE, 3, block.data());
    EXPECT_NEAR(dsp.GetPeak(STAGE), 0.7, 1e-6);
    EXPECT_EQ(dsp.GetPeak(STAGE), 0.0f);
}

TEST(DynamicsDsp, LanesEqualOneEngineAtATimeBitForBit)
{
    TestHost host;
    // Per lane: comp threshold, ratio, attack, release, exp threshold, ratio, attack, release, make-up.
    const float aafSettings[4][DynamicsDsp::NUM_PARAMETERS] = {
        {-60.0f, 4.0f, 5.0f, 100.0f, 0.0f, 2.0f, 5.0f, 100.0f, 0.0f},
        {-20.0f, 3.0f, 0.0f, 1.0f, -30.0f, 3.0f, 0.0f, 0.0f, 6.0f},
        {0.0f, 1.0f, 10.0f, 200.0f, 0.0f, 1.0f, 10.0f, 200.0f, 0.0f},
        {-40.0f, 10.0f, 1.0f, 0.0f, -50.0f, 1.5f, 2.0f, 30.0f, -3.0f}};
    std::mt19937 rng(11);
    std::uniform_real_distribution<float> level(-6.0f, 0.0f);
    for (uint32_t uLanes = 1; uLanes <= DynamicsDsp::MAX_LANES; ++uLanes) {
        std::vector<DynamicsDsp> lanes, single;
        for (uint32_t l = 0; l < uLanes; ++l) {
            lanes.emplace_back(48000.0f);
            for (uint32_t i = 0; i < DynamicsDsp::NUM_PARAMETERS; ++i)
                lanes.back().SetParameter(STAGE, i, aafSettings[l][i]);
            single.push_back(lanes.back());
        }
        // Blocks longer than a pass, ragged tails, and samples outside the usual range.
        for (uint32_t uSamples : {515u, 7u, 64u, 130u}) {
            std::vector<std::vector<float>> laneData(uLanes), singleData(uLanes);
            std::vector<DynamicsDsp*> apDsp;
            std::vector<float*> apSamples;
            for (uint32_t l = 0; l < uLanes; ++l) {
                for (uint32_t i = 0; i < uSamples; ++i)
                    laneData[l].push_back((rng() & 1 ? 1.0f : -1.0f) * std::pow(10.0f, level(rng)));
                laneData[l][rng() % uSamples] = l == 1 ? INFINITY : l == 2 ? NAN : 0.0f;
                singleData[l] = laneData[l];
                single[l].Process(STAGE, uSamples, singleData[l].data());
                apDsp.push_back(&lanes[l]);
                apSamples.push_back(laneData[l].data());
            }
            DynamicsDsp::ProcessLanes(STAGE, uLanes, apDsp.data(), uSamples, apSamples.data());
            for (uint32_t l = 0; l < uLanes; ++l)
                ASSERT_EQ(0, std::memcmp(laneData[l].data(), singleData[l].data(), uSamples * sizeof(float)))
                    << uLanes << " lanes, lane " << l << ", " << uSamples << " samples";
        }
        for (uint32_t l = 0; l < uLanes; ++l) // gains, meters and guard counters alike
            EXPECT_EQ(0, std::memcmp(&lanes[l].GetStage(STAGE), &single[l].GetStage(STAGE), sizeof(DynamicsStage)));
    }
}
