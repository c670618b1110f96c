#include <gtest/gtest.h>
#include "kvdspbase/dsp/uniformpartconv.h"
#include "support/dspreference.h"
#include "support/testhost.h"

namespace {

const uint32_t B = 64;

std::vector<float> RunBlocks(UniformPartConv& conv, std::vector<float> y)
{
    for (size_t pos = 0; pos + B <= y.size(); pos += B) {
        float* ch = y.data() + pos;
        conv.ProcessBlock(&ch);
    }
    return y;
}

} // namespace

// Against direct convolution in double on two channels; tolerance as for PartConvNoLock.
TEST(UniformPartConv, MatchesDirectConvolutionOnEveryChannel)
{
    TestHost host;
    for (uint32_t uTaps : {1u, B - 1, B, B + 1, 5 * B + 3, 7 * B}) {
        const std::vector<float> h = RefNoise(uTaps, uTaps, 1.0f / std::sqrt(static_cast<float>(uTaps)));
        const std::vector<float> x0 = RefNoise(12 * B, 1 + uTaps), x1 = RefNoise(12 * B, 2 + uTaps);
        UniformPartConv conv(2, B);
        conv.UseSimd(uTaps != 7 * B); // one case on the portable kernels
        ASSERT_TRUE(conv.SetImpulse(uTaps, h.data()));
        EXPECT_EQ(conv.NumPartitions(), (uTaps + B - 1) / B);
        std::vector<float> y0 = x0, y1 = x1;
        for (uint32_t pos = 0; pos < 12 * B; pos += B) {
            float* ch[2] = {y0.data() + pos, y1.data() + pos};
            conv.ProcessBlock(ch);
        }
        EXPECT_LT(RefMaxError(y0, RefConvolution(x0, h)), 2e-5) << uTaps;
        EXPECT_LT(RefMaxError(y1, RefConvolution(x1, h)), 2e-5) << uTaps;
    }
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(UniformPartConv, UnitImpulseResetAndFailures)
{
    TestHost host;
    UniformPartConv conv(1, B);
    const float one = 1.0f;
    ASSERT_TRUE(conv.SetImpulse(1, &one));
    const std::vector<float> x = RefNoise(4 * B, 3), y = RunBlocks(conv, x);
    for (size_t i = 0; i < x.size(); ++i)
        EXPECT_NEAR(y[i], x[i], 1e-6) << i;
    const std::vector<float> h = RefNoise(3 * B, 4, 0.3f), v = RefNoise(6 * B, 6);
    ASSERT_TRUE(conv.SetImpulse(3 * B, h.data()));
    RunBlocks(conv, RefNoise(5 * B, 5));
    conv.Reset();
    EXPECT_EQ(RunBlocks(conv, std::vector<float>(4 * B, 0.0f)), std::vector<float>(4 * B, 0.0f)); // exactly
    conv.Reset();
    EXPECT_LT(RefMaxError(RunBlocks(conv, v), RefConvolution(v, h)), 2e-5); // the kernel survives Reset

    UniformPartConv failing(1, B);
    host.allocator.FailAt(1);
    EXPECT_FALSE(failing.SetImpulse(2 * B, h.data()));
    EXPECT_EQ(RunBlocks(failing, std::vector<float>(B, 0.25f)), std::vector<float>(B, 0.25f)); // left alone
}
