// The single-band distortion effect through its host interfaces: parameters, the block road,
// short blocks, allocation behaviour, and its record in the built module.
#include <gtest/gtest.h>
#include <dlfcn.h>
#include <cmath>
#include <cstring>
#include <vector>
#include "skrel_console/distortion/qwent/audioenginefx/kvskreldistortionfx.h"
#include "support/testhost.h"

namespace {

struct Instance
{
    Instance(TestHost& io_host, uint32_t in_uChannels, uint16_t in_uBlock = 64)
        : host(io_host), context(in_uBlock), uChannels(in_uChannels), uBlock(in_uBlock)
    {
        pParams = static_cast<KvSkrelDistortionFXParams*>(KvSkrelDistortionFXParams::Create(&host.allocator));
        pParams->Init(&host.allocator, nullptr, 0);
        pEffect = static_cast<KvSkrelDistortionFX*>(KvSkrelDistortionFX::Create(&host.allocator));
        format = {48000, QwMakeChannelConfig(in_uChannels, in_uChannels == 2 ? uint32_t(QW_MASK_STEREO) : 0u), 0};
        data.assign(static_cast<size_t>(in_uChannels) * in_uBlock, 0.0f);
    }
    ~Instance()
    {
        pEffect->Term(&host.allocator);
        pParams->Term(&host.allocator);
    }
    QwResult Init() { return pEffect->Init(&host.allocator, &context, pParams, format); }
    void SetF(uint16_t in_uId, float in_fValue) { EXPECT_EQ(pParams->SetParam(in_uId, &in_fValue, 4), QW_Success); }
    void SetU(uint16_t in_uId, uint32_t in_uValue) { EXPECT_EQ(pParams->SetParam(in_uId, &in_uValue, 4), QW_Success); }
    void Execute(uint16_t in_uValid)
    {
        QwAudioBuffer buffer = {data.data(), format.uChannelConfig, QW_DataReady, uBlock, in_uValid};
        pEffect->Execute(&buffer);
        EXPECT_EQ(buffer.uValidFrames, in_uValid);
        EXPECT_EQ(buffer.eState, static_cast<uint32_t>(QW_DataReady));
    }
    SkrelDistImpl& Impl() { return *pEffect->GetImpl(); }

    TestHost& host;
    TestEffectContext context;
    uint32_t uChannels;
    uint16_t uBlock;
    QwFormat format;
    KvSkrelDistortionFXParams* pParams;
    KvSkrelDistortionFX* pEffect;
    std::vector<float> data;
};

void FillRamp(std::vector<float>& io_data)
{
    for (size_t i = 0; i < io_data.size(); ++i)
        io_data[i] = std::sin(0.37f * static_cast<float>(i)) * 0.9f;
}

} // namespace

TEST(KvSkrelDistortionFX, BothAlgorithmsZeroLeaveAudioBitIdentical)
{
    TestHost host;
    Instance fx(host, 2);
    ASSERT_EQ(fx.Init(), QW_Success);
    fx.SetF(0, 12.0f);
    fx.SetF(3, 0.0f);
    fx.SetF(4, -30.0f);
    fx.SetF(6, -5.0f);
    fx.SetF(10, 18.0f);
    FillRamp(fx.data);
    const std::vector<float> in = fx.data;
    fx.Execute(64);
    EXPECT_EQ(fx.data, in);
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(KvSkrelDistortionFX, TwoSlotsInSeriesOnEveryChannel)
{
    TestHost host;
    Instance fx(host, 3);
    ASSERT_EQ(fx.Init(), QW_Success);
    fx.SetF(1, 0.0f);   // Drive1 0: unity drive
    fx.SetU(5, 17);     // tanh, trim -3 dB
    fx.SetF(8, 1.0f);   // Character2 1: full-wave
    fx.SetU(11, 12);    // Wrecktifier
    fx.SetF(10, 6.0f);  // OutputGain2
    FillRamp(fx.data);
    const std::vector<float> in = fx.data;
    fx.Execute(64);
    // slot 1 drives by 20 dB (Drive 5 on a 40 dB row) before rectifying; Mix 100 keeps only wet.
    for (size_t i = 0; i < in.size(); ++i) {
        const double u = std::tanh(static_cast<double>(in[i])) * std::pow(10.0, -3.0 / 20);
        EXPECT_NEAR(fx.data[i], std::fabs(u) * 10.0 * std::pow(10.0, 6.0 / 20), 1e-5) << i;
    }
}

TEST(KvSkrelDistortionFX, AlgorithmChangeUsesTheDriveSentInTheSameBlock)
{
    TestHost host;
    Instance fx(host, 1);
    ASSERT_EQ(fx.Init(), QW_Success);
    fx.Execute(64);
    fx.SetU(5, 2);     // 4 dB row
    fx.SetF(1, 10.0f); // Drive 10: 4 dB
    fx.Execute(64);
    EXPECT_NEAR(fx.Impl().Dsp(0).Slot(3, 0).m_fDriveGain, std::pow(10.0, 4.0 / 20), 1e-6);
    EXPECT_EQ(fx.Impl().GetAlgorithm(0), 2u);
    EXPECT_EQ(fx.Impl().GetParameter(1, 0), 10.0f);
}

TEST(KvSkrelDistortionFX, ShortBlockLeavesTheRestAloneButAdvancesDigitalState)
{
    TestHost host;
    Instance fx(host, 2, 64);
    ASSERT_EQ(fx.Init(), QW_Success);
    fx.SetU(5, 36);    // Bit Aliasing
    fx.SetF(2, 0.25f); // n = 4
    fx.SetU(11, 34);   // Bit Wrench
    std::fill(fx.data.begin(), fx.data.end(), 7.0f);
    for (uint32_t c = 0; c < 2; ++c)
        for (uint32_t i = 0; i < 10; ++i)
            fx.data[c * 64 + i] = 0.01f * static_cast<float>(i);
    fx.Execute(10);
    for (uint32_t c = 0; c < 2; ++c) {
        for (uint32_t i = 10; i < 64; ++i)
            ASSERT_EQ(fx.data[c * 64 + i], 7.0f) << c << " " << i;
        // The guard counters ran over the whole block of 64, not the 10 valid frames.
        EXPECT_EQ(fx.Impl().Dsp(c).Slot(3, 0).m_iDenormalCounter, 64);
        EXPECT_EQ(fx.Impl().Dsp(c).Slot(3, 1).m_iDenormalCounter, 64);
        EXPECT_EQ(fx.Impl().Dsp(c).Slot(3, 0).m_uBufferPosition, 0u); // 64 samples through a ring of 4
    }
    fx.Execute(3);
    EXPECT_EQ(fx.Impl().Dsp(0).Slot(3, 0).m_iDenormalCounter, -128); // 128 wraps to -128
}

TEST(KvSkrelDistortionFX, ParameterBlockOf48Bytes)
{
    TestHost host;
    Instance fx(host, 1);
    uint8_t block[48];
    const float aSlot0[5] = {1.5f, 2.5f, 0.75f, 40.0f, -3.0f};
    const float aSlot1[5] = {-1.0f, 9.0f, 0.1f, 60.0f, 2.0f};
    const uint32_t uAlg0 = 9, uAlg1 = 47;
    std::memcpy(block, aSlot0, 20);
    std::memcpy(block + 20, &uAlg0, 4);
    std::memcpy(block + 24, aSlot1, 20);
    std::memcpy(block + 44, &uAlg1, 4);
    fx.pParams->m_bGainsChanged = fx.pParams->m_bAlgorithmsChanged = 0;
    EXPECT_EQ(fx.pParams->SetParamsBlock(block, 48), QW_Success);
    EXPECT_EQ(host.asserts.Total(), 0u);
    EXPECT_EQ(fx.pParams->m_aSlots[0].fDrive, 2.5f);
    EXPECT_EQ(fx.pParams->m_aSlots[0].uAlgorithm, 9u);
    EXPECT_EQ(fx.pParams->m_aSlots[1].fMix, 60.0f);
    EXPECT_EQ(fx.pParams->m_aSlots[1].uAlgorithm, 47u);
    EXPECT_TRUE(fx.pParams->m_bGainsChanged && fx.pParams->m_bAlgorithmsChanged);
    ASSERT_EQ(fx.Init(), QW_Success);
    fx.Execute(64);
    EXPECT_EQ(fx.Impl().GetAlgorithm(1), 47u);
    EXPECT_EQ(fx.Impl().GetParameter(4, 1), 2.0f);
    EXPECT_EQ(fx.Impl().GetParameter(2, 0), 0.75f);

    // A block of another size is read all the same and reported once.
    const float fOther = 4.0f;
    std::memcpy(block + 4, &fOther, 4);
    EXPECT_EQ(fx.pParams->SetParamsBlock(block, 44), QW_Success);
    EXPECT_EQ(host.asserts.Count("in_ulBlockSize == 0 || eResult != QW_Success"), 1u);
    EXPECT_EQ(fx.pParams->m_aSlots[0].fDrive, 4.0f);
    EXPECT_EQ(fx.pParams->m_aSlots[1].uAlgorithm, 47u);
}

TEST(KvSkrelDistortionFX, SetParamByIdentifier)
{
    TestHost host;
    Instance fx(host, 1);
    fx.pParams->m_bGainsChanged = fx.pParams->m_bAlgorithmsChanged = 0;
    const float fValue = 3.0f;
    EXPECT_EQ(fx.pParams->SetParam(12, &fValue, 4), static_cast<QwResult>(QW_UnknownParam));
    EXPECT_EQ(fx.pParams->SetParam(0xFFFF, &fValue, 4), static_cast<QwResult>(QW_UnknownParam));
    EXPECT_FALSE(fx.pParams->m_bGainsChanged || fx.pParams->m_bAlgorithmsChanged);
    fx.SetF(7, fValue);
    EXPECT_EQ(fx.pParams->m_aSlots[1].fDrive, 3.0f);
    EXPECT_TRUE(fx.pParams->m_bGainsChanged);
    EXPECT_FALSE(fx.pParams->m_bAlgorithmsChanged);
    fx.SetU(11, 0x12345678u); // raw bits, no range check
    EXPECT_EQ(fx.pParams->m_aSlots[1].uAlgorithm, 0x12345678u);
    EXPECT_TRUE(fx.pParams->m_bAlgorithmsChanged);
    // The defaults of an empty Init.
    fx.pParams->Init(&host.allocator, nullptr, 0);
    const KvSkrelDistortionFXParams::Slot& s = fx.pParams->m_aSlots[1];
    EXPECT_EQ(s.fInputGainDb, 0.0f);
    EXPECT_EQ(s.fDrive, 5.0f);
    EXPECT_EQ(s.fCharacter, 0.5f);
    EXPECT_EQ(s.fMix, 100.0f);
    EXPECT_EQ(s.fOutputGainDb, 0.0f);
    EXPECT_EQ(s.uAlgorithm, 0u);
}

TEST(KvSkrelDistortionFX, OutOfRangeAlgorithmFromTheHostIsRefused)
{
    TestHost host;
    Instance fx(host, 1);
    ASSERT_EQ(fx.Init(), QW_Success);
    fx.SetU(5, 13);
    fx.Execute(64);
    fx.SetU(5, 48);
    fx.Execute(64);
    EXPECT_EQ(host.asserts.Count("false"), 1u);
    EXPECT_EQ(fx.Impl().GetAlgorithm(0), 13u);
}

TEST(KvSkrelDistortionFX, InitFailsCleanlyAtEveryAllocation)
{
    for (uint64_t k = 1;; ++k) {
        TestHost host;
        Instance fx(host, 6);
        host.allocator.FailAt(k);
        const QwResult eResult = fx.Init();
        if (host.allocator.FailedCalls() == 0) {
            EXPECT_EQ(eResult, QW_Success);
            EXPECT_GT(k, 2u); // the implementation, its DSP vector and its scratch at least
            break;
        }
        EXPECT_EQ(eResult, static_cast<QwResult>(QW_OutOfMemory)) << "k = " << k;
        ASSERT_LT(k, 50u);
    }
    TestHost host;
    {
        Instance fx(host, 6);
        ASSERT_EQ(fx.Init(), QW_Success);
    }
    EXPECT_TRUE(host.allocator.Balanced());
}

TEST(KvSkrelDistortionFX, TermAfterFailedInitFreesEverything)
{
    TestHost host;
    {
        Instance fx(host, 2);
        host.allocator.FailAt(3);
        EXPECT_EQ(fx.Init(), static_cast<QwResult>(QW_OutOfMemory));
    }
    EXPECT_TRUE(host.allocator.Balanced());
}

TEST(KvSkrelDistortionFX, ExecuteAllocatesNothing)
{
    TestHost host;
    Instance fx(host, 8, 256);
    ASSERT_EQ(fx.Init(), QW_Success);
    const uint64_t uCalls = host.allocator.AllocCalls();
    FillRamp(fx.data);
    for (uint32_t a = 0; a < KvSkrel::NUM_DISTORTION_ALGORITHMS; ++a) {
        fx.SetU(5, a);
        fx.SetU(11, KvSkrel::NUM_DISTORTION_ALGORITHMS - 1 - a);
        fx.SetF(2, 0.01f * static_cast<float>(a));
        fx.Execute(a % 2 ? 256 : 100);
    }
    EXPECT_EQ(host.allocator.AllocCalls(), uCalls);
}

TEST(KvSkrelDistortionFX, ResetKeepsTheRings)
{
    TestHost host;
    Instance fx(host, 1);
    ASSERT_EQ(fx.Init(), QW_Success);
    fx.SetU(5, 36);
    fx.SetF(2, 0.25f);
    FillRamp(fx.data);
    fx.Execute(64);
    const float fSum = fx.Impl().Dsp(0).Slot(3, 0).m_fAverageSum;
    EXPECT_NE(fSum, 0.0f);
    EXPECT_EQ(fx.pEffect->Reset(), QW_Success);
    EXPECT_EQ(fx.Impl().Dsp(0).Slot(3, 0).m_fAverageSum, fSum);
    EXPECT_EQ(fx.Impl().Dsp(0).Slot(3, 0).m_uBufferSamples, 4u);
}

TEST(SkrelDistImpl, BypassRunsNothing)
{
    TestHost host;
    SkrelDistImpl impl(32, 48000.0f, 1, false);
    impl.SetAlgorithm(36, 0);
    EXPECT_TRUE(impl.SetBoolParameter(SkrelDistImpl::PARAM_BYPASS, true));
    std::vector<float> buf(32, 0.5f);
    float* pChannel = buf.data();
    impl.Process(32, &pChannel);
    EXPECT_EQ(buf, std::vector<float>(32, 0.5f));
    EXPECT_EQ(impl.Dsp(0).Slot(3, 0).m_iDenormalCounter, 0);
    EXPECT_FALSE(impl.SetBoolParameter(3, true));
    EXPECT_EQ(host.asserts.Count("false"), 1u);
    EXPECT_FALSE(impl.SetFloatParameter(6, 1.0f)); // 6 is an algorithm
    EXPECT_FALSE(impl.SetFloatParameter(13, 1.0f));
    EXPECT_EQ(host.asserts.Count("false"), 3u);
    impl.SetDrive(1.0f, 2);
    EXPECT_EQ(host.asserts.Count("iEffectSlot < KvSkrel::NUM_DISTORTION_SLOTS"), 1u);
}

TEST(SkrelDistImpl, InterleavedMatchesPerChannel)
{
    TestHost host;
    SkrelDistImpl flat(16, 48000.0f, 2, false);
    SkrelDistImpl inter(16, 48000.0f, 2, true);
    for (SkrelDistImpl* p : {&flat, &inter}) {
        p->SetAlgorithm(35, 0);
        p->SetCharacter(0.3f, 0);
        p->SetAlgorithm(5, 1);
    }
    std::vector<float> left(16), right(16), both(32);
    for (uint32_t i = 0; i < 16; ++i) {
        left[i] = 0.05f * static_cast<float>(i) - 0.3f;
        right[i] = -0.04f * static_cast<float>(i) + 0.2f;
        both[2 * i] = left[i];
        both[2 * i + 1] = right[i];
    }
    float* apChannels[2] = {left.data(), right.data()};
    flat.Process(12, apChannels);
    inter.ProcessInterleaved(24, both.data());
    for (uint32_t i = 0; i < 16; ++i) {
        EXPECT_EQ(both[2 * i], left[i]) << i;
        EXPECT_EQ(both[2 * i + 1], right[i]) << i;
    }
    flat.Process(17, apChannels);
    EXPECT_EQ(host.asserts.Count("false"), 1u);
}

TEST(KvSkrelDistortionFX, RecordInTheBuiltModule)
{
    TestHost host;
    void* pHandle = dlopen(KVFX_MODULE_PATH, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(pHandle, nullptr) << dlerror();
    auto** ppHead = static_cast<QwPluginRegistration**>(dlsym(pHandle, "g_pQWPluginList"));
    ASSERT_NE(ppHead, nullptr);
    QwPluginRegistration* pRecord = nullptr;
    for (QwPluginRegistration* p = *ppHead; p; p = p->next)
        if (p->uPluginID == 3)
            pRecord = p;
    ASSERT_NE(pRecord, nullptr);
    QwPluginParam* pParams = pRecord->pCreateParams(&host.allocator);
    QwEffectPlugin* pEffect = pRecord->pCreateFX(&host.allocator);
    ASSERT_TRUE(pParams && pEffect);
    pParams->Init(&host.allocator, nullptr, 0);
    const uint32_t uAlgorithm = 17;
    pParams->SetParam(5, &uAlgorithm, 4);
    TestEffectContext context(32);
    QwFormat format = {44100, QwMakeChannelConfig(1, QW_MASK_MONO), 0};
    ASSERT_EQ(pEffect->Init(&host.allocator, &context, pParams, format), QW_Success);
    QwPluginInfo info = {};
    pEffect->GetPluginInfo(&host.allocator, info);
    EXPECT_EQ(info.eType, 3u);
    EXPECT_FALSE(pEffect->ProbeFlag());
    std::vector<float> data(32, 0.01f);
    QwAudioBuffer buffer = {data.data(), format.uChannelConfig, QW_DataReady, 32, 32};
    pEffect->Execute(&buffer);
    // tanh of 0.01 x 10 at -3 dB.
    EXPECT_NEAR(data[5], std::tanh(0.1) * std::pow(10.0, -3.0 / 20), 1e-6);
    pEffect->Term(&host.allocator);
    pParams->Term(&host.allocator);
    EXPECT_TRUE(host.allocator.Balanced());
    dlclose(pHandle);
}

TEST(KvSkrelDistortionFX, PendingAllocatorFailureSkipsTheBlockAndKeepsTheFlags)
{
    TestHost host;
    Instance fx(host, 1);
    ASSERT_EQ(fx.Init(), QW_Success);
    fx.Execute(64);
    fx.SetU(5, 17);
    fx.SetF(1, 0.0f);
    GetAllocatorBinding().m_bOutOfMemory = 1; // the sticky flag, as left by a failure elsewhere
    FillRamp(fx.data);
    const std::vector<float> in = fx.data;
    fx.Execute(64);
    EXPECT_EQ(fx.data, in);
    EXPECT_TRUE(fx.pParams->m_bGainsChanged);
    EXPECT_TRUE(fx.pParams->m_bAlgorithmsChanged);
    GetAllocatorBinding().m_bOutOfMemory = 0;
    fx.data = in;
    fx.Execute(64);
    EXPECT_FALSE(fx.pParams->m_bGainsChanged || fx.pParams->m_bAlgorithmsChanged);
    EXPECT_NEAR(fx.data[3], std::tanh(static_cast<double>(in[3])) * std::pow(10.0, -3.0 / 20), 1e-6);
}

TEST(KvSkrelDistortionFX, BlockWithFewerChannelsIsReportedAndLeftAlone)
{
    TestHost host;
    Instance fx(host, 2);
    ASSERT_EQ(fx.Init(), QW_Success);
    fx.SetU(5, 17);
    std::vector<float> mono(64, 0.5f);
    QwAudioBuffer buffer = {mono.data(), QwMakeChannelConfig(1, QW_MASK_MONO), QW_DataReady, 64, 64};
    fx.pEffect->Execute(&buffer);
    EXPECT_EQ(host.asserts.Count("in_uIndex < NumChannels()"), 1u);
    EXPECT_EQ(mono, std::vector<float>(64, 0.5f));
}
