#include <gtest/gtest.h>
#include <cmath>
#include <cstring>
#include <vector>
#include "qwfx/lib/qwreverbmodel.h"
#include "reverb_console/qwent/audioenginefx/src/bivrelreverb_qwentfx.h"
#include "support/dspreference.h"
#include "support/testhost.h"

namespace {
// A model whose late path is silent (one zero equaliser tap) and whose early response is a unit
// tap: the effect is then a pure mixing matrix, dry gain x input plus wet gain x folded input.
QwReverbModel MixingModel()
{
    QwReverbModel model;
    model.afEqualiser[0] = model.afEqualiser[1] = {0.0f};
    model.afEarly[0] = model.afEarly[1] = {1.0f};
    return model;
}

struct Reverb
{
    Reverb(TestHost& io_host, const std::vector<uint8_t>& in_media, uint16_t in_uMaxFrames = 256)
        : host(io_host), context(in_uMaxFrames)
    {
        context.media = in_media;
        pParams = static_cast<BivrelReverbFXParams*>(BivrelReverbFXParams::Create(&host.allocator));
        pParams->Init(&host.allocator, nullptr, 0);
        pEffect = static_cast<BivrelReverbFX*>(BivrelReverbFX::Create(&host.allocator));
    }
    ~Reverb()
    {
        pEffect->Term(&host.allocator);
        pParams->Term(&host.allocator);
    }
    QwResult Init(uint32_t in_uChannels, uint32_t in_uMask, uint32_t in_uRate = 48000)
    {
        format = QwFormat{in_uRate, QwMakeChannelConfig(in_uChannels, in_uMask), 0};
        return pEffect->Init(&host.allocator, &context, pParams, format);
    }
    void Set(uint16_t in_uId, float in_fValue) { pParams->SetParam(in_uId, &in_fValue, 4); }
    // One block of in_uFrames valid frames, channels of in_uMax stride.
    void Run(std::vector<float>& io_data, uint16_t in_uMax, uint16_t in_uValid, uint32_t in_eState = QW_Success)
    {
        buffer = QwAudioBuffer{io_data.data(), format.uChannelConfig, in_eState, in_uMax, in_uValid};
        pEffect->Execute(&buffer);
    }
    TestHost& host;
    TestEffectContext context;
    QwFormat format{};
    QwAudioBuffer buffer{};
    BivrelReverbFXParams* pParams;
    BivrelReverbFX* pEffect;
};

float Db(float in_fDb)
{
    return std::pow(10.0f, in_fDb / 20.0f);
}
} // namespace

TEST(BivrelReverbFX, ParameterBlockPutsTheOrderSeventhAndSetParamGroups)
{
    TestHost host;
    Reverb fx(host, QwWriteReverbModel(MixingModel()));
    std::vector<uint8_t> block(60, 0);
    const float afValues[15] = {0.7f, 300.0f, 8000.0f, 1.5f, 1.0f, 0.5f, 0.0f, -1.0f, -2.0f, 5.0f, 6.0f, -3.0f, -4.0f,
                                -5.0f, -6.0f};
    for (int i = 0; i < 15; ++i)
        std::memcpy(&block[4 * i], &afValues[i], 4);
    const uint32_t uOrder = 12;
    std::memcpy(&block[24], &uOrder, 4);
    fx.pParams->Init(&host.allocator, block.data(), 60);
    EXPECT_EQ(fx.pParams->m_uOrder, 12u);
    EXPECT_EQ(fx.pParams->fEarlyGain, -1.0f);
    EXPECT_EQ(fx.pParams->fRearDryOut, -6.0f);
    EXPECT_EQ(host.asserts.Total(), 0u);
    ASSERT_EQ(fx.Init(2, QW_MASK_STEREO), QW_Success);
    EXPECT_EQ(fx.pEffect->GetImpl()->GetFDN()->GetOrder(), 8u); // anything but 16 gives 8
    // Unknown ids set no flag; ids 14 and 9 fall in different groups.
    fx.pParams->m_bRtDirty = fx.pParams->m_bModelDirty = 0;
    const float f = 1.0f;
    EXPECT_EQ(fx.pParams->SetParam(15, &f, 4), static_cast<QwResult>(31));
    EXPECT_EQ(fx.pParams->m_bRtDirty + fx.pParams->m_bModelDirty, 0);
    fx.pParams->SetParam(14, &f, 4);
    EXPECT_EQ(fx.pParams->m_bModelDirty, 1);
    EXPECT_EQ(fx.pParams->m_bRtDirty, 0);
    fx.pParams->SetParam(9, &f, 4);
    EXPECT_EQ(fx.pParams->fRearPreDelay, 1.0f);
    EXPECT_EQ(fx.pParams->m_bRtDirty, 1);
}

TEST(BivrelReverbFX, ModelOverridesTheNetworkValuesAndSetsTheTail)
{
    TestHost host;
    QwReverbModel model = MixingModel();
    model.fDecayTime = 0.5f;
    model.fLowMultiplier = 1.0f;
    model.fMidMultiplier = 2.0f;
    model.fHighMultiplier = 0.5f;
    model.fLowCrossover = 250.0f;
    Reverb fx(host, QwWriteReverbModel(model));
    ASSERT_EQ(fx.Init(2, QW_MASK_STEREO), QW_Success);
    EXPECT_EQ(fx.pParams->fDecayTime, 0.5f);
    EXPECT_EQ(fx.pParams->fMidMultiplier, 2.0f);
    EXPECT_EQ(fx.pParams->fLowCrossover, 250.0f);
    EXPECT_EQ(fx.pParams->m_bModelDirty, 1);
    // 48000 x 0.5 x 8 x 2: the time to fall 120 dB in the slowest band.
    EXPECT_EQ(fx.pEffect->GetTailFrames(), 384000u);
    EXPECT_TRUE(fx.pEffect->ProbeFlag());
    EXPECT_EQ(fx.pEffect->ProbeCode(), 1u);
    // Fully wet and all but dry by default: a burst comes back at 1 + 10^(-96 / 20) of itself.
    std::vector<float> data(2 * 16, 0.0f);
    data[0] = 0.5f;
    fx.Run(data, 16, 16);
    EXPECT_NEAR(data[0], 0.5f * (1.0f + Db(-96.0f)), 1e-7f); // the dry share is 7.9e-6
}

TEST(BivrelReverbFX, MediaIsRequiredAndChecked)
{
    TestHost host;
    {
        Reverb fx(host, {});
        EXPECT_EQ(fx.Init(2, QW_MASK_STEREO), static_cast<QwResult>(79));
    }
    std::vector<uint8_t> record = QwWriteReverbModel(MixingModel());
    record.push_back(0);
    {
        Reverb fx(host, record);
        EXPECT_EQ(fx.Init(2, QW_MASK_STEREO), static_cast<QwResult>(52));
        EXPECT_EQ(host.asserts.Count("false"), 1u);
        // Refused before anything was applied: the network keeps its defaults.
        EXPECT_EQ(fx.pEffect->GetImpl()->GetDecayTime(), 0.5f);
        EXPECT_EQ(fx.pEffect->GetImpl()->GetLowCrossover(), 400.0f);
    }
    // No taps at all is a legal record: both convolutions are silent (the empty response once
    // reached the convolver as pointer arithmetic on null), so at 0 dB dry the output is the input.
    QwReverbModel model;
    const std::vector<uint8_t> empty = QwWriteReverbModel(model);
    EXPECT_EQ(empty.size(), 36u);
    Reverb fx(host, empty);
    ASSERT_EQ(fx.Init(2, QW_MASK_STEREO), QW_Success);
    fx.Set(BivrelReverbFXParams::FRONT_DRY_OUT, 0.0f);
    const std::vector<float> input = RefNoise(2 * 256, 4);
    for (int b = 0; b < 8; ++b) {
        std::vector<float> block = input;
        fx.Run(block, 256, 256);
        for (size_t i = 0; i < block.size(); ++i)
            ASSERT_NEAR(block[i], input[i], 1e-6) << "block " << b << " sample " << i;
    }
    EXPECT_EQ(host.asserts.Total(), 1u); // only the refused record's
}

// One burst per channel through the mixing model. Block channels to slots: 5.1 puts 0, 1, 3, 4, 2
// (centre), 5 (low frequency) in slots 0 to 5; 7.1 puts 5, 6 in slots 2, 3 and 3, 4 in slots 6, 7,
// and slots 6 and 7 feed late 2 and 3 and take them back. The centre feeds the front pair half
// each and takes half of both back; the low frequency is only ever scaled by the dry gain.
// Stereo never applies the rear values, so an out-of-range one goes unreported there, while a
// front dry gain out of range is reported and used all the same.
TEST(BivrelReverbFX, LayoutsFoldTheCentreShareTheRearAndLeaveTheLowFrequencyDry)
{
    const float x[8] = {0.1f, 0.2f, 0.3f, 0.05f, 0.07f, 0.4f, 0.04f, 0.5f};
    // 5.1 sets an early gain: there the early path alone carries the wet signal.
    const float dF = Db(-6), dR = Db(-12), wF = Db(-3) * Db(-4), wR = Db(-9) * Db(-4), d = Db(-96.3f);
    const float wet0 = wF * (x[0] + 0.5f * x[2]), wet1 = wF * (x[1] + 0.5f * x[2]);
    const float wet07 = x[0] + 0.5f * x[2], wet17 = x[1] + 0.5f * x[2];
    const struct
    {
        uint32_t uChannels, uMask;
        float afDb[5]; // front and rear dry, front and rear wet, early gain
        std::vector<float> expected;
        size_t uRangeReports;
    } cases[] = {
        {2, QW_MASK_STEREO, {-96.4f, -12.0f, 0.0f, -200.0f, 0.0f}, {(Db(-96.4f) + 1.0f) * x[0], (Db(-96.4f) + 1.0f) * x[1]}, 1},
        {6, QW_MASK_5_1, {-6.0f, -12.0f, -3.0f, -9.0f, -4.0f},
         {dF * x[0] + wet0, dF * x[1] + wet1, dF * x[2] + 0.5f * (wet0 + wet1), (dR + wR) * x[3], (dR + wR) * x[4],
          dF * x[5]}, 0},
        {8, QW_MASK_7_1, {-96.3f, -96.3f, 0.0f, 0.0f, 0.0f},
         {d * x[0] + wet07, d * x[1] + wet17, d * x[2] + 0.5f * (wet07 + wet17), d * x[3] + x[5] + x[3],
          d * x[4] + x[6] + x[4], d * x[5] + x[5] + x[3], d * x[6] + x[6] + x[4], d * x[7]}, 0},
    };
    for (const auto& c : cases) {
        TestHost host;
        Reverb fx(host, QwWriteReverbModel(MixingModel()));
        ASSERT_EQ(fx.Init(c.uChannels, c.uMask), QW_Success);
        const uint16_t aIds[5] = {BivrelReverbFXParams::FRONT_DRY_OUT, BivrelReverbFXParams::REAR_DRY_OUT,
                                  BivrelReverbFXParams::FRONT_WET_OUT, BivrelReverbFXParams::REAR_WET_OUT,
                                  BivrelReverbFXParams::EARLY_GAIN};
        for (int i = 0; i < 5; ++i)
            fx.Set(aIds[i], c.afDb[i]);
        const uint16_t M = 32;
        std::vector<float> data(c.uChannels * M, 0.0f);
        for (uint32_t ch = 0; ch < c.uChannels; ++ch)
            data[ch * M] = x[ch];
        fx.Run(data, M, M);
        for (uint32_t ch = 0; ch < c.uChannels; ++ch) {
            // float sums of a few products below 1; the -96.4 dB dry share of x = 0.1 is 1.5e-6
            EXPECT_NEAR(data[ch * M], c.expected[ch], 1e-7f) << c.uChannels << " channel " << ch;
            for (int t = 1; t < M; ++t)
                ASSERT_NEAR(data[ch * M + t], 0.0f, 1e-7f) << c.uChannels << " channel " << ch;
        }
        EXPECT_EQ(host.asserts.Count("fDryOut >= DRY_OUT_MIN && fDryOut <= DRY_OUT_MAX"), c.uRangeReports);
        EXPECT_EQ(host.asserts.Total(), c.uRangeReports) << c.uChannels;
    }
}

TEST(BivrelReverbFX, PreDelayChangeCrossFadesOver128Samples)
{
    TestHost host;
    Reverb fx(host, QwWriteReverbModel(MixingModel()), 512);
    fx.pParams->fFrontPreDelay = 5.0f; // 240 samples
    ASSERT_EQ(fx.Init(2, QW_MASK_STEREO), QW_Success);
    fx.Set(BivrelReverbFXParams::FRONT_DRY_OUT, -96.3f);
    // A ramp makes the read position visible: a delay of d gives t - d.
    std::vector<float> data(2 * 512, 0.0f);
    float fNext = 0.0f;
    auto Block = [&]() {
        for (int t = 0; t < 512; ++t)
            data[t] = fNext + t;
        fNext += 512.0f;
        fx.Run(data, 512, 512);
    };
    Block();
    Block();
    EXPECT_NEAR(data[100], 512.0f + 100.0f - 240.0f + Db(-96.3f) * 612.0f, 0.05f); // the dry path is not delayed
    fx.Set(BivrelReverbFXParams::FRONT_PRE_DELAY, 10.0f); // 480 samples, faded from the next block
    Block();
    const float fDry = Db(-96.3f);
    for (int k = 0; k < 140; ++k) {
        const float t = 1024.0f + k;
        // Weights k+1 over 128 of the new position for 127 samples, then the new one alone.
        const float w = k < 127 ? (k + 1) / 128.0f : 1.0f;
        const float fExpected = (1.0f - w) * (t - 240.0f) + w * (t - 480.0f) + fDry * t;
        ASSERT_NEAR(data[k], fExpected, 0.05f) << k;
    }
}

// The tail is the time to fall 120 dB, 8 x decay x rate x the largest multiplier: 38400 frames
// for 0.1 s, 412 of them in the first block, then ceil(37988 / 512) = 75 more blocks. A decay that
// makes it NaN, negative or beyond 32 bits (once an undefined conversion) gives no tail, no tail
// and the longest there is; 1e-9 gives less than a frame.
TEST(BivrelReverbFX, TailFromAnyDecayInTheModel)
{
    const std::pair<float, uint32_t> aCases[] = {
        {0.1f, 76u}, {std::nanf(""), 1u}, {-1.0f, 1u}, {1e30f, 100u}, {1e-9f, 1u}};
    for (const auto& [fDecay, uExpected] : aCases) {
        TestHost host;
        QwReverbModel model = QwSyntheticReverbModel(48000, 50.0f);
        model.fDecayTime = fDecay;
        Reverb fx(host, QwWriteReverbModel(model), 512);
        ASSERT_EQ(fx.Init(2, QW_MASK_STEREO), QW_Success);
        std::vector<float> data(1024, 0.0f);
        data[0] = 1.0f;
        fx.Run(data, 512, 100, QW_InputEnded);
        EXPECT_EQ(fx.buffer.uValidFrames, 512u) << fDecay;
        uint32_t uBlocks = 1;
        while (fx.buffer.eState == QW_DataReady && uBlocks < 100) {
            std::fill(data.begin(), data.end(), 0.0f);
            fx.Run(data, 512, 0, QW_InputEnded);
            ++uBlocks;
        }
        EXPECT_EQ(uBlocks, uExpected) << fDecay;
    }
}
