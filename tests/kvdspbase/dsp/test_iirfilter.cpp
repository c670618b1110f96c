// IirFilter (double recursion) and IirFilterFast (its float twin): both share IirFilterBase.
#include <gtest/gtest.h>
#include <algorithm>
#include <cmath>
#include <vector>
#include "ipp/iirreference.h"
#include "kvdspbase/dsp/filtercoeffs.h"
#include "kvdspbase/dsp/iirfilter.h"
#include "kvdspbase/dsp/iirfilterfast.h"
#include "support/dspreference.h"
#include "support/testhost.h"

// Process's internal 256-sample chunks also carry the state bit for bit like in-place cuts of 700
// and like single samples. Failed allocations of the effects' filters are swept by the module's
// allocation test.
TEST(IirFilter, MatchesLongDoubleDifferenceEquationInAnyCuts)
{
    TestHost host;
    double taps[12], first[4];
    DesignLowPass(taps, 48000.0, 3000.0, 0.9);
    DesignPeaking(taps + 6, 48000.0, 700.0, 8.0, 2.0);
    DesignFirstOrderHighPass(first, 48000.0, 150.0, true);
    float tapsf[12];
    DesignLowPass(tapsf, 48000.0f, 5000.0f, 0.7071f);
    DesignHighPass(tapsf + 6, 48000.0f, 200.0f, 0.7071f);
    IirFilter cascade(2, taps, 2), direct(1, first, 1), pieces(2, taps, 2), single(2, taps, 2);
    IirFilterFast fast(2, tapsf, 2), fastPieces(2, tapsf, 2);
    const std::vector<float> x = RefNoise(3000, 1);
    std::vector<float> yc(x.size()), yd(x.size()), yf(x.size()), yp = x, yfp = x, ys(x.size());
    cascade.Process(3000, x.data(), yc.data());
    direct.Process(3000, x.data(), yd.data());
    fast.Process(3000, x.data(), yf.data());
    for (uint32_t uStart = 0; uStart < 3000; uStart += 700) {
        pieces.Process(std::min(700u, 3000 - uStart), yp.data() + uStart);
        fastPieces.Process(std::min(700u, 3000 - uStart), yfp.data() + uStart);
    }
    for (size_t n = 0; n < x.size(); ++n)
        ys[n] = single.ProcessSample(x[n]);
    EXPECT_TRUE(yp == yc && ys == yc && yfp == yf);
    const std::vector<long double> xl(x.begin(), x.end());
    const std::vector<long double> rc = RefIir(xl, taps, 2, 2), rd = RefIir(xl, first, 1), rf = RefIir(xl, tapsf, 2, 2);
    for (size_t n = 0; n < x.size(); ++n) {
        // float output rounding (6e-8 of values below 8) and the 1e-10 offset's DC share
        EXPECT_NEAR(yc[n], static_cast<double>(rc[n]), 1e-6) << n;
        EXPECT_NEAR(yd[n], static_cast<double>(rd[n]), 1e-6) << n;
        // Float recursion: the 200 Hz high-pass has poles at radius 0.98, so each step's rounding
        // (3e-8) is carried for about 1 / (1 - r) = 50 samples: errors of a few 1e-6.
        EXPECT_NEAR(yf[n], static_cast<double>(rf[n]), 1e-5) << n;
    }
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(IirFilter, RetuningWithAndWithoutKeptState)
{
    TestHost host;
    double oldTaps[4], newTaps[4];
    DesignFirstOrderLowPass(oldTaps, 48000.0, 500.0, false);
    DesignFirstOrderLowPass(newTaps, 48000.0, 4000.0, false);
    const std::vector<float> x = RefNoise(400, 4);
    IirFilter kept(1, oldTaps, 1), cleared(1, oldTaps, 1), fresh(1, newTaps, 1);
    std::vector<float> y(200), a(200), b(200);
    kept.Process(200, x.data(), y.data());
    cleared.Process(200, x.data(), y.data());
    // Kept: the first new output uses the old section's last delay. Working for first order
    // (transposed direct form): z = b1 x[n-1] - a1 y[n-1] + 1e-10, so y = b0' x + z.
    kept.SetTaps(newTaps, true);
    const double dZ = oldTaps[1] * x[199] - oldTaps[3] * static_cast<double>(y[199]) + 1e-10;
    EXPECT_NEAR(kept.ProcessSample(x[200]), newTaps[0] * x[200] + dZ, 1e-6); // y[199] is a float image
    // Cleared: exactly a filter built with the new taps.
    cleared.SetTaps(newTaps, false);
    cleared.Process(200, x.data() + 200, a.data());
    fresh.Process(200, x.data() + 200, b.data());
    EXPECT_EQ(a, b);
    kept.Reset(); // clears the history: silence in, silence out, the offset starting from there
    EXPECT_EQ(kept.ProcessSample(0.0f), 0.0f);
    // Each section is divided by its own a0.
    IirFilter scaled(2, nullptr, 2);
    const double raw[12] = {2, 4, 2, 2, 1, 0.5, 3, 0, 0, 4, 2, 1};
    scaled.SetTaps(raw, false);
    common_vector<double> got;
    got.resize(12);
    scaled.GetTaps(got);
    const double expected[12] = {1, 2, 1, 1, 0.5, 0.25, 0.75, 0, 0, 1, 0.5, 0.25};
    EXPECT_TRUE(std::equal(got.begin(), got.end(), expected));
    EXPECT_EQ(host.asserts.Total(), 0u);
}
