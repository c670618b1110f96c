// The whole lifecycle of the shared frame, driven through a small effect that exists only here.
#include <gtest/gtest.h>
#include <vector>
#include "host/qweffectframe.h"
#include "host/qwparamsframe.h"
#include "kvbase/common/common_vector.h"
#include "support/testhost.h"

namespace {

// Parameters: 0 bypass (u32), 1 gain in dB (f32), 2 tail in frames (u32). Block of 12 bytes.
class TestGainFXParams : public QwParamsFrame<TestGainFXParams>
{
public:
    QwResult SetParam(uint16_t in_uParamId, const void* in_pValue, uint32_t) override
    {
        switch (in_uParamId) {
        case 0: QwStoreRaw(m_uBypass, in_pValue); return QW_Success;
        case 1: QwStoreRaw(m_fGainDb, in_pValue); return QW_Success;
        case 2: QwStoreRaw(m_uTailFrames, in_pValue); return QW_Success;
        default: return QW_UnknownParam;
        }
    }
    void SetDefaults()
    {
        m_uBypass = 0;
        m_fGainDb = 0.0f;
        m_uTailFrames = 0;
    }
    void ReadBlock(QwParamBlockReader& io_reader)
    {
        m_uBypass = io_reader.ReadU32();
        m_fGainDb = io_reader.ReadF32();
        m_uTailFrames = io_reader.ReadU32();
    }
    void SetAllDirty() { m_bRtDirty = m_bTailDirty = 1; }

    uint32_t m_uBypass;
    float m_fGainDb;
    uint32_t m_uTailFrames;
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
        QwResult eResult = BeginInit(in_pAllocator, in_pParams, io_format, m_bFilterLayout);
        if (eResult != QW_Success)
            return eResult;
        Params().SetAllDirty();
        eResult = BuildImpl(in_pContext, QwChannelCount(io_format.uChannelConfig));
        if (eResult != QW_Success)
            return eResult;
        m_uTailFrames = Params().m_uTailFrames;
        return QW_Success;
    }
    void Execute(QwAudioBuffer* io_pBuffer) override
    {
        m_tail.HandleTail(*io_pBuffer, m_uTailFrames);
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

// Clone copies the values and sets every flag; the block is read little-endian; an empty one
// installs the defaults. Unknown ids and misfit block sizes are checked for every effect.
TEST(QwEffectFrame, ParameterObject)
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

    // Bypass 1, -6 dB (0xC0C00000), a tail of 480 (0x1E0), little-endian by hand.
    const uint8_t aBlock[12] = {1, 0, 0, 0, 0, 0, 0xC0, 0xC0, 0xE0, 0x01, 0, 0};
    EXPECT_EQ(fx.pParams->Init(&host.allocator, aBlock, 12), QW_Success);
    EXPECT_EQ(fx.pParams->m_uBypass, 1u);
    EXPECT_EQ(fx.pParams->m_fGainDb, -6.0f);
    EXPECT_EQ(fx.pParams->m_uTailFrames, 480u);
    EXPECT_EQ(host.asserts.Total(), 0u);
    EXPECT_EQ(fx.pParams->Init(&host.allocator, nullptr, 0), QW_Success);
    EXPECT_EQ(fx.pParams->m_uTailFrames, 0u);
    EXPECT_EQ(fx.pParams->m_fGainDb, 0.0f);
}

// A short block runs the whole block through the DSP and copies back only the valid frames;
// after the input ends the tail rings on in padded silence.
TEST(QwEffectFrame, ShortBlocksAndTheTail)
{
    TestHost host;
    Instance fx(host);
    const uint32_t uTail = 100;
    fx.pParams->SetParam(2, &uTail, 4);
    ASSERT_EQ(fx.Init(), QW_Success);
    std::vector<float> data(128, 2.0f);
    QwAudioBuffer buffer{data.data(), fx.format.uChannelConfig, QW_Success, 64, 10};
    fx.pEffect->Execute(&buffer);
    EXPECT_EQ(fx.pEffect->GetImpl()->m_uFramesRun, 128u);
    EXPECT_FLOAT_EQ(data[64 + 9], 2.25f);
    EXPECT_EQ(data[64 + 10], 2.0f);
    EXPECT_EQ(buffer.uValidFrames, 10);
    std::fill(data.begin(), data.end(), 1.0f);
    buffer.uValidFrames = 30;
    buffer.eState = QW_InputEnded;
    fx.pEffect->Execute(&buffer);
    EXPECT_EQ(buffer.uValidFrames, 64);
    EXPECT_EQ(buffer.eState, static_cast<uint32_t>(QW_DataReady)); // 100 - 34 = 66 left
    EXPECT_FLOAT_EQ(data[40], 0.25f); // padded silence ran through the DSP
    for (uint32_t eAfter : {QW_DataReady, QW_InputEnded}) { // 2 left, then none
        buffer.uValidFrames = 0;
        buffer.eState = QW_InputEnded;
        fx.pEffect->Execute(&buffer);
        EXPECT_EQ(buffer.eState, eAfter);
    }
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
