#include <gtest/gtest.h>
#include <vector>
#include "kvdspbase/dsp/firfilter.h"
#include "support/dspreference.h"
#include "support/testhost.h"

TEST(FirFilter, MatchesDirectConvolutionInBlocksOfAnyLength)
{
    TestHost host;
    const std::vector<float> h = RefNoise(45, 10), x = RefNoise(700, 11);
    FirFilter filter(h.data(), 45);
    std::vector<float> y(700);
    size_t uDone = 0;
    for (uint32_t uBlock : {1u, 64u, 0u, 3u, 300u, 332u}) {
        filter.Process(uBlock, x.data() + uDone, y.data() + uDone);
        uDone += uBlock;
    }
    EXPECT_LT(RefMaxError(y, RefConvolution(x, h)), 1e-5); // 45 float products below 1
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(FirFilter, CleansNearZeroValuesOnTheWayInAndOut)
{
    TestHost host;
    const float fOne = 1.0f, fSmall = 1e-6f;
    FirFilter unit(&fOne, 1), quiet(&fSmall, 1);
    // Inside +-1e-10 becomes 0; the bounds themselves stay.
    const float afIn[5] = {5e-11f, -5e-11f, 1e-10f, -1e-10f, 0.25f}, afExpected[5] = {0, 0, 1e-10f, -1e-10f, 0.25f};
    float afOut[5];
    unit.Process(5, afIn, afOut);
    EXPECT_TRUE(std::equal(afOut, afOut + 5, afExpected));
    // 1e-5 through a tap of 1e-6 gives 1e-11: cleared on the way out, but not by the
    // unscratched single-sample path.
    float fIn = 1e-5f, fOut = 1.0f;
    quiet.Process(1, &fIn, &fOut);
    EXPECT_EQ(fOut, 0.0f);
    EXPECT_NEAR(quiet.ProcessSample(1e-5f), 1e-11, 1e-17);
}

// Same length: the line is kept or cleared as asked. Another length: a new, zeroed state, and
// the dropped one stays allocated (required, not an accident).
TEST(FirFilter, SetTapsKeepsOrClearsTheLine)
{
    TestHost host;
    const std::vector<float> a = RefNoise(16, 12), b = RefNoise(16, 13), c = RefNoise(12, 16), x = RefNoise(200, 14);
    FirFilter kept(a.data(), 16), cleared(a.data(), 16), resized(a.data(), 16);
    std::vector<float> y(200), z(200), w(200);
    kept.Process(100, x.data(), y.data());
    cleared.Process(100, x.data(), z.data());
    resized.Process(100, x.data(), w.data());
    const size_t uLive = host.allocator.LiveBlocks();
    kept.SetTaps(b.data(), 16, true);
    cleared.SetTaps(b.data(), 16, false);
    resized.SetTaps(c.data(), 12, true);
    EXPECT_EQ(host.allocator.LiveBlocks(), uLive + 3); // a new state, its taps and line
    kept.Process(100, x.data() + 100, y.data() + 100);
    cleared.Process(100, x.data() + 100, z.data() + 100);
    resized.Process(100, x.data() + 100, w.data() + 100);
    std::vector<float> late = x; // what a line starting from silence at 100 has heard
    std::fill(late.begin(), late.begin() + 100, 0.0f);
    const std::vector<double> rb = RefConvolution(x, b), rbLate = RefConvolution(late, b), rcLate = RefConvolution(late, c);
    for (size_t n = 100; n < 200; ++n) {
        EXPECT_NEAR(y[n], rb[n], 1e-5) << n; // old inputs still in the line
        EXPECT_NEAR(z[n], rbLate[n], 1e-5) << n;
        EXPECT_NEAR(w[n], rcLate[n], 1e-5) << n;
    }
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(FirFilter, EmptyOrFailedFilterLeavesTheAudioAlone)
{
    TestHost host;
    const float afTaps[3] = {1.0f, 2.0f, 3.0f};
    FirFilter empty(nullptr, 4);
    host.allocator.FailAt(1);
    FirFilter failed(afTaps, 3);
    EXPECT_TRUE(empty.IsEmpty() && failed.IsEmpty());
    float afAudio[2] = {0.5f, 0.75f};
    empty.Process(2, afAudio);
    failed.Process(2, afAudio);
    EXPECT_EQ(afAudio[1], 0.75f);
    EXPECT_EQ(empty.ProcessSample(0.5f), 0.5f);
    EXPECT_EQ(host.asserts.Count("false"), 3u);
}
