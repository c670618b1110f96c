#include <gtest/gtest.h>
#include <cmath>
#include <numeric>
#include <random>
#include <vector>
#include "ipp/iirreference.h"
#include "kvreverbconsole/dsp/fdn/stereofdn.h"
#include "support/testhost.h"

namespace {
struct Channels
{
    Channels(uint32_t in_uChannels, uint32_t in_uFrames) : data(in_uChannels, std::vector<float>(in_uFrames, 0.0f))
    {
        for (auto& d : data)
            ptrs.push_back(d.data());
    }
    float* const* At(uint32_t in_uOffset)
    {
        offsetPtrs.clear();
        for (auto& d : data)
            offsetPtrs.push_back(d.data() + in_uOffset);
        return offsetPtrs.data();
    }
    std::vector<std::vector<float>> data;
    std::vector<float*> ptrs;
    std::vector<float*> offsetPtrs;
};

// Second-order band-pass (constant peak gain), coefficients from their textbook definition.
std::vector<long double> BandPass(const std::vector<float>& in_x, double in_fCentre, double in_fQ, double in_fRate)
{
    const double w = 2.0 * M_PI * in_fCentre / in_fRate, alpha = std::sin(w) / (2.0 * in_fQ);
    const double c[6] = {alpha, 0.0, -alpha, 1.0 + alpha, -2.0 * std::cos(w), 1.0 - alpha};
    return RefIir(std::vector<long double>(in_x.begin(), in_x.end()), c, 2);
}

// Decay rate in dB per second from a least-squares line through the energy envelope.
double DecayDbPerSecond(const std::vector<long double>& in_y, double in_fRate, double in_fFrom, double in_fTo)
{
    const size_t uWindow = static_cast<size_t>(0.02 * in_fRate);
    std::vector<double> t, db;
    for (size_t start = static_cast<size_t>(in_fFrom * in_fRate); start + uWindow <= in_fTo * in_fRate;
         start += uWindow) {
        double e = 0;
        for (size_t i = start; i < start + uWindow; ++i)
            e += static_cast<double>(in_y[i] * in_y[i]);
        t.push_back((start + uWindow / 2) / in_fRate);
        db.push_back(10.0 * std::log10(e / uWindow + 1e-30));
    }
    double st = 0, sd = 0, stt = 0, std_ = 0;
    for (size_t i = 0; i < t.size(); ++i) {
        st += t[i];
        sd += db[i];
        stt += t[i] * t[i];
        std_ += t[i] * db[i];
    }
    const double n = static_cast<double>(t.size());
    return (n * std_ - st * sd) / (n * stt - st * st);
}
} // namespace

// 80 ms + i/16 x 70 ms, each the nearest power of its prime on a log scale, capped to fit 150 ms.
// Line 8 (529 samples) is the shortest; it is fed by and taps into channel 0, so an impulse there
// comes out first after 530 samples, on channel 0 only (odd lines hear the silent channel 1).
TEST(StereoFDN, DefaultLinesArePrimePowersAndTheFirstOutputFollowsTheShortest)
{
    TestHost host;
    StereoFDN fdn(48000.0f, 1024, 2, 0, 16);
    const uint32_t auExpected[16] = {4096, 6561, 3125, 2401, 1331, 2197, 4913, 6859,
                                     529,  841,  961,  1369, 1681, 1849, 2209, 2809};
    for (uint32_t i = 0; i < 16; ++i)
        EXPECT_EQ(fdn.GetLineLength(i), auExpected[i]) << "line " << i;
    EXPECT_FLOAT_EQ(fdn.GetDelayTime(3), 80.0f + 3.0f / 16.0f * 70.0f); // what was asked, not what was got
    EXPECT_FLOAT_EQ(fdn.GetOutputGain(0), 0.25f);
    EXPECT_EQ(fdn.GetMatrixType(), 1u);
    Channels io(2, 2048);
    io.data[0][0] = 1.0f;
    fdn.Process(2048, io.ptrs.data());
    for (uint32_t t = 0; t < 530; ++t)
        ASSERT_TRUE(io.data[0][t] == 0.0f && io.data[1][t] == 0.0f) << t;
    EXPECT_NE(io.data[0][530], 0.0f);
    EXPECT_EQ(io.data[1][530], 0.0f);
    // Reset silences the lines and keeps their lengths.
    fdn.Reset();
    Channels quiet(2, 8000);
    fdn.Process(8000, quiet.ptrs.data());
    for (int ch = 0; ch < 2; ++ch)
        EXPECT_EQ(quiet.data[ch], std::vector<float>(8000, 0.0f));
    EXPECT_EQ(fdn.GetMinDelay(), 529u);
    EXPECT_EQ(host.asserts.Total(), 0u);
}

// The reference runs whole sub-blocks step by step without vector kernels; the network under
// test runs blocks of random lengths through each vector kernel, so the kernels and their
// remainder path meet every alignment. None of this may change a bit.
TEST(StereoFDN, SubBlocksOfAnyLengthEqualTheStepwiseWhole)
{
    TestHost host;
    struct Case
    {
        uint32_t uOrder, uChannels, uMatrix;
    };
    for (const Case& k : {Case{8, 2, 1}, Case{16, 2, 1}, Case{16, 4, 1}, Case{8, 1, 1}, Case{16, 2, 0}})
    for (StereoFDN::Kernel eKernel : {StereoFDN::Kernel::SSE2, StereoFDN::Kernel::AVX2}) {
        if (!StereoFDN::HasKernel(eKernel))
            continue;
        StereoFDN whole(44100.0f, 1024, k.uChannels, 0, k.uOrder), random(44100.0f, 1024, k.uChannels, 0, k.uOrder);
        for (StereoFDN* f : {&whole, &random}) {
            f->SetMatrixType(k.uMatrix);
            f->SetHighMultiplier(0.4f); // the band filters then differ from a plain gain
            f->SetInputGain(1, 0.7f);
            f->SetOutputGain(2, -0.3f);
        }
        const uint32_t n = 6000;
        Channels a(k.uChannels, n), c(k.uChannels, n);
        std::mt19937 rng(5);
        std::uniform_real_distribution<float> dist(-1.0f, 1.0f);
        for (uint32_t t = 0; t < 300; ++t)
            for (uint32_t ch = 0; ch < k.uChannels; ++ch)
                a.data[ch][t] = c.data[ch][t] = dist(rng);
        whole.ProcessWith(StereoFDN::Kernel::PORTABLE, n, a.ptrs.data());
        // Mostly 0 to 3 samples (single ones included), now and then up to 1500.
        std::uniform_int_distribution<uint32_t> len(0, 1500);
        for (uint32_t t = 0, b = 0; t < n; ++b) {
            const uint32_t m = std::min(b % 8 == 7 ? len(rng) : len(rng) % 4, n - t);
            random.ProcessWith(eKernel, m, c.At(t));
            t += m;
        }
        for (uint32_t ch = 0; ch < k.uChannels; ++ch)
            EXPECT_EQ(a.data[ch], c.data[ch]) << "kernel " << static_cast<int>(eKernel) << " order " << k.uOrder
                                              << " channels " << k.uChannels << " mix " << k.uMatrix << " channel " << ch;
    }
}

TEST(StereoFDN, OrderEightWithFourChannelsRoutesLineToChannelModuloFour)
{
    TestHost host;
    for (uint32_t uLine = 0; uLine < 8; ++uLine) {
        StereoFDN fdn(48000.0f, 1024, 4, 0, 8);
        for (uint32_t i = 0; i < 8; ++i)
            fdn.SetOutputGain(i, i == uLine ? 1.0f : 0.0f);
        fdn.SetMatrixType(0); // no mix: the line hears only its own channel
        Channels io(4, 8000);
        io.data[uLine % 4][0] = 1.0f;
        fdn.Process(8000, io.ptrs.data());
        for (uint32_t ch = 0; ch < 4; ++ch) {
            const double e = std::inner_product(io.data[ch].begin(), io.data[ch].end(), io.data[ch].begin(), 0.0);
            EXPECT_TRUE(ch == uLine % 4 ? e > 0.1 : e == 0.0) << "line " << uLine << " channel " << ch << " " << e;
        }
    }
}

TEST(StereoFDN, DecayTimeFiveHoldsForEver)
{
    TestHost host;
    StereoFDN fdn(48000.0f, 1024, 2, 0, 16);
    fdn.SetLowMultiplier(0.3f);
    fdn.SetHighMultiplier(2.0f);
    fdn.SetDecayTime(5.0f);
    EXPECT_EQ(fdn.BandGain(0.3f), 1.0f);
    EXPECT_EQ(fdn.BandGain(2.0f), 1.0f);
    fdn.SetDecayTime(4.9999f);
    // 15 dB in 4.9999 s at 48 kHz: 10^(-15 / 20 / (4.9999 x 48000)) per sample.
    EXPECT_NEAR(fdn.BandGain(1.0f), std::pow(10.0, -0.75 / (4.9999 * 48000.0)), 2e-7);
    EXPECT_LT(fdn.BandGain(1.0f), 1.0f);

    // Unitary mix and unit band gains: the energy put in is neither lost nor gained.
    fdn.SetDecayTime(5.0f);
    Channels io(2, 48000);
    std::mt19937 rng(9);
    std::normal_distribution<float> noise(0.0f, 1.0f);
    for (uint32_t t = 0; t < 200; ++t)
        io.data[0][t] = noise(rng);
    fdn.Process(48000, io.ptrs.data());
    double eEarly = 0, eLate = 0;
    for (int ch = 0; ch < 2; ++ch) {
        for (uint32_t t = 8000; t < 16000; ++t)
            eEarly += io.data[ch][t] * io.data[ch][t];
        for (uint32_t t = 40000; t < 48000; ++t)
            eLate += io.data[ch][t] * io.data[ch][t];
    }
    EXPECT_NEAR(10.0 * std::log10(eLate / eEarly), 0.0, 0.5);
}

TEST(StereoFDN, BandsDecayAtTheirSetTimes)
{
    TestHost host;
    const double fs = 48000.0;
    StereoFDN fdn(48000.0f, 1024, 2, 0, 16);
    fdn.SetLowMultiplier(2.0f);
    fdn.SetMidMultiplier(1.0f);
    fdn.SetHighMultiplier(0.5f);
    fdn.SetDecayTime(0.6f);
    const uint32_t n = static_cast<uint32_t>(2.0 * fs);
    Channels io(2, n);
    io.data[0][0] = 1.0f;
    io.data[1][0] = 1.0f;
    fdn.Process(n, io.ptrs.data());
    std::vector<float> mono(n);
    for (uint32_t t = 0; t < n; ++t)
        mono[t] = io.data[0][t] + io.data[1][t];
    // 15 dB per (decay x multiplier) seconds, measured well inside each band.
    struct Band
    {
        double fCentre, fSeconds, fFrom, fTo;
    };
    for (const Band& band : {Band{90.0, 1.2, 0.3, 1.8}, Band{2000.0, 0.6, 0.2, 1.2}, Band{19000.0, 0.3, 0.15, 0.7}}) {
        const std::vector<long double> y = BandPass(mono, band.fCentre, 2.0, fs);
        const double fExpected = -15.0 / band.fSeconds;
        const double fMeasured = DecayDbPerSecond(y, fs, band.fFrom, band.fTo);
        EXPECT_NEAR(fMeasured, fExpected, 0.15 * std::fabs(fExpected)) << "band at " << band.fCentre << " Hz";
    }
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(StereoFDN, PhasesFallAndClimbWithinAQuarterTurn)
{
    TestHost host;
    StereoFDN fdn(48000.0f, 1024, 2, 0, 16);
    // N = 16: q = 4, h = 8; k < 4 gives (1 - (k + 1) / 5) pi/2, then (k + 1 - 4) / 4 x pi/2.
    const double aExpected[7] = {0.8, 0.6, 0.4, 0.2, 0.25, 0.5, 0.75};
    for (uint32_t k = 0; k < 7; ++k)
        EXPECT_NEAR(fdn.GetPhase(k), aExpected[k] * M_PI / 2, 1e-6) << k;
    // The circulant matrix built from them is unitary: its row has unit energy. Its DC
    // eigenvalue, the sum of the row, is 1 and its Nyquist one, the alternating sum, is -1.
    std::vector<float> row(16);
    fdn.GetCirculant()->GetRow(row.data());
    double e = 0, dSum = 0, dAlternating = 0;
    for (uint32_t i = 0; i < 16; ++i) {
        e += row[i] * row[i];
        dSum += row[i];
        dAlternating += i % 2 ? -row[i] : row[i];
    }
    EXPECT_NEAR(e, 1.0, 1e-5);
    EXPECT_NEAR(dSum, 1.0, 1e-5);
    EXPECT_NEAR(dAlternating, -1.0, 1e-5);
}
