#include <gtest/gtest.h>
#include <cfloat>
#include <cmath>
#include <vector>
#include "ipp/iirreference.h"
#include "kvbase/ipp/ipp_filtering_ref.h"
#include "support/dspreference.h"
#include "support/testhost.h"

namespace
{
// Third-order direct form with a0 = 2 (the set-up scales everything by 1/2), and three stable
// biquads, b0 b1 b2 a0 a1 a2 each (low-pass, peak, high-pass shapes, a0 = 1).
const double kDirect[8] = {0.1, 0.2, 0.2, 0.1, 2.0, -1.6, 0.8, -0.12};
const double kCascade[18] = {0.0200833656, 0.0401667312, 0.0200833656, 1.0, -1.5610180758, 0.6413515381,
                             1.1, -1.6, 0.7, 1.0, -1.6, 0.8,
                             0.8, -1.6, 0.8, 1.0, -1.5, 0.6};

// The double and float entry points under one name each, so that one template covers both.
bool InitDirect(QwIppIirState64f** pp, const double* p, uint32_t o, const double* z) { return ippsIIRInit64f_32f(pp, p, o, z); }
bool InitDirect(QwIppIirState32f** pp, const float* p, uint32_t o, const float* z) { return ippsIIRInit_32f(pp, p, o, z); }
double One(double x, QwIppIirState64f* p) { return ippsIIROne64f_32f(x, p); }
float One(float x, QwIppIirState32f* p) { return ippsIIROne_32f(x, p); }
void Block(uint32_t n, const double* s, double* d, QwIppIirState64f* p) { ippsIIR64f_32f(n, s, d, p); }
void Block(uint32_t n, const float* s, float* d, QwIppIirState32f* p) { ippsIIR_32f(n, s, d, p); }

// The direct form runs a block then sample by sample, the cascade the other way round, so each
// path carries the other's state.
template <class T>
void MatchesLongDouble(double dTolerance)
{
    TestHost host;
    const std::vector<float> xf = RefNoise(2000, 5);
    const std::vector<long double> x(xf.begin(), xf.end());
    const std::vector<long double> yDirect = RefIir(x, kDirect, 3), yCascade = RefIir(x, kCascade, 2, 3);
    const std::vector<T> direct(kDirect, kDirect + 8), cascade(kCascade, kCascade + 18), in(xf.begin(), xf.end());
    QwIppIirState<T>* pDirect = nullptr;
    QwIppIirState<T>* pCascade = nullptr;
    ASSERT_TRUE(InitDirect(&pDirect, direct.data(), 3, nullptr));
    ASSERT_TRUE(ippsIIRInit_BiQuad_32f(&pCascade, cascade.data(), 3, nullptr));
    std::vector<T> yd(in.size()), yc(in.size());
    Block(1000, in.data(), yd.data(), pDirect);
    for (size_t n = 0; n < 1000; ++n) {
        yd[n + 1000] = One(in[n + 1000], pDirect);
        yc[n] = One(in[n], pCascade);
    }
    Block(1000, in.data() + 1000, yc.data() + 1000, pCascade);
    for (size_t n = 0; n < x.size(); ++n) {
        EXPECT_NEAR(yd[n], static_cast<double>(yDirect[n]), dTolerance) << n;
        EXPECT_NEAR(yc[n], static_cast<double>(yCascade[n]), dTolerance) << n;
    }
    ippsIIRFree(pDirect);
    ippsIIRFree(pCascade);
    EXPECT_TRUE(host.allocator.Balanced());
    EXPECT_EQ(host.asserts.Total(), 0u);
}

// First order, b = (0, 0), a = (1, a1), delay z, input 0: y = z, then z' = -a1 y + 1e-10, cleared
// when inside (-1e-10, 1e-10).
//  a1 = 0.5,  z = 1e-10: z' = -0.5e-10 + 1e-10 = 0.5e-10, inside the bound -> 0.
//  a1 = -0.5, z = 1e-10: z' = 0.5e-10 + 1e-10 = 1.5e-10, kept.
//  a1 = 0.5,  z = 0:     z' = 1e-10, on the bound, kept.
template <class T>
void LastDelay()
{
    const struct { T a1, z, expected; } cases[] = {
        {T(0.5), T(1e-10), T(0)}, {T(-0.5), T(1e-10), T(0.5) * T(1e-10) + T(1e-10)}, {T(0.5), T(0), T(1e-10)}};
    for (const auto& c : cases) {
        const T taps[4] = {T(0), T(0), T(1), c.a1};
        QwIppIirState<T>* pState = nullptr;
        ASSERT_TRUE(InitDirect(&pState, taps, 1, &c.z));
        EXPECT_EQ(One(T(0), pState), c.z);
        T got = T(-1);
        ippsIIRGetDlyLine(pState, &got);
        EXPECT_EQ(got, c.expected) << c.a1 << " " << c.z;
        ippsIIRFree(pState);
    }
}
} // namespace

TEST(IppFir, MatchesDirectConvolutionAcrossBlocks)
{
    TestHost host;
    for (uint32_t uTaps : {1u, 7u, 8u, 9u, 33u}) {
        const std::vector<float> taps = RefNoise(uTaps, uTaps);
        const std::vector<float> x = RefNoise(300, 2 * uTaps);
        QwIppFirState* pState = nullptr;
        ASSERT_TRUE(ippsFIRInit_32f(&pState, taps.data(), uTaps, nullptr));
        std::vector<float> y(300);
        // Uneven blocks, the middle one in place.
        ippsFIR_32f(100, x.data(), y.data(), pState);
        std::copy(x.begin() + 100, x.begin() + 201, y.begin() + 100);
        ippsFIR_32f_I(101, y.data() + 100, pState);
        ippsFIR_32f(99, x.data() + 201, y.data() + 201, pState);
        EXPECT_LT(RefMaxError(y, RefConvolution(x, taps)), 2e-6 * uTaps) << uTaps; // float sums
        ippsFIRFree_32f(pState);
    }
    EXPECT_TRUE(host.allocator.Balanced());
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(IppIir, MatchesLongDoubleDifferenceEquation)
{
    // The 1e-10 offset on the last delay settles at a DC error of 1e-10 / (1 + a1 + a2) per
    // section, below 1e-8 here; double rounding adds far less.
    MatchesLongDouble<double>(1e-8);
    // Single precision coefficients move the poles: 1e-4 is a few hundred float ulps of gain.
    MatchesLongDouble<float>(1e-4);
}

TEST(IppIir, LastDelayCarriesTheAntiDenormalStep)
{
    TestHost host;
    LastDelay<double>();
    LastDelay<float>();
    EXPECT_EQ(host.asserts.Total(), 0u);
}

// Silence after a loud state: no value ever becomes denormal in float, and the output settles
// where the offset balances the feedback, y = 1e-10 / (1 + a1 + a2) for the biquad.
template <class T>
void SilenceSettles(double dRelative)
{
    const double* c = kCascade; // the low-pass section: 1 + a1 + a2 = 0.0803334623
    const double dFixed = 1e-10 / (1.0 + c[4] + c[5]);
    const std::vector<T> taps(c, c + 6);
    const T start[2] = {T(0.3), T(-0.2)};
    QwIppIirState<T>* pState = nullptr;
    ASSERT_TRUE(ippsIIRInit_BiQuad_32f(&pState, taps.data(), 1, start));
    std::vector<T> zero(20000, T(0)), y(20000);
    Block(20000, zero.data(), y.data(), pState);
    for (T v : y)
        EXPECT_TRUE(static_cast<float>(v) == 0.0f || std::fabs(static_cast<float>(v)) >= FLT_MIN);
    EXPECT_NEAR(y.back(), dFixed, dRelative * dFixed);
    ippsIIRFree(pState);
}

TEST(IppIir, SilenceSettlesWithoutDenormals)
{
    TestHost host;
    SilenceSettles<double>(1e-6); // double rounding of the fixed point
    // float coefficients shift 1 + a1 + a2 by a few float ulps of 1: about 1e-5 relative
    SilenceSettles<float>(1e-4);
}

TEST(IppStates, FailedAllocatorGivesNullStates)
{
    TestHost host;
    const float fTap = 1.0f;
    QwIppFirState* pFir = nullptr;
    host.allocator.FailAt(2); // the state object succeeds, its tap vector fails
    EXPECT_FALSE(ippsFIRInit_32f(&pFir, &fTap, 1, nullptr));
    EXPECT_EQ(pFir, nullptr);
    EXPECT_TRUE(IsOutOfMemory());
    EXPECT_TRUE(host.allocator.Balanced());
    // While the flag stands, no set-up call even asks for memory.
    const uint64_t uCalls = host.allocator.AllocCalls();
    QwIppIirState32f* pIir = nullptr;
    const float afTaps[6] = {1, 0, 0, 1, 0, 0};
    EXPECT_FALSE(ippsIIRInit_BiQuad_32f(&pIir, afTaps, 1, nullptr));
    EXPECT_EQ(pIir, nullptr);
    EXPECT_EQ(host.allocator.AllocCalls(), uCalls);
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(IppStates, OwnBindingIsUsedOnceSet)
{
    TestHost host;
    QwHostAllocator own;
    QwPluginMemAlloc* pOwn = &own;
    uint8_t bFailed = 0;
    SetIppAllocator(&pOwn, &bFailed);
    const float afTaps[2] = {0.5f, 0.5f};
    QwIppFirState* pFir = nullptr;
    EXPECT_TRUE(ippsFIRInit_32f(&pFir, afTaps, 2, nullptr));
    EXPECT_EQ(own.AllocCalls(), 3u); // state, taps, delay
    EXPECT_EQ(host.allocator.AllocCalls(), 0u);
    ippsFIRFree_32f(pFir);
    EXPECT_TRUE(own.Balanced());
    bFailed = 1;
    pFir = nullptr;
    EXPECT_FALSE(ippsFIRInit_32f(&pFir, afTaps, 2, nullptr));
    EXPECT_EQ(pFir, nullptr);
    SetIppAllocator(nullptr, nullptr);
    EXPECT_TRUE(ippsFIRInit_32f(&pFir, afTaps, 2, nullptr));
    EXPECT_EQ(host.allocator.AllocCalls(), 3u);
    ippsFIRFree_32f(pFir);
}

// Reference: insert up - 1 zeros after each input, convolve with the taps, keep every
// down-th sample starting at the given phase.
TEST(IppFirMr, MatchesUpsampleFilterDownsample)
{
    TestHost host;
    struct Case
    {
        int32_t up, down, phase;
        uint32_t taps;
    } cases[] = {{3, 2, 1, 10}, {2, 3, 2, 7}, {1, 1, 0, 5}, {4, 1, 0, 16}};
    for (const Case& c : cases) {
        const std::vector<float> h = RefNoise(c.taps, c.taps);
        const uint32_t uIters1 = 7, uIters2 = 5;
        const uint32_t uIn = (uIters1 + uIters2) * c.down;
        const std::vector<float> x = RefNoise(uIn, 99);
        std::vector<float> up(uIn * c.up, 0.0f);
        for (uint32_t i = 0; i < uIn; ++i)
            up[i * c.up] = x[i];
        QwIppFirMrState* pState = nullptr;
        ASSERT_TRUE(ippsFIRMRInit_32f(&pState, c.up, c.down, h.data(), c.taps, c.phase));
        std::vector<float> y((uIters1 + uIters2) * c.up);
        ippsFIRMR_32f(uIters1, x.data(), y.data(), pState);
        // Second block in place: its input is copied where its output goes when that fits.
        std::vector<float> io(std::max(uIters2 * c.up, uIters2 * c.down));
        std::copy(x.begin() + uIters1 * c.down, x.end(), io.begin());
        ippsFIRMR_32f(uIters2, io.data(), io.data(), pState);
        std::copy(io.begin(), io.begin() + uIters2 * c.up, y.begin() + uIters1 * c.up);
        const std::vector<double> ref = RefConvolution(up, h);
        for (size_t m = 0; m < y.size(); ++m)
            EXPECT_NEAR(y[m], ref[c.phase + m * c.down], 1e-5) << c.up << "/" << c.down << " output " << m;
        ippsFIRMRFree_32f(pState);
    }
    EXPECT_TRUE(host.allocator.Balanced());
}
