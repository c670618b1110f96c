#include <gtest/gtest.h>
#include <cmath>
#include <random>
#include <vector>
#include "kvdspbase/dsp/partconvnolock.h"
#include "support/testhost.h"

namespace {

const uint32_t ORDER = 6;
const uint32_t B = 1u << ORDER;

std::vector<float> Noise(size_t n, uint32_t seed, float scale)
{
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> dist(-scale, scale);
    std::vector<float> v(n);
    for (float& x : v)
        x = dist(rng);
    return v;
}

// y[t] = sum_k h[k] x[t - k], in double: no latency, the full tail cut at the input length.
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

// Feeds x through a one-channel object in calls of random lengths 1 .. 3B.
std::vector<float> RunRandomCalls(PartConvNoLock& conv, const std::vector<float>& x, uint32_t seed)
{
    std::mt19937 rng(seed);
    std::uniform_int_distribution<uint32_t> len(1, 3 * B);
    std::vector<float> y = x;
    for (size_t pos = 0; pos < y.size();) {
        const uint32_t n = std::min<uint32_t>(len(rng), static_cast<uint32_t>(y.size() - pos));
        conv.ProcessMono(n, y.data() + pos);
        pos += n;
    }
    return y;
}

} // namespace

TEST(PartConvNoLock, MatchesDirectConvolutionForAnyCallLength)
{
    TestHost host;
    for (uint32_t uTaps : {1u, B - 1, B, B + 1, 5 * B + 3, 4 * B}) {
        // Taps scaled by 1/sqrt(taps) keep the output near unit size.
        const std::vector<float> h = Noise(uTaps, uTaps, 1.0f / std::sqrt(static_cast<float>(uTaps)));
        const std::vector<float> x = Noise(16 * B + 7, 100 + uTaps, 1.0f);
        const std::vector<double> want = DirectConvolution(x, h);
        PartConvNoLock conv(uTaps, 1, ORDER);
        conv.UseSimd(uTaps != 4 * B); // one case on the portable kernels
        EXPECT_TRUE(conv.SetTaps(uTaps, h.data(), false));
        EXPECT_EQ(conv.NumPartitions(), (uTaps + B - 1) / B); // an exact multiple adds no partition
        const uint64_t uAllocs = host.allocator.AllocCalls();
        const std::vector<float> y = RunRandomCalls(conv, x, uTaps);
        EXPECT_EQ(host.allocator.AllocCalls(), uAllocs);
        // Float rounding of 2B-point transforms over up to six partitions.
        EXPECT_LT(MaxError(y, want), 2e-5) << "taps=" << uTaps;

        // Whole blocks, and single samples, give the same answer from a fresh state.
        conv.Reset();
        std::vector<float> z = x;
        for (size_t pos = 0; pos + B <= z.size(); pos += B)
            conv.ProcessMono(B, z.data() + pos);
        EXPECT_LT(MaxError(std::vector<float>(z.begin(), z.begin() + 16 * B),
                           std::vector<double>(want.begin(), want.begin() + 16 * B)),
                  2e-5);
        conv.Reset();
        std::vector<float> s(x.begin(), x.begin() + 3 * B);
        for (uint32_t i = 0; i < s.size(); ++i)
            conv.ProcessMono(1, s.data() + i);
        EXPECT_LT(MaxError(s, std::vector<double>(want.begin(), want.begin() + 3 * B)), 2e-5);
    }
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(PartConvNoLock, UnitImpulseAndResetGiveInputAndSilence)
{
    TestHost host;
    const float one = 1.0f;
    PartConvNoLock conv(4 * B, 1, ORDER);
    conv.SetTaps(1, &one, false);
    const std::vector<float> x = Noise(5 * B, 3, 1.0f);
    const std::vector<float> y = RunRandomCalls(conv, x, 4);
    for (size_t i = 0; i < x.size(); ++i)
        EXPECT_NEAR(y[i], x[i], 1e-6) << i; // single-precision rounding of the transform pair

    const std::vector<float> h = Noise(4 * B, 5, 0.5f);
    conv.SetTaps(4 * B, h.data(), true);
    std::vector<float> w = Noise(7 * B, 6, 1.0f);
    RunRandomCalls(conv, w, 7);
    conv.Reset();
    std::vector<float> z(6 * B, 0.0f);
    RunRandomCalls(conv, z, 8);
    EXPECT_EQ(z, std::vector<float>(6 * B, 0.0f)); // exactly: zeros transform to zeros
}

TEST(PartConvNoLock, LoadsWithinConstructionSizeDoNotAllocate)
{
    TestHost host;
    PartConvNoLock conv(6 * B, 1, ORDER);
    const std::vector<float> h = Noise(6 * B, 9, 0.3f);
    const uint64_t uAllocs = host.allocator.AllocCalls();
    conv.SetTaps(6 * B, h.data(), false);
    conv.SetTaps(2 * B + 1, h.data(), false);
    EXPECT_EQ(host.allocator.AllocCalls(), uAllocs);
    // Beyond the construction size the vectors grow, and the result is still exact.
    const std::vector<float> g = Noise(9 * B, 10, 0.3f);
    conv.SetTaps(9 * B, g.data(), false);
    EXPECT_GT(host.allocator.AllocCalls(), uAllocs);
    const std::vector<float> x = Noise(12 * B, 11, 1.0f);
    EXPECT_LT(MaxError(RunRandomCalls(conv, x, 12), DirectConvolution(x, g)), 2e-5);
    EXPECT_EQ(host.asserts.Total(), 0u);
}

// With later partitions, the shared spectrum sum is cleared only after the last channel, so
// channel 1 also hears channel 0 through the taps after the first partition.
TEST(PartConvNoLock, TwoChannelsShareTheLaterPartitions)
{
    TestHost host;
    const uint32_t uTaps = 3 * B + 5;
    const std::vector<float> h = Noise(uTaps, 20, 0.2f);
    std::vector<float> hLate = h;
    std::fill(hLate.begin(), hLate.begin() + B, 0.0f);
    const std::vector<float> x0 = Noise(8 * B, 21, 1.0f), x1 = Noise(8 * B, 22, 1.0f);
    PartConvNoLock conv(uTaps, 2, ORDER);
    conv.SetTaps(uTaps, h.data(), false);
    std::vector<float> y0 = x0, y1 = x1;
    for (uint32_t pos = 0; pos < 8 * B; pos += B / 2) {
        float* ch[2] = {y0.data() + pos, y1.data() + pos};
        conv.Process(B / 2, ch);
    }
    EXPECT_LT(MaxError(y0, DirectConvolution(x0, h)), 2e-5);
    std::vector<double> want1 = DirectConvolution(x1, h);
    const std::vector<double> leak = DirectConvolution(x0, hLate);
    for (size_t i = 0; i < want1.size(); ++i)
        want1[i] += leak[i];
    EXPECT_LT(MaxError(y1, want1), 2e-5);
    EXPECT_GT(MaxError(y1, DirectConvolution(x1, h)), 0.1); // the artefact is audible
    conv.ProcessMono(1, y0.data());
    EXPECT_EQ(host.asserts.Count("m_uNumChannels == 1"), 1u);
}
