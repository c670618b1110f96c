#include <gtest/gtest.h>
#include <cmath>
#include <random>
#include <vector>
#include "kvreverbconsole/dsp/fdn/hadamard.h"
#include "support/testhost.h"

namespace {
// Sylvester's closed form: entry (i, j) is (-1)^popcount(i & j) / sqrt(N).
std::vector<double> DirectHadamard(const std::vector<double>& in_x)
{
    const size_t n = in_x.size();
    std::vector<double> y(n, 0.0);
    for (size_t i = 0; i < n; ++i)
        for (size_t j = 0; j < n; ++j)
            y[i] += (__builtin_popcountll(i & j) % 2 ? -1.0 : 1.0) * in_x[j];
    for (double& v : y)
        v /= std::sqrt(static_cast<double>(n));
    return y;
}
} // namespace

TEST(Hadamard, MatchesTheClosedFormMatrix)
{
    TestHost host;
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> dist(-1.0f, 1.0f);
    for (uint32_t uDepth : {1u, 2u, 3u, 4u}) {
        Hadamard h;
        h.SetDepth(uDepth);
        const uint32_t n = 1u << uDepth;
        const uint32_t uFrames = 37;
        std::vector<std::vector<float>> lines(n, std::vector<float>(uFrames));
        std::vector<float*> ptrs(n);
        for (uint32_t j = 0; j < n; ++j) {
            for (float& v : lines[j])
                v = dist(rng);
            ptrs[j] = lines[j].data();
        }
        const auto before = lines;
        h.Transform(ptrs.data(), uFrames);
        for (uint32_t t = 0; t < uFrames; ++t) {
            std::vector<double> x(n);
            for (uint32_t j = 0; j < n; ++j)
                x[j] = before[j][t];
            const std::vector<double> y = DirectHadamard(x);
            for (uint32_t j = 0; j < n; ++j)
                EXPECT_NEAR(lines[j][t], y[j], 2e-6) << "depth " << uDepth << " line " << j;
        }
        // The vector form agrees with the block form.
        std::vector<float> x(n), y(n);
        for (uint32_t j = 0; j < n; ++j)
            x[j] = before[j][5];
        h.TransformVector(x.data(), y.data());
        for (uint32_t j = 0; j < n; ++j)
            EXPECT_EQ(y[j], lines[j][5]);
    }
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(Hadamard, AppliedTwiceReturnsTheInput)
{
    TestHost host;
    Hadamard h;
    h.SetDepth(4);
    EXPECT_FLOAT_EQ(h.GetScale(), 0.25f);
    std::vector<float> v(16), orig(16);
    for (int i = 0; i < 16; ++i)
        orig[i] = v[i] = std::sin(0.7f * i) + 0.1f * i;
    h.TransformVectorInPlace(v.data());
    h.TransformVectorInPlace(v.data());
    for (int i = 0; i < 16; ++i)
        EXPECT_NEAR(v[i], orig[i], 1e-6f);
    h.SetDepth(3);
    EXPECT_NEAR(h.GetScale(), 0.35355339f, 1e-7f);
}

TEST(Hadamard, DepthZeroIsTheIdentity)
{
    TestHost host;
    Hadamard h;
    h.SetDepth(0);
    EXPECT_EQ(h.GetSize(), 1u);
    EXPECT_EQ(h.GetScale(), 1.0f);
    float v = 0.3f;
    h.TransformVectorInPlace(&v);
    EXPECT_EQ(v, 0.3f);
}

TEST(Hadamard, BadDepthIsReportedAtTheNextCall)
{
    TestHost host;
    Hadamard h;
    h.SetDepth(33);
    EXPECT_EQ(host.asserts.Total(), 0u); // the check looks at the stored depth
    EXPECT_EQ(h.GetSize(), 2u);          // low five bits of 33
    h.SetDepth(2);
    EXPECT_EQ(host.asserts.Count("m_sDepth < 32"), 1u);
    EXPECT_EQ(h.GetSize(), 4u);
}
