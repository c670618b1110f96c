#include <gtest/gtest.h>
#include <cmath>
#include <vector>
#include "kvreverbconsole/dsp/fdn/hadamard.h"
#include "support/dspreference.h"
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
    for (uint32_t uDepth : {0u, 1u, 2u, 3u, 4u}) { // depth 0 is the identity
        Hadamard h;
        h.SetDepth(uDepth);
        const uint32_t n = 1u << uDepth;
        const uint32_t uFrames = 37;
        std::vector<std::vector<float>> lines(n, std::vector<float>(uFrames));
        std::vector<float*> ptrs(n);
        for (uint32_t j = 0; j < n; ++j) {
            lines[j] = RefNoise(uFrames, 7 * n + j);
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
        // The vector forms, copying and in place, agree with the block form.
        std::vector<float> x(n), y(n), want(n);
        for (uint32_t j = 0; j < n; ++j) {
            x[j] = before[j][5];
            want[j] = lines[j][5];
        }
        h.TransformVector(x.data(), y.data());
        h.TransformVectorInPlace(x.data());
        EXPECT_TRUE(y == want && x == want) << uDepth;
    }
    EXPECT_EQ(host.asserts.Total(), 0u);
}
