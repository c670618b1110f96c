// The IIR filters' fused paths bit for bit against the plain ones: ProcessChain against the
// sections run one after another (one to four, over uneven block lengths), the inline biquad
// against ProcessSample, a first-order section run from locals against Process, and the
// two-channel pair (SSE2 lanes) against two chains.
#include <gtest/gtest.h>
#include <cmath>
#include <algorithm>
#include <cstring>
#include <memory>
#include <random>
#include <vector>
#include "kvdspbase/dsp/filtercoeffs.h"
#include "kvdspbase/dsp/iirfilter.h"
#include "kvdspbase/dsp/iirfilterfast.h"
#include "support/testhost.h"

TEST(IirFilterChain, EqualsSectionsOneAfterAnother)
{
    TestHost host;
    // Near the unit circle (20 Hz high pass) and far from it, so both recursions carry history.
    const struct { int iKind; double fHz, fGainDb; } designs[] = {
        {0, 20.0, 0.0}, {1, 1000.0, 6.0}, {2, 8000.0, -4.0}, {1, 120.0, -12.0}};
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> dist(-1.0f, 1.0f);
    std::vector<float> input(3000);
    for (float& f : input)
        f = dist(rng);
    for (uint32_t uCount = 1; uCount <= IirFilter::MAX_CHAIN; ++uCount) {
        std::vector<std::unique_ptr<IirFilter>> chain, separate;
        for (uint32_t s = 0; s < uCount; ++s) {
            double c[6];
            if (designs[s].iKind == 0)
                DesignHighPass(c, 48000.0, designs[s].fHz, 0.7071);
            else if (designs[s].iKind == 1)
                DesignPeaking(c, 48000.0, designs[s].fHz, designs[s].fGainDb, 1.0);
            else
                DesignHighShelf(c, 48000.0, designs[s].fHz, designs[s].fGainDb, 0.5);
            chain.emplace_back(new IirFilter(2, c, 1));
            separate.emplace_back(new IirFilter(2, c, 1));
            ASSERT_TRUE(chain.back()->IsSingleBiquad());
        }
        std::vector<IirFilter*> pointers;
        for (auto& p : chain)
            pointers.push_back(p.get());
        std::vector<float> a = input, b = input;
        for (size_t uStart = 0, uBlock = 1; uStart < a.size(); uStart += uBlock, uBlock = uBlock * 3 % 701 + 1) {
            const uint32_t n = static_cast<uint32_t>(std::min(uBlock, a.size() - uStart));
            IirFilter::ProcessChain(n, a.data() + uStart, pointers.data(), uCount);
            for (auto& p : separate)
                p->Process(n, b.data() + uStart);
        }
        EXPECT_EQ(0, std::memcmp(a.data(), b.data(), a.size() * sizeof(float))) << uCount;
    }
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(IirFilterChain, InlineSampleEqualsProcessSample)
{
    TestHost host;
    double c[6];
    DesignLowPass(c, 48000.0, 30.0, 4.0); // close to the unit circle: a long, ringing history
    IirFilter inlined(2, c, 1), called(2, c, 1);
    ASSERT_TRUE(inlined.IsSingleBiquad());
    // An impulse, then silence long enough for the anti-denormal offset to decide the state.
    for (int n = 0; n < 200000; ++n) {
        const float x = n == 0 ? 1.0f : 0.0f;
        const float a = inlined.ProcessSampleBiquad(x), b = called.ProcessSample(x);
        ASSERT_EQ(std::memcmp(&a, &b, sizeof a), 0) << n;
    }
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(IirFilterChain, FirstOrderInLocalsEqualsProcess)
{
    TestHost host;
    // A one-pole low pass at 250 Hz (b0 = b1 = k / (1 + k), a1 = (k - 1) / (k + 1), k = tan(pi fc / fs)).
    const float k = std::tan(3.14159265f * 250.0f / 48000.0f);
    const float taps[4] = {k / (1.0f + k), k / (1.0f + k), 1.0f, (k - 1.0f) / (k + 1.0f)};
    IirFilterFast inLocals(1, taps, 1), processed(1, taps, 1);
    QwIppFirstOrder32f section;
    ASSERT_TRUE(inLocals.LoadFirstOrder(section));
    std::vector<float> x(5000, 0.0f), a(x.size()), b(x.size());
    x[0] = 1.0f; // then silence, where the anti-denormal offset decides the state
    for (size_t n = 0; n < x.size(); ++n)
        a[n] = section.Run(x[n]);
    inLocals.StoreFirstOrder(section);
    processed.Process(static_cast<uint32_t>(x.size()), x.data(), b.data());
    EXPECT_EQ(0, std::memcmp(a.data(), b.data(), a.size() * sizeof(float)));
    // The state went back: both carry on alike.
    float fA = 0.5f, fB = 0.5f;
    inLocals.Process(1, &fA);
    processed.Process(1, &fB);
    EXPECT_EQ(fA, fB);
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(IirFilterChain, PairEqualsTwoChains)
{
    TestHost host;
    // Different designs on the two channels, so that a lane mix-up shows.
    double low[6], peak[6], high[6], band[6];
    DesignHighPass(low, 48000.0, 25.0, 0.7);
    DesignPeaking(peak, 48000.0, 1000.0, 6.0, 1.0);
    DesignLowPass(high, 48000.0, 9000.0, 0.7);
    DesignBandPass(band, 48000.0, 300.0, 2.0);
    const double* const designs[2][3] = {{low, peak, high}, {band, high, low}};
    std::mt19937 rng(11);
    std::uniform_real_distribution<float> dist(-1.0f, 1.0f);
    for (uint32_t uCount = 1; uCount <= 3; ++uCount) {
        std::vector<std::unique_ptr<IirFilter>> filters[2][2]; // [channel][pair or single]
        IirFilter* apPair[2][3];
        IirFilter* apSingle[2][3];
        std::vector<float> pair[2], single[2];
        for (int c = 0; c < 2; ++c) {
            for (uint32_t s = 0; s < uCount; ++s) {
                filters[c][0].emplace_back(new IirFilter(2, designs[c][s], 1));
                filters[c][1].emplace_back(new IirFilter(2, designs[c][s], 1));
                apPair[c][s] = filters[c][0].back().get();
                apSingle[c][s] = filters[c][1].back().get();
            }
            pair[c].resize(4000);
            for (float& f : pair[c])
                f = dist(rng);
            // Then silence, where the anti-denormal offset decides.
            std::fill(pair[c].begin() + 3000, pair[c].end(), 0.0f);
            single[c] = pair[c];
        }
        for (uint32_t uStart = 0; uStart < 4000; uStart += 500) {
            IirFilter::ProcessChainPair(500, pair[0].data() + uStart, pair[1].data() + uStart, apPair[0], apPair[1],
                                        uCount);
            for (int c = 0; c < 2; ++c)
                IirFilter::ProcessChain(500, single[c].data() + uStart, apSingle[c], uCount);
        }
        for (int c = 0; c < 2; ++c)
            EXPECT_EQ(0, std::memcmp(pair[c].data(), single[c].data(), 4000 * sizeof(float))) << uCount << " " << c;
    }
    EXPECT_EQ(host.asserts.Total(), 0u);
}
