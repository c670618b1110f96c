#include <gtest/gtest.h>
#include <random>
#include <vector>
#include "kvdspbase/dsp/filtercoeffs.h"
#include "kvdspbase/dsp/iirfilterfast.h"
#include "support/testhost.h"

namespace
{
std::vector<float> Noise(size_t n, uint32_t uSeed)
{
    std::mt19937 rng(uSeed);
    std::uniform_real_distribution<float> dist(-1.0f, 1.0f);
    std::vector<float> v(n);
    for (float& x : v)
        x = dist(rng);
    return v;
}
} // namespace

TEST(IirFilterFast, MatchesLongDoubleDifferenceEquation)
{
    TestHost host;
    float taps[12];
    DesignLowPass(taps, 48000.0f, 5000.0f, 0.7071f);
    DesignHighPass(taps + 6, 48000.0f, 200.0f, 0.7071f);
    IirFilterFast filter(2, taps, 2);
    const std::vector<float> x = Noise(2000, 8);
    std::vector<float> y(2000);
    filter.Process(2000, x.data(), y.data());
    // Reference: y = (sum b x - sum a y) per section, long double, float coefficients as given.
    std::vector<long double> v(x.begin(), x.end());
    for (int s = 0; s < 2; ++s) {
        const float* c = taps + 6 * s;
        std::vector<long double> w(v.size());
        for (size_t n = 0; n < v.size(); ++n) {
            long double acc = c[0] * v[n];
            if (n >= 1)
                acc += c[1] * v[n - 1] - c[4] * w[n - 1];
            if (n >= 2)
                acc += c[2] * v[n - 2] - c[5] * w[n - 2];
            w[n] = acc;
        }
        v = w;
    }
    for (size_t n = 0; n < x.size(); ++n)
        // Float recursion: the 200 Hz high-pass has poles at radius 0.98, so each step's rounding
        // (3e-8) is carried for about 1 / (1 - r) = 50 samples: errors of a few 1e-6.
        EXPECT_NEAR(y[n], static_cast<double>(v[n]), 1e-5) << n;
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(IirFilterFast, ChunksCarryStateAndDefaultsPassThrough)
{
    TestHost host;
    float first[4];
    DesignFirstOrderLowPass(first, 48000.0f, 800.0f, true);
    IirFilterFast whole(1, first, 1), pieces(1, first, 1);
    const std::vector<float> x = Noise(1000, 9);
    std::vector<float> a(1000), b = x;
    whole.Process(1000, x.data(), a.data());
    pieces.Process(256, b.data());
    pieces.Process(256, b.data() + 256);
    pieces.Process(256, b.data() + 512);
    pieces.Process(232, b.data() + 768);
    EXPECT_EQ(a, b);

    IirFilterFast pass(2, nullptr, 3);
    std::vector<float> loud(500);
    for (size_t i = 0; i < loud.size(); ++i)
        loud[i] = x[i] >= 0 ? x[i] + 0.01f : x[i] - 0.01f; // above 2^-7: the 1e-10 offset vanishes
    std::vector<float> out(500);
    pass.Process(500, loud.data(), out.data());
    EXPECT_EQ(out, loud);
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(IirFilterFast, InvalidShapesAndEmptyBlocks)
{
    TestHost host;
    IirFilterFast bad(3, nullptr, 2);
    EXPECT_FALSE(bad.HasState());
    float afAudio[2] = {0.5f, 0.25f};
    bad.Process(2, afAudio);
    EXPECT_EQ(afAudio[0], 0.5f);
    EXPECT_EQ(host.asserts.Count("false"), 2u);
    IirFilterFast good(2, nullptr, 1);
    const uint64_t uCalls = host.allocator.AllocCalls();
    good.Process(0, afAudio);
    good.Process(2, afAudio);
    EXPECT_EQ(host.allocator.AllocCalls(), uCalls);
    EXPECT_EQ(host.asserts.Count("false"), 2u);
}
