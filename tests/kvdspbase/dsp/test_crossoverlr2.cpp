#include <gtest/gtest.h>
#include <cmath>
#include <vector>
#include "kvdspbase/dsp/crossoverlr2.h"
#include "support/dspreference.h"
#include "support/firstorderresponse.h"
#include "support/testhost.h"

namespace {
common_vector<float> Cutoffs(float a, float b)
{
    common_vector<float> v;
    v.push_back(a);
    v.push_back(b);
    return v;
}

// Impulse response of the band sum over n samples, through the three-band path.
std::vector<float> SumImpulseResponse(CrossoverLR2& io_x, uint32_t n)
{
    std::vector<float> in(n, 0.0f), sum(n, 0.0f);
    in[0] = 1.0f;
    float* apChannels[1] = {in.data()};
    io_x.Process(n, 1, in.data(), apChannels);
    for (uint32_t b = 0; b < 3; ++b)
        for (uint32_t i = 0; i < n; ++i)
            sum[i] += io_x.GetBandBuffer(0, b)[i];
    return sum;
}
} // namespace

// Equal cut-offs are designed too: at the cut-off 1 + (1 / (1 + j)) (j / (1 + j)) = 1.5.
TEST(CrossoverLR2, ThreeBandsSumToOnePlusLowTimesHigh)
{
    TestHost host;
    const double fs = 48000.0;
    for (const auto& [fLow, fHigh] : {std::pair<float, float>{500.0f, 5000.0f}, {2000.0f, 2000.0f}}) {
        CrossoverLR2 x(48000.0f, 1, 3, Cutoffs(fLow, fHigh));
        EXPECT_EQ(x.GetNumValidBands(), 3u);
        const std::vector<float> h = SumImpulseResponse(x, 4096);
        for (double f : {30.0, 200.0, 500.0, 1500.0, 2000.0, 5000.0, 12000.0, 20000.0}) {
            const std::complex<double> expected =
                1.0 + AnalogueFirstOrder(fLow, f, fs, false) * AnalogueFirstOrder(fHigh, f, fs, true);
            EXPECT_NEAR(std::abs(DftAt(h, f, fs) - expected), 0.0, 2e-4) << fLow << " " << fHigh << " " << f << " Hz";
        }
    }
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(CrossoverLR2, TwoBandsSumExactlyToTheInput)
{
    TestHost host;
    common_vector<float> one;
    one.push_back(1200.0f);
    CrossoverLR2 x(44100.0f, 2, 2, one);
    EXPECT_EQ(x.GetNumValidBands(), 2u);
    const std::vector<float> a = RefNoise(1000, 2), b = RefNoise(1000, 3);
    const float* ap[2] = {a.data(), b.data()};
    x.ProcessFaded(1000, ap);
    for (uint32_t c = 0; c < 2; ++c)
        for (uint32_t i = 0; i < 1000; ++i)
            ASSERT_NEAR(x.GetBandBuffer(c, 0)[i] + x.GetBandBuffer(c, 1)[i], (c ? b : a)[i], 2e-6f) << c << " " << i;
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(CrossoverLR2, CutoffAtOrAboveHalfTheRateIsSkipped)
{
    TestHost host;
    // 16 kHz: 10 kHz is above Nyquist, only 5 kHz is used, and the middle band stays a
    // pass-through, so the bands sum to LP + 1 + HP = twice the input.
    CrossoverLR2 x(16000.0f, 1, 3, Cutoffs(5000.0f, 10000.0f));
    EXPECT_EQ(x.GetNumValidBands(), 2u);
    const std::vector<float> h = SumImpulseResponse(x, 256);
    EXPECT_GE(host.asserts.Count("m_uNumValidBands==3"), 1u);
    EXPECT_NEAR(h[0], 2.0f, 1e-6f);
    for (uint32_t i = 1; i < 256; ++i)
        ASSERT_NEAR(h[i], 0.0f, 1e-6f) << i;

    // Both at or above half the rate: band 0 is a copy, bands 1 and 2 are not written.
    CrossoverLR2 y(16000.0f, 1, 3, Cutoffs(8000.0f, 9000.0f));
    EXPECT_EQ(y.GetNumValidBands(), 1u);
    std::vector<float> in(64, 0.25f);
    float* ap[1] = {in.data()};
    y.Process(64, 1, in.data(), ap);
    for (uint32_t i = 0; i < 64; ++i) {
        ASSERT_EQ(y.GetBandBuffer(0, 0)[i], 0.25f);
        ASSERT_EQ(y.GetBandBuffer(0, 1)[i], 0.0f);
        ASSERT_EQ(y.GetBandBuffer(0, 2)[i], 0.0f);
    }
}

TEST(CrossoverLR2, ADescendingPairChangesNothing)
{
    TestHost host;
    CrossoverLR2 a(48000.0f, 1, 3, Cutoffs(500.0f, 5000.0f)), b(48000.0f, 1, 3, Cutoffs(500.0f, 5000.0f));
    a.SetCutoff(0, 8000.0f); // above cut-off 1: stored, design left as it was
    EXPECT_EQ(a.GetCutoff(0), 8000.0f);
    EXPECT_EQ(SumImpulseResponse(a, 512), SumImpulseResponse(b, 512));
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(CrossoverLR2, CrossfadeMovesFromTheOldSetToTheNew)
{
    TestHost host;
    CrossoverLR2 x(44100.0f, 1, 3, Cutoffs(500.0f, 5000.0f)), y(48000.0f, 1, 3, Cutoffs(500.0f, 5000.0f));
    ASSERT_EQ(x.GetFadeLength(), 64u); // 44100 x 0.0014512471 = 64.0
    EXPECT_EQ(y.GetFadeLength(), 70u); // 69.66 rounds to 70
    for (uint32_t i = 0; i < 64; ++i)   // a raised cosine over the fade
        EXPECT_NEAR(x.FadeIn(i), 0.5 * (1.0 - std::cos((i + 0.5) * M_PI / 64.0)), 1e-7) << i;
    std::vector<float> dc(512, 1.0f);
    const float* ap[1] = {dc.data()};
    for (int i = 0; i < 20; ++i)
        x.ProcessFaded(512, ap); // settle: DC sits in the low band
    x.SetCutoff(0, 5000.0f);     // retune the active set in place...
    x.SetCutoff(0, 500.0f);      // ...and back, then fade to a freshly designed standby set
    x.BeginCutoffCrossfade();
    x.ProcessFaded(512, ap);
    // The new set starts from rest, so its low band rises from 0 while the old one fades out:
    // the sum over the fade stays within the two.
    const float* pLow = x.GetBandBuffer(0, 0);
    EXPECT_LT(pLow[0], 1.0f);
    EXPECT_GT(pLow[0], 0.9f); // almost all of it still the settled old set
    EXPECT_EQ(host.asserts.Total(), 0u);
}
