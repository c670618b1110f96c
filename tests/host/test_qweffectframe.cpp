// The whole lifecycle of the shared frame, driven through a small effect that exists only here.
#include <gtest/gtest.h>
#include <vector>
#include "host/qweffectframe.h"
#include "host/qwparamsframe.h"
#include "kvbase/common/common_vector.h"
#include "support/testhost.h"

namespace {

// One parameter, id 1: a gain in dB (f32). Block of 4 bytes.
class TestGainFXParams : public QwParamsFrame<TestGainFXParams>
{
public:
    QwResult SetParam(uint16_t in_uParamId, const void* in_pValue, uint32_t) override
    {
        switch (in_uParamId) {
        case 1: QwStoreRaw(m_fGainDb, in_pValue); return QW_Success;
        default: return QW_UnknownParam;
        }
    }
    void SetDefaults() { m_fGainDb = 0.0f; }
    void ReadBlock(QwParamBlockReader& io_reader) { m_fGainDb = io_reader.ReadF32(); }
    void SetAllDirty() { m_bRtDirty = m_bTailDirty = 1; }

    float m_fGainDb;
    uint8_t m_bRtDirty;
    uint8_t m_bTailDirty;
};

// Failed allocations of every effect's set-up are swept by the module's allocation test.
class TestGainImpl
{
public:
    TestGainImpl(uint16_t in_uMaxFrames, uint32_t in_uChannels) : m_uBlockFrames(in_uMaxFrames)
    {
        m_scratch.resize(in_uMaxFrames);
        m_gains.resize(in_uChannels, 1.0f);
    }
    void Reset() {}
    void Process(float** in_ppChannels, uint32_t in_uChannels, uint32_t in_uValid)
    {
        for (uint32_t c = 0; c < in_uChannels; ++c)
            QwProcessPadded(in_ppChannels[c], in_uValid, m_uBlockFrames, m_scratch.data(),
                            [this](float* p, uint32_t n) {
                                for (uint32_t i = 0; i < n; ++i) {
                                    p[i] += 0.25f; // the offset shows the padded frames ran
                                    ++m_uFramesRun;
                                }
                            });
    }

    uint32_t m_uBlockFrames;
    common_aligned_vector<float> m_scratch;
    common_vector<float> m_gains;
    uint64_t m_uFramesRun = 0;
};

class TestGainFX : public QwEffectFrame<TestGainImpl>
{
public:
    QwResult Init(QwPluginMemAlloc* in_pAllocator, QwEffectContext* in_pContext, QwPluginParam* in_pParams,
                  QwFormat& io_format) override
    {
        const QwResult eResult = BeginInit(in_pAllocator, in_pParams, io_format, m_bFilterLayout);
        if (eResult != QW_Success)
            return eResult;
        Params().SetAllDirty();
        return BuildImpl(in_pContext, QwChannelCount(io_format.uChannelConfig));
    }
    void Execute(QwAudioBuffer* io_pBuffer) override
    {
        float* apChannels[QW_MAX_CHANNELS];
        const uint32_t uChannels = QwGatherChannels(*io_pBuffer, apChannels, m_pImpl->m_gains.size());
        m_pImpl->Process(apChannels, uChannels, io_pBuffer->uValidFrames);
    }
    TestGainFXParams& Params() { return *static_cast<TestGainFXParams*>(m_pParams); }
    static bool m_bFilterLayout;
};
bool TestGainFX::m_bFilterLayout = false;

struct Instance
{
    explicit Instance(TestHost& io_host, uint16_t in_uMaxFrames = 64) : host(io_host), context(in_uMaxFrames)
    {
        pParams = static_cast<TestGainFXParams*>(TestGainFXParams::Create(&host.allocator));
        pParams->Init(&host.allocator, nullptr, 0);
        pEffect = static_cast<TestGainFX*>(QwEffectFrame<TestGainImpl>::CreateAs<TestGainFX>(&host.allocator));
    }
    ~Instance()
    {
        if (pEffect)
            pEffect->Term(&host.allocator);
        if (pParams)
            pParams->Term(&host.allocator);
    }
    QwResult Init(uint32_t in_uChannels = 2, uint32_t in_uMask = QW_MASK_STEREO)
    {
        format = QwFormat{48000, QwMakeChannelConfig(in_uChannels, in_uMask), 0};
        return pEffect->Init(&host.allocator, &context, pParams, format);
    }
    TestHost& host;
    TestEffectContext context;
    QwFormat format{};
    TestGainFXParams* pParams = nullptr;
    TestGainFX* pEffect = nullptr;
};

} // namespace

// A clone carries the values and marks every one changed, so that the effect applies them all.
TEST(QwEffectFrame, CloneCopiesTheValuesAndMarksThemAllChanged)
{
    TestHost host;
    Instance fx(host);
    const float fGainDb = -3.0f;
    fx.pParams->SetParam(1, &fGainDb, 4);
    fx.pParams->m_bRtDirty = fx.pParams->m_bTailDirty = 0;
    auto* pClone = static_cast<TestGainFXParams*>(fx.pParams->Clone(&host.allocator));
    ASSERT_NE(pClone, nullptr);
    EXPECT_EQ(pClone->m_bRtDirty + pClone->m_bTailDirty, 2);
    EXPECT_EQ(pClone->m_fGainDb, -3.0f);
    pClone->Term(&host.allocator);
}

// A short block runs the whole block through the DSP and copies back only the valid frames (the
// tail's padding is the tail handler's own test).
TEST(QwEffectFrame, ShortBlocksRunWholeAndGiveBackTheValidFrames)
{
    TestHost host;
    Instance fx(host);
    ASSERT_EQ(fx.Init(), QW_Success);
    std::vector<float> data(128, 2.0f);
    QwAudioBuffer buffer{data.data(), fx.format.uChannelConfig, QW_Success, 64, 10};
    fx.pEffect->Execute(&buffer);
    EXPECT_EQ(fx.pEffect->GetImpl()->m_uFramesRun, 128u);
    EXPECT_FLOAT_EQ(data[64 + 9], 2.25f);
    EXPECT_EQ(data[64 + 10], 2.0f);
    EXPECT_EQ(buffer.uValidFrames, 10);
}

TEST(QwEffectFrame, LayoutOutsideTheTableIsRefused)
{
    TestHost host;
    TestGainFX::m_bFilterLayout = true;
    {
        Instance fx(host);
        // 0x60B: front pair, low frequency and sides; a legal count but not a known layout.
        EXPECT_EQ(fx.Init(4, 0x60B), static_cast<QwResult>(78));
        EXPECT_EQ(fx.pEffect->GetImpl(), nullptr);
        for (uint32_t uMask : {0x004u, 0x003u, 0x603u, 0x607u, 0x60Fu, 0x63Fu}) {
            Instance ok(host);
            EXPECT_EQ(ok.Init(2, uMask), QW_Success) << uMask;
        }
    }
    TestGainFX::m_bFilterLayout = false;
    EXPECT_TRUE(host.allocator.Balanced());
}
