// A stand-in module for end-to-end tests of qwfx: one effect, plug-in 8 (an id the real
// module leaves unused), whose behaviour is chosen by its 16-byte parameter block:
//   f32 gain, u32 Init result (0 or 1: success), u32 tail frames, u32 flags
//   flags bit 0: media index 0 is required (79 without it)
//   flags bit 1: every Execute reports the assertion "fake effect assertion"
// Output is gain x input; the tail, if any, comes through the shared tail handler.
#include <new>
#include "host/qwassert.h"
#include "host/qwparamsframe.h"
#include "host/qwpluginregistration.h"
#include "host/qwtailhandler.h"

namespace {

struct FakeValues
{
    float fGain = 1.0f;
    uint32_t uInitResult = 1;
    uint32_t uTailFrames = 0;
    uint32_t uFlags = 0;
};

class FakeParams : public QwParamsFrame<FakeParams>
{
public:
    QwResult SetParam(uint16_t in_uId, const void* in_pValue, uint32_t) override
    {
        switch (in_uId) {
        case 0: QwStoreRaw(values.fGain, in_pValue); return QW_Success;
        case 1: QwStoreRaw(values.uInitResult, in_pValue); return QW_Success;
        case 2: QwStoreRaw(values.uTailFrames, in_pValue); return QW_Success;
        case 3: QwStoreRaw(values.uFlags, in_pValue); return QW_Success;
        default: return QW_UnknownParam;
        }
    }
    void SetDefaults() { values = FakeValues(); }
    // All 16 bytes whatever the size, as the real effects read them.
    void ReadBlock(QwParamBlockReader& io_reader)
    {
        values.fGain = io_reader.ReadF32();
        values.uInitResult = io_reader.ReadU32();
        values.uTailFrames = io_reader.ReadU32();
        values.uFlags = io_reader.ReadU32();
    }
    void SetAllDirty() {}
    FakeValues values;
};

class FakeEffect : public QwEffectPlugin
{
public:
    QwResult Term(QwPluginMemAlloc* in_pAllocator) override
    {
        this->~FakeEffect();
        in_pAllocator->Free(this);
        return QW_Success;
    }
    QwResult Reset() override { return QW_Success; }
    QwResult GetPluginInfo(QwPluginMemAlloc*, QwPluginInfo& out_info) override
    {
        out_info = QwPluginInfo{QW_PLUGIN_TYPE_EFFECT, QW_BUILD_VERSION, true};
        return QW_Success;
    }
    QwResult Init(QwPluginMemAlloc*, QwEffectContext* in_pContext, QwPluginParam* in_pParams,
                  QwFormat&) override
    {
        m_values = static_cast<FakeParams*>(in_pParams)->values;
        if (m_values.uInitResult > 1)
            return m_values.uInitResult;
        if (m_values.uFlags & 1u) {
            const uint8_t* pData = nullptr;
            uint32_t uSize = 0;
            in_pContext->GetPluginMedia(0, pData, uSize);
            if (!pData || uSize == 0)
                return QW_MediaMissing;
        }
        return QW_Success;
    }
    void Execute(QwAudioBuffer* io_pBuffer) override
    {
        if (m_values.uTailFrames)
            m_tail.HandleTail(*io_pBuffer, m_values.uTailFrames);
        if (m_values.uFlags & 2u)
            QW_ASSERT_TEXT(false, "fake effect assertion");
        for (uint32_t c = 0; c < io_pBuffer->NumChannels(); ++c) {
            float* pChannel = io_pBuffer->GetChannel(c);
            for (uint32_t i = 0; i < io_pBuffer->uValidFrames; ++i)
                pChannel[i] *= m_values.fGain;
        }
    }
    QwResult TimeSkip(uint32_t) override { return QW_DataReady; }

private:
    FakeValues m_values;
    QwTailHandler m_tail;
};

QwEffectPlugin* CreateFakeEffect(QwPluginMemAlloc* in_pAllocator)
{
    void* pMemory = in_pAllocator->Malloc(sizeof(FakeEffect), nullptr, -1);
    return pMemory ? new (pMemory) FakeEffect() : nullptr;
}

QwPluginRegistration s_record = {nullptr, QW_PLUGIN_TYPE_EFFECT, QW_COMPANY_ID, 8, &CreateFakeEffect,
                                 &FakeParams::Create, {}};

struct Registrar
{
    Registrar() { QwPushRegistration(&s_record); }
};
const Registrar s_registrar;

} // namespace
