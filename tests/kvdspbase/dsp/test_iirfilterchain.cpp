// IirFilter::ProcessChain against the filters run one after another with Process: bit for bit,
// for chains of one to four sections, over block lengths that split the signal unevenly.
#include <gtest/gtest.h>
#include <cstring>
#include <memory>
#include <random>
#include <vector>
#include "kvdspbase/dsp/filtercoeffs.h"
#include "kvdspbase/dsp/iirfilter.h"
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
