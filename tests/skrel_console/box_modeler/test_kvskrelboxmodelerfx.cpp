#include <gtest/gtest.h>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>
#include "skrel_console/box_modeler/qwent/audioenginefx/kvskrelboxmodelerfx.h"
#include "support/testboxmodel.h"
#include "support/testhost.h"

namespace {

// A host that hands over media of a given size from a non-null pointer.
class SizedMediaContext : public TestEffectContext
{
public:
    SizedMediaContext(uint16_t in_uMaxFrames, uint32_t in_uSize) : TestEffectContext(in_uMaxFrames), uSize(in_uSize) {}
    void GetPluginMedia(uint32_t, const uint8_t*& out_pData, uint32_t& out_uSize) override
    {
        out_pData = aBytes;
        out_uSize = uSize;
    }
    uint8_t aBytes[16] = {};
    uint32_t uSize;
};

struct Instance
{
    Instance(TestHost& io_host, QwEffectContext& io_context, uint32_t in_uChannels, uint32_t in_uMask)
        : host(io_host)
    {
        pParams = static_cast<KvSkrelBoxModelerFXParams*>(KvSkrelBoxModelerFXParams::Create(&host.allocator));
        pParams->Init(&host.allocator, nullptr, 0);
        pFx = static_cast<KvSkrelBoxModelerFX*>(KvSkrelBoxModelerFX::Create(&host.allocator));
        format = {48000, QwMakeChannelConfig(in_uChannels, in_uMask), 0};
        eInit = pFx->Init(&host.allocator, &io_context, pParams, format);
    }
    ~Instance()
    {
        pFx->Term(&host.allocator);
        pParams->Term(&host.allocator);
    }
    TestHost& host;
    KvSkrelBoxModelerFXParams* pParams;
    KvSkrelBoxModelerFX* pFx;
    QwFormat format;
    QwResult eInit;
};

// Runs whole host blocks of a mono or multichannel stream; returns what came back.
std::vector<float> RunMono(KvSkrelBoxModelerFX& io_fx, const std::vector<float>& in_x, uint16_t in_uH)
{
    std::vector<float> y;
    std::vector<float> block(in_uH);
    for (size_t uPos = 0; uPos < in_x.size(); uPos += in_uH) {
        std::copy(in_x.begin() + uPos, in_x.begin() + uPos + in_uH, block.begin());
        QwAudioBuffer buf = {block.data(), QwMakeChannelConfig(1, QW_MASK_MONO), 45u, in_uH, in_uH};
        io_fx.Execute(&buf);
        y.insert(y.end(), block.begin(), block.begin() + buf.uValidFrames);
    }
    return y;
}

} // namespace

TEST(KvSkrelBoxModelerFX, MediaMissingOrEmptyGives79)
{
    TestHost host;
    TestEffectContext none(512);
    Instance a(host, none, 2, QW_MASK_STEREO);
    EXPECT_EQ(a.eInit, QW_MediaMissing);
    SizedMediaContext empty(512, 0);
    Instance b(host, empty, 2, QW_MASK_STEREO);
    EXPECT_EQ(b.eInit, QW_MediaMissing);
    EXPECT_TRUE(a.pFx->ProbeFlag());
    EXPECT_EQ(a.pFx->ProbeCode(), 1u);
}

TEST(KvSkrelBoxModelerFX, ParameterBlockAndIds)
{
    TestHost host;
    auto* pParams = static_cast<KvSkrelBoxModelerFXParams*>(KvSkrelBoxModelerFXParams::Create(&host.allocator));
    pParams->Init(&host.allocator, nullptr, 0);
    EXPECT_EQ(pParams->m_fWetLevel, 100.0f);
    EXPECT_EQ(pParams->m_fTrimLevel, 10.0f);
    EXPECT_EQ(pParams->m_fLengthFraction, 1.0f);
    // Item n at byte 4n: u32 model 3, u32 mode 2, then -1.5, 2.5, 40, 7, 0.25.
    uint8_t aBlock[28];
    const uint32_t aInts[2] = {3, 2};
    const float aFloats[5] = {-1.5f, 2.5f, 40.0f, 7.0f, 0.25f};
    std::memcpy(aBlock, aInts, 8);
    std::memcpy(aBlock + 8, aFloats, 20);
    pParams->m_bFloatsDirty = pParams->m_bIntsDirty = 0;
    EXPECT_EQ(pParams->SetParamsBlock(aBlock, 28), QW_Success);
    EXPECT_EQ(host.asserts.Total(), 0u);
    EXPECT_EQ(pParams->m_uModel, 3u);
    EXPECT_EQ(pParams->m_uMode, 2u);
    EXPECT_EQ(pParams->m_fInputGain, -1.5f);
    EXPECT_EQ(pParams->m_fOutputGain, 2.5f);
    EXPECT_EQ(pParams->m_fWetLevel, 40.0f);
    EXPECT_EQ(pParams->m_fTrimLevel, 7.0f);
    EXPECT_EQ(pParams->m_fLengthFraction, 0.25f);
    EXPECT_TRUE(pParams->m_bFloatsDirty && pParams->m_bIntsDirty);
    EXPECT_EQ(pParams->SetParamsBlock(aBlock, 32), QW_Success);
    EXPECT_EQ(host.asserts.Count("in_ulBlockSize == 0 || eResult != QW_Success"), 1u);

    // Ids 0-1 mark the integers, 2-6 the floats, 7 is unknown and marks nothing.
    pParams->m_bFloatsDirty = pParams->m_bIntsDirty = 0;
    const float fValue = 9.0f;
    EXPECT_EQ(pParams->SetParam(7, &fValue, 4), QW_UnknownParam);
    EXPECT_FALSE(pParams->m_bFloatsDirty || pParams->m_bIntsDirty);
    EXPECT_EQ(pParams->SetParam(6, &fValue, 4), QW_Success);
    EXPECT_EQ(pParams->m_fLengthFraction, 9.0f);
    EXPECT_TRUE(pParams->m_bFloatsDirty && !pParams->m_bIntsDirty);
    const uint32_t uMode = 1;
    EXPECT_EQ(pParams->SetParam(1, &uMode, 4), QW_Success);
    EXPECT_EQ(pParams->m_uMode, 1u);
    EXPECT_TRUE(pParams->m_bIntsDirty);
    pParams->Term(&host.allocator);
    EXPECT_TRUE(host.allocator.Balanced());
}

TEST(KvSkrelBoxModelerFX, ConvolvesWithModelAndGainsWithoutRing)
{
    // H = 256: no ring, no latency; y = 10^((-2 + 4) / 20) x (x * h) at wet 100.
    TestHost host;
    TestEffectContext ctx(256);
    const std::vector<float> h = TestNoise(300, 1);
    ctx.media = MakeBoxModelBlob(-2.0f, h);
    Instance inst(host, ctx, 1, QW_MASK_MONO);
    ASSERT_EQ(inst.eInit, QW_Success);
    EXPECT_EQ(inst.pFx->LatencyFrames(), 0u);
    const float fOut = 4.0f;
    inst.pParams->SetParam(KvSkrelBoxModelerFXParams::ID_OUTPUT_GAIN, &fOut, 4);
    const std::vector<float> x = TestNoise(2048, 2);
    const std::vector<float> y = RunMono(*inst.pFx, x, 256);
    ASSERT_EQ(y.size(), x.size());
    const double g = std::pow(10.0, 2.0 / 20.0);
    for (size_t n = 0; n < x.size(); ++n) {
        double ref = 0.0;
        for (size_t k = 0; k < h.size() && k <= n; ++k)
            ref += double(h[k]) * x[n - k];
        ASSERT_NEAR(y[n], g * ref, 3e-5) << n; // float FFT over 300 taps of unit-range noise
    }
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(KvSkrelBoxModelerFX, ModelOrModeAfterInitIsDropped)
{
    TestHost host;
    TestEffectContext ctx(256);
    ctx.media = MakeBoxModelBlob(0.0f, TestNoise(200, 4));
    Instance a(host, ctx, 1, QW_MASK_MONO);
    Instance b(host, ctx, 1, QW_MASK_MONO);
    ASSERT_EQ(a.eInit, QW_Success);
    ASSERT_EQ(b.eInit, QW_Success);
    const std::vector<float> x = TestNoise(256 * 6, 5);
    std::vector<float> ya = RunMono(*a.pFx, std::vector<float>(x.begin(), x.begin() + 768), 256);
    std::vector<float> yb = RunMono(*b.pFx, std::vector<float>(x.begin(), x.begin() + 768), 256);
    const uint32_t uModel = 5, uMode = 2;
    a.pParams->SetParam(KvSkrelBoxModelerFXParams::ID_MODEL, &uModel, 4);
    a.pParams->SetParam(KvSkrelBoxModelerFXParams::ID_MODE, &uMode, 4);
    EXPECT_TRUE(a.pParams->m_bIntsDirty);
    const auto ya2 = RunMono(*a.pFx, std::vector<float>(x.begin() + 768, x.end()), 256);
    const auto yb2 = RunMono(*b.pFx, std::vector<float>(x.begin() + 768, x.end()), 256);
    EXPECT_FALSE(a.pParams->m_bIntsDirty);
    EXPECT_EQ(ya, yb);
    EXPECT_EQ(ya2, yb2); // a reload would have cleared the ringing state
    EXPECT_EQ(a.pFx->GetImpl()->Engine().GetMode(), 0u);
}

TEST(KvSkrelBoxModelerFX, SurroundChannelOrders)
{
    // Silence through a unit tap with 64-frame blocks: the first block gives each engine
    // channel n the offsets of counters 64n .. 64n + 63, which are + for n mod 4 in {0, 1} and
    // - for {2, 3}, twice (input and output side). The sign on block channel k therefore tells
    // which engine position k was given.
    struct Layout
    {
        uint32_t uMask;
        std::vector<uint8_t> order;
    };
    const Layout aLayouts[] = {{QW_MASK_STEREO, {0, 1}},
                               {QW_MASK_MONO, {0}},
                               {QW_MASK_4_0, {0, 1, 2, 3}},
                               {QW_MASK_5_0, {0, 1, 3, 4, 2}},
                               {QW_MASK_5_1, {0, 1, 3, 4, 2, 5}},
                               {QW_MASK_7_1, {0, 1, 2, 5, 6, 3, 4, 7}}};
    for (const Layout& layout : aLayouts) {
        TestHost host;
        TestEffectContext ctx(64);
        ctx.media = MakeBoxModelBlob(0.0f, {1.0f});
        const uint32_t uChannels = uint32_t(layout.order.size());
        Instance inst(host, ctx, uChannels, layout.uMask);
        ASSERT_EQ(inst.eInit, QW_Success);
        std::vector<float> block(64 * uChannels, 0.0f);
        QwAudioBuffer buf = {block.data(), QwMakeChannelConfig(uChannels, layout.uMask), 45u, 64, 64};
        inst.pFx->Execute(&buf);
        for (uint32_t n = 0; n < uChannels; ++n) {
            const float fExpected = (n % 4) < 2 ? 2e-10f : -2e-10f;
            const uint32_t k = layout.order[n];
            for (uint32_t i = 0; i < 64; ++i)
                ASSERT_NEAR(block[k * 64 + i], fExpected, 1e-16) << "mask " << layout.uMask << " channel " << k;
        }
    }
}

TEST(KvSkrelBoxModelerFX, AllocationFailureAtEveryStepOfInit)
{
    for (uint16_t H : {uint16_t(512), uint16_t(1000)}) {
        uint64_t k = 1;
        for (;; ++k) {
            TestHost host;
            TestEffectContext ctx(H);
            ctx.media = MakeBoxModelBlob(0.0f, TestNoise(2048, 6));
            auto* pParams = KvSkrelBoxModelerFXParams::Create(&host.allocator);
            pParams->Init(&host.allocator, nullptr, 0);
            QwEffectPlugin* pFx = KvSkrelBoxModelerFX::Create(&host.allocator);
            QwFormat format = {48000, QwMakeChannelConfig(2, QW_MASK_STEREO), 0};
            host.allocator.FailAt(k);
            const QwResult eResult = pFx->Init(&host.allocator, &ctx, pParams, format);
            const bool bFailed = host.allocator.FailedCalls() != 0;
            pFx->Term(&host.allocator);
            pParams->Term(&host.allocator);
            EXPECT_TRUE(host.allocator.Balanced()) << "H " << H << " k " << k;
            if (!bFailed) {
                EXPECT_EQ(eResult, QW_Success);
                break;
            }
            // The ring is the first allocation when there is one: its failure gives 2.
            const QwResult eExpected = (H == 1000 && k == 1) ? 2u : QW_OutOfMemory;
            EXPECT_EQ(eResult, eExpected) << "H " << H << " k " << k;
        }
        EXPECT_GT(k, 5u); // the ring, the implementation, the engine, its buffers, the blob
    }
}

TEST(KvSkrelBoxModelerFX, ExecuteAllocatesNothing)
{
    for (uint16_t H : {uint16_t(512), uint16_t(1000), uint16_t(3000)}) {
        TestHost host;
        TestEffectContext ctx(H);
        ctx.media = MakeBoxModelBlob(-1.0f, TestNoise(2048, 7));
        Instance inst(host, ctx, 6, QW_MASK_5_1);
        ASSERT_EQ(inst.eInit, QW_Success);
        const uint64_t uBefore = host.allocator.AllocCalls();
        std::vector<float> block(size_t(H) * 6);
        std::mt19937 rng(H);
        for (int k = 0; k < 40; ++k) {
            if (k == 10) { // a trim and a length change rebuild the kernel inside Execute
                const float fTrim = 3.0f, fFraction = 0.5f;
                inst.pParams->SetParam(KvSkrelBoxModelerFXParams::ID_TRIM_LEVEL, &fTrim, 4);
                inst.pParams->SetParam(KvSkrelBoxModelerFXParams::ID_LENGTH_FRACTION, &fFraction, 4);
            }
            const uint16_t uValid = k % 3 ? H : uint16_t(rng() % H);
            QwAudioBuffer buf = {block.data(), inst.format.uChannelConfig, k < 35 ? 45u : 17u, H, uValid};
            inst.pFx->Execute(&buf);
        }
        EXPECT_EQ(host.allocator.AllocCalls(), uBefore) << H;
        EXPECT_EQ(host.asserts.Total(), 0u);
    }
}

TEST(KvSkrelBoxModelerFX, TailCarriesTheResponseOut)
{
    // An impulse in the last input frame through 700 taps of 1, 2, 3...: with H = 1000 the
    // stream ends mid-block and the host must get all 700 taps back (at the latency), then 17.
    TestHost host;
    TestEffectContext ctx(1000);
    std::vector<float> h(700);
    for (size_t i = 0; i < h.size(); ++i)
        h[i] = float(i + 1) / 700.0f;
    ctx.media = MakeBoxModelBlob(0.0f, h);
    Instance inst(host, ctx, 1, QW_MASK_MONO);
    ASSERT_EQ(inst.eInit, QW_Success);
    std::vector<float> y;
    std::vector<float> block(1000, 0.0f);
    QwAudioBuffer first = {block.data(), QwMakeChannelConfig(1, QW_MASK_MONO), 45u, 1000, 1000};
    inst.pFx->Execute(&first);
    y.insert(y.end(), block.begin(), block.end());
    std::fill(block.begin(), block.end(), 0.0f);
    block[499] = 1.0f; // frame 1499 of the stream, the last one
    QwAudioBuffer last = {block.data(), QwMakeChannelConfig(1, QW_MASK_MONO), 17u, 1000, 500};
    uint32_t eState = 0;
    for (int k = 0; k < 20 && eState != 17; ++k) {
        inst.pFx->Execute(&last);
        y.insert(y.end(), block.begin(), block.begin() + last.uValidFrames);
        eState = last.eState;
        last.uValidFrames = 0;
        last.eState = 17u; // the input has ended; the host says so on every call
        std::fill(block.begin(), block.end(), 0.0f);
    }
    EXPECT_EQ(eState, 17u);
    ASSERT_GE(y.size(), 1976u + 1500u + 699u);
    for (size_t i = 0; i < 700; ++i)
        ASSERT_NEAR(y[1976 + 1499 + i], h[i], 1e-6) << i;
}
