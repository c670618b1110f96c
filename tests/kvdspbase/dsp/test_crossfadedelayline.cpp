#include <gtest/gtest.h>
#include <algorithm>
#include <vector>
#include "kvdspbase/dsp/crossfadedelayline.h"
#include "support/dspreference.h"
#include "support/testhost.h"

namespace {

// x[t - d], or 0 before the start.
double Delayed(long t, long d)
{
    return t - d >= 0 ? static_cast<double>(t - d + 1) : 0.0;
}

// A fade that started at t0: weight k / 128 on the new delay for its k-th sample, then 1.
double Faded(long t, long t0, long dOld, long dNew)
{
    const double w = std::min(1.0, (t - t0 + 1) / 128.0);
    return (1 - w) * Delayed(t, dOld) + w * Delayed(t, dNew);
}

} // namespace

// The second run follows a Reset: memory cleared, delay kept. A delay set after a Reset, before
// running, is a jump with no fade.
TEST(CrossfadeDelayLine, FixedDelayBeforeRunningAndAfterReset)
{
    TestHost host;
    for (uint32_t d : {0u, 1u, 37u, 99u}) {
        CrossfadeDelayLine line(100);
        line.SetDelay(d);
        EXPECT_EQ(line.GetDelay(), d);
        for (int iRun = 0; iRun < 2; ++iRun) {
            std::vector<float> y = RefRamp(300);
            line.Process(120, y.data());
            line.Process(180, y.data() + 120);
            for (long t = 0; t < 300; ++t)
                EXPECT_EQ(y[t], Delayed(t, d)) << d << " " << t; // 0 passes straight through
            line.Reset();
        }
        const uint32_t uJump = d / 2 + 3;
        line.SetDelay(uJump);
        std::vector<float> w = RefRamp(100);
        line.Process(100, w.data());
        for (long t = 0; t < 100; ++t)
            EXPECT_EQ(w[t], Delayed(t, uJump)) << d << " " << t;
    }
    EXPECT_EQ(host.asserts.Total(), 0u);
}

// 5 from the start; 100 then 20 before sample 10 (only the last counts); 60 during the fade to
// 20, which waits for that fade's end and then starts at once.
TEST(CrossfadeDelayLine, FadesOver127SamplesAndQueuesOneDelay)
{
    TestHost host;
    CrossfadeDelayLine line(512);
    line.SetDelay(5);
    std::vector<float> y = RefRamp(800);
    line.Process(10, y.data());
    line.SetDelay(100);
    line.SetDelay(20);
    EXPECT_EQ(line.GetDelay(), 20u);
    line.Process(30, y.data() + 10);
    line.SetDelay(60);
    line.Process(760, y.data() + 40);
    for (long t = 0; t < 800; ++t) {
        const double want = t < 10 ? Delayed(t, 5) : t < 137 ? Faded(t, 10, 5, 20) : Faded(t, 137, 20, 60);
        EXPECT_NEAR(y[t], want, 1e-4) << t; // float blend of values up to 800
    }
    EXPECT_EQ(line.GetDelay(), 60u);
    EXPECT_EQ(host.asserts.Total(), 0u);
}
