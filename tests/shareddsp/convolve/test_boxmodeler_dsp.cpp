#include <gtest/gtest.h>
#include <cmath>
#include <cstring>
#include <vector>
#include "shareddsp/convolve/boxmodeler_dsp.h"
#include "support/dspreference.h"
#include "support/testboxmodel.h"
#include "support/testhost.h"

namespace {

double DbToLinear(double in_fDb) { return std::pow(10.0, in_fDb / 20.0); }

// Streams channels through the engine block by block; returns the output per channel.
std::vector<std::vector<float>> RunBlocks(BoxModelerDsp& io_dsp, std::vector<std::vector<float>> io_x, uint32_t in_uBlock)
{
    const size_t uFrames = io_x[0].size();
    for (size_t uPos = 0; uPos < uFrames; uPos += in_uBlock) {
        float* ap[BoxModelerDsp::MAX_CHANNELS];
        for (size_t c = 0; c < io_x.size(); ++c)
            ap[c] = io_x[c].data() + uPos;
        const uint32_t n = static_cast<uint32_t>(std::min<size_t>(in_uBlock, uFrames - uPos));
        io_dsp.Process(n, ap);
    }
    return io_x;
}

const uint32_t B = 64;

} // namespace

// Against direct convolution with the taps the trim and length keep, the model and output
// gains on both paths. 150 taps span three 64-frame partitions. The trim taps by level: 1, 0.5
// (-6 dB), 0.3, 0.2, 0.1, 1e-3 (-60 dB), 1e-5 (-100 dB), 0. Level 0 cuts at -5 dB (0.5623):
// everything after the first two taps goes, and the first two stay whatever their level.
// Level 9.99 cuts at -5 - 84.915 = -89.915 dB (3.20e-5): the 1e-5 tap and the zero go, 6 taps
// stay. Level 10 keeps all 8. One tap keeps one (n = 2 by the floor, truncate(1 x 1) = 1).
TEST(BoxModelerDsp, MatchesDirectConvolutionWithGainsMixAndTrim)
{
    const std::vector<float> noise = RefNoise(150, 1), trim = {1.0f, 0.5f, 0.3f, 0.2f, 0.1f, 1e-3f, 1e-5f, 0.0f};
    struct Case
    {
        const std::vector<float>* pTaps;
        float fModelDb, fOutputDb, fWet, fLevel, fFraction;
        uint32_t uTaps;
        double fThreshold, fTol; // float FFT over the taps of unit-range noise
    };
    const std::vector<float> oneTap = {0.25f};
    const Case aCases[] = {
        {&noise, -6, 3.5f, 100, 10, 1, 150, 0, 2e-5},
        {&noise, -6, 3.5f, 0, 10, 1, 150, 0, 2e-5},
        {&noise, -6, 3.5f, 30, 10, 1, 150, 0, 2e-5},
        {&trim, 0, 0, 100, 0.0f, 1.0f, 2, DbToLinear(-5.0), 1e-5},
        {&trim, 0, 0, 100, 9.99f, 1.0f, 6, DbToLinear(-89.915), 1e-5},
        {&trim, 0, 0, 100, 10.0f, 1.0f, 8, 0.0, 1e-5},
        {&trim, 0, 0, 100, 10.0f, 0.5f, 4, 0.0, 1e-5},                // truncate(8 x 0.5)
        {&trim, 0, 0, 100, 10.0f, 0.99f, 7, 0.0, 1e-5},               // truncate(7.92)
        {&trim, 0, 0, 100, 9.99f, 0.5f, 4, DbToLinear(-89.915), 1e-5}, // min(6, 4)
        {&trim, 0, 0, 100, 0.0f, 0.0f, 0, DbToLinear(-5.0), 1e-5},
        {&oneTap, 12, 0, 100, 10, 1, 1, 0, 1e-6},
    };
    for (const Case& k : aCases) {
        TestHost host;
        const std::vector<uint8_t> blob = MakeBoxModelBlob(k.fModelDb, *k.pTaps);
        BoxModelerDsp dsp(2, 48000.0f, B, "cab");
        ASSERT_TRUE(dsp.SetMedia(uint32_t(blob.size()), blob.data()));
        ASSERT_TRUE(dsp.SetModel(0));
        dsp.SetParam(BoxModelerDsp::PARAM_OUTPUT_GAIN, k.fOutputDb);
        dsp.SetParam(BoxModelerDsp::PARAM_WET, k.fWet);
        dsp.SetParam(BoxModelerDsp::PARAM_TRIM_LEVEL, k.fLevel);
        dsp.SetParam(BoxModelerDsp::PARAM_LENGTH_FRACTION, k.fFraction);
        SCOPED_TRACE(testing::Message() << k.pTaps->size() << " taps, wet " << k.fWet << ", level " << k.fLevel
                                        << ", fraction " << k.fFraction);
        EXPECT_NEAR(dsp.GetTrimThreshold(), k.fThreshold, k.fThreshold * 1e-5);
        dsp.Reset();
        const std::vector<std::vector<float>> x = {RefNoise(1000, 2), RefNoise(1000, 3)};
        const auto y = RunBlocks(dsp, x, B);
        const double g = DbToLinear(k.fModelDb) * DbToLinear(k.fOutputDb), fWet = k.fWet / 100.0;
        for (size_t c = 0; c < 2; ++c) {
            // Direct convolution in double with the taps kept.
            const std::vector<double> conv =
                RefConvolution(x[c], std::vector<float>(k.pTaps->begin(), k.pTaps->begin() + k.uTaps));
            ASSERT_EQ(y[c].size(), conv.size());
            for (size_t i = 0; i < conv.size(); ++i)
                ASSERT_NEAR(y[c][i], g * (fWet * conv[i] + (1.0 - fWet) * x[c][i]), k.fTol)
                    << "channel " << c << " frame " << i;
        }
        EXPECT_EQ(host.asserts.Total(), 0u);
    }
}

TEST(BoxModelerDsp, EmptyBlobs)
{
    {
        // Nothing handed over: no model, and the blob stays empty.
        TestHost host;
        BoxModelerDsp dsp(1, 48000.0f, B, "");
        EXPECT_FALSE(dsp.SetMedia(0, nullptr));
        EXPECT_FALSE(dsp.SetModel(0));
        EXPECT_FALSE(dsp.IsModelValid());
    }
    {
        // A blob of no taps: no model; the engine only scales by the gains.
        TestHost host;
        const std::vector<uint8_t> blob = MakeBoxModelBlob(-6.0f, {});
        BoxModelerDsp dsp(1, 48000.0f, B, "");
        EXPECT_TRUE(dsp.SetMedia(uint32_t(blob.size()), blob.data()));
        EXPECT_FALSE(dsp.SetModel(0));
        EXPECT_FALSE(dsp.IsModelValid());
        dsp.SetParam(BoxModelerDsp::PARAM_WET, 40.0f);
        std::vector<float> x = {1.0f, -0.5f};
        float* p = x.data();
        dsp.Process(2, &p);
        EXPECT_NEAR(x[0], DbToLinear(-6.0), 1e-6); // w + d = the model gain
        EXPECT_NEAR(x[1], -0.5 * DbToLinear(-6.0), 1e-6);
        EXPECT_EQ(host.asserts.Total(), 0u);
    }
}

TEST(BoxModelerDsp, RepeatedValuesDoNoWork)
{
    TestHost host;
    const std::vector<float> h = RefNoise(200, 8); // four partitions: a reload would disturb the line
    const std::vector<uint8_t> blob = MakeBoxModelBlob(0.0f, h);
    BoxModelerDsp a(1, 48000.0f, B, "");
    BoxModelerDsp b(1, 48000.0f, B, "");
    for (BoxModelerDsp* p : {&a, &b}) {
        p->SetMedia(uint32_t(blob.size()), blob.data());
        p->SetModel(0);
        p->SetParam(BoxModelerDsp::PARAM_TRIM_LEVEL, 9.0f);
        p->SetParam(BoxModelerDsp::PARAM_LENGTH_FRACTION, 0.9f);
    }
    const std::vector<float> x = RefNoise(1024, 9);
    std::vector<float> ya(x), yb(x);
    for (size_t uPos = 0; uPos < x.size(); uPos += B) {
        if (uPos == 5 * B) { // mid-stream, the same values again on one of the twins
            a.SetParam(BoxModelerDsp::PARAM_TRIM_LEVEL, 9.0f);
            a.SetParam(BoxModelerDsp::PARAM_LENGTH_FRACTION, 0.9f);
            a.SetModel(0);
        }
        float* pa = ya.data() + uPos;
        float* pb = yb.data() + uPos;
        a.Process(B, &pa);
        b.Process(B, &pb);
    }
    EXPECT_EQ(ya, yb);
}

TEST(BoxModelerDsp, NewKernelKeepsTheSignalState)
{
    // 48 taps fit one 64-frame partition, so each block's full convolution (128 frames) is
    // made with the kernel of its own time: its second half rings into the next block even
    // after the kernel has changed. Reference: sum over blocks of x_i * h(i), placed at i x 64.
    TestHost host;
    const std::vector<float> h = RefNoise(48, 10);
    const std::vector<uint8_t> blob = MakeBoxModelBlob(0.0f, h);
    BoxModelerDsp dsp(1, 48000.0f, B, "");
    dsp.SetMedia(uint32_t(blob.size()), blob.data());
    dsp.SetModel(0);
    const std::vector<float> x = RefNoise(8 * B, 11);
    std::vector<float> y(x);
    std::vector<double> ref(x.size() + 2 * B, 0.0);
    for (uint32_t k = 0; k < 8; ++k) {
        if (k == 4)
            dsp.SetParam(BoxModelerDsp::PARAM_LENGTH_FRACTION, 0.25f); // 12 taps from here on
        const size_t uTaps = k < 4 ? 48 : 12;
        for (size_t i = 0; i < B; ++i)
            for (size_t j = 0; j < uTaps; ++j)
                ref[k * B + i + j] += double(x[k * B + i]) * h[j];
        float* p = y.data() + k * B;
        dsp.Process(B, &p);
    }
    for (size_t i = 0; i < x.size(); ++i)
        ASSERT_NEAR(y[i], ref[i], 1e-5) << i;
    // The ring-over into block 4 is real: clearing the state would lose it.
    double fRingOver = 0.0;
    for (size_t i = 4 * B; i < 4 * B + 47; ++i)
        for (size_t j = i - 4 * B + 1; j < 48; ++j)
            fRingOver += std::fabs(double(x[i - j]) * h[j]);
    EXPECT_GT(fRingOver, 1.0);
}

TEST(BoxModelerDsp, TapCountBeyondTheLimitAssertsAndLoadGoesOn)
{
    TestHost host;
    std::vector<uint8_t> blob = MakeBoxModelBlob(0.0f, {0.5f, 0.25f});
    const uint32_t uHuge = 1000001;
    std::memcpy(blob.data() + 4, &uHuge, 4);
    BoxModelerDsp dsp(1, 48000.0f, B, "");
    dsp.SetMedia(uint32_t(blob.size()), blob.data());
    dsp.SetModel(0);
    EXPECT_EQ(host.asserts.Count("false"), 1u);
    // The missing taps read as zero and are reported once; the model loads.
    EXPECT_EQ(host.asserts.Count("i < size()"), 1u);
    EXPECT_TRUE(dsp.IsModelValid());
}
