#include <gtest/gtest.h>
#include <algorithm>
#include <cmath>
#include <random>
#include <vector>
#include "kvdspbase/dsp/lpc.h"
#include "kvdspbase/dsp/pivotedqr.h"
#include "support/testhost.h"

namespace {

using Vec = std::vector<float>;

// x[n] = sum over k of a[k] x[n - 1 - k] + e[n], e Gaussian of the given deviation.
Vec Autoregressive(const std::vector<double>& a, size_t n, double fSigma, uint32_t uSeed)
{
    std::mt19937 rng(uSeed);
    std::normal_distribution<double> noise(0.0, fSigma);
    std::vector<double> x(n + 1000, 0.0);
    for (size_t i = 0; i < x.size(); ++i) {
        x[i] = noise(rng);
        for (size_t k = 0; k < a.size() && k < i; ++k)
            x[i] += a[k] * x[i - 1 - k];
    }
    return Vec(x.end() - n, x.end()); // settled
}

// Runs the analyser over x in blocks of 700 and flushes it, so that the measure's sample i
// belongs to input sample i; checks that the delayed copy is the input, L samples late.
Vec Measure(const Vec& in, uint32_t uOrder)
{
    const uint32_t BLOCK = 700;
    LpcResidualAnalyzer analyzer;
    analyzer.Configure(1, BLOCK, 48000.0f);
    analyzer.Init(0.02f, uOrder, 0.005f);
    const size_t L = analyzer.GetLatency(), N = in.size();
    Vec x = in, out(N + L + BLOCK), delayed(N + L + BLOCK);
    x.resize(N + L + BLOCK, 0.0f);
    for (size_t pos = 0; pos < N + L; pos += BLOCK) {
        const float* pIn[1] = {x.data() + pos};
        float* pOut[1] = {out.data()};
        float* pDelayed[1] = {delayed.data()};
        analyzer.Analyze(BLOCK, pIn, pOut, nullptr, nullptr, pDelayed, static_cast<uint32_t>(pos));
    }
    EXPECT_TRUE(std::equal(in.begin(), in.end(), delayed.begin() + L));
    return Vec(out.begin() + L, out.begin() + L + N);
}

// The Toeplitz normal equations R a = r of order p (R positive definite), by Gaussian
// elimination in long double: the predictor that Levinson-Durbin must match.
std::vector<long double> ToeplitzPredictor(const Vec& r, size_t p)
{
    std::vector<std::vector<long double>> M(p, std::vector<long double>(p + 1));
    for (size_t i = 0; i < p; ++i)
        for (size_t j = 0; j <= p; ++j)
            M[i][j] = j < p ? r[i > j ? i - j : j - i] : r[i + 1];
    for (size_t k = 0; k < p; ++k)
        for (size_t i = k + 1; i < p; ++i)
            for (size_t j = p + 1; j-- > k;) // M[i][k] last, as it scales the row
                M[i][j] -= M[i][k] / M[k][k] * M[k][j];
    std::vector<long double> a(p + 1, 0.0L);
    for (size_t i = p; i-- > 0;) {
        a[i + 1] = M[i][p];
        for (size_t j = i + 1; j < p; ++j)
            a[i + 1] -= M[i][j] * a[j + 1];
        a[i + 1] /= M[i][i];
    }
    return a;
}

} // namespace

// x[n] = 1.7 x[n-1] - 1.05 x[n-2] + 0.225 x[n-3] + e (poles 0.5 and 0.6 +- 0.3i): the fit of
// order 5 puts the oldest sample first and negates; estimation error of 20000 samples about 0.01.
// x[n] = 0.5 x[n-1] + 0.25 x[n-2] - 0.125 x[n-3] exactly, from 1, -2, 0.5: six samples give three
// equations in three unknowns, solved exactly. Order 0 writes just the leading 1.
TEST(LpcFit, RecoversAutoregressiveProcessesAndChecksItsInput)
{
    TestHost host;
    Vec x = {1.0f, -2.0f, 0.5f};
    for (int n = 3; n < 6; ++n)
        x.push_back(0.5f * x[n - 1] + 0.25f * x[n - 2] - 0.125f * x[n - 3]);
    const struct
    {
        Vec x;
        uint32_t uOrder;
        Vec expected;
        double tolerance;
    } cases[] = {{Autoregressive({1.7, -1.05, 0.225}, 20000, 0.1, 3), 5, {1.0f, 0.0f, 0.0f, -0.225f, 1.05f, -1.7f}, 0.03},
                 {x, 3, {1.0f, 0.125f, -0.25f, -0.5f}, 1e-5},
                 {x, 0, {1.0f, 5.0f}, 0.0}};
    for (const auto& k : cases) {
        Vec c(k.expected.size(), 5.0f);
        LpcFit(k.x.data(), static_cast<uint32_t>(k.x.size()), c.data(), k.uOrder);
        for (size_t i = 0; i < c.size(); ++i)
            EXPECT_NEAR(c[i], k.expected[i], k.tolerance) << k.uOrder << " " << i;
    }
    EXPECT_EQ(host.asserts.Total(), 0u);
    Vec c(4);
    LpcFit(x.data(), 5, c.data(), 3);
    EXPECT_EQ(host.asserts.Count("uLpcOrder*2 <= sLen"), 1u);

    // Third column = first + second, b in the range: rank 2, and A x = b exactly.
    const std::vector<double> A = {1, 2, 3, 0, 1, 1, 2, -1, 1, 4, 0, 4};
    std::vector<double> a = A, b = {5, 2, 0, 4}, xs(3), work(3);
    std::vector<uint32_t> piv(3);
    EXPECT_EQ(SolveLeastSquaresPivotedQr(4, 3, a.data(), b.data(), xs.data(), piv.data(), work.data()), 2u);
    for (size_t r = 0; r < 4; ++r)
        EXPECT_NEAR(A[3 * r] * xs[0] + A[3 * r + 1] * xs[1] + A[3 * r + 2] * xs[2], (std::vector<double>{5, 2, 0, 4})[r], 1e-12);
}

TEST(LpcResidualAnalyzer, SilenceGivesExactlyZeroAndAllocatesNothing)
{
    TestHost host;
    LpcResidualAnalyzer analyzer;
    analyzer.Configure(2, 512, 48000.0f);
    analyzer.Init(0.02f, 16, 0.005f);
    const uint64_t uAllocs = host.allocator.AllocCalls();
    Vec zero(512, 0.0f), out(6 * 512, 1.0f);
    const float* in[2] = {zero.data(), zero.data()};
    float* p[6] = {&out[0], &out[512], &out[1024], &out[1536], &out[2048], &out[2560]};
    for (int k = 0; k < 5; ++k) {
        analyzer.Analyze(512, in, p, p + 2, p + 4, nullptr, 0); // measures, forward, backward
        EXPECT_EQ(out, Vec(6 * 512, 0.0f));
    }
    EXPECT_EQ(host.allocator.AllocCalls(), uAllocs);
}

TEST(LpcResidualAnalyzer, ImpulseInSilencePeaksWithinTheOrder)
{
    TestHost host;
    for (size_t uAt : {5u, 3000u, 8999u}) {
        Vec x(9000, 0.0f);
        x[uAt] = 1.0f;
        const Vec m = Measure(x, 16);
        const size_t uPeak = std::max_element(m.begin(), m.end()) - m.begin();
        EXPECT_LE(std::max(uPeak, uAt) - std::min(uPeak, uAt), 16u) << uAt;
        // A lone impulse has no lags beyond 0, so no predictor: f = b = -1 and the measure is
        // 2 x 1 x 1 / (1 + 1 + 1e-9).
        EXPECT_NEAR(m[uPeak], 1.0f, 1e-6f) << uAt;
    }
    EXPECT_EQ(host.asserts.Total(), 0u);
}

// The exact lags of the process with A(z) = (1 - 1.6 cos(0.85)/z + 0.64/z^2)^4 (four poles at
// each of 0.8 exp(+-0.85i)): its predictors of orders 16 to 7 all have a coefficient above 12,
// the one of order 6 stays within 10 (9.03), so the fit walks 16, 13, 11, 9, 7 and stops at 6.
TEST(LpcResidualAnalyzer, UnstablePredictorIsCutByAnEighthPlusOne)
{
    TestHost host;
    std::vector<double> A = {1.0};
    for (int k = 0; k < 4; ++k) {
        std::vector<double> B(A.size() + 2, 0.0);
        for (size_t i = 0; i < A.size(); ++i)
            for (size_t j = 0; j < 3; ++j)
                B[i + j] += A[i] * (std::vector<double>{1.0, -1.6 * std::cos(0.85), 0.64})[j];
        A = B;
    }
    const Vec x = Autoregressive({-A[1], -A[2], -A[3], -A[4], -A[5], -A[6], -A[7], -A[8]}, 96000, 1.0, 9);
    std::vector<double> h(4000, 0.0); // impulse response of 1 / A, for the lags
    for (size_t n = 0; n < h.size(); ++n) {
        h[n] = n == 0;
        for (size_t k = 1; k <= 8 && k <= n; ++k)
            h[n] -= A[k] * h[n - k];
    }
    Vec r(17), c(17, 3.0f);
    for (size_t k = 0; k < 17; ++k)
        for (size_t n = 0; n + k < h.size(); ++n)
            r[k] += static_cast<float>(h[n] * h[n + k]);
    uint32_t uExpected = 0;
    std::vector<long double> ref;
    for (uint32_t m : {16u, 13u, 11u, 9u, 7u, 6u, 5u, 4u}) {
        ref = ToeplitzPredictor(r, m);
        if (std::all_of(ref.begin() + 1, ref.end(), [](long double a) { return std::fabs(a) <= 10.0L; })) {
            uExpected = m;
            break;
        }
    }
    EXPECT_EQ(uExpected, 6u);
    LevinsonDurbin levinson;
    levinson.Init(16);
    EXPECT_EQ(LpcStableFit(levinson, r.data(), 16, c.data()), 6u);
    EXPECT_EQ(c[0], -1.0f);
    for (uint32_t k = 1; k <= 16; ++k)
        EXPECT_NEAR(c[k], k <= 6 ? ref[k] : 0.0L, 1e-4) << k;

    LpcResidualAnalyzer analyzer; // on a stretch of that process: a cut fit, all within 10
    analyzer.Configure(1, 96000, 48000.0f);
    analyzer.Init(0.02f, 16, 0.005f);
    Vec m(96000);
    const float* pIn[1] = {x.data()};
    float* pOut[1] = {m.data()};
    analyzer.Analyze(96000, pIn, pOut, nullptr, nullptr, nullptr, 0); // last fit at 95760
    const float* p = analyzer.GetCoefficients(0);
    EXPECT_EQ(p[0], -1.0f);
    EXPECT_EQ(p[16], 0.0f);
    for (uint32_t k = 0; k <= 16; ++k)
        EXPECT_LE(std::fabs(p[k]), 10.0f) << k;
    EXPECT_EQ(host.asserts.Total(), 0u);
}
