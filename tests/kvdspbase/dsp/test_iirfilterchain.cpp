// The IIR filters' fused paths bit for bit against the plain ones: ProcessChain and the
// two-channel pair (SSE2 lanes) against the sections run one after another, the inline biquad
// against ProcessSample, a first-order section run from locals against Process.
#include <gtest/gtest.h>
#include <cmath>
#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>
#include "kvdspbase/dsp/filtercoeffs.h"
#include "kvdspbase/dsp/iirfilter.h"
#include "kvdspbase/dsp/iirfilterfast.h"
#include "support/dspreference.h"
#include "support/testhost.h"

// Sections near the unit circle (20 Hz high pass) and far from it, so that the recursions carry
// history; channel 1 runs them in another order, so that a lane mix-up shows. The input ends in
// silence, where the anti-denormal offset decides. Uneven block lengths.
TEST(IirFilterChain, ChainAndPairEqualSectionsOneAfterAnother)
{
    TestHost host;
    double d[5][6];
    DesignHighPass(d[0], 48000.0, 20.0, 0.7071);
    DesignPeaking(d[1], 48000.0, 1000.0, 6.0, 1.0);
    DesignHighShelf(d[2], 48000.0, 8000.0, -4.0, 0.5);
    DesignPeaking(d[3], 48000.0, 120.0, -12.0, 1.0);
    DesignBandPass(d[4], 48000.0, 300.0, 2.0);
    std::vector<float> input[2] = {RefNoise(4000, 7), RefNoise(4000, 11)};
    for (auto& v : input)
        std::fill(v.begin() + 3000, v.end(), 0.0f);
    for (uint32_t uCount = 1; uCount <= IirFilter::MAX_CHAIN; ++uCount) {
        std::vector<std::unique_ptr<IirFilter>> owned;
        std::vector<IirFilter*> p[3][2]; // [one by one, chain, pair][channel]
        std::vector<float> y[3][2];
        for (auto& way : p)
            for (uint32_t c = 0; c < 2; ++c)
                for (uint32_t s = 0; s < uCount; ++s) {
                    owned.emplace_back(new IirFilter(2, d[c ? 4 - s : s], 1));
                    way[c].push_back(owned.back().get());
                }
        for (auto& way : y)
            std::copy(input, input + 2, way);
        for (size_t uStart = 0, uBlock = 1; uStart < 4000; uStart += uBlock, uBlock = uBlock * 3 % 701 + 1) {
            const uint32_t n = static_cast<uint32_t>(std::min<size_t>(uBlock, 4000 - uStart));
            for (uint32_t c = 0; c < 2; ++c) {
                for (IirFilter* f : p[0][c])
                    f->Process(n, y[0][c].data() + uStart);
                IirFilter::ProcessChain(n, y[1][c].data() + uStart, p[1][c].data(), uCount);
            }
            IirFilter::ProcessChainPair(n, y[2][0].data() + uStart, y[2][1].data() + uStart, p[2][0].data(),
                                        p[2][1].data(), uCount);
        }
        for (int w = 1; w < 3; ++w)
            for (int c = 0; c < 2; ++c)
                EXPECT_EQ(0, std::memcmp(y[w][c].data(), y[0][c].data(), 4000 * sizeof(float)))
                    << uCount << " way " << w << " channel " << c;
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
