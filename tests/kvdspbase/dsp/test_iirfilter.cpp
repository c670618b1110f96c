#include <gtest/gtest.h>
#include <cfloat>
#include <cmath>
#include <complex>
#include <random>
#include <vector>
#include "kvdspbase/dsp/filtercoeffs.h"
#include "kvdspbase/dsp/iirfilter.h"
#include "support/testhost.h"

namespace
{
std::vector<float> Noise(size_t n, uint32_t uSeed, float fLow = 0.0f)
{
    std::mt19937 rng(uSeed);
    std::uniform_real_distribution<float> dist(fLow, 1.0f);
    std::vector<float> v(n);
    for (size_t i = 0; i < n; ++i)
        v[i] = (i % 2 ? -1.0f : 1.0f) * dist(rng);
    return v;
}

// Direct-form difference equation of one section in long double.
std::vector<long double> Section(const std::vector<long double>& x, const double* c, uint32_t uOrder)
{
    std::vector<long double> y(x.size());
    for (size_t n = 0; n < x.size(); ++n) {
        long double acc = 0.0L;
        for (uint32_t k = 0; k <= uOrder && k <= n; ++k)
            acc += static_cast<long double>(c[k]) * x[n - k];
        for (uint32_t k = 1; k <= uOrder && k <= n; ++k)
            acc -= static_cast<long double>(c[uOrder + 1 + k]) * y[n - k];
        y[n] = acc / c[uOrder + 1];
    }
    return y;
}
} // namespace

TEST(IirFilter, MatchesLongDoubleDifferenceEquation)
{
    TestHost host;
    double taps[12];
    DesignLowPass(taps, 48000.0, 3000.0, 0.9);
    DesignPeaking(taps + 6, 48000.0, 700.0, 8.0, 2.0);
    double first[4];
    DesignFirstOrderHighPass(first, 48000.0, 150.0, true);
    IirFilter cascade(2, taps, 2);
    IirFilter direct(1, first, 1);
    ASSERT_TRUE(cascade.HasState());
    ASSERT_TRUE(direct.HasState());

    const std::vector<float> x = Noise(3000, 1);
    std::vector<float> yc(x.size()), yd(x.size());
    cascade.Process(static_cast<uint32_t>(x.size()), x.data(), yc.data());
    direct.Process(static_cast<uint32_t>(x.size()), x.data(), yd.data());
    const std::vector<long double> xl(x.begin(), x.end());
    const std::vector<long double> rc = Section(Section(xl, taps, 2), taps + 6, 2);
    const std::vector<long double> rd = Section(xl, first, 1);
    for (size_t n = 0; n < x.size(); ++n) {
        // float output rounding (6e-8 of values below 8) and the 1e-10 offset's DC share
        EXPECT_NEAR(yc[n], static_cast<double>(rc[n]), 1e-6) << n;
        EXPECT_NEAR(yd[n], static_cast<double>(rd[n]), 1e-6) << n;
    }
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(IirFilter, ChunksCarryStateAcrossBlocks)
{
    TestHost host;
    double taps[12];
    DesignHighShelf(taps, 44100.0, 5000.0, -6.0, 0.8);
    DesignBandPass(taps + 6, 44100.0, 900.0, 3.0);
    IirFilter whole(2, taps, 2), pieces(2, taps, 2), single(2, taps, 2);
    const std::vector<float> x = Noise(1000, 2);
    std::vector<float> a(1000), b = x, c(1000);
    whole.Process(1000, x.data(), a.data());                  // 256 + 256 + 256 + 232 inside
    for (uint32_t uStart : {0u, 256u, 512u})                  // the same cuts, made by hand,
        pieces.Process(256, b.data() + uStart);               // in place
    pieces.Process(232, b.data() + 768);
    for (size_t n = 0; n < x.size(); ++n)
        c[n] = single.ProcessSample(x[n]);
    EXPECT_EQ(a, b);
    EXPECT_EQ(a, c);
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(IirFilter, DefaultTapsPassThrough)
{
    TestHost host;
    IirFilter filter(2, nullptr, 1);
    common_vector<double> got;
    got.resize(6);
    filter.GetTaps(got);
    const double pass[6] = {1, 0, 0, 1, 0, 0};
    EXPECT_TRUE(std::equal(got.begin(), got.end(), pass));
    // Above 2^-8 in magnitude the 1e-10 offset of the last delay is below half a float ulp,
    // so the round trip through double is exact.
    const std::vector<float> x = Noise(600, 3, 0.004f);
    std::vector<float> y(600);
    filter.Process(600, x.data(), y.data());
    EXPECT_EQ(x, y);
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(IirFilter, RetuningWithAndWithoutKeptState)
{
    TestHost host;
    double oldTaps[4], newTaps[4];
    DesignFirstOrderLowPass(oldTaps, 48000.0, 500.0, false);
    DesignFirstOrderLowPass(newTaps, 48000.0, 4000.0, false);
    const std::vector<float> x = Noise(400, 4);
    IirFilter kept(1, oldTaps, 1), cleared(1, oldTaps, 1), fresh(1, newTaps, 1), same(1, oldTaps, 1),
        reference(1, oldTaps, 1);
    std::vector<float> y(400), ref(400);
    reference.Process(400, x.data(), ref.data());
    for (IirFilter* f : {&kept, &cleared, &same})
        f->Process(200, x.data(), y.data());
    const float fLastIn = x[199], fLastOut = y[199];

    // Same taps again with the state kept: indistinguishable from no retune at all.
    same.SetTaps(oldTaps, true);
    same.Process(200, x.data() + 200, y.data() + 200);
    EXPECT_TRUE(std::equal(y.begin() + 200, y.end(), ref.begin() + 200));

    // Kept: the first new output uses the old section's last delay. Working for first order
    // (transposed direct form): z = b1 x[n-1] - a1 y[n-1] + 1e-10, so y = b0' x + z.
    kept.SetTaps(newTaps, true);
    const float fKept = kept.ProcessSample(x[200]);
    const double dZ = oldTaps[1] * fLastIn - oldTaps[3] * static_cast<double>(fLastOut) + 1e-10;
    // fLastOut is the float image of the double y: 6e-8 relative
    EXPECT_NEAR(fKept, newTaps[0] * x[200] + dZ, 1e-6);

    // Cleared: exactly a filter built with the new taps.
    cleared.SetTaps(newTaps, false);
    std::vector<float> a(200), b(200);
    cleared.Process(200, x.data() + 200, a.data());
    fresh.Process(200, x.data() + 200, b.data());
    EXPECT_EQ(a, b);
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(IirFilter, SetTapsNormalisesEachSection)
{
    TestHost host;
    IirFilter filter(2, nullptr, 2);
    double taps[12] = {2, 4, 2, 2, 1, 0.5, 3, 0, 0, 4, 2, 1};
    filter.SetTaps(taps, false);
    common_vector<double> got;
    got.resize(12);
    filter.GetTaps(got);
    const double expected[12] = {1, 2, 1, 1, 0.5, 0.25, 0.75, 0, 0, 1, 0.5, 0.25};
    EXPECT_TRUE(std::equal(got.begin(), got.end(), expected));
    EXPECT_EQ(host.asserts.Total(), 0u);
    // A vanishing a0 is reported and not stepped over: the second section is tested against the
    // first section's a0 again, so it is reported too and neither section is scaled.
    double bad[12] = {1, 0, 0, 0, 0, 0, 2, 0, 0, 2, 0, 0};
    filter.SetTaps(bad, false);
    EXPECT_EQ(host.asserts.Count("false"), 2u);
    filter.GetTaps(got);
    EXPECT_TRUE(std::equal(got.begin(), got.end(), bad));
    common_vector<double> wrong;
    wrong.resize(5, 9.0);
    filter.GetTaps(wrong);
    EXPECT_EQ(host.asserts.Count("false"), 3u);
    EXPECT_EQ(wrong[0], 9.0);
}

// With zero input the offset on the last delay keeps every value out of the denormal range;
// the output settles where the offset balances the feedback, 1e-10 / (1 + a1 + a2).
TEST(IirFilter, SilenceAfterSignalNeverGoesDenormal)
{
    TestHost host;
    double taps[6];
    DesignLowPass(taps, 48000.0, 2000.0, 0.7071);
    IirFilter filter(2, taps, 1);
    std::vector<float> x = Noise(100, 5);
    filter.Process(100, x.data());
    std::vector<float> y(48000, 0.0f);
    filter.Process(48000, y.data());
    for (float v : y)
        EXPECT_TRUE(v == 0.0f || std::fabs(v) >= FLT_MIN);
    const double dFixed = 1e-10 / (1.0 + taps[4] + taps[5]);
    EXPECT_NEAR(y.back(), dFixed, 1e-6 * dFixed);
    // Reset clears the history, but the offset starts again from there.
    filter.Reset();
    EXPECT_EQ(filter.ProcessSample(0.0f), 0.0f);
}

TEST(IirFilter, InvalidShapesLeaveAFilterThatDoesNothing)
{
    TestHost host;
    IirFilter noOrder(0, nullptr, 1);
    EXPECT_FALSE(noOrder.HasState());
    EXPECT_EQ(host.asserts.Count("false"), 1u);
    IirFilter oddCascade(3, nullptr, 2);
    EXPECT_FALSE(oddCascade.HasState());
    EXPECT_EQ(host.asserts.Count("false"), 2u);
    float afAudio[3] = {0.5f, -0.25f, 0.125f};
    oddCascade.Process(3, afAudio);
    EXPECT_EQ(afAudio[1], -0.25f);
    EXPECT_EQ(oddCascade.ProcessSample(0.75f), 0.75f);
    oddCascade.SetTaps(nullptr, false);
    EXPECT_EQ(host.asserts.Count("false"), 5u);

    IirFilter ok(2, nullptr, 1);
    ok.Process(0, nullptr, nullptr); // nothing to do, nothing read
    EXPECT_EQ(host.asserts.Count("false"), 5u);
}

TEST(IirFilter, AllocatesOnlyInConstruction)
{
    TestHost host;
    double taps[6];
    DesignPeaking(taps, 48000.0, 1000.0, 3.0, 1.0);
    IirFilter filter(2, taps, 1);
    const uint64_t uCalls = host.allocator.AllocCalls();
    std::vector<float> x = Noise(2000, 6);
    filter.Process(2000, x.data());
    filter.Process(7, x.data());
    filter.SetTaps(taps, true);
    filter.Process(300, x.data());
    EXPECT_EQ(host.allocator.AllocCalls(), uCalls);
}

TEST(IirFilter, EveryConstructionAllocationMayFail)
{
    double taps[6];
    DesignPeaking(taps, 48000.0, 1000.0, 3.0, 1.0);
    uint64_t uCalls = 0;
    {
        TestHost host;
        IirFilter filter(2, taps, 1);
        uCalls = host.allocator.AllocCalls();
    }
    ASSERT_GT(uCalls, 3u);
    // The filter is then stateless or whole, and gives everything back.
    for (uint64_t k = 1; k <= uCalls; ++k) {
        TestHost host;
        host.allocator.FailAt(k);
        {
            IirFilter filter(2, taps, 1);
            EXPECT_TRUE(IsOutOfMemory());
            float fSample = 0.5f;
            filter.Process(1, &fSample);
        }
        EXPECT_TRUE(host.allocator.Balanced()) << k;
    }
}

// The all-pass from a delay curve has unit gain at every frequency, so white noise keeps its
// energy (to within the start-up transient).
TEST(IirFilter, GroupDelayAllPassKeepsEnergy)
{
    TestHost host;
    std::vector<double> delay(33);
    for (uint32_t i = 0; i < 33; ++i)
        delay[i] = 20.0 * std::exp(-static_cast<double>(i) / 6.0);
    std::vector<double> taps(6 * 4);
    IirFilter::DesignGroupDelayAllPass(taps.data(), delay.data(), 33, 4);
    IirFilter filter(2, taps.data(), 4);
    std::vector<float> x = Noise(48000, 7), y(48000);
    filter.Process(48000, x.data(), y.data());
    double dIn = 0.0, dOut = 0.0;
    for (size_t n = 0; n < x.size(); ++n) {
        dIn += static_cast<double>(x[n]) * x[n];
        dOut += static_cast<double>(y[n]) * y[n];
    }
    EXPECT_NEAR(dOut / dIn, 1.0, 2e-3); // energy still in the delay line at the end
}
