#include <gtest/gtest.h>
#include <cmath>
#include <cstring>
#include <vector>
#include "skrel_console/mbdistortion/qwent/audioenginefx/kvskrelmultibanddistortionfx.h"
#include "support/firstorderresponse.h"
#include "support/testhost.h"

namespace {
struct Multiband
{
    explicit Multiband(TestHost& io_host, uint16_t in_uMaxFrames = 512) : host(io_host), context(in_uMaxFrames)
    {
        pParams = static_cast<KvSkrelMultibandDistortionFXParams*>(
            KvSkrelMultibandDistortionFXParams::Create(&host.allocator));
        pParams->Init(&host.allocator, nullptr, 0);
        pEffect = static_cast<KvSkrelMultibandDistortionFX*>(KvSkrelMultibandDistortionFX::Create(&host.allocator));
    }
    ~Multiband()
    {
        pEffect->Term(&host.allocator);
        pParams->Term(&host.allocator);
    }
    QwResult Init(uint32_t in_uChannels = 1, uint32_t in_uRate = 48000)
    {
        format = QwFormat{in_uRate, QwMakeChannelConfig(in_uChannels, in_uChannels == 1 ? 0x4 : 0x3), 0};
        return pEffect->Init(&host.allocator, &context, pParams, format);
    }
    void SetF(uint16_t in_uId, float in_f) { pParams->SetParam(in_uId, &in_f, 4); }
    void SetU(uint16_t in_uId, uint32_t in_u) { pParams->SetParam(in_uId, &in_u, 4); }
    // Impulse response of channel 0 over several blocks.
    std::vector<float> ImpulseResponse(uint32_t in_uBlocks)
    {
        std::vector<float> out;
        const uint16_t uMax = context.global.uMaxFrames;
        for (uint32_t b = 0; b < in_uBlocks; ++b) {
            std::vector<float> block(QwChannelCount(format.uChannelConfig) * uMax, 0.0f);
            if (b == 0)
                block[0] = 1.0f;
            QwAudioBuffer buffer{block.data(), format.uChannelConfig, QW_Success, context.global.uMaxFrames,
                                 context.global.uMaxFrames};
            pEffect->Execute(&buffer);
            out.insert(out.end(), block.begin(), block.begin() + uMax);
        }
        return out;
    }
    TestHost& host;
    TestEffectContext context;
    QwFormat format{};
    KvSkrelMultibandDistortionFXParams* pParams;
    KvSkrelMultibandDistortionFX* pEffect;
};
} // namespace

TEST(KvSkrelMultibandDistortionFX, AllAlgorithmsNoneGiveTheCrossoverSum)
{
    TestHost host;
    Multiband fx(host);
    fx.SetF(36, 300.0f);
    fx.SetF(37, 3000.0f);
    ASSERT_EQ(fx.Init(), QW_Success);
    const std::vector<float> h = fx.ImpulseResponse(8);
    for (double f : {50.0, 300.0, 1000.0, 3000.0, 9000.0}) {
        const std::complex<double> expected =
            1.0 + AnalogueFirstOrder(300.0, f, 48000.0, false) * AnalogueFirstOrder(3000.0, f, 48000.0, true);
        EXPECT_NEAR(std::abs(DftAt(h, f, 48000.0) - expected), 0.0, 2e-4) << f;
    }
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(KvSkrelMultibandDistortionFX, SilencingOneBandLeavesTheOthersUntouched)
{
    TestHost host;
    Multiband fx(host);
    // Band 2, slot 0: hard limits with its output 200 dB down; bands 0 and 1 pass untouched.
    fx.SetU(24 + 5, 13);
    fx.SetF(24 + 4, -200.0f);
    ASSERT_EQ(fx.Init(), QW_Success);
    const std::vector<float> h = fx.ImpulseResponse(8);
    for (double f : {60.0, 700.0, 5000.0, 7000.0, 15000.0}) {
        // Low band LP(c0) plus middle band LP(c1) HP(c0), cut-offs 5 and 10 kHz by default.
        const std::complex<double> expected =
            AnalogueFirstOrder(5000.0, f, 48000.0, false) +
            AnalogueFirstOrder(10000.0, f, 48000.0, false) * AnalogueFirstOrder(5000.0, f, 48000.0, true);
        EXPECT_NEAR(std::abs(DftAt(h, f, 48000.0) - expected), 0.0, 2e-4) << f;
    }
}

TEST(KvSkrelMultibandDistortionFX, ParameterBlockAndIdentifiers)
{
    TestHost host;
    Multiband fx(host);
    std::vector<uint8_t> block(152, 0);
    for (uint32_t g = 0; g < 6; ++g) {
        const float afGroup[5] = {1.0f * g, 2.0f, 0.25f, 50.0f, -1.0f * g};
        std::memcpy(&block[24 * g], afGroup, 20);
        const uint32_t uAlgorithm = 10 + g;
        std::memcpy(&block[24 * g + 20], &uAlgorithm, 4);
    }
    const float afCutoffs[2] = {250.0f, 4000.0f};
    std::memcpy(&block[144], afCutoffs, 8);
    fx.pParams->Init(&host.allocator, block.data(), 152);
    EXPECT_EQ(host.asserts.Total(), 0u);
    EXPECT_EQ(fx.pParams->m_aGroups[3].fInputGainDb, 3.0f);
    EXPECT_EQ(fx.pParams->m_aGroups[5].uAlgorithm, 15u);
    ASSERT_EQ(fx.Init(2), QW_Success);
    fx.ImpulseResponse(1);
    SkrelMultibandDistImpl& impl = *fx.pEffect->GetImpl();
    EXPECT_EQ(impl.GetCutoff(0), 250.0f);
    EXPECT_EQ(impl.GetCutoff(1), 4000.0f);
    EXPECT_EQ(impl.GetAlgorithm(1, 2), 15u); // group 5 = band 2, slot 1
    EXPECT_EQ(impl.GetParameter(0, 0, 1), 2.0f); // group 2 = band 1, slot 0: input gain 2 dB
    const float f = 1.0f;
    EXPECT_EQ(fx.pParams->SetParam(38, &f, 4), static_cast<QwResult>(31));
    fx.pParams->SetParamsBlock(block.data(), 148);
    EXPECT_EQ(host.asserts.Count("in_ulBlockSize == 0 || eResult != QW_Success"), 1u);
}

TEST(KvSkrelMultibandDistortionFX, ShortBlocksAndAllocations)
{
    TestHost host;
    Multiband fx(host, 256);
    ASSERT_EQ(fx.Init(2), QW_Success);
    const uint64_t uCalls = host.allocator.AllocCalls();
    std::vector<float> data(512, 0.5f);
    QwAudioBuffer buffer{data.data(), fx.format.uChannelConfig, QW_Success, 256, 100};
    fx.pEffect->Execute(&buffer);
    EXPECT_EQ(data[100], 0.5f); // past the valid frames: untouched
    EXPECT_EQ(data[256 + 255], 0.5f);
    fx.SetF(36, 800.0f);
    fx.pEffect->Execute(&buffer);
    EXPECT_EQ(host.allocator.AllocCalls(), uCalls);
}

TEST(KvSkrelMultibandDistortionFX, AllocationFailureAtEveryStep)
{
    TestHost host;
    uint64_t uNeeded = 0;
    {
        Multiband fx(host);
        const uint64_t uBefore = host.allocator.AllocCalls();
        ASSERT_EQ(fx.Init(2), QW_Success);
        uNeeded = host.allocator.AllocCalls() - uBefore;
    }
    for (uint64_t k = 1; k <= uNeeded; ++k) {
        {
            Multiband fx(host);
            host.allocator.FailAt(k);
            EXPECT_EQ(fx.Init(2), static_cast<QwResult>(52)) << "k = " << k;
            host.allocator.FailAt(0);
        }
        ASSERT_TRUE(host.allocator.Balanced()) << "k = " << k;
    }
}
