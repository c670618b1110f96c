#include <gtest/gtest.h>
#include <cmath>
#include <cstring>
#include <vector>
#include "skrel_console/delay/qwent/audioenginefx/kvskreldelayfx.h"
#include "support/testhost.h"

namespace {

struct DelayBlock
{
    float afValues[9];
    uint32_t uMode;
};

std::vector<uint8_t> Pack(const DelayBlock& in_block)
{
    // Little-endian by hand, item n at byte 4n.
    std::vector<uint8_t> bytes;
    auto put = [&bytes](uint32_t u) {
        for (int i = 0; i < 4; ++i)
            bytes.push_back(static_cast<uint8_t>(u >> (8 * i)));
    };
    for (float f : in_block.afValues) {
        uint32_t u;
        std::memcpy(&u, &f, 4);
        put(u);
    }
    put(in_block.uMode);
    return bytes;
}

// dry, wet, low cut, Q, high cut, Q, delay, feedback, amount; mode
const DelayBlock CLEAN_WET = {{0.0f, 100.0f, 20.0f, 0.2f, 20000.0f, 0.2f, 40.0f, 0.0f, 0.25f}, 5};

// One effect with its parameter object, on a counting allocator.
struct DelayRig
{
    DelayRig(TestHost& io_host, const DelayBlock& in_block, uint32_t in_uRate, uint32_t in_uChannels, uint16_t in_uMaxFrames)
        : host(io_host), context(in_uMaxFrames)
    {
        params = static_cast<KvSkrelDelayFXParams*>(KvSkrelDelayFXParams::Create(&host.allocator));
        const std::vector<uint8_t> bytes = Pack(in_block);
        params->Init(&host.allocator, bytes.data(), static_cast<uint32_t>(bytes.size()));
        fx = static_cast<KvSkrelDelayFX*>(KvSkrelDelayFX::Create(&host.allocator));
        format = {in_uRate, QwMakeChannelConfig(in_uChannels, 0), 0};
        eInit = fx->Init(&host.allocator, &context, params, format);
        data.assign(static_cast<size_t>(in_uChannels) * in_uMaxFrames, 0.0f);
        buffer = {data.data(), format.uChannelConfig, QW_DataReady, in_uMaxFrames, in_uMaxFrames};
    }
    ~DelayRig()
    {
        fx->Term(&host.allocator);
        params->Term(&host.allocator);
    }
    void Execute(uint16_t in_uValid, uint32_t in_eState = QW_DataReady)
    {
        buffer.uValidFrames = in_uValid;
        buffer.eState = in_eState;
        fx->Execute(&buffer);
    }
    float* Channel(uint32_t c) { return data.data() + static_cast<size_t>(c) * buffer.uMaxFrames; }

    TestHost& host;
    TestEffectContext context;
    KvSkrelDelayFXParams* params;
    KvSkrelDelayFX* fx;
    QwFormat format;
    QwResult eInit;
    std::vector<float> data;
    QwAudioBuffer buffer;
};

} // namespace

TEST(KvSkrelDelayFX, ParameterBlockAndSetParam)
{
    TestHost host;
    KvSkrelDelayFXParams* p = static_cast<KvSkrelDelayFXParams*>(KvSkrelDelayFXParams::Create(&host.allocator));
    const DelayBlock block = {{11, 22, 33, 0.5f, 5000, 0.7f, 123, 45, 0.75f}, 3};
    const std::vector<uint8_t> bytes = Pack(block);
    ASSERT_EQ(bytes.size(), 40u);
    EXPECT_EQ(p->Init(&host.allocator, bytes.data(), 40), QW_Success);
    for (uint32_t i = 0; i < 9; ++i)
        EXPECT_EQ(p->GetFloat(i), block.afValues[i]) << i;
    EXPECT_EQ(p->m_uMode, 3u);
    EXPECT_TRUE(p->m_bFloatsDirty && p->m_bModeDirty);
    EXPECT_EQ(host.asserts.Total(), 0u);
    // A short block still reads all ten items, then reports the size.
    std::vector<uint8_t> longer = bytes;
    longer.resize(44, 0);
    EXPECT_EQ(p->SetParamsBlock(longer.data(), 36), QW_Success);
    EXPECT_EQ(host.asserts.Count("in_ulBlockSize == 0 || eResult != QW_Success"), 1u);

    p->m_bFloatsDirty = p->m_bModeDirty = false;
    const float fValue = 250.0f;
    EXPECT_EQ(p->SetParam(10, &fValue, 4), QW_UnknownParam);
    EXPECT_EQ(p->SetParam(0xFFFF, &fValue, 4), QW_UnknownParam);
    EXPECT_FALSE(p->m_bFloatsDirty || p->m_bModeDirty);
    EXPECT_EQ(p->SetParam(7, &fValue, 0), QW_Success); // stored raw, no range check, size unread
    EXPECT_EQ(p->m_fFeedbackPercent, 250.0f);
    EXPECT_TRUE(p->m_bFloatsDirty && !p->m_bModeDirty);
    const uint32_t uMode = 4;
    p->m_bFloatsDirty = false;
    EXPECT_EQ(p->SetParam(9, &uMode, 4), QW_Success);
    EXPECT_TRUE(!p->m_bFloatsDirty && p->m_bModeDirty);
    EXPECT_EQ(p->m_uMode, 4u);

    p->Init(&host.allocator, nullptr, 0);
    const float defaults[] = {100, 0, 80, 0.2f, 10000, 0.2f, 200, 20, 0.25f};
    for (uint32_t i = 0; i < 9; ++i)
        EXPECT_EQ(p->GetFloat(i), defaults[i]) << i;
    EXPECT_EQ(p->m_uMode, 0u);
    KvSkrelDelayFXParams* pCopy = static_cast<KvSkrelDelayFXParams*>(p->Clone(&host.allocator));
    EXPECT_TRUE(pCopy->m_bFloatsDirty && pCopy->m_bModeDirty);
    pCopy->Term(&host.allocator);
    p->Term(&host.allocator);
    EXPECT_TRUE(host.allocator.Balanced());
}

TEST(KvSkrelDelayFX, FirstBlockPushesEveryValueModeAfterFloats)
{
    TestHost host;
    // Amount 1 and mode 3 arrive in one block: the ring and the mask come from amount 1.
    DelayBlock block = {{50, 60, 100, 0.5f, 8000, 0.7f, 500, 30, 1.0f}, 3};
    DelayRig rig(host, block, 48000, 5, 128); // no channel layout is refused
    ASSERT_EQ(rig.eInit, QW_Success);
    rig.Execute(128);
    SkrelDelayImpl* pImpl = rig.fx->GetImpl();
    ASSERT_EQ(pImpl->NumChannels(), 5u);
    for (uint32_t c = 0; c < 5; ++c) {
        const SkrelDelayDsp* pEngine = pImpl->GetEngine(c);
        for (uint32_t i = 0; i < 9; ++i)
            EXPECT_EQ(pEngine->GetParam(i), block.afValues[i]) << i;
        EXPECT_EQ(pEngine->GetMode(), 3u);
        EXPECT_EQ(pEngine->GetAverageLength(), 8u);
        EXPECT_EQ(pEngine->GetBitMask(), 0xFC000000u);
    }
    EXPECT_FALSE(rig.params->m_bFloatsDirty || rig.params->m_bModeDirty);
    // An out-of-range value is stored by the parameter object and ignored by the engine.
    const float fFeedback = 300.0f;
    rig.params->SetParam(7, &fFeedback, 4);
    rig.Execute(128);
    EXPECT_EQ(rig.params->m_fFeedbackPercent, 300.0f);
    EXPECT_EQ(pImpl->GetFeedbackPercent(), 30.0f);
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(KvSkrelDelayFX, InitFailsCleanlyAtEveryAllocation)
{
    uint64_t uInitCalls = 0;
    {
        TestHost host;
        DelayRig rig(host, CLEAN_WET, 48000, 3, 256);
        ASSERT_EQ(rig.eInit, QW_Success);
    }
    {
        // Count what Init takes.
        TestHost host;
        KvSkrelDelayFXParams* p = static_cast<KvSkrelDelayFXParams*>(KvSkrelDelayFXParams::Create(&host.allocator));
        p->Init(&host.allocator, nullptr, 0);
        KvSkrelDelayFX* fx = static_cast<KvSkrelDelayFX*>(KvSkrelDelayFX::Create(&host.allocator));
        TestEffectContext context(256);
        QwFormat format = {48000, QwMakeChannelConfig(3, 0), 0};
        const uint64_t uBefore = host.allocator.AllocCalls();
        ASSERT_EQ(fx->Init(&host.allocator, &context, p, format), QW_Success);
        uInitCalls = host.allocator.AllocCalls() - uBefore;
        fx->Term(&host.allocator);
        p->Term(&host.allocator);
        EXPECT_TRUE(host.allocator.Balanced());
    }
    ASSERT_GT(uInitCalls, 3u * 5u); // three engines with three filters and a line each
    for (uint64_t k = 1; k <= uInitCalls; ++k) {
        TestHost host;
        KvSkrelDelayFXParams* p = static_cast<KvSkrelDelayFXParams*>(KvSkrelDelayFXParams::Create(&host.allocator));
        p->Init(&host.allocator, nullptr, 0);
        KvSkrelDelayFX* fx = static_cast<KvSkrelDelayFX*>(KvSkrelDelayFX::Create(&host.allocator));
        TestEffectContext context(256);
        QwFormat format = {48000, QwMakeChannelConfig(3, 0), 0};
        host.allocator.FailAt(k);
        EXPECT_EQ(fx->Init(&host.allocator, &context, p, format), QW_OutOfMemory) << k;
        fx->Term(&host.allocator);
        p->Term(&host.allocator);
        EXPECT_TRUE(host.allocator.Balanced()) << k;
        EXPECT_EQ(host.allocator.BadFrees(), 0u) << k;
    }
}

TEST(KvSkrelDelayFX, ExecuteAllocatesNothing)
{
    TestHost host;
    DelayRig rig(host, CLEAN_WET, 48000, 2, 256);
    ASSERT_EQ(rig.eInit, QW_Success);
    const uint64_t uBefore = host.allocator.AllocCalls();
    for (uint32_t uMode = 0; uMode < 6; ++uMode) {
        for (float fAmount : {0.0f, 1.0f, 0.5f}) {
            rig.params->SetParam(8, &fAmount, 4);
            rig.params->SetParam(9, &uMode, 4);
            const float fLowCut = 100.0f + 10.0f * uMode;
            rig.params->SetParam(2, &fLowCut, 4);
            for (int b = 0; b < 3; ++b) {
                for (float& s : rig.data)
                    s = 0.25f;
                rig.Execute(b == 2 ? 100 : 256);
            }
        }
    }
    rig.Execute(0, QW_InputEnded);
    rig.fx->Reset();
    EXPECT_EQ(rig.fx->TimeSkip(512), QW_DataReady);
    EXPECT_EQ(host.allocator.AllocCalls(), uBefore);
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(KvSkrelDelayFX, ShortBlockAdvancesTheWholeBlock)
{
    TestHost host;
    // 40 ms at 32 kHz: 1280 + 1 = 20 blocks of 64 and one sample.
    DelayRig rig(host, CLEAN_WET, 32000, 1, 64);
    ASSERT_EQ(rig.eInit, QW_Success);
    rig.Execute(64);
    rig.fx->Reset(); // the engines take the 40 ms at once instead of gliding down from 200
    for (int b = 0; b <= 20; ++b) {
        std::fill(rig.data.begin(), rig.data.end(), 0.0f);
        if (b == 0)
            rig.data[0] = 1.0f;
        rig.Execute(10);
        EXPECT_EQ(rig.buffer.uValidFrames, 10u);
        for (uint32_t i = 10; i < 64; ++i)
            ASSERT_EQ(rig.data[i], 0.0f); // frames past the valid ones are not written back
        if (b < 20) {
            for (uint32_t i = 0; i < 10; ++i)
                ASSERT_LT(std::fabs(rig.data[i]), 1e-3f) << b;
        }
    }
    EXPECT_LT(std::fabs(rig.data[0]), 1e-3f);
    EXPECT_GT(rig.data[1], 0.9f);
}

TEST(KvSkrelDelayFX, TailFollowsFeedbackAndRequestedDelay)
{
    TestHost host;
    struct Case { float fFeedback; float fDelay; uint32_t uExpected; };
    // 100 dB of decay at 20 log10(1/f) dB a pass: f = 0.5 falls 6.0206 dB a pass, 16.6096 passes
    // of 200 ms at 48 kHz (9600 samples) = 159452.5. Above 100 percent f counts as 0.999, which in
    // single precision is 0.99900001287: 100 / 0.00868911 dB = 11507.32 passes = 110470240.
    // A 10 ms request counts as 10 ms (480 samples): 7972.6.
    const Case cases[] = {
        {50.0f, 200.0f, 159452u}, {101.0f, 200.0f, 110470240u}, {200.0f, 200.0f, 110470240u},
        {50.0f, 10.0f, 7972u},    {100.0f, 200.0f, 0u},         {0.49f, 200.0f, 512u},
        {0.0f, 200.0f, 512u},
    };
    for (const Case& c : cases) {
        DelayBlock block = CLEAN_WET;
        block.afValues[6] = c.fDelay;
        block.afValues[7] = c.fFeedback;
        DelayRig rig(host, block, 48000, 1, 512);
        ASSERT_EQ(rig.eInit, QW_Success);
        rig.Execute(512); // the tail reads the engine, so push the values first
        const double fTail = rig.fx->GetImpl()->GetTailFrames();
        EXPECT_NEAR(fTail, c.uExpected, 1e-6 * c.uExpected + 1.0) << c.fFeedback << " % " << c.fDelay << " ms";
    }
}

// The tail handler sees the tail taken before the block's values apply, then pads and
// extends: count the blocks that come out after the input ends.
TEST(KvSkrelDelayFX, TailBlocksAfterInputEnds)
{
    TestHost host;
    struct Case { float fFeedback; uint32_t uTailBlocks; };
    // 30 percent, 40 ms at 48 kHz: 100 / 10.4576 dB = 9.5624 passes x 1920 = 18359.8 -> 18359
    // frames; the last input block has 100 valid frames, so 156 tail frames ride in it and
    // ceil((18359 - 156) / 256) = 72 more blocks follow.
    const Case cases[] = {{30.0f, 72u}, {100.0f, 0u}, {0.2f, 1u}};
    for (const Case& c : cases) {
        DelayBlock block = CLEAN_WET;
        block.afValues[7] = c.fFeedback;
        DelayRig rig(host, block, 48000, 2, 256);
        ASSERT_EQ(rig.eInit, QW_Success);
        rig.Execute(256);
        rig.Execute(100, QW_InputEnded);
        EXPECT_EQ(rig.buffer.uValidFrames, 256u);
        uint32_t uBlocks = 0;
        while (rig.buffer.eState == QW_DataReady && uBlocks < 1000) {
            rig.Execute(0, QW_InputEnded);
            ++uBlocks;
        }
        EXPECT_EQ(uBlocks, c.uTailBlocks) << c.fFeedback;
        EXPECT_EQ(rig.buffer.eState, static_cast<uint32_t>(QW_InputEnded));
    }
}
