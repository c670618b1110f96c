#include <gtest/gtest.h>
#include <cmath>
#include <random>
#include <vector>
#include "kvdspbase/dsp/uniformpartconv.h"
#include "support/testhost.h"

namespace {

const uint32_t B = 64;

std::vector<float> Noise(size_t n, uint32_t seed, float scale)
{
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> dist(-scale, scale);
    std::vector<float> v(n);
    for (float& x : v)
        x = dist(rng);
    return v;
}

// y[t] = sum_k h[k] x[t - k] in double.
std::vector<double> DirectConvolution(const std::vector<float>& x, const std::vector<float>& h)
{
    std::vector<double> y(x.size(), 0.0);
    for (size_t t = 0; t < x.size(); ++t)
        for (size_t k = 0; k < h.size() && k <= t; ++k)
            y[t] += static_cast<double>(h[k]) * x[t - k];
    return y;
}

double MaxError(const std::vector<float>& got, const std::vector<double>& want)
{
    double e = 0;
    for (size_t i = 0; i < want.size(); ++i)
        e = std::max(e, std::fabs(got[i] - want[i]));
    return e;
}

} // namespace

TEST(UniformPartConv, MatchesDirectConvolutionOnEveryChannel)
{
    TestHost host;
    for (uint32_t uTaps : {1u, B - 1, B, B + 1, 5 * B + 3, 7 * B}) {
        const std::vector<float> h = Noise(uTaps, uTaps, 1.0f / std::sqrt(static_cast<float>(uTaps)));
        const std::vector<float> x0 = Noise(12 * B, 1 + uTaps, 1.0f), x1 = Noise(12 * B, 2 + uTaps, 1.0f);
        UniformPartConv conv(2, B);
        conv.UseSimd(uTaps != 7 * B); // one case on the portable kernels
        ASSERT_TRUE(conv.SetImpulse(uTaps, h.data()));
        EXPECT_EQ(conv.NumPartitions(), (uTaps + B - 1) / B);
        std::vector<float> y0 = x0, y1 = x1;
        const uint64_t uAllocs = host.allocator.AllocCalls();
        for (uint32_t pos = 0; pos < 12 * B; pos += B) {
            float* ch[2] = {y0.data() + pos, y1.data() + pos};
            conv.ProcessBlock(ch);
        }
        EXPECT_EQ(host.allocator.AllocCalls(), uAllocs);
        // Float rounding of 2B-point transforms over up to six partitions; no latency.
        EXPECT_LT(MaxError(y0, DirectConvolution(x0, h)), 2e-5) << "taps=" << uTaps;
        EXPECT_LT(MaxError(y1, DirectConvolution(x1, h)), 2e-5) << "taps=" << uTaps;
    }
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(UniformPartConv, UnitImpulseResetAndReload)
{
    TestHost host;
    UniformPartConv conv(1, B);
    const float one = 1.0f;
    ASSERT_TRUE(conv.SetImpulse(1, &one));
    const std::vector<float> x = Noise(4 * B, 3, 1.0f);
    std::vector<float> y = x;
    for (uint32_t pos = 0; pos < 4 * B; pos += B) {
        float* ch = y.data() + pos;
        conv.ProcessBlock(&ch);
    }
    for (size_t i = 0; i < x.size(); ++i)
        EXPECT_NEAR(y[i], x[i], 1e-6) << i;

    const std::vector<float> h = Noise(3 * B, 4, 0.3f);
    ASSERT_TRUE(conv.SetImpulse(3 * B, h.data()));
    std::vector<float> w = Noise(5 * B, 5, 1.0f);
    for (uint32_t pos = 0; pos < 5 * B; pos += B) {
        float* ch = w.data() + pos;
        conv.ProcessBlock(&ch);
    }
    conv.Reset();
    std::vector<float> z(4 * B, 0.0f);
    for (uint32_t pos = 0; pos < 4 * B; pos += B) {
        float* ch = z.data() + pos;
        conv.ProcessBlock(&ch);
    }
    EXPECT_EQ(z, std::vector<float>(4 * B, 0.0f)); // exactly
    // After the reset the kernel still convolves exactly.
    const std::vector<float> v = Noise(6 * B, 6, 1.0f);
    std::vector<float> u = v;
    for (uint32_t pos = 0; pos < 6 * B; pos += B) {
        float* ch = u.data() + pos;
        conv.ProcessBlock(&ch);
    }
    EXPECT_LT(MaxError(u, DirectConvolution(v, h)), 2e-5);
}

TEST(UniformPartConv, RefusesZeroBlockAndReportsMemoryFailure)
{
    TestHost host;
    const float one = 1.0f;
    UniformPartConv none(1, 0);
    EXPECT_FALSE(none.SetImpulse(1, &one));
    EXPECT_EQ(host.asserts.Count("false"), 1u);

    UniformPartConv conv(2, B);
    host.allocator.FailAt(1);
    const std::vector<float> h = Noise(2 * B, 7, 0.5f);
    EXPECT_FALSE(conv.SetImpulse(2 * B, h.data()));
    std::vector<float> a(B, 0.25f), b(B, 0.5f);
    float* ch[2] = {a.data(), b.data()};
    conv.ProcessBlock(ch); // nothing loaded: leaves the block alone
    EXPECT_EQ(a, std::vector<float>(B, 0.25f));
    host.allocator.FailAt(0);
}
