#include <gtest/gtest.h>
#include <cmath>
#include <complex>
#include <random>
#include <vector>
#include "kvreverbconsole/dsp/modeled/butterworthfilterbank.h"
#include "kvreverbconsole/dsp/modeled/decaytimecalculator.h"
#include "kvreverbconsole/dsp/modeled/echodensitycalculator.h"
#include "kvreverbconsole/dsp/modeled/hannsmoother.h"
#include "support/dspreference.h"
#include "support/testhost.h"

namespace {
std::vector<float> Gaussian(size_t n, uint32_t seed)
{
    std::mt19937 rng(seed);
    std::normal_distribution<float> dist(0.0f, 0.3f);
    std::vector<float> v(n);
    for (float& x : v)
        x = dist(rng);
    return v;
}

// Sum of decaying sinusoids at log-uniform random frequencies in [f0, f1]: noise confined to
// that range whose level falls 60 dB in t60 seconds.
void AddDecayingTones(std::vector<float>& io_x, double f0, double f1, double t60, double rate, uint32_t seed)
{
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> u(0.0, 1.0);
    const double dDecay = std::exp(-std::log(1000.0) / (t60 * rate));
    for (int k = 0; k < 300; ++k) {
        const double w = 2.0 * REF_PI * f0 * std::pow(f1 / f0, u(rng)) / rate;
        const cd step = std::polar(dDecay, w);
        cd z = std::polar(0.05, 2.0 * REF_PI * u(rng));
        for (float& x : io_x) {
            x += static_cast<float>(z.real());
            z *= step;
        }
    }
}
} // namespace

// Against the weighted sum taken directly, in double: weights (1 - cos(pi (2j + 1) / N)) / N,
// sample -k read as x[k] at the start and sample n - 1 + k as x[n - k] at the end.
TEST(HannSmoother, EqualsDirectWeightedSum)
{
    const std::vector<float> x = RefNoise(1000, 7, 1.0f);
    const uint32_t n = 1000;
    for (uint32_t uWidth : {1u, 4u, 37u, 250u, 499u, 500u, 4000u}) {
        const uint32_t h = std::min(uWidth, n / 2 - 1);
        const uint32_t N = 2 * h + 1;
        std::vector<float> y(n);
        HannSmooth(n, x.data(), uWidth, y.data());
        double dWorst = 0.0;
        for (uint32_t i = 0; i < n; ++i) {
            double dSum = 0.0;
            for (uint32_t j = 0; j < N; ++j) {
                const int64_t p = static_cast<int64_t>(i + j) - h;
                const int64_t q = p < 0 ? -p : (p >= n ? 2 * n - 1 - p : p);
                dSum += (1.0 - std::cos(REF_PI * (2.0 * j + 1.0) / N)) / N * x[q];
            }
            dWorst = std::max(dWorst, std::fabs(dSum - y[i]));
        }
        EXPECT_LT(dWorst, 2e-5) << "half width " << uWidth; // float running sums over 1000 steps
    }
    const float afShort[2] = {3.0f, -1.0f};
    float afOut[2] = {0.0f, 0.0f};
    HannSmooth(2, afShort, 5, afOut);
    EXPECT_EQ(afOut[0], 3.0f);
    EXPECT_EQ(afOut[1], -1.0f);
}

TEST(EchoDensity, GaussianNoiseIsOneAndSparseEchoesFarBelow)
{
    TestHost host;
    EchoDensityCalculator calc(48000.0f, 48000);
    // round(0.015 x 48000) = 720: a window of 1441 samples, hop 720 >> 2 = 180.
    ASSERT_EQ(calc.GetWindowLength(), 1441u);
    ASSERT_EQ(calc.GetHop(), 180u);
    const std::vector<float> noise = Gaussian(48000, 3);
    calc.Calculate(48000, noise.data());
    ASSERT_EQ(calc.GetProfile().size(), (48000u - 1441u) / 180u);
    double dMean = 0.0;
    for (float v : calc.GetProfile()) {
        EXPECT_NEAR(v, 1.0, 0.2); // about 950 effective samples: sd of one frame near 0.05
        dMean += v / calc.GetProfile().size();
    }
    EXPECT_NEAR(dMean, 1.0, 0.02);

    std::vector<float> sparse(48000, 0.0f);
    for (size_t i = 100; i < sparse.size(); i += 480)
        sparse[i] = (i / 480) % 2 ? 0.8f : -0.5f;
    calc.Calculate(48000, sparse.data());
    for (float v : calc.GetProfile())
        EXPECT_LT(v, 0.1f); // 3 echoes a window: about 3 x 1.4e-3 x 3.15
    calc.Calculate(1441, noise.data());
    EXPECT_TRUE(calc.GetProfile().empty());
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(ButterworthFilterBank, BandCountFollowsTheRate)
{
    TestHost host;
    const struct { float fRate, fFirst; uint32_t uBands; } cases[] = {
        {48000.0f, 40.0f, 29}, // 40 x 2^(27/3) = 20480 < 24000 <= 40 x 2^(28/3)
        {44100.0f, 40.0f, 29}, // 20480 < 22050
        {96000.0f, 40.0f, 32}, // 40 x 2^(30/3) = 40960 < 48000 <= 40 x 2^(31/3)
        {48000.0f, 24000.0f, 1},
    };
    for (const auto& c : cases)
        EXPECT_EQ(ButterworthFilterBank(c.fRate, c.fFirst, 16000.0f, 1.2599211f).GetNumBands(), c.uBands) << c.fRate;
}

// The bands add up to the Linkwitz-Riley tree: band k = LP_k^2 HP_0^2 .. HP_(k-1)^2, last band the
// product of all HP^2, each a second-order Butterworth warped to its crossover. Evaluated in
// closed form and compared with the DFT of the summed impulse responses.
TEST(ButterworthFilterBank, BandsSumToTheLinkwitzRileyTree)
{
    TestHost host;
    const double rate = 48000.0;
    ButterworthFilterBank bank(48000.0f, 40.0f, 16000.0f, 1.2599211f);
    const uint32_t n = 1 << 14, B = bank.GetNumBands();
    std::vector<float> impulse(n, 0.0f);
    impulse[0] = 1.0f;
    std::vector<std::vector<float>> bands(B, std::vector<float>(n));
    std::vector<float*> ptrs;
    for (auto& b : bands)
        ptrs.push_back(b.data());
    bank.Split(n, impulse.data(), ptrs.data());
    std::vector<double> sum(n, 0.0);
    // The filters' anti-denormal offset is an input of its own: take out their response to silence.
    ButterworthFilterBank quiet(48000.0f, 40.0f, 16000.0f, 1.2599211f);
    std::vector<std::vector<float>> floor(B, std::vector<float>(n));
    for (uint32_t k = 0; k < B; ++k)
        ptrs[k] = floor[k].data();
    std::fill(impulse.begin(), impulse.end(), 0.0f);
    quiet.Split(n, impulse.data(), ptrs.data());
    for (uint32_t k = 0; k < B; ++k)
        for (uint32_t i = 0; i < n; ++i)
            sum[i] += static_cast<double>(bands[k][i]) - floor[k][i];
    for (double f = 25.0; f < 22000.0; f *= 1.37) {
        const double w = 2.0 * REF_PI * f / rate;
        cd measured = 0.0, expected = 0.0, highs = 1.0;
        for (uint32_t i = 0; i < n; ++i)
            measured += sum[i] * std::polar(1.0, -w * i);
        for (uint32_t k = 0; k + 1 < B; ++k) {
            const double W = std::tan(w / 2.0) / std::tan(REF_PI * 40.0 * std::pow(2.0, k / 3.0) / rate);
            const cd lp = 1.0 / cd(1.0 - W * W, std::sqrt(2.0) * W);
            expected += highs * lp * lp;
            highs *= (W * W * lp) * (W * W * lp);
        }
        expected += highs;
        EXPECT_LT(std::abs(measured - expected), 1e-4) << f << " Hz"; // float band signals
    }
}

TEST(DecayTimeCalculator, SlopesOfDecayingNoiseAndRisingEnergy)
{
    TestHost host;
    const float rate = 48000.0f;
    const uint32_t n = 72000;
    DecayTimeCalculator calc(rate, n, 40.0f, 16000.0f);
    ASSERT_EQ(calc.GetNumBands(), 29u);
    EXPECT_NEAR(calc.GetBandFreq(3), 80.0f, 1e-3f); // upper edge of band 3: 40 x 2^(3/3)
    // Low tones fall 60 dB in 1.2 s, high ones in 0.4 s: -60 / (T x rate) dB a sample.
    std::vector<float> x(n, 0.0f);
    AddDecayingTones(x, 50.0, 500.0, 1.2, rate, 1);
    AddDecayingTones(x, 5000.0, 16000.0, 0.4, rate, 2);
    calc.Calculate(n, x.data());
    for (uint32_t b = 1; b < calc.GetNumBands(); ++b) {
        const float fLow = calc.GetBandFreq(b - 1), fHigh = calc.GetBandFreq(b);
        const double dT60 = fLow >= 100.0f && fHigh <= 320.0f ? 1.2 : (fLow >= 6000.0f && fHigh <= 16000.0f ? 0.4 : 0.0);
        if (dT60 > 0.0) {
            EXPECT_NEAR(calc.GetDecaySlopes()[b] / (-60.0 / (dT60 * rate)), 1.0, 0.05) << "band " << b;
        }
    }
    // Energy that grows in every band takes the stand-in of 60 dB in 8.69 ms.
    std::vector<float> rising = Gaussian(24000, 5);
    for (uint32_t i = 0; i < rising.size(); ++i)
        rising[i] *= std::exp(3.0f * i / rate);
    calc.Calculate(24000, rising.data());
    for (uint32_t b = 0; b < calc.GetNumBands(); ++b)
        EXPECT_FLOAT_EQ(calc.GetDecaySlopes()[b], -6907.755f / rate) << "band " << b;
    EXPECT_EQ(host.asserts.Total(), 0u);
}
