#include <gtest/gtest.h>
#include "kvdspbase/dsp/partconvnolock.h"
#include "support/dspreference.h"
#include "support/testhost.h"

namespace {

const uint32_t ORDER = 6;
const uint32_t B = 1u << ORDER;

// Feeds x through a one-channel object in calls of random lengths 1 .. 3B.
std::vector<float> RunRandomCalls(PartConvNoLock& conv, std::vector<float> y, uint32_t seed)
{
    std::mt19937 rng(seed);
    std::uniform_int_distribution<uint32_t> len(1, 3 * B);
    for (size_t pos = 0; pos < y.size();) {
        const uint32_t n = std::min<uint32_t>(len(rng), static_cast<uint32_t>(y.size() - pos));
        conv.ProcessMono(n, y.data() + pos);
        pos += n;
    }
    return y;
}

} // namespace

// Zero latency against direct convolution in double, for call lengths that straddle partition
// boundaries, whole blocks and single samples. Tolerance: float rounding of 2B-point transforms
// over up to six partitions of output near unit size.
TEST(PartConvNoLock, MatchesDirectConvolutionForAnyCallLength)
{
    TestHost host;
    for (uint32_t uTaps : {1u, B - 1, B, B + 1, 5 * B + 3, 4 * B}) {
        const std::vector<float> h = RefNoise(uTaps, uTaps, 1.0f / std::sqrt(static_cast<float>(uTaps)));
        const std::vector<float> x = RefNoise(16 * B + 7, 100 + uTaps);
        const std::vector<double> want = RefConvolution(x, h);
        PartConvNoLock conv(uTaps, 1, ORDER);
        conv.UseSimd(uTaps != 4 * B); // one case on the portable kernels
        EXPECT_TRUE(conv.SetTaps(uTaps, h.data(), false));
        EXPECT_EQ(conv.NumPartitions(), (uTaps + B - 1) / B); // an exact multiple adds none
        EXPECT_LT(RefMaxError(RunRandomCalls(conv, x, uTaps), want), 2e-5) << uTaps;
        conv.Reset();
        std::vector<float> z = x;
        for (size_t pos = 0; pos + B <= z.size(); pos += B)
            conv.ProcessMono(B, z.data() + pos);
        z.resize(16 * B);
        EXPECT_LT(RefMaxError(z, want), 2e-5) << uTaps;
        conv.Reset();
        std::vector<float> s(x.begin(), x.begin() + 3 * B);
        for (uint32_t i = 0; i < s.size(); ++i)
            conv.ProcessMono(1, s.data() + i);
        EXPECT_LT(RefMaxError(s, std::vector<double>(want.begin(), want.begin() + 3 * B)), 2e-5) << uTaps;
    }
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(PartConvNoLock, UnitImpulseResetAndLoads)
{
    TestHost host;
    const float one = 1.0f;
    PartConvNoLock conv(6 * B, 1, ORDER);
    const uint64_t uAllocs = host.allocator.AllocCalls();
    conv.SetTaps(1, &one, false);
    const std::vector<float> x = RefNoise(5 * B, 3);
    const std::vector<float> y = RunRandomCalls(conv, x, 4);
    for (size_t i = 0; i < x.size(); ++i)
        EXPECT_NEAR(y[i], x[i], 1e-6) << i; // rounding of one transform pair
    const std::vector<float> h = RefNoise(6 * B, 5, 0.3f);
    conv.SetTaps(6 * B, h.data(), true);
    EXPECT_EQ(host.allocator.AllocCalls(), uAllocs); // within the construction size
    RunRandomCalls(conv, RefNoise(7 * B, 6), 7);
    conv.Reset();
    EXPECT_EQ(RunRandomCalls(conv, std::vector<float>(6 * B, 0.0f), 8), std::vector<float>(6 * B, 0.0f));
    // Beyond the construction size the vectors grow, and the result is still exact.
    const std::vector<float> g = RefNoise(9 * B, 10, 0.3f), v = RefNoise(12 * B, 11);
    conv.SetTaps(9 * B, g.data(), false);
    EXPECT_GT(host.allocator.AllocCalls(), uAllocs);
    EXPECT_LT(RefMaxError(RunRandomCalls(conv, v, 12), RefConvolution(v, g)), 2e-5);
    EXPECT_EQ(host.asserts.Total(), 0u);
}

// With later partitions, the shared spectrum sum is cleared only after the last channel, so
// channel 1 also hears channel 0 through the taps after the first partition.
TEST(PartConvNoLock, TwoChannelsShareTheLaterPartitions)
{
    TestHost host;
    const uint32_t uTaps = 3 * B + 5;
    const std::vector<float> h = RefNoise(uTaps, 20, 0.2f), x0 = RefNoise(8 * B, 21), x1 = RefNoise(8 * B, 22);
    std::vector<float> hLate = h;
    std::fill(hLate.begin(), hLate.begin() + B, 0.0f);
    PartConvNoLock conv(uTaps, 2, ORDER);
    conv.SetTaps(uTaps, h.data(), false);
    std::vector<float> y0 = x0, y1 = x1;
    for (uint32_t pos = 0; pos < 8 * B; pos += B / 2) {
        float* ch[2] = {y0.data() + pos, y1.data() + pos};
        conv.Process(B / 2, ch);
    }
    EXPECT_LT(RefMaxError(y0, RefConvolution(x0, h)), 2e-5);
    std::vector<double> want1 = RefConvolution(x1, h);
    const std::vector<double> leak = RefConvolution(x0, hLate);
    for (size_t i = 0; i < want1.size(); ++i)
        want1[i] += leak[i];
    EXPECT_LT(RefMaxError(y1, want1), 2e-5);
    EXPECT_GT(RefMaxError(y1, RefConvolution(x1, h)), 0.1); // the artefact is audible
    conv.ProcessMono(1, y0.data());
    EXPECT_EQ(host.asserts.Count("m_uNumChannels == 1"), 1u);
}

// Two objects on the same input share its transforms: each result matches direct convolution
// and, bit for bit, a run of its own. Pairs cover one object without later partitions, and a
// twin three leading zeros ahead, out of step, which falls back to two runs.
TEST(PartConvNoLock, TwinOnTheSameInputGivesTheSameBits)
{
    TestHost host;
    const std::vector<float> x = RefNoise(12 * B + 5, 30), g = RefNoise(3 * B + 1, 31, 0.2f), zeros(3, 0.0f);
    for (uint32_t uTaps : {B - 1, 5 * B + 3}) {
        const std::vector<float> h = RefNoise(uTaps, 32, 0.2f);
        for (bool bOutOfStep : {false, true}) {
            PartConvNoLock a(g.size(), 1, ORDER), b(uTaps, 1, ORDER), aAlone(g.size(), 1, ORDER), bAlone(uTaps, 1, ORDER);
            a.SetTaps(g.size(), g.data(), false);
            aAlone.SetTaps(g.size(), g.data(), false);
            b.SetTaps(uTaps, h.data(), false);
            bAlone.SetTaps(uTaps, h.data(), false);
            for (PartConvNoLock* p : {&b, &bAlone})
                for (uint32_t i = 0; bOutOfStep && i < zeros.size(); ++i)
                    p->ProcessMono(1, std::vector<float>(zeros).data() + i);
            std::vector<float> ya = x, yb = x, za = x, zb = x;
            std::mt19937 rng(uTaps);
            for (size_t pos = 0; pos < x.size();) {
                const uint32_t n = std::min<uint32_t>(1 + rng() % (3 * B), static_cast<uint32_t>(x.size() - pos));
                a.ProcessMonoBeside(n, ya.data() + pos, b, yb.data() + pos);
                aAlone.ProcessMono(n, za.data() + pos);
                bAlone.ProcessMono(n, zb.data() + pos);
                pos += n;
            }
            EXPECT_EQ(ya, za) << uTaps << " out of step=" << bOutOfStep;
            EXPECT_EQ(yb, zb) << uTaps << " out of step=" << bOutOfStep;
            EXPECT_LT(RefMaxError(ya, RefConvolution(x, g)), 2e-5) << uTaps;
            EXPECT_LT(RefMaxError(yb, RefConvolution(x, h)), 2e-5) << uTaps;
        }
    }
    EXPECT_EQ(host.asserts.Total(), 0u);
}
