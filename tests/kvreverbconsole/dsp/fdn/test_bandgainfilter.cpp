#include <gtest/gtest.h>
#include <cmath>
#include <complex>
#include <vector>
#include "kvreverbconsole/dsp/fdn/bandgainfilter.h"
#include "support/dspreference.h"
#include "support/testhost.h"

namespace {

// Response of the stored digital section at angular frequency w.
cd DigitalResponse(const float c[5], double w)
{
    const cd z1 = std::exp(cd(0.0, -w));
    const cd z2 = z1 * z1;
    return (double(c[0]) + double(c[1]) * z1 + double(c[2]) * z2) / (1.0 + double(c[3]) * z1 + double(c[4]) * z2);
}

// The analogue shelf, written from its defining properties: gain gL below fL, gM between, gH
// above fH, poles at the two crossovers: H(s) = (gL + (gM tL + gL tH) s + gH tL tH s^2) / ((1 + tL s)(1 + tH s)).
cd AnalogueShelf(double gL, double gM, double gH, double fL, double fH, cd s)
{
    const double tL = 1.0 / (2.0 * M_PI * fL), tH = 1.0 / (2.0 * M_PI * fH);
    return (gL + (gM * tL + gL * tH) * s + gH * tL * tH * s * s) / ((1.0 + tL * s) * (1.0 + tH * s));
}

// Crossovers, per-sample band gains, and line i delayed by dFirst + i dStep samples.
void Configure(BandGainFilter& io_f, double fL, double fH, double gL, double gM, double gH, double dFirst, double dStep,
               uint32_t uLines)
{
    io_f.SetLowCrossover(fL);
    io_f.SetHighCrossover(fH);
    io_f.SetLowGain(gL);
    io_f.SetMidGain(gM);
    io_f.SetHighGain(gH);
    for (uint32_t i = 0; i < uLines; ++i)
        io_f.SetDelay(i, dFirst + dStep * i);
}

std::vector<float*> Pointers(std::vector<std::vector<float>>& io_lines)
{
    std::vector<float*> p;
    for (auto& l : io_lines)
        p.push_back(l.data());
    return p;
}
} // namespace

TEST(BandGainFilter, ResponseIsTheWarpedAnalogueShelf)
{
    TestHost host;
    const double fs = 48000.0;
    BandGainFilter filter(fs, 8);
    const double gLow = 0.99995, gMid = 0.9999, gHigh = 0.9997;
    Configure(filter, 400.0, 10000.0, gLow, gMid, gHigh, 500.0, 700.0, 8);
    for (uint32_t i = 0; i < 8; ++i) {
        float c[5];
        filter.GetCoefficients(i, c);
        const double d = 500.0 + 700.0 * i;
        const double gL = float(std::pow(gLow, d)), gM = float(std::pow(gMid, d)), gH = float(std::pow(gHigh, d));
        for (double f : {20.0, 100.0, 400.0, 1000.0, 3000.0, 10000.0, 18000.0}) {
            const double w = 2.0 * M_PI * f / fs;
            // The bilinear map sends s = j 2 fs tan(w / 2) to z = e^{jw}.
            const cd expected = AnalogueShelf(gL, gM, gH, 400.0, 10000.0, cd(0.0, 2.0 * fs * std::tan(w / 2)));
            EXPECT_NEAR(std::abs(DigitalResponse(c, w)), std::abs(expected), 2e-4) << "line " << i << " f " << f;
        }
        // Plateaus: DC is exactly the low gain and Nyquist the high gain (float coefficients).
        EXPECT_NEAR(std::abs(DigitalResponse(c, 0.0)), gL, 1e-5);
        EXPECT_NEAR(std::abs(DigitalResponse(c, M_PI)), gH, 1e-4);
    }
    EXPECT_EQ(host.asserts.Total(), 0u);
}

// Gain g per sample on line c (1000 (c + 1) samples long) is a plain gain of g^(1000 (c + 1)).
TEST(BandGainFilter, UnitGainsAreTheIdentityAndEqualGainsAPlainGain)
{
    TestHost host;
    BandGainFilter filter(48000.0, 4);
    const std::vector<std::vector<float>> original = {RefNoise(2000, 3), RefNoise(2000, 4), RefNoise(2000, 5),
                                                      RefNoise(2000, 6)};
    for (const auto& [g, fTolerance] : {std::pair<double, float>{1.0, 1e-5f}, {0.9999, 2e-5f}}) {
        Configure(filter, 400.0, 10000.0, g, g, g, 1000.0, 1000.0, 4);
        auto lines = original;
        auto p = Pointers(lines);
        filter.ProcessFour(0, 2000, p.data());
        for (int c = 0; c < 4; ++c) {
            const float fGain = static_cast<float>(std::pow(g, 1000.0 * (c + 1)));
            for (int t = 0; t < 2000; ++t)
                ASSERT_NEAR(lines[c][t], original[c][t] * fGain, fTolerance) << g << " " << c << " " << t;
        }
    }
}

TEST(BandGainFilter, VectorAndPortablePathsAgreeExactly)
{
    TestHost host;
    BandGainFilter a(44100.0, 8), b(44100.0, 8);
    for (BandGainFilter* f : {&a, &b})
        Configure(*f, 250.0, 6000.0, 0.9999, 0.9998, 0.999, 300.0, 211.0, 8);
    std::vector<std::vector<float>> la = {RefNoise(777, 11), RefNoise(777, 12), RefNoise(777, 13), RefNoise(777, 14)};
    auto lb = la;
    auto pa = Pointers(la), pb = Pointers(lb);
    for (int block = 0; block < 3; ++block) { // state carries across calls
        a.ProcessFour(1, 777, pa.data());
        b.ProcessFourPortable(1, 777, pb.data());
    }
    for (int c = 0; c < 4; ++c)
        for (int t = 0; t < 777; ++t)
            ASSERT_EQ(la[c][t], lb[c][t]) << c << " " << t;
}

TEST(BandGainFilter, ARedesignClearsTheStateOfEveryLine)
{
    TestHost host;
    BandGainFilter filter(48000.0, 4);
    Configure(filter, 400.0, 10000.0, 0.999, 1.0, 0.99, 100.0, 100.0, 4);
    std::vector<std::vector<float>> lines(4, std::vector<float>(64, 1.0f));
    auto p = Pointers(lines);
    filter.ProcessFour(0, 64, p.data());
    // After a crossover change the filters start from rest: an impulse gives b0 first.
    filter.SetHighCrossover(9000.0);
    for (auto& l : lines) {
        std::fill(l.begin(), l.end(), 0.0f);
        l[0] = 1.0f;
    }
    filter.ProcessFour(0, 64, p.data());
    for (uint32_t i = 0; i < 4; ++i) {
        float c[5];
        filter.GetCoefficients(i, c);
        EXPECT_EQ(lines[i][0], c[0]);
        EXPECT_FLOAT_EQ(lines[i][1], c[1] - c[3] * c[0]);
    }
}
