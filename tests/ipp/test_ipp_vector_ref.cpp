#include <gtest/gtest.h>
#include <cmath>
#include <complex>
#include <vector>
#include "kvbase/ipp/ipp_vector_ref.h"
#include "support/dspreference.h"
#include "support/testhost.h"

namespace
{
typedef std::vector<float> Vec;
const Vec kNone(4, 123.0f);

// One call and its scalar formula: the destination starts as a copy of a (or of b for the
// accumulating calls); the call may alias it with a source to reach the in-place paths.
struct ElementCase
{
    const char* pszName;
    bool bStartFromB;
    void (*run)(uint32_t n, const Vec& a, const Vec& b, Vec& d);
    float (*want)(const Vec& a, const Vec& b, uint32_t i);
};

const ElementCase kElementCases[] = {
    {"Mul", false, [](uint32_t n, const Vec& a, const Vec& b, Vec& d) { ippsMul_32f(n, a.data(), b.data(), d.data()); },
     [](const Vec& a, const Vec& b, uint32_t i) { return a[i] * b[i]; }},
    {"Mul in place", false, [](uint32_t n, const Vec&, const Vec& b, Vec& d) { ippsMul_32f(n, d.data(), b.data(), d.data()); },
     [](const Vec& a, const Vec& b, uint32_t i) { return a[i] * b[i]; }},
    {"Mul_I square", false, [](uint32_t n, const Vec&, const Vec&, Vec& d) { ippsMul_32f_I(n, d.data(), d.data()); },
     [](const Vec& a, const Vec&, uint32_t i) { return a[i] * a[i]; }},
    {"AddProductC", true, [](uint32_t n, const Vec& a, const Vec&, Vec& d) { ippsAddProductC_32f(n, a.data(), 0.75f, d.data()); },
     [](const Vec& a, const Vec& b, uint32_t i) { return b[i] + a[i] * 0.75f; }},
    {"AddProductC aliased", false, [](uint32_t n, const Vec&, const Vec&, Vec& d) { ippsAddProductC_32f(n, d.data(), 0.75f, d.data()); },
     [](const Vec& a, const Vec&, uint32_t i) { return a[i] + a[i] * 0.75f; }},
    {"Add_I", true, [](uint32_t n, const Vec& a, const Vec&, Vec& d) { ippsAdd_32f_I(n, a.data(), d.data()); },
     [](const Vec& a, const Vec& b, uint32_t i) { return b[i] + a[i]; }},
    {"Add_I aliased", false, [](uint32_t n, const Vec&, const Vec&, Vec& d) { ippsAdd_32f_I(n, d.data(), d.data()); },
     [](const Vec& a, const Vec&, uint32_t i) { return 2.0f * a[i]; }},
    {"MulC", false, [](uint32_t n, const Vec& a, const Vec&, Vec& d) { ippsMulC_32f(n, a.data(), -3.0f, d.data()); },
     [](const Vec& a, const Vec&, uint32_t i) { return a[i] * -3.0f; }},
    {"MulC in place", false, [](uint32_t n, const Vec&, const Vec&, Vec& d) { ippsMulC_32f(n, d.data(), -3.0f, d.data()); },
     [](const Vec& a, const Vec&, uint32_t i) { return a[i] * -3.0f; }},
    {"Abs", false, [](uint32_t n, const Vec& a, const Vec&, Vec& d) { ippsAbs_32f(n, a.data(), d.data()); },
     [](const Vec& a, const Vec&, uint32_t i) { return std::fabs(a[i]); }},
    {"Abs_I", false, [](uint32_t n, const Vec&, const Vec&, Vec& d) { ippsAbs_32f_I(n, d.data()); },
     [](const Vec& a, const Vec&, uint32_t i) { return std::fabs(a[i]); }},
    {"Clip_I", false, [](uint32_t n, const Vec&, const Vec&, Vec& d) { ippsClip_32f_I(n, float_range(-0.25f, 0.5f), d.data()); },
     [](const Vec& a, const Vec&, uint32_t i) { return a[i] < -0.25f ? -0.25f : (a[i] > 0.5f ? 0.5f : a[i]); }},
    {"Flip", false, [](uint32_t n, const Vec& a, const Vec&, Vec& d) { ippsFlip_32f(n, a.data(), d.data()); },
     [](const Vec& a, const Vec&, uint32_t i) { return a[a.size() - 1 - i]; }},
    {"Flip_I", false, [](uint32_t n, const Vec&, const Vec&, Vec& d) { ippsFlip_32f_I(n, d.data()); },
     [](const Vec& a, const Vec&, uint32_t i) { return a[a.size() - 1 - i]; }},
};
} // namespace

// A count of 0 writes nothing and reads nothing, not even through null arrays.
TEST(IppVector, CountZeroTouchesNothing)
{
    TestHost host;
    for (const ElementCase& c : kElementCases) {
        Vec d = kNone;
        c.run(0, kNone, kNone, d);
        EXPECT_EQ(d, kNone) << c.pszName;
    }
    ippsCopy_32f(0, nullptr, nullptr);
    ippsConv_32f(0, nullptr, 4, nullptr, nullptr);
    ippsMul_32fc(0, nullptr, nullptr, nullptr);
    InterleaveChannels(0, 3, nullptr, nullptr);
    double dSlope = 5.0, dIntercept = 6.0;
    LinearRegression(0, nullptr, 0.0, 1.0, dSlope, dIntercept);
    EXPECT_TRUE(dSlope == 5.0 && dIntercept == 6.0);
    EXPECT_EQ(ippsDotProd_64f(0, nullptr, nullptr), 0.0);
    EXPECT_EQ(ippsNorm_L2_32f(0, nullptr), 0.0f);
    EXPECT_EQ(host.asserts.Total(), 0u);
}

// Lengths cover the vector body, the 4-wide and 1-wide tails, odd and even flips, a lone element.
TEST(IppVector, ElementWiseMatchesScalarFormula)
{
    TestHost host;
    for (uint32_t n : {1u, 3u, 16u, 21u, 67u}) {
        const Vec a = RefNoise(n, n), b = RefNoise(n, n + 100);
        for (const ElementCase& c : kElementCases) {
            Vec d = c.bStartFromB ? b : a;
            c.run(n, a, b, d);
            for (uint32_t i = 0; i < n; ++i)
                ASSERT_EQ(d[i], c.want(a, b, i)) << c.pszName << " n " << n << " i " << i;
        }
    }
    float fNegZero = -0.0f; // the sign bit is cleared even on negative zero
    ippsAbs_32f_I(1, &fNegZero);
    EXPECT_FALSE(std::signbit(fNegZero));
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(IppVector, ThresholdKeepsTheBoundsAndClearsInside)
{
    const float afIn[6] = {1e-10f, -1e-10f, 5e-11f, -std::nextafter(1e-10f, 0.0f), 1e-45f, 0.5f};
    const Vec want = {1e-10f, -1e-10f, 0.0f, 0.0f, 0.0f, 0.5f};
    Vec out(6);
    ippsThreshold_LTAbs_32f(6, afIn, out.data());
    EXPECT_EQ(out, want);
}

TEST(IppVector, DotProductSumsEightLanes)
{
    // Working: with a[0] = 2^24, a[8] = -2^24 and ones elsewhere (b all 1), lane 0 holds
    // 2^24 - 2^24 = 0 and lanes 1..7 hold 1 + 1 = 2 each, so the eight-lane sum is exactly 14.
    // A single running float sum would lose the first seven ones against 2^24 and give 7.
    std::vector<float> a(16, 1.0f), b(16, 1.0f);
    a[0] = 16777216.0f;
    a[8] = -16777216.0f;
    EXPECT_EQ(ippsDotProd_32f(16, a.data(), b.data()), 14.0f);
    EXPECT_EQ(DotProdEightLaneReference(16, a.data(), b.data()), 14.0f);
    // Below eight elements it is a plain running sum: 2^24 + 1 rounds back to 2^24.
    const float afShort[3] = {16777216.0f, 1.0f, -16777216.0f};
    const float afOnes[3] = {1.0f, 1.0f, 1.0f};
    EXPECT_EQ(ippsDotProd_32f(3, afShort, afOnes), 0.0f);

    for (uint32_t n : {7u, 8u, 9u, 1000u}) {
        const std::vector<float> x = RefNoise(n, 7 * n), y = RefNoise(n, 7 * n + 1);
        // The register form and the plain eight-lane loop agree bit for bit.
        EXPECT_EQ(ippsDotProd_32f(n, x.data(), y.data()), DotProdEightLaneReference(n, x.data(), y.data()));
        long double ldRef = 0.0L, ldAbs = 0.0L;
        std::vector<double> dx(x.begin(), x.end()), dy(y.begin(), y.end());
        for (uint32_t i = 0; i < n; ++i) {
            ldRef += static_cast<long double>(x[i]) * y[i];
            ldAbs += std::fabs(static_cast<long double>(x[i]) * y[i]);
        }
        // float rounding: at most about n ulps of the absolute sum, far less in practice
        EXPECT_NEAR(ippsDotProd_32f(n, x.data(), y.data()), static_cast<double>(ldRef),
                    static_cast<double>(ldAbs) * 1e-6);
        EXPECT_NEAR(ippsDotProd_64f(n, dx.data(), dy.data()), static_cast<double>(ldRef),
                    static_cast<double>(ldAbs) * 1e-14);
    }
}

TEST(IppVector, ComplexCallsMatchStdComplex)
{
    const uint32_t n = 19;
    const std::vector<float> a = RefNoise(2 * n, 1), b = RefNoise(2 * n, 2), c = RefNoise(2 * n, 3);
    std::vector<float> prod(2 * n), acc = c, inplace = b, square = a;
    ippsMul_32fc(n, a.data(), b.data(), prod.data());
    ippsMul_32fc_I(n, a.data(), inplace.data());
    ippsMul_32fc(n, square.data(), square.data(), square.data());
    ippsAddProduct_32fc(n, a.data(), b.data(), acc.data());
    std::vector<float> mag(n), pow(n), magSplit(n), re(n), im(n), back(2 * n);
    ippsMagnitude_32fc(n, a.data(), mag.data());
    ippsPowerSpectr_32fc(n, a.data(), pow.data());
    ippsCplxToReal_32f(n, a.data(), re.data(), im.data());
    ippsMagnitude_32f(n, re.data(), im.data(), magSplit.data());
    ippsRealToCplx_32f(n, re.data(), im.data(), back.data());
    for (uint32_t i = 0; i < n; ++i) {
        const std::complex<double> za(a[2 * i], a[2 * i + 1]), zb(b[2 * i], b[2 * i + 1]);
        const std::complex<double> zp = za * zb;
        // float products of values below 1: a few ulps
        const auto Near = [&](const std::vector<float>& v, std::complex<double> z) {
            EXPECT_NEAR(std::abs(std::complex<double>(v[2 * i], v[2 * i + 1]) - z), 0.0, 1.5e-6) << i;
        };
        Near(prod, zp);
        Near(acc, std::complex<double>(c[2 * i], c[2 * i + 1]) + zp);
        Near(square, za * za);
        EXPECT_NEAR(mag[i], std::abs(za), 1e-6);
        EXPECT_NEAR(pow[i], std::norm(za), 1e-6);
    }
    EXPECT_TRUE(inplace == prod && magSplit == mag && back == a);
    const float af34[2] = {3.0f, 4.0f};
    EXPECT_EQ(ippsNorm_L2_32f(2, af34), 5.0f);
    const int16_t asRe[2] = {1, -2}, asIm[2] = {3, -4};
    int16_t asPairs[4], asRe2[2], asIm2[2];
    ippsRealToCplx_16s(2, asRe, asIm, asPairs);
    EXPECT_EQ(asPairs[1], 3);
    EXPECT_EQ(asPairs[2], -2);
    ippsCplxToReal_16s(2, asPairs, asRe2, asIm2);
    EXPECT_EQ(asRe2[1], -2);
    EXPECT_EQ(asIm2[1], -4);
}

TEST(IppVector, ConvolutionMatchesDirectSumInDouble)
{
    std::vector<float> a = RefNoise(37, 11), out(41, 99.0f);
    const std::vector<float> b = RefNoise(5, 12);
    ippsConv_32f(37, a.data(), 5, b.data(), out.data());
    a.resize(41, 0.0f); // the full length of the result, every output written
    EXPECT_LT(RefMaxError(out, RefConvolution(a, b)), 1e-6); // five float products below 1
}

// Frame i of channel c holds 10 c + i, so every misplaced sample shows.
TEST(IppVector, InterleaveRoundTripsForOneTwoAndThreeChannels)
{
    for (uint32_t c : {1u, 2u, 3u}) {
        std::vector<Vec> planes(c, Vec(5)), back(c, Vec(5, -1.0f));
        std::vector<const float*> src(c);
        std::vector<float*> dst(c);
        for (uint32_t ch = 0; ch < c; ++ch) {
            for (uint32_t i = 0; i < 5; ++i)
                planes[ch][i] = static_cast<float>(10 * ch + i);
            src[ch] = planes[ch].data();
            dst[ch] = back[ch].data();
        }
        Vec inter(c * 5);
        InterleaveChannels(5, c, src.data(), inter.data());
        for (uint32_t k = 0; k < inter.size(); ++k)
            EXPECT_EQ(inter[k], static_cast<float>(10 * (k % c) + k / c)) << c;
        DeinterleaveChannels(5, c, inter.data(), dst.data());
        EXPECT_EQ(back, planes);
    }
}

TEST(IppVector, LinearRegressionFitsLines)
{
    // Working: x = 0, 1, 2 and y = 0, 1, 5 give means 1 and 2; slope = ((-1)(-2) + 0 + (1)(3)) / 2
    // = 2.5 and intercept = 2 - 2.5 * 1 = -0.5.
    const float afY[3] = {0.0f, 1.0f, 5.0f};
    double dSlope = 0.0, dIntercept = 0.0;
    LinearRegression(3, afY, 0.0, 1.0, dSlope, dIntercept);
    EXPECT_DOUBLE_EQ(dSlope, 2.5);
    EXPECT_DOUBLE_EQ(dIntercept, -0.5);
    // An exact line y = 2 + 0.25 x sampled at x = 10, 12, 14, ...
    std::vector<float> y(50);
    for (uint32_t i = 0; i < 50; ++i)
        y[i] = 2.0f + 0.25f * static_cast<float>(10 + 2 * i);
    LinearRegression(50, y.data(), 10.0, 2.0, dSlope, dIntercept);
    EXPECT_NEAR(dSlope, 0.25, 1e-12);
    EXPECT_NEAR(dIntercept, 2.0, 1e-9);
}
