#include <gtest/gtest.h>
#include <dlfcn.h>
#include <cmath>
#include <complex>
#include <cstring>
#include <random>
#include <vector>
#include "kvbase/common/common_allocator.h"
#include "skrel_console/filter/qwent/audioenginefx/kvskrelfiltersfx.h"
#include "support/testhost.h"

namespace {

constexpr uint16_t MAX_FRAMES = 256;

struct Instance
{
    explicit Instance(TestHost& io_host, uint16_t in_uMaxFrames = MAX_FRAMES) : host(io_host), context(in_uMaxFrames)
    {
        pParams = static_cast<KvSkrelFiltersFXParams*>(KvSkrelFiltersFXParams::Create(&host.allocator));
        pParams->Init(&host.allocator, nullptr, 0);
        pEffect = static_cast<KvSkrelFiltersFX*>(KvSkrelFiltersFX::Create(&host.allocator));
    }
    ~Instance()
    {
        if (pEffect)
            pEffect->Term(&host.allocator);
        if (pParams)
            pParams->Term(&host.allocator);
    }
    QwResult Init(uint32_t in_uChannels = 2)
    {
        format = QwFormat{48000, QwMakeChannelConfig(in_uChannels, QW_MASK_STEREO), 0};
        return pEffect->Init(&host.allocator, &context, pParams, format);
    }
    template <class T>
    void Set(uint16_t in_uId, T in_value)
    {
        ASSERT_EQ(pParams->SetParam(in_uId, &in_value, 4), QW_Success);
    }
    // Runs planar channel data through Execute, one host block at a time.
    void Run(std::vector<float>& io_planar, uint16_t in_uValid)
    {
        QwAudioBuffer buffer{io_planar.data(), format.uChannelConfig, QW_Success, MAX_FRAMES, in_uValid};
        pEffect->Execute(&buffer);
    }
    TestHost& host;
    TestEffectContext context;
    QwFormat format{};
    KvSkrelFiltersFXParams* pParams = nullptr;
    KvSkrelFiltersFX* pEffect = nullptr;
};

std::vector<float> Noise(size_t in_uCount, float in_fAmplitude)
{
    std::mt19937 rng(17);
    std::uniform_real_distribution<float> dist(-in_fAmplitude, in_fAmplitude);
    std::vector<float> s(in_uCount);
    for (float& v : s)
        v = dist(rng);
    return s;
}

typedef std::complex<long double> cld;

// A biquad's response from the textbook low- and high-pass designs (Q-based alpha), long double.
cld Biquad(bool in_bHighPass, long double in_fc, long double in_q, long double in_f, long double in_fs)
{
    const long double pi = 3.141592653589793238462643L;
    const long double w0 = 2.0L * pi * in_fc / in_fs, c = std::cos(w0), alpha = std::sin(w0) / (2.0L * in_q);
    const long double b0 = in_bHighPass ? (1.0L + c) / 2.0L : (1.0L - c) / 2.0L;
    const long double b1 = in_bHighPass ? -(1.0L + c) : 1.0L - c;
    const cld zi = std::polar(1.0L, -2.0L * pi * in_f / in_fs);
    return (b0 + b1 * zi + b0 * zi * zi) / ((1.0L + alpha) - 2.0L * c * zi + (1.0L - alpha) * zi * zi);
}

std::vector<uint8_t> PackDefaults(uint32_t in_uTypeOfFilter1)
{
    // Per filter: type, frequency, Q, resonance, gain, mode, shape, period, f2, g2, q2, r2.
    const float aafValues[3][12] = {{2, 40, 0.5f, 0.2f, 0, 0, 0, 1000, 160, 0, 0.5f, 0.2f},
                                    {6, 1000, 0.2f, 0.2f, 0, 0, 0, 1000, 3000, 0, 0.2f, 0.2f},
                                    {1, 15000, 0.5f, 0.2f, 0, 0, 0, 1000, 20000, 0, 0.5f, 0.2f}};
    std::vector<uint8_t> block;
    for (int f = 0; f < 3; ++f)
        for (int k = 0; k < 12; ++k) {
            uint32_t uWord;
            const bool bInt = k == 0 || k == 5 || k == 6;
            if (bInt)
                uWord = static_cast<uint32_t>(aafValues[f][k]);
            else
                std::memcpy(&uWord, &aafValues[f][k], 4);
            if (f == 1 && k == 0)
                uWord = in_uTypeOfFilter1;
            for (int b = 0; b < 4; ++b)
                block.push_back(static_cast<uint8_t>(uWord >> (8 * b)));
        }
    return block;
}

} // namespace

TEST(KvSkrelFiltersFX, DefaultsAreHighPassFlatPeakAndLowPass)
{
    TestHost host;
    Instance fx(host, 4096);
    ASSERT_EQ(fx.Init(1), QW_Success);
    const SkrelFiltersImpl& impl = *fx.pEffect->GetImpl();
    EXPECT_EQ(impl.GetIntParam(0), 2u);
    EXPECT_EQ(impl.GetIntParam(12), 6u);
    EXPECT_EQ(impl.GetIntParam(24), 1u);
    EXPECT_EQ(impl.GetFloatParam(1), 40.0f);
    EXPECT_EQ(impl.GetFloatParam(13), 1000.0f);
    EXPECT_EQ(impl.GetFloatParam(25), 15000.0f);
    // The impulse response of the chain against a 40 Hz high-pass (Q 0.5) times a 15 kHz
    // low-pass (Q 0.5); the 0 dB peak contributes exactly 1.
    std::vector<float> data(4096, 0.0f);
    data[0] = 1.0f;
    QwAudioBuffer buffer{data.data(), fx.format.uChannelConfig, QW_Success, 4096, 4096};
    fx.pEffect->Execute(&buffer);
    for (double f : {20.0, 40.0, 100.0, 1000.0, 10000.0, 15000.0, 20000.0}) {
        std::complex<double> h = 0.0;
        for (size_t n = 0; n < data.size(); ++n)
            h += static_cast<double>(data[n]) * std::polar(1.0, -2.0 * M_PI * f * n / 48000.0);
        const long double expected =
            std::abs(Biquad(true, 40.0L, 0.5L, f, 48000.0L) * Biquad(false, 15000.0L, 0.5L, f, 48000.0L));
        // The 40 Hz high-pass has decayed to below 1e-4 within the 4096 samples.
        EXPECT_NEAR(std::abs(h), static_cast<double>(expected), 2e-3) << f;
    }
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(KvSkrelFiltersFX, AllModesOffLeaveAudioBitIdentical)
{
    TestHost host;
    Instance fx(host);
    ASSERT_EQ(fx.Init(2), QW_Success);
    fx.Set<uint32_t>(5, 2);
    fx.Set<uint32_t>(17, 2);
    fx.Set<uint32_t>(29, 2);
    fx.Set<uint32_t>(12, 22); // a type change too, to run through a rebuild
    const std::vector<float> input = Noise(2 * MAX_FRAMES, 1.0f);
    std::vector<float> data = input;
    fx.Run(data, MAX_FRAMES);
    EXPECT_EQ(data, input);
    data = input;
    fx.Run(data, 100);
    EXPECT_EQ(data, input);
}

TEST(KvSkrelFiltersFX, EmptyBlockStillAdvancesTheLfo)
{
    TestHost host;
    Instance fx(host);
    ASSERT_EQ(fx.Init(1), QW_Success);
    fx.Set<uint32_t>(5, 1);      // filter 0 modulated
    fx.Set<float>(7, 100.0f);    // P = 4800 samples
    std::vector<float> data(MAX_FRAMES, 0.0f);
    fx.Run(data, 0);
    EXPECT_EQ(fx.pEffect->GetImpl()->Channel(0)->GetLfoPosition(0), MAX_FRAMES);
    fx.Run(data, 10);
    EXPECT_EQ(fx.pEffect->GetImpl()->Channel(0)->GetLfoPosition(0), 2u * MAX_FRAMES);
}

TEST(KvSkrelFiltersFX, TypeAboveThirtySixFailsInitAndIsDroppedInExecute)
{
    TestHost host;
    {
        Instance fx(host);
        const std::vector<uint8_t> block = PackDefaults(37);
        ASSERT_EQ(fx.pParams->SetParamsBlock(block.data(), static_cast<uint32_t>(block.size())), QW_Success);
        EXPECT_EQ(fx.Init(2), QW_OutOfMemory);
    }
    Instance fx(host);
    ASSERT_EQ(fx.Init(2), QW_Success);
    fx.Set<uint32_t>(12, 37);
    std::vector<float> data(2 * MAX_FRAMES, 0.0f);
    fx.Run(data, MAX_FRAMES);
    EXPECT_EQ(fx.pEffect->GetImpl()->GetIntParam(12), 6u);
    EXPECT_FALSE(fx.pParams->m_bIntsDirty);
}

TEST(KvSkrelFiltersFX, ParameterBlockAndSingleValues)
{
    TestHost host;
    Instance fx(host);
    std::vector<uint8_t> block = PackDefaults(17);
    EXPECT_EQ(block.size(), 144u);
    ASSERT_EQ(fx.pParams->SetParamsBlock(block.data(), 144), QW_Success);
    EXPECT_EQ(host.asserts.Total(), 0u);
    ASSERT_EQ(fx.Init(2), QW_Success);
    EXPECT_EQ(fx.pEffect->GetImpl()->GetIntParam(12), 17u);

    block.push_back(0);
    EXPECT_EQ(fx.pParams->SetParamsBlock(block.data(), 145), QW_Success);
    EXPECT_EQ(host.asserts.Count("in_ulBlockSize == 0 || eResult != QW_Success"), 1u);

    const float fValue = 1.0f;
    fx.pParams->m_bFloatsDirty = false;
    fx.pParams->m_bIntsDirty = false;
    EXPECT_EQ(fx.pParams->SetParam(36, &fValue, 4), QW_UnknownParam);
    EXPECT_FALSE(fx.pParams->m_bFloatsDirty || fx.pParams->m_bIntsDirty);
    EXPECT_EQ(fx.pParams->SetParam(35, &fValue, 4), QW_Success);
    EXPECT_TRUE(fx.pParams->m_bFloatsDirty);
    EXPECT_FALSE(fx.pParams->m_bIntsDirty);
    EXPECT_EQ(fx.pParams->m_afFloats[26], 1.0f); // id 35 is filter 2's second resonance, its last float
    const uint32_t uShape = 3;
    EXPECT_EQ(fx.pParams->SetParam(30, &uShape, 4), QW_Success); // filter 2's LFO shape, its last integer
    EXPECT_TRUE(fx.pParams->m_bIntsDirty);
    EXPECT_EQ(fx.pParams->m_auInts[8], 3u);

    KvSkrelFiltersFXParams* pClone = static_cast<KvSkrelFiltersFXParams*>(fx.pParams->Clone(&host.allocator));
    ASSERT_NE(pClone, nullptr);
    EXPECT_TRUE(pClone->m_bFloatsDirty && pClone->m_bIntsDirty);
    EXPECT_EQ(std::memcmp(pClone->m_afFloats, fx.pParams->m_afFloats, sizeof pClone->m_afFloats), 0);
    pClone->Term(&host.allocator);
}

TEST(KvSkrelFiltersFX, InitReportsEveryAllocationFailure)
{
    TestHost host;
    uint64_t uCalls = 0;
    {
        Instance fx(host);
        const uint64_t uBefore = host.allocator.AllocCalls();
        ASSERT_EQ(fx.Init(2), QW_Success);
        uCalls = host.allocator.AllocCalls() - uBefore;
    }
    ASSERT_GT(uCalls, 10u);
    for (uint64_t k = 1; k <= uCalls; ++k) {
        Instance fx(host);
        host.allocator.FailAt(k);
        EXPECT_EQ(fx.Init(2), QW_OutOfMemory) << k;
        host.allocator.FailAt(0);
    }
    EXPECT_TRUE(host.allocator.Balanced());
}

TEST(KvSkrelFiltersFX, ExecuteAllocatesOnlyForATypeChange)
{
    TestHost host;
    Instance fx(host);
    ASSERT_EQ(fx.Init(2), QW_Success);
    std::vector<float> data = Noise(2 * MAX_FRAMES, 0.5f);
    fx.Run(data, MAX_FRAMES); // the first block pushes everything once more
    const uint64_t uBefore = host.allocator.AllocCalls();
    fx.Set<uint32_t>(17, 1);
    fx.Set<float>(13, 500.0f);
    fx.Run(data, MAX_FRAMES);
    fx.Run(data, 77);
    EXPECT_EQ(host.allocator.AllocCalls(), uBefore);

    // A type change that runs out of memory: the block is left as it was and the flag stays.
    fx.Set<uint32_t>(24, 14);
    host.allocator.FailFrom(1);
    const std::vector<float> input = Noise(2 * MAX_FRAMES, 0.5f);
    data = input;
    fx.Run(data, MAX_FRAMES);
    EXPECT_EQ(data, input);
    EXPECT_TRUE(fx.pParams->m_bIntsDirty);
    host.allocator.FailAt(0);
}

TEST(KvSkrelFiltersFX, TooLongABlockPassesUnfiltered)
{
    TestHost host;
    Instance fx(host, 64);
    ASSERT_EQ(fx.Init(1), QW_Success);
    const std::vector<float> input = Noise(MAX_FRAMES, 0.5f);
    std::vector<float> data = input;
    QwAudioBuffer buffer{data.data(), fx.format.uChannelConfig, QW_Success, MAX_FRAMES, MAX_FRAMES};
    fx.pEffect->Execute(&buffer);
    EXPECT_EQ(data, input);
    EXPECT_EQ(host.asserts.Count("in_uFrames <= m_uMaxBlockFrames"), 1u);
}

TEST(KvSkrelFiltersFX, NoChannelsIsNotRefused)
{
    TestHost host;
    Instance fx(host);
    EXPECT_EQ(fx.Init(0), QW_Success);
    // Every integer pushed at Init meets an empty chain list.
    EXPECT_EQ(host.asserts.Count("m_pFilters.size() > 0"), 9u);
}

TEST(KvSkrelFiltersFX, RecordInTheBuiltModule)
{
    TestHost host;
    void* pHandle = dlopen(KVFX_MODULE_PATH, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(pHandle, nullptr) << dlerror();
    auto** ppHead = static_cast<QwPluginRegistration**>(dlsym(pHandle, "g_pQWPluginList"));
    ASSERT_NE(ppHead, nullptr);
    // Pushed after the records of ids 2, 7, 4, 3 and 5, so a walk meets it before all of those.
    const QwPluginRegistration* pRecord = nullptr;
    for (const QwPluginRegistration* p = *ppHead; p; p = p->next) {
        if (p->uPluginID == 6) {
            pRecord = p;
        } else if (p->uPluginID != 9) {
            EXPECT_NE(pRecord, nullptr) << "plug-in " << p->uPluginID << " walked before the filters";
        }
    }
    ASSERT_NE(pRecord, nullptr);
    EXPECT_EQ(pRecord->eType, 3u);
    EXPECT_EQ(pRecord->uCompanyID, 259u);
    QwPluginParam* pParams = pRecord->pCreateParams(&host.allocator);
    QwEffectPlugin* pEffect = pRecord->pCreateFX(&host.allocator);
    ASSERT_TRUE(pParams && pEffect);
    pParams->Init(&host.allocator, nullptr, 0);
    TestEffectContext context(64);
    QwFormat format = {48000, QwMakeChannelConfig(1, QW_MASK_MONO), 0};
    ASSERT_EQ(pEffect->Init(&host.allocator, &context, pParams, format), QW_Success);
    EXPECT_FALSE(pEffect->ProbeFlag());
    EXPECT_EQ(pEffect->TimeSkip(64), 45u);
    std::vector<float> data(64, 0.25f);
    QwAudioBuffer buffer{data.data(), format.uChannelConfig, QW_Success, 64, 64};
    pEffect->Execute(&buffer);
    // The same block through the effect as built into this test: the same numbers.
    std::vector<float> expected(64, 0.25f);
    {
        Instance local(host, 64);
        ASSERT_EQ(local.Init(1), QW_Success);
        QwAudioBuffer localBuffer{expected.data(), local.format.uChannelConfig, QW_Success, 64, 64};
        local.pEffect->Execute(&localBuffer);
    }
    EXPECT_EQ(data, expected);
    EXPECT_NE(data, std::vector<float>(64, 0.25f));
    pEffect->Term(&host.allocator);
    pParams->Term(&host.allocator);
    EXPECT_TRUE(host.allocator.Balanced());
    dlclose(pHandle);
}
