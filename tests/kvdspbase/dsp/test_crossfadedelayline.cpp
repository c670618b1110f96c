#include <gtest/gtest.h>
#include <vector>
#include "kvdspbase/dsp/crossfadedelayline.h"
#include "support/testhost.h"

namespace {

std::vector<float> Ramp(size_t n, float start)
{
    std::vector<float> v(n);
    for (size_t i = 0; i < n; ++i)
        v[i] = start + static_cast<float>(i);
    return v;
}

// The delayed input, or 0 before the start.
double At(const std::vector<float>& x, long t)
{
    return t >= 0 ? x[static_cast<size_t>(t)] : 0.0;
}

} // namespace

TEST(CrossfadeDelayLine, FixedDelayBeforeRunning)
{
    TestHost host;
    for (uint32_t d : {0u, 1u, 37u, 99u}) {
        CrossfadeDelayLine line(100);
        line.SetDelay(d);
        EXPECT_EQ(line.GetDelay(), d);
        const std::vector<float> x = Ramp(300, 1.0f);
        std::vector<float> y = x;
        line.Process(120, y.data());
        line.Process(180, y.data() + 120);
        for (long t = 0; t < 300; ++t)
            EXPECT_EQ(y[t], At(x, t - static_cast<long>(d))) << "d=" << d << " t=" << t;
    }
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(CrossfadeDelayLine, NewDelayBlendsOver127Samples)
{
    TestHost host;
    CrossfadeDelayLine line(256);
    line.SetDelay(10);
    const std::vector<float> x = Ramp(600, 1.0f);
    std::vector<float> y = x;
    line.Process(50, y.data());
    line.SetDelay(40); // the line has run: waits for the next sample
    EXPECT_EQ(line.GetDelay(), 40u);
    const uint64_t uAllocs = host.allocator.AllocCalls();
    line.Process(550, y.data() + 50);
    EXPECT_EQ(host.allocator.AllocCalls(), uAllocs);
    // Weights k/128 on the new position for k = 1..127, then the new position alone.
    for (long t = 50; t < 600; ++t) {
        const long k = t - 50 + 1;
        const double w = k < 128 ? k / 128.0 : 1.0;
        const double want = (1 - w) * At(x, t - 10) + w * At(x, t - 40);
        EXPECT_NEAR(y[t], want, 1e-4) << t; // float blend of values up to 600
    }
    EXPECT_EQ(line.GetDelay(), 40u);
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(CrossfadeDelayLine, PendingDelaysWaitForTheRunningFade)
{
    TestHost host;
    CrossfadeDelayLine line(512);
    line.SetDelay(5);
    const std::vector<float> x = Ramp(800, 1.0f);
    std::vector<float> y = x;
    line.Process(10, y.data());
    line.SetDelay(100);
    line.SetDelay(20); // replaces 100 before it started
    line.Process(30, y.data() + 10);
    line.SetDelay(60); // arrives during the fade to 20: waits for its end
    line.Process(760, y.data() + 40);
    for (long t = 10; t < 800; ++t) {
        double want;
        if (t < 10 + 127) {
            const double w = (t - 10 + 1) / 128.0;
            want = (1 - w) * At(x, t - 5) + w * At(x, t - 20);
        } else {
            // The first fade ended with its 127th sample; the waiting one starts at once.
            const long k = t - (10 + 127) + 1;
            const double w = k < 128 ? k / 128.0 : 1.0;
            want = (1 - w) * At(x, t - 20) + w * At(x, t - 60);
        }
        EXPECT_NEAR(y[t], want, 1e-4) << t;
    }
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(CrossfadeDelayLine, ResetKeepsDelayAndJumpsWithoutFade)
{
    TestHost host;
    CrossfadeDelayLine line(64);
    line.SetDelay(8);
    std::vector<float> y = Ramp(100, 1.0f);
    line.Process(100, y.data());
    line.Reset();
    EXPECT_EQ(line.GetDelay(), 8u);
    std::vector<float> z(20, 0.0f);
    line.Process(20, z.data());
    EXPECT_EQ(z, std::vector<float>(20, 0.0f)); // memory cleared
    line.Reset();
    line.SetDelay(3); // not yet run after the reset: takes effect at once
    const std::vector<float> x = Ramp(50, 1.0f);
    std::vector<float> w = x;
    line.Process(50, w.data());
    for (long t = 0; t < 50; ++t)
        EXPECT_EQ(w[t], At(x, t - 3)) << t;
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(CrossfadeDelayLine, DelayAtCapacityIsRefused)
{
    TestHost host;
    CrossfadeDelayLine line(32);
    line.SetDelay(7);
    line.SetDelay(32);
    EXPECT_EQ(host.asserts.Count("false"), 1u);
    EXPECT_EQ(line.GetDelay(), 7u); // unchanged
    line.SetDelay(31);
    EXPECT_EQ(host.asserts.Total(), 1u);
    EXPECT_EQ(line.GetDelay(), 31u);
}
