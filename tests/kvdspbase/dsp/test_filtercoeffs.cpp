#include <gtest/gtest.h>
#include <cmath>
#include <complex>
#include <functional>
#include <vector>
#include "kvdspbase/dsp/butterworthprototype.h"
#include "kvdspbase/dsp/filtercoeffs.h"
#include "support/testhost.h"

namespace
{
typedef std::complex<long double> Cld;
const long double kPi = 3.141592653589793238462643383279502884L;

// H(e^{iw}) of a section b0..bN, a0..aN, summed in long double.
template <class T>
Cld Response(const T* c, uint32_t uOrder, long double w)
{
    Cld num = 0.0L, den = 0.0L;
    for (uint32_t k = 0; k <= uOrder; ++k) {
        const Cld e = std::polar(1.0L, -w * static_cast<long double>(k));
        num += static_cast<long double>(c[k]) * e;
        den += static_cast<long double>(c[uOrder + 1 + k]) * e;
    }
    return num / den;
}

double Db(const Cld& h) { return static_cast<double>(20.0L * std::log10(std::abs(h))); }

long double Omega(double f, double fs) { return std::tan(kPi * f / fs); } // bilinear frequency map
} // namespace

// Every design is the bilinear image of an analogue prototype: |H|^2 follows the analogue closed
// form at W = tan(w / 2) over tan(w0 / 2) for the pre-warped ones, at Omega = 2 fs tan(w / 2) for
// the first-order sections without pre-warp. The list holds each design frequency, where the
// closed forms give -3.0103 dB for the low and high passes and 1 for the band-pass.
TEST(FilterCoeffs, DesignsFollowTheirAnalogueClosedForms)
{
    TestHost host;
    const double fs = 48000.0, f0 = 1000.0, fc = 1234.0, Q = 1.0 / std::sqrt(2.0);
    const auto W2 = [&](double f, double fd) { return std::pow(Omega(f, fs) / Omega(fd, fs), 2.0L); };
    const auto Low = [&](long double w2) { return 1.0L / ((1 - w2) * (1 - w2) + w2 / (Q * Q)); };
    const auto R2 = [&](double f) { return std::pow(2.0L * fs * Omega(f, fs) / (2 * kPi * f0), 2.0L); };
    struct Row
    {
        std::vector<double> c; // float designs widened exactly
        uint32_t uOrder;
        std::function<long double(double)> norm;
        double tolerance;
    };
    std::vector<Row> rows;
    double c[6], lp[6 * 3], hp[6 * 3];
    float cf[6];
    DesignLowPass(c, fs, f0, Q);
    rows.push_back({{c, c + 6}, 2, [&](double f) { return Low(W2(f, f0)); }, 1e-9});
    DesignHighPass(c, fs, f0, Q);
    rows.push_back({{c, c + 6}, 2, [&](double f) { return Low(W2(f, f0)) * W2(f, f0) * W2(f, f0); }, 1e-9});
    DesignBandPass(c, fs, f0, 2.0);
    rows.push_back({{c, c + 6}, 2, [&](double f) { const long double w2 = W2(f, f0);
                        return (w2 / 4.0L) / ((1 - w2) * (1 - w2) + w2 / 4.0L); }, 1e-9});
    DesignLowPass(cf, 48000.0f, 1000.0f, 0.70710678f);
    EXPECT_EQ(cf[3], 1.0f);
    rows.push_back({{cf, cf + 6}, 2, [&](double f) { return Low(W2(f, f0)); }, 2e-4});
    DesignFirstOrderLowPass(c, fs, f0, false);
    rows.push_back({{c, c + 4}, 1, [&](double f) { return 1 / (1 + R2(f)); }, 1e-12});
    DesignFirstOrderHighPass(c, fs, f0, false);
    rows.push_back({{c, c + 4}, 1, [&](double f) { return R2(f) / (1 + R2(f)); }, 1e-12});
    // Butterworth |H|^2 = 1 / (1 + (W / Wc)^(2n)), warped at fc, and its high-pass mirror.
    for (uint32_t n : {2u, 4u, 5u}) {
        ButterworthPrototype proto(n);
        DesignPrototypeLowPass(lp, fs, fc, proto);
        DesignPrototypeHighPass(hp, fs, fc, proto);
        const auto X = [=](double f) { return std::pow(W2(f, fc), static_cast<long double>(n)); };
        rows.push_back({{lp, lp + 6 * proto.NumSections()}, 2, [=](double f) { return 1 / (1 + X(f)); }, 1e-10});
        rows.push_back({{hp, hp + 6 * proto.NumSections()}, 2, [=](double f) { return X(f) / (1 + X(f)); }, 1e-10});
    }
    for (size_t r = 0; r < rows.size(); ++r)
        for (double f : {20.0, 100.0, 300.0, 999.0, 1000.0, 1234.0, 4000.0, 7000.0, 15000.0, 20000.0}) {
            Cld h = 1.0L;
            for (size_t s = 0; s < rows[r].c.size(); s += 2 * (rows[r].uOrder + 1))
                h *= Response(rows[r].c.data() + s, rows[r].uOrder, 2 * kPi * f / fs);
            EXPECT_NEAR(std::norm(h), static_cast<double>(rows[r].norm(f)), rows[r].tolerance) << r << " " << f;
        }
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(FilterCoeffs, PeakAndShelfGains)
{
    TestHost host;
    const double fs = 44100.0;
    for (double g : {-12.0, 3.0, 9.5}) {
        double pk[6];
        DesignPeaking(pk, fs, 2500.0, g, 1.5);
        EXPECT_NEAR(Db(Response(pk, 2, 2 * kPi * 2500.0 / fs)), g, 1e-9);
        EXPECT_NEAR(Db(Response(pk, 2, 0.0L)), 0.0, 1e-9); // unity far from the centre
    }
    // A 6 dB shelf is 10^(6/20) applied twice over: the plateau sits at 12 dB.
    double lo[6], hi[6];
    DesignLowShelf(lo, fs, 200.0, 6.0, 1.0);
    DesignHighShelf(hi, fs, 8000.0, 6.0, 0.5);
    EXPECT_NEAR(Db(Response(lo, 2, 0.0L)), 12.0, 1e-9);
    EXPECT_NEAR(Db(Response(lo, 2, kPi)), 0.0, 1e-9);
    EXPECT_NEAR(Db(Response(hi, 2, kPi)), 12.0, 1e-9);
    EXPECT_NEAR(Db(Response(hi, 2, 0.0L)), 0.0, 1e-9);
    // At the shelf frequency with slope 1 the gain is half the plateau in dB: sqrt(A^2) = A.
    EXPECT_NEAR(Db(Response(lo, 2, 2 * kPi * 200.0 / fs)), 6.0, 1e-9);

    // 0 dB: numerator equals denominator, so the filter is the identity.
    double id[3][6];
    DesignPeaking(id[0], fs, 1000.0, 0.0, 0.7);
    DesignLowShelf(id[1], fs, 1000.0, 0.0, 0.7);
    DesignHighShelf(id[2], fs, 1000.0, 0.0, 0.7);
    for (auto& c : id)
        for (int k = 0; k < 3; ++k)
            EXPECT_NEAR(c[k], c[3 + k], 1e-15);
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(FilterCoeffs, AboveHalfTheRatePassesOrSilences)
{
    TestHost host;
    const double pass[6] = {1, 0, 0, 1, 0, 0}, zero[6] = {0, 0, 0, 0, 0, 0};
    double c[6][6];
    DesignLowPass(c[0], 48000.0, 24001.0, 0.7);
    DesignBandPass(c[1], 48000.0, 30000.0, 0.7);
    DesignPeaking(c[2], 48000.0, 30000.0, 6.0, 0.7);
    DesignLowShelf(c[3], 48000.0, 30000.0, 6.0, 1.0);
    DesignHighShelf(c[4], 48000.0, 30000.0, 6.0, 1.0);
    DesignHighPass(c[5], 48000.0, 24001.0, 0.7);
    for (int i = 0; i < 6; ++i)
        EXPECT_TRUE(std::equal(c[i], c[i] + 6, i < 5 ? pass : zero)) << i;
    // Exactly half the rate is designed: the low-pass then has b1 = 2 / (1 + alpha), not 0.
    DesignLowPass(c[0], 48000.0, 24000.0, 0.7);
    EXPECT_NEAR(c[0][1], 2.0, 1e-12);
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(FilterCoeffs, FirstOrderSections)
{
    TestHost host;
    const double fs = 48000.0, fc = 1000.0;
    double lp[4], hp[4], lpw[4];
    DesignFirstOrderLowPass(lp, fs, fc, false);
    DesignFirstOrderHighPass(hp, fs, fc, false);
    DesignFirstOrderLowPass(lpw, fs, fc, true);
    // The pre-warp divides by the rate twice, so it changes the angle by a factor tan(x) / x with
    // x = pi 1000 / 48000^2 = 1.4e-6: about 6e-13, and the cut-off stays at -3.0165 dB rather than
    // the -3.0103 dB a textbook pre-warp would give.
    for (int i = 0; i < 4; ++i)
        EXPECT_NEAR(lpw[i], lp[i], 1e-11);
    EXPECT_NEAR(Db(Response(lpw, 1, 2 * kPi * fc / fs)), -3.0165, 1e-3);

    const double pass[4] = {1, 0, 1, 0}, silence[4] = {0, 0, 1, 0};
    double c[4][4];
    DesignFirstOrderLowPass(c[0], fs, 0.0, true);
    DesignFirstOrderHighPass(c[1], fs, 24001.0, false);
    DesignFirstOrderHighPass(c[2], fs, 0.0, true);
    DesignFirstOrderLowPass(c[3], fs, 24001.0, false);
    for (int i = 0; i < 4; ++i)
        EXPECT_TRUE(std::equal(c[i], c[i] + 4, i < 2 ? silence : pass)) << i;
    float cf[4];
    DesignFirstOrderHighPass(cf, 48000.0f, 1000.0f, true);
    EXPECT_NEAR(cf[0], hp[0], 1e-6);
    EXPECT_NEAR(cf[3], hp[3], 1e-6);
    EXPECT_EQ(host.asserts.Total(), 0u);
}

// The unwarped transform, used directly by the reverb's band filters: 1 / (1 + s + s^2) at
// fs = 0.5, so k = 1: b = (1, 2, 1); a0 = 1 + 1 + 1 = 3, a1 = 2 - 2 = 0, a2 = 1 - 1 + 1 = 1;
// over a0: (1/3, 2/3, 1/3, 1, 0, 1/3). The warped one is under every prototype design above.
TEST(FilterCoeffs, UnwarpedBilinearTransformHandWorked)
{
    TestHost host;
    float second[6] = {1.0f, 0.0f, 0.0f, 1.0f, 1.0f, 1.0f};
    BilinearTransform(second, second, 2, 0.5f, BilinearWarp<float>{0.0f, false}); // in place
    const float expected[6] = {1.0f / 3, 2.0f / 3, 1.0f / 3, 1.0f, 0.0f, 1.0f / 3};
    for (int i = 0; i < 6; ++i)
        EXPECT_NEAR(second[i], expected[i], 1e-7);
    EXPECT_EQ(host.asserts.Total(), 0u);
}

// The sections are held to the Butterworth closed form above.
TEST(FilterCoeffs, LinkwitzRileyPairSumsToAnAllPass)
{
    TestHost host;
    ButterworthPrototype two(2);
    const double fs = 48000.0;
    // Two second-order sections in series each way form a fourth-order Linkwitz-Riley pair,
    // whose sum is an all-pass.
    double lp2[6], hp2[6];
    DesignPrototypeLowPass(lp2, fs, 500.0, two);
    DesignPrototypeHighPass(hp2, fs, 500.0, two);
    for (double f = 10.0; f < 24000.0; f *= 1.37) {
        const long double w = 2 * kPi * f / fs;
        const Cld l = Response(lp2, 2, w), h = Response(hp2, 2, w);
        EXPECT_NEAR(std::abs(l * l + h * h), 1.0, 1e-9) << f;
    }
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(FilterCoeffs, GroupDelayAllPass)
{
    TestHost host;
    // Working, n = 5 bins of zero delay, m = 2: N = 8, fAdd = (2 - 0) / 5 * 8 = 3.2. Section 1
    // sums 3.2, 6.4, 9.6 >= 8 over bins [0, 3); section 2 takes [3, 5) as the bins run out.
    // theta = (i0 + i1) pi / 8: 3 pi / 8 and pi. d = (i1 - i0) pi / 8: 3 pi / 8 and pi / 4.
    const double zeros[5] = {0, 0, 0, 0, 0};
    double c[12];
    DesignGroupDelayAllPass(c, zeros, 5, 2);
    const double thetas[2] = {3 * M_PI / 8, M_PI};
    const double ds[2] = {3 * M_PI / 8, M_PI / 4};
    for (int s = 0; s < 2; ++s) {
        const double* q = c + 6 * s;
        const double cc = static_cast<float>(9.999997615814777 - 8.999997615814777 * std::cos(ds[s]));
        const double r = cc - std::sqrt(cc * cc - 1.0);
        EXPECT_NEAR(std::sqrt(q[0]), r, 1e-12);
        EXPECT_NEAR(-q[1] / (2 * r), std::cos(thetas[s]), 1e-12);
        EXPECT_EQ(q[2], 1.0);
        EXPECT_EQ(q[3], 1.0);
        EXPECT_EQ(q[4], q[1]);
        EXPECT_EQ(q[5], q[0]);
    }
    // A delay curve over 64 bins: all sections are all-passes with poles inside the circle.
    std::vector<float> delay(64);
    for (uint32_t i = 0; i < 64; ++i)
        delay[i] = 40.0f * std::exp(-static_cast<float>(i) / 8.0f);
    std::vector<float> cf(6 * 8);
    DesignGroupDelayAllPass(cf.data(), delay.data(), 64, 8);
    for (uint32_t s = 0; s < 8; ++s) {
        EXPECT_LT(cf[6 * s + 5], 1.0f);
        for (double w = 0.0; w < M_PI; w += 0.05)
            EXPECT_NEAR(std::abs(Response(cf.data() + 6 * s, 2, w)), 1.0, 1e-6);
    }
    EXPECT_EQ(host.asserts.Total(), 0u);
}
