#include <gtest/gtest.h>
#include <dlfcn.h>
#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>
#include "host/qwpluginregistration.h"
#include "skrel_console/dynamics/qwent/audioenginefx/kvskreldynamicsfx.h"
#include "support/testhost.h"

namespace {

typedef KvSkrelDynamicsFXParams Params;

// Parameter object and effect as the host makes them, over one block buffer.
struct DynamicsRig
{
    DynamicsRig(TestHost& io_host, uint32_t in_uChannels, uint16_t in_uFrames)
        : host(io_host), context(in_uFrames), data(in_uChannels * in_uFrames, 0.0f)
    {
        pParams = static_cast<Params*>(Params::Create(&host.allocator));
        pParams->Init(&host.allocator, nullptr, 0);
        pFX = static_cast<KvSkrelDynamicsFX*>(KvSkrelDynamicsFX::Create(&host.allocator));
        const uint32_t uMask = in_uChannels == 1 ? uint32_t(QW_MASK_MONO) : in_uChannels == 2 ? uint32_t(QW_MASK_STEREO) : 0u;
        format = {48000, QwMakeChannelConfig(in_uChannels, uMask), 0};
        buffer = {data.data(), format.uChannelConfig, 0, in_uFrames, in_uFrames};
    }
    ~DynamicsRig()
    {
        pFX->Term(&host.allocator);
        pParams->Term(&host.allocator);
    }
    QwResult Init() { return pFX->Init(&host.allocator, &context, pParams, format); }
    void SetFloat(uint16_t in_uId, float in_fValue) { pParams->SetParam(in_uId, &in_fValue, 4); }
    void SetU32(uint16_t in_uId, uint32_t in_uValue) { pParams->SetParam(in_uId, &in_uValue, 4); }
    float* Channel(uint32_t c) { return data.data() + c * buffer.uMaxFrames; }
    void Fill(uint32_t c, float in_fValue) { std::fill(Channel(c), Channel(c) + buffer.uMaxFrames, in_fValue); }
    void Run(uint16_t in_uValid)
    {
        buffer.uValidFrames = in_uValid;
        pFX->Execute(&buffer);
    }
    const DynamicsStage& Stage(uint32_t c) const
    {
        return pFX->GetImpl()->GetDsp(c).GetStage(SkrelDynamicsImpl::EFFECT_STAGE);
    }

    TestHost& host;
    TestEffectContext context;
    std::vector<float> data;
    QwFormat format;
    QwAudioBuffer buffer;
    Params* pParams;
    KvSkrelDynamicsFX* pFX;
};

void PutLE(std::vector<uint8_t>& io_block, uint32_t in_uOffset, uint32_t in_uBits)
{
    for (uint32_t i = 0; i < 4; ++i)
        io_block[in_uOffset + i] = static_cast<uint8_t>(in_uBits >> (8 * i));
}

uint32_t Bits(float f)
{
    uint32_t u;
    std::memcpy(&u, &f, 4);
    return u;
}

} // namespace

TEST(KvSkrelDynamicsFXParams, FortyByteBlockReadsInIdOrder)
{
    TestHost host;
    DynamicsRig rig(host, 1, 64);
    std::vector<uint8_t> block(44, 0xAB); // four spare bytes for the 36-byte read below
    const float afValues[9] = {-18.0f, 3.0f, 1.5f, 120.0f, -50.0f, 2.0f, 4.0f, 80.0f, 6.0f};
    PutLE(block, 0, 0x00010000u);
    for (uint32_t n = 1; n < 10; ++n)
        PutLE(block, 4 * n, Bits(afValues[n - 1]));
    Params& p = *rig.pParams;
    p.m_bParamsDirty = p.m_bAlgorithmDirty = 0;
    EXPECT_EQ(p.SetParamsBlock(block.data(), 40), QW_Success);
    EXPECT_EQ(host.asserts.Total(), 0u);
    EXPECT_EQ(p.m_uBypass, 0x00010000u);
    const float afRead[9] = {p.m_fCompThreshold, p.m_fCompRatio, p.m_fCompAttack, p.m_fCompRelease, p.m_fExpThreshold,
                             p.m_fExpRatio, p.m_fExpAttack, p.m_fExpRelease, p.m_fOutputGain};
    for (uint32_t n = 0; n < 9; ++n)
        EXPECT_EQ(afRead[n], afValues[n]) << "id " << n + 1;
    EXPECT_EQ(p.m_bParamsDirty, 1);
    EXPECT_EQ(p.m_bAlgorithmDirty, 1);

    // Other sizes keep the values all the same, report, and still answer 1.
    for (uint32_t uSize : {36u, 44u}) {
        host.asserts.Clear();
        EXPECT_EQ(p.SetParamsBlock(block.data(), uSize), QW_Success);
        EXPECT_EQ(host.asserts.Count("in_ulBlockSize == 0 || eResult != QW_Success"), 1u) << uSize;
        EXPECT_EQ(p.m_fOutputGain, 6.0f);
    }
}

TEST(KvSkrelDynamicsFXParams, ZeroLengthInitGivesDefaults)
{
    TestHost host;
    DynamicsRig rig(host, 1, 64);
    Params& p = *rig.pParams;
    rig.SetFloat(Params::ID_COMP_RATIO, 9.0f);
    EXPECT_EQ(p.Init(&host.allocator, nullptr, 0), QW_Success);
    EXPECT_EQ(p.m_uBypass, 0u);
    const float afDefaults[9] = {0.0f, 1.0f, 10.0f, 200.0f, 0.0f, 1.0f, 10.0f, 200.0f, 0.0f};
    const float afRead[9] = {p.m_fCompThreshold, p.m_fCompRatio, p.m_fCompAttack, p.m_fCompRelease, p.m_fExpThreshold,
                             p.m_fExpRatio, p.m_fExpAttack, p.m_fExpRelease, p.m_fOutputGain};
    for (uint32_t n = 0; n < 9; ++n)
        EXPECT_EQ(afRead[n], afDefaults[n]) << "id " << n + 1;
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(KvSkrelDynamicsFXParams, SetParamStoresBitsAndRejectsUnknownIds)
{
    TestHost host;
    DynamicsRig rig(host, 1, 64);
    Params& p = *rig.pParams;
    p.m_bParamsDirty = p.m_bAlgorithmDirty = 0;
    const uint32_t uValue = 0x7FC00001u; // a NaN payload survives: bits are copied, not converted
    EXPECT_EQ(p.SetParam(10, &uValue, 4), QW_UnknownParam);
    EXPECT_EQ(p.SetParam(0xFFFF, &uValue, 4), QW_UnknownParam);
    EXPECT_EQ(p.m_bParamsDirty, 0);
    EXPECT_EQ(p.SetParam(Params::ID_OUTPUT_GAIN, &uValue, 0), QW_Success); // size is not looked at
    EXPECT_EQ(Bits(p.m_fOutputGain), uValue);
    EXPECT_EQ(p.m_bParamsDirty, 1);
    EXPECT_EQ(p.m_bAlgorithmDirty, 0);
}

TEST(KvSkrelDynamicsFXParams, CloneCopiesValuesAndSetsAllFlags)
{
    TestHost host;
    DynamicsRig rig(host, 1, 64);
    rig.SetFloat(Params::ID_EXP_RELEASE, 33.0f);
    rig.pParams->m_bParamsDirty = rig.pParams->m_bAlgorithmDirty = 0;
    Params* pCopy = static_cast<Params*>(rig.pParams->Clone(&host.allocator));
    ASSERT_NE(pCopy, nullptr);
    EXPECT_EQ(pCopy->m_fExpRelease, 33.0f);
    EXPECT_EQ(pCopy->m_bParamsDirty, 1);
    EXPECT_EQ(pCopy->m_bAlgorithmDirty, 1);
    pCopy->Term(&host.allocator);
}

TEST(KvSkrelDynamicsFX, RegisteredAsPluginFive)
{
    void* pModule = dlopen(KVFX_MODULE_PATH, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(pModule, nullptr) << dlerror();
    auto* ppHead = static_cast<QwPluginRegistration**>(dlsym(pModule, "g_pQWPluginList"));
    ASSERT_NE(ppHead, nullptr);
    uint32_t uFound = 0;
    for (QwPluginRegistration* p = *ppHead; p; p = p->next) {
        if (p->uPluginID != 5)
            continue;
        ++uFound;
        EXPECT_EQ(p->eType, 3u);
        EXPECT_EQ(p->uCompanyID, 259u);
        ASSERT_TRUE(p->pCreateFX && p->pCreateParams);
        QwHostAllocator allocator;
        QwPluginParam* pParams = p->pCreateParams(&allocator);
        QwEffectPlugin* pFX = p->pCreateFX(&allocator);
        ASSERT_TRUE(pParams && pFX);
        QwPluginInfo info = {0, 0, false};
        pFX->GetPluginInfo(&allocator, info);
        EXPECT_EQ(info.uBuildVersion, 0x7E501u);
        pFX->Term(&allocator);
        pParams->Term(&allocator);
        EXPECT_TRUE(allocator.Balanced());
    }
    EXPECT_EQ(uFound, 1u);
    dlclose(pModule);
}

TEST(KvSkrelDynamicsFX, FrameOperations)
{
    TestHost host;
    DynamicsRig rig(host, 1, 64);
    ASSERT_EQ(rig.Init(), QW_Success);
    QwPluginInfo info = {0, 0, false};
    EXPECT_EQ(rig.pFX->GetPluginInfo(nullptr, info), QW_Success);
    EXPECT_EQ(info.eType, 3u);
    EXPECT_EQ(info.uBuildVersion, 0x7E501u);
    EXPECT_TRUE(info.bIsInPlace);
    EXPECT_FALSE(rig.pFX->ProbeFlag());
    EXPECT_EQ(rig.pFX->ProbeCode(), 0u);

    // Skipped time advances nothing: after 64 processed and 1000 skipped frames the guard
    // (positive for 128 samples) is still positive.
    rig.Run(64);
    EXPECT_EQ(rig.pFX->TimeSkip(1000), QW_DataReady);
    rig.Fill(0, 0.0f);
    rig.Run(64);
    EXPECT_EQ(rig.Channel(0)[63], 2e-10f);
    rig.Fill(0, 0.0f);
    rig.Run(64);
    EXPECT_EQ(rig.Channel(0)[0], -2e-10f); // samples 128 on
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(KvSkrelDynamicsFX, InitFailsWith52AtEveryAllocation)
{
    uint64_t uNeeded = 0;
    {
        TestHost host;
        DynamicsRig rig(host, 3, 256);
        const uint64_t uBefore = host.allocator.AllocCalls();
        ASSERT_EQ(rig.Init(), QW_Success);
        uNeeded = host.allocator.AllocCalls() - uBefore;
    }
    ASSERT_GE(uNeeded, 8u); // impl, pointer vector, three engines with their stages and counts, scratch
    for (uint64_t k = 1; k <= uNeeded; ++k) {
        TestHost host;
        {
            DynamicsRig rig(host, 3, 256);
            host.allocator.FailAt(k);
            EXPECT_EQ(rig.Init(), QW_OutOfMemory) << "failing allocation " << k;
        }
        EXPECT_TRUE(host.allocator.Balanced()) << "failing allocation " << k;
        EXPECT_EQ(host.allocator.BadFrees(), 0u);
    }
}

TEST(KvSkrelDynamicsFX, ExecuteAllocatesNothing)
{
    TestHost host;
    DynamicsRig rig(host, 2, 128);
    ASSERT_EQ(rig.Init(), QW_Success);
    const uint64_t uBefore = host.allocator.AllocCalls();
    rig.SetFloat(Params::ID_COMP_RATIO, 4.0f);
    rig.SetFloat(Params::ID_EXP_RATIO, 2.0f);
    for (uint32_t b = 0; b < 10; ++b) {
        rig.Fill(0, 0.5f);
        rig.Fill(1, -0.001f);
        rig.Run(b % 2 ? 128 : 17);
    }
    rig.pFX->Reset();
    rig.Run(128);
    EXPECT_EQ(host.allocator.AllocCalls(), uBefore);
}

TEST(KvSkrelDynamicsFX, ParametersReachTheirEngineFields)
{
    TestHost host;
    DynamicsRig rig(host, 2, 64);
    ASSERT_EQ(rig.Init(), QW_Success);
    const float afValues[9] = {-12.0f, 3.0f, 2.5f, 150.0f, -45.0f, 1.5f, 7.0f, 90.0f, -3.0f};
    for (uint16_t id = 1; id <= 9; ++id)
        rig.SetFloat(id, afValues[id - 1]);
    rig.Run(64);
    for (uint32_t c = 0; c < 2; ++c) {
        const DynamicsStage& s = rig.Stage(c);
        const float afFields[9] = {s.m_fCompThresholdDb, s.m_fCompRatio, s.m_fCompAttackMs,
                                   s.m_fCompReleaseMs, s.m_fExpThresholdDb, s.m_fExpRatio,
                                   s.m_fExpAttackMs, s.m_fExpReleaseMs, s.m_fOutputGainDb};
        for (uint32_t n = 0; n < 9; ++n)
            EXPECT_EQ(afFields[n], afValues[n]) << "channel " << c << " id " << n + 1;
    }
    EXPECT_EQ(rig.pParams->m_bParamsDirty, 0);
    EXPECT_EQ(rig.pParams->m_bAlgorithmDirty, 0);
}

TEST(KvSkrelDynamicsFX, ChannelsAreIndependent)
{
    TestHost host;
    DynamicsRig rig(host, 2, 64);
    ASSERT_EQ(rig.Init(), QW_Success);
    rig.SetFloat(Params::ID_COMP_THRESHOLD, -20.0f);
    rig.SetFloat(Params::ID_COMP_RATIO, 4.0f);
    rig.SetFloat(Params::ID_COMP_ATTACK, 0.0f);
    for (uint32_t b = 0; b < 4; ++b) {
        rig.Fill(0, 1.0f);
        rig.Fill(1, 0.05f); // -26 dB, under the threshold
        rig.Run(64);
        for (uint32_t i = 0; i < 64; ++i) {
            const uint32_t n = 64 * b + i;
            const float fGuard = n < 128 ? 1e-10f : -1e-10f;
            ASSERT_EQ(rig.Channel(1)[i], (0.05f + fGuard) + fGuard) << n;
            // The loud left channel sits on 10^-0.75 or hunts just above it (release 200 ms).
            ASSERT_NEAR(rig.Channel(0)[i], std::pow(10.0, -0.75), 2e-3) << n;
        }
    }
    EXPECT_EQ(rig.Stage(1).m_fCompGain, 1.0f);
}

TEST(KvSkrelDynamicsFX, BypassLeavesAudioAndGainStateStill)
{
    TestHost host;
    DynamicsRig rig(host, 1, 64);
    ASSERT_EQ(rig.Init(), QW_Success);
    rig.SetFloat(Params::ID_COMP_THRESHOLD, -20.0f);
    rig.SetFloat(Params::ID_COMP_RATIO, 4.0f);
    rig.Fill(0, 1.0f);
    rig.Run(64);
    const DynamicsStage before = rig.Stage(0);
    ASSERT_LT(before.m_fCompGain, 0.99f);

    rig.SetU32(Params::ID_BYPASS, 2); // any non-zero value
    std::vector<float> ramp(64);
    for (uint32_t i = 0; i < 64; ++i)
        ramp[i] = 0.01f * static_cast<float>(i) - 0.3f;
    for (uint32_t b = 0; b < 3; ++b) {
        std::copy(ramp.begin(), ramp.end(), rig.Channel(0));
        rig.Run(64);
        ASSERT_TRUE(std::equal(ramp.begin(), ramp.end(), rig.Channel(0)));
    }
    EXPECT_EQ(std::memcmp(&before, &rig.Stage(0), sizeof before), 0);

    rig.SetU32(Params::ID_BYPASS, 0);
    rig.Fill(0, 1.0f);
    rig.Run(64);
    EXPECT_LT(rig.Stage(0).m_fCompGain, before.m_fCompGain); // processing resumed
}

TEST(KvSkrelDynamicsFX, ShortBlockLeavesTailAndAdvancesWholeBlock)
{
    TestHost host;
    DynamicsRig rig(host, 2, 64);
    ASSERT_EQ(rig.Init(), QW_Success);
    rig.Fill(0, 0.0f);
    rig.Fill(1, 7.0f);
    rig.Run(40);
    for (uint32_t i = 0; i < 64; ++i) {
        ASSERT_EQ(rig.Channel(0)[i], i < 40 ? 2e-10f : 0.0f) << i;
        ASSERT_EQ(rig.Channel(1)[i], 7.0f) << i; // 7 + 2e-10 rounds back to 7 in float
    }
    EXPECT_EQ(rig.Stage(0).m_uInputGuardCount, 64u);
    // 64 + 64 samples use up the positive guard, so the third block starts negative; had the
    // short block advanced by 40 only, the first 24 samples here would still be positive.
    rig.Fill(0, 0.0f);
    rig.Run(64);
    rig.Fill(0, 0.0f);
    rig.Run(64);
    EXPECT_EQ(rig.Channel(0)[0], -2e-10f);
}

TEST(KvSkrelDynamicsFX, ResetReturnsGainsToOne)
{
    TestHost host;
    DynamicsRig rig(host, 1, 64);
    ASSERT_EQ(rig.Init(), QW_Success);
    rig.SetFloat(Params::ID_COMP_THRESHOLD, -20.0f);
    rig.SetFloat(Params::ID_COMP_RATIO, 4.0f);
    rig.SetFloat(Params::ID_EXP_THRESHOLD, -10.0f);
    rig.SetFloat(Params::ID_EXP_RATIO, 2.0f);
    for (uint32_t b = 0; b < 4; ++b) {
        rig.Fill(0, b < 2 ? 1.0f : 0.2f);
        rig.Run(64);
    }
    ASSERT_LT(rig.Stage(0).m_fCompGain, 1.0f);
    ASSERT_LT(rig.Stage(0).m_fExpGain, 1.0f);
    EXPECT_EQ(rig.pFX->Reset(), QW_Success);
    const DynamicsStage& s = rig.Stage(0);
    EXPECT_EQ(s.m_fCompGain, 1.0f);
    EXPECT_EQ(s.m_fExpGain, 1.0f);
    EXPECT_EQ(s.m_uInputGuardCount, 0u);
    EXPECT_EQ(s.m_uOutputGuardCount, 0u);
    EXPECT_EQ(s.m_fCompThresholdDb, -20.0f); // parameters survive
}

TEST(KvSkrelDynamicsFX, MisfitBlocksAssert)
{
    TestHost host;
    DynamicsRig rig(host, 2, 64);
    ASSERT_EQ(rig.Init(), QW_Success);
    // More valid frames than the block size the effect was built for: nothing is processed.
    std::vector<float> big(2 * 128, 0.5f);
    QwAudioBuffer wide = {big.data(), rig.format.uChannelConfig, 0, 128, 100};
    rig.pFX->Execute(&wide);
    EXPECT_EQ(host.asserts.Count("false"), 1u);
    EXPECT_EQ(big[0], 0.5f);
    // A block that says one channel to a two-channel effect.
    // It is reported and, rather than run past the block's end, nothing is processed.
    rig.buffer.uChannelConfig = QwMakeChannelConfig(1, QW_MASK_MONO);
    rig.Fill(0, 0.5f);
    rig.Run(64);
    EXPECT_EQ(host.asserts.Count("in_uIndex < NumChannels()"), 1u);
    EXPECT_EQ(rig.Channel(0)[0], 0.5f);
}

TEST(KvSkrelDynamicsFX, PendingAllocatorFailureSkipsBlockAndKeepsFlag)
{
    TestHost host;
    DynamicsRig rig(host, 1, 64);
    ASSERT_EQ(rig.Init(), QW_Success);
    rig.SetFloat(Params::ID_OUTPUT_GAIN, 6.0f);
    GetAllocatorBinding().m_bOutOfMemory = 1; // as left by a failure elsewhere
    rig.Fill(0, 0.25f);
    rig.Run(64);
    EXPECT_EQ(rig.Channel(0)[0], 0.25f);
    EXPECT_EQ(rig.pParams->m_bParamsDirty, 1);
    GetAllocatorBinding().m_bOutOfMemory = 0;
    rig.Run(64);
    EXPECT_EQ(rig.pParams->m_bParamsDirty, 0);
    EXPECT_NEAR(rig.Channel(0)[0], 0.25 * std::pow(10.0, 6.0 / 20.0), 1e-6);
}
