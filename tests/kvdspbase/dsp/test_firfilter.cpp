#include <gtest/gtest.h>
#include <random>
#include <vector>
#include "kvdspbase/dsp/firfilter.h"
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

// sum_k h[k] x[n - k] over the samples from uFirst on, in double.
double Convolve(const std::vector<float>& h, const std::vector<float>& x, size_t n, size_t uFirst = 0)
{
    double acc = 0.0;
    for (size_t k = 0; k < h.size() && k <= n - uFirst; ++k)
        acc += static_cast<double>(h[k]) * x[n - k];
    return acc;
}

const char* const kInvariant =
    "(m_pState && m_uNumCoeffs.IsValid() && m_uNumCoeffs > 0) || (!m_pState && !m_uNumCoeffs.IsValid())";
} // namespace

TEST(FirFilter, MatchesDirectConvolutionInBlocksOfAnyLength)
{
    TestHost host;
    const std::vector<float> h = Noise(45, 10);
    const std::vector<float> x = Noise(700, 11);
    FirFilter filter(h.data(), 45);
    std::vector<float> y(700);
    size_t uDone = 0;
    for (uint32_t uBlock : {1u, 64u, 0u, 3u, 300u, 332u}) {
        filter.Process(uBlock, x.data() + uDone, y.data() + uDone);
        uDone += uBlock;
    }
    ASSERT_EQ(uDone, 700u);
    for (size_t n = 0; n < 700; ++n)
        EXPECT_NEAR(y[n], Convolve(h, x, n), 1e-5) << n; // 45 float products below 1
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(FirFilter, CleansNearZeroValuesOnTheWayInAndOut)
{
    TestHost host;
    const float fOne = 1.0f;
    FirFilter unit(&fOne, 1);
    // Inside +-1e-10 becomes 0; the bounds themselves stay.
    float afIn[5] = {5e-11f, -5e-11f, 1e-10f, -1e-10f, 0.25f};
    float afOut[5];
    unit.Process(5, afIn, afOut);
    const float afExpected[5] = {0.0f, 0.0f, 1e-10f, -1e-10f, 0.25f};
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(afOut[i], afExpected[i]) << i;
    // Output cleaning: 1e-5 through a tap of 1e-6 gives 1e-11, cleared on the way out but not by
    // the unscratched single-sample path.
    const float fSmall = 1e-6f;
    FirFilter quiet(&fSmall, 1);
    float fIn = 1e-5f, fOut = 1.0f;
    quiet.Process(1, &fIn, &fOut);
    EXPECT_EQ(fOut, 0.0f);
    EXPECT_NEAR(quiet.ProcessSample(1e-5f), 1e-11, 1e-17);
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(FirFilter, SetTapsKeepsOrClearsTheLine)
{
    TestHost host;
    const std::vector<float> a = Noise(16, 12), b = Noise(16, 13);
    const std::vector<float> x = Noise(200, 14);
    FirFilter kept(a.data(), 16), cleared(a.data(), 16);
    std::vector<float> y(200), z(200);
    kept.Process(100, x.data(), y.data());
    cleared.Process(100, x.data(), z.data());
    kept.SetTaps(b.data(), 16, true);
    cleared.SetTaps(b.data(), 16, false);
    kept.Process(100, x.data() + 100, y.data() + 100);
    cleared.Process(100, x.data() + 100, z.data() + 100);
    for (size_t n = 100; n < 200; ++n) {
        EXPECT_NEAR(y[n], Convolve(b, x, n), 1e-5) << n;      // old inputs still in the line
        EXPECT_NEAR(z[n], Convolve(b, x, n, 100), 1e-5) << n; // starts from silence
    }
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(FirFilter, ChangeOfLengthLeaksTheOldState)
{
    TestHost host;
    const std::vector<float> a = Noise(8, 15), b = Noise(12, 16);
    const std::vector<float> x = Noise(50, 17);
    {
        FirFilter filter(a.data(), 8);
        std::vector<float> y(50);
        filter.Process(50, x.data(), y.data());
        filter.SetTaps(b.data(), 12, true); // a new state, zeroed line despite bKeepState
        filter.Process(50, x.data(), y.data());
        for (size_t n = 0; n < 50; ++n)
            EXPECT_NEAR(y[n], Convolve(b, x, n), 1e-5) << n;
    }
    // The dropped state, its taps and its line stay allocated: required, not an accident.
    EXPECT_EQ(host.allocator.LiveBlocks(), 3u);
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(FirFilter, OneTapAndEmptyFilters)
{
    TestHost host;
    const float fTap = 1.0f;
    FirFilter one(&fTap, 1);
    const std::vector<float> x = Noise(37, 18);
    std::vector<float> y(37);
    one.Process(37, x.data(), y.data());
    EXPECT_EQ(x, y);

    FirFilter empty(nullptr, 4);
    FirFilter empty2(&fTap, 0);
    empty.Reset();
    EXPECT_EQ(host.asserts.Total(), 0u);
    float afAudio[2] = {0.5f, 0.75f};
    empty.Process(2, afAudio);
    EXPECT_EQ(afAudio[1], 0.75f);
    EXPECT_EQ(empty2.ProcessSample(0.5f), 0.5f);
    empty.SetTaps(nullptr, 3, false);
    one.SetTaps(&fTap, 0, false);
    EXPECT_EQ(host.asserts.Count("false"), 4u);
    EXPECT_EQ(host.asserts.Count(kInvariant), 0u);
    EXPECT_TRUE(empty.IsEmpty());
}

TEST(FirFilter, ScratchGrowsOnlyForLongerBlocks)
{
    TestHost host;
    const std::vector<float> h = Noise(5, 19);
    FirFilter filter(h.data(), 5);
    std::vector<float> x = Noise(512, 20);
    filter.Process(512, x.data());
    const uint64_t uCalls = host.allocator.AllocCalls();
    filter.Process(100, x.data());
    filter.Process(512, x.data());
    filter.Process(0, x.data());
    EXPECT_EQ(host.allocator.AllocCalls(), uCalls);
    filter.Process(513, std::vector<float>(513).data());
    EXPECT_GT(host.allocator.AllocCalls(), uCalls);
}

TEST(FirFilter, FailedStateIsReportedByTheInvariant)
{
    TestHost host;
    const float afTaps[3] = {1.0f, 2.0f, 3.0f};
    host.allocator.FailAt(1);
    FirFilter filter(afTaps, 3);
    EXPECT_EQ(host.asserts.Count("m_pState"), 1u);
    EXPECT_TRUE(filter.IsEmpty());
    float fSample = 0.5f;
    filter.Process(1, &fSample);
    EXPECT_EQ(host.asserts.Count(kInvariant), 1u);
    EXPECT_EQ(host.asserts.Count("false"), 1u);
    EXPECT_EQ(fSample, 0.5f);
}
