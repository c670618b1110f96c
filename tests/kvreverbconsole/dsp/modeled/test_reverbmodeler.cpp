#include <gtest/gtest.h>
#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>
#include "kvreverbconsole/dsp/modeled/reverbmodeler.h"
#include "support/testhost.h"

namespace {
const float RATE = 48000.0f;

// A stereo response: uniform noise of 5e-3 until in_uOnset (energy well under the 5e-5 onset
// threshold), then independent Gaussian noise per channel falling 60 dB in in_dT60 seconds.
struct Room
{
    Room(uint32_t in_uLength, uint32_t in_uOnset, double in_dT60) : left(in_uLength), right(in_uLength)
    {
        std::mt19937 rng(11);
        std::normal_distribution<float> gauss(0.0f, 0.1f);
        std::uniform_real_distribution<float> quiet(-5e-3f, 5e-3f);
        for (uint32_t i = 0; i < in_uLength; ++i) {
            const float e = static_cast<float>(std::exp(-6.907755 * (i - in_uOnset) / (in_dT60 * RATE)));
            left[i] = i < in_uOnset ? quiet(rng) : gauss(rng) * e;
            right[i] = i < in_uOnset ? quiet(rng) : gauss(rng) * e;
        }
    }
    const float* const* Channels()
    {
        ptrs[0] = left.data();
        ptrs[1] = right.data();
        return ptrs;
    }
    std::vector<float> left, right;
    const float* ptrs[2] = {nullptr, nullptr};
};
} // namespace

TEST(ReverbModeler, FilterLengthIsThePowerOfTwoCovering1point4Ms)
{
    TestHost host;
    // 0.0014 x rate: 61.7, 67.2, 134.4, 5.6 samples.
    const struct { float fRate; uint32_t uTaps; } cases[] = {{44100.0f, 64}, {48000.0f, 128}, {96000.0f, 256}, {4000.0f, 8}};
    for (const auto& c : cases)
        EXPECT_EQ(ReverbModeler(c.fRate, 0, 0, 16).GetFilterLength(), c.uTaps) << c.fRate;
}

TEST(ReverbModeler, FitsDecayingNoise)
{
    TestHost host;
    const uint32_t n = 48000, uOnset = 1440; // 1 s, onset at 30 ms
    Room room(n, uOnset, 0.8);
    ReverbModeler modeler(RATE, n, 0, 16);
    modeler.Model(n, room.Channels(), false);
    EXPECT_EQ(host.asserts.Total(), 0u);
    // Diffuse from the onset on: the transition takes the 150 ms minimum.
    EXPECT_EQ(modeler.GetTransition(), 7200u);
    // The 10 ms Hann envelope crosses 5e-5 a little ahead of the step to 0.01 in energy.
    EXPECT_GE(modeler.GetOnset(), uOnset - 480);
    EXPECT_LE(modeler.GetOnset(), uOnset);
    // 60 dB in 0.8 s is 15 dB in 0.2 s, in every band.
    EXPECT_NEAR(modeler.GetDecayTime(), 0.2f, 0.02f);
    for (float m : {modeler.GetLowMultiplier(), modeler.GetMidMultiplier(), modeler.GetHighMultiplier()})
        EXPECT_NEAR(m, 1.0f, 0.15f);

    // One linear-phase filter for both channels, its last tap exactly 0.
    const common_vector<float>& eq = modeler.GetEqFilter();
    ASSERT_EQ(eq.size(), 128u);
    EXPECT_EQ(eq[127], 0.0f);
    for (uint32_t i = 0; i < 63; ++i)
        EXPECT_NEAR(eq[i], eq[126 - i], 1e-6f * std::fabs(eq[63])) << i;
    EXPECT_EQ(modeler.GetEarlyResponse(0).size(), modeler.GetTransition() - modeler.GetOnset());

    // The equalised network carries the target's energy over the 50 ms ahead of the transition.
    double dTarget = 0.0, dNetwork = 0.0, dWhole = 0.0, dFromOnset = 0.0;
    for (uint32_t i = 0; i < n; ++i) {
        const double m = 0.5 * (static_cast<double>(room.left[i]) + room.right[i]);
        dWhole += m * m;
        dFromOnset += i >= modeler.GetOnset() ? m * m : 0.0;
        if (i >= 4800 && i < 7200) {
            const double f = static_cast<double>(modeler.GetFilteredFDN(0)[i]) + modeler.GetFilteredFDN(1)[i];
            dTarget += m * m;
            dNetwork += f * f;
        }
    }
    EXPECT_NEAR(10.0 * std::log10(dNetwork / dTarget), 0.0, 1.0); // band levels matched, then smoothed
    // The gain normalises the whole response, the quiet lead-in included.
    EXPECT_NEAR(modeler.GetNormGain() * std::sqrt(dWhole), 1.0, 1e-5);
    EXPECT_GT(std::fabs(modeler.GetNormGain() * std::sqrt(dFromOnset) - 1.0), 1e-4);
}

TEST(ReverbModeler, EdgeCasesOfTransitionAndGain)
{
    const auto Sparse = [](uint32_t n, uint32_t uDiffuseFrom) {
        Room room(n, 0, 10.0);
        std::mt19937 rng(5);
        std::uniform_real_distribution<float> uniform(-0.3f, 0.3f); // density 3.15 (1 - 1 / sqrt 3) = 1.33
        for (uint32_t i = 0; i < n; ++i) {
            room.left[i] = i >= uDiffuseFrom ? uniform(rng) : (i % 480 == 7 ? 0.5f : 0.0f);
            room.right[i] = i >= uDiffuseFrom ? uniform(rng) : 0.0f;
        }
        return room;
    };
    Room silence(48000, 0, 1.0);
    std::fill(silence.left.begin(), silence.left.end(), 0.0f);
    std::fill(silence.right.begin(), silence.right.end(), 0.0f);
    const struct
    {
        const char* pszName;
        Room room;
        uint32_t uMinTransition, uMaxTransition;
        size_t uFalse, uNorm;
    } cases[] = {
        // Shorter than 150 ms: the clamp asks for more than there is.
        {"short", Room(4800, 0, 0.5), 4800, 4800, 1, 0},
        {"silence", silence, 7200, 7200, 0, 1},
        {"diffuse at 200 ms", Sparse(48000, 9600), 9600, 9600 + 1200, 0, 0},
        // Diffuse only at 400 ms: capped at 300 + 50 ms.
        {"diffuse at 400 ms", Sparse(48000, 19200), 16800, 16800, 0, 0},
    };
    for (auto c : cases) {
        TestHost host;
        ReverbModeler modeler(RATE, 48000, 0, 16);
        modeler.Model(c.room.left.size(), c.room.Channels(), false);
        EXPECT_GE(modeler.GetTransition(), c.uMinTransition) << c.pszName;
        EXPECT_LE(modeler.GetTransition(), c.uMaxTransition) << c.pszName;
        EXPECT_EQ(host.asserts.Count("false"), c.uFalse) << c.pszName;
        EXPECT_EQ(host.asserts.Count("norml2 != 0.0f"), c.uNorm) << c.pszName;
        if (c.uNorm) {
            EXPECT_EQ(modeler.GetOnset(), 0u);
            EXPECT_EQ(modeler.GetNormGain(), std::numeric_limits<float>::infinity());
        }
        if (c.uFalse) { // an empty tail: the network's defaults
            const float afExpected[6] = {0.15f, 800.0f, 8000.0f, 1.0f, 1.0f, 0.5f};
            const float afGot[6] = {modeler.GetDecayTime(),     modeler.GetLowCrossover(),  modeler.GetHighCrossover(),
                                    modeler.GetLowMultiplier(), modeler.GetMidMultiplier(), modeler.GetHighMultiplier()};
            for (int i = 0; i < 6; ++i)
                EXPECT_EQ(afGot[i], afExpected[i]) << i;
        }
    }
}

TEST(ReverbModeler, ReusedAnalysisKeepsAChangedNetworkAndCopiesIt)
{
    TestHost host;
    const uint32_t n = 24000;
    Room room(n, 0, 0.5);
    ReverbModeler modeler(RATE, n, 0, 16);
    modeler.Model(n, room.Channels(), false);
    const std::vector<float> eqBefore(modeler.GetEqFilter().begin(), modeler.GetEqFilter().end());
    const uint32_t uTransition = modeler.GetTransition();
    modeler.GetFDN()->SetDecayTime(0.4f);
    modeler.GetFDN()->SetDelayTime(3, 120.0f);
    modeler.GetFDN()->SetOutputGain(2, 0.5f);
    modeler.Model(n, room.Channels(), true);
    EXPECT_EQ(modeler.GetTransition(), uTransition);
    EXPECT_EQ(modeler.GetDecayTime(), 0.4f);
    EXPECT_NE(std::vector<float>(modeler.GetEqFilter().begin(), modeler.GetEqFilter().end()), eqBefore);

    // A network given the fitted settings rings exactly as the fitted one did.
    StereoFDN copy(RATE, 14400, 2, 0, 16);
    modeler.CopyFDNParametersTo(copy);
    const uint32_t uCount = modeler.GetFDNImpulse(0).size();
    std::vector<float> left(uCount, 0.0f), right(uCount, 0.0f);
    left[0] = right[0] = 1.0f;
    float* ptrs[2] = {left.data(), right.data()};
    copy.Process(uCount, ptrs);
    for (uint32_t i = 0; i < uCount; ++i) {
        ASSERT_EQ(left[i], modeler.GetFDNImpulse(0)[i]) << i;
        ASSERT_EQ(right[i], modeler.GetFDNImpulse(1)[i]) << i;
    }
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(ReverbModeler, FailedAllocationLeavesNoCrashAndNoLeak)
{
    Room room(24000, 0, 0.5);
    for (uint64_t k : {1, 2, 3, 10, 50, 200, 500, 900, 1100, 1150}) {
        TestHost host;
        host.allocator.FailAt(k);
        {
            ReverbModeler modeler(RATE, 24000, 0, 16);
            modeler.Model(24000, room.Channels(), false);
        }
        EXPECT_EQ(host.allocator.FailedCalls(), 1u) << k;
        EXPECT_TRUE(host.allocator.Balanced()) << k;
        EXPECT_EQ(host.allocator.BadFrees(), 0u) << k;
    }
}
