#include "skrel_console/filter/qwent/audioenginefx/kvskrelfiltersfx.h"
#include "kvbase/common/common_allocator.h"

QwResult KvSkrelFiltersFX::Init(QwPluginMemAlloc* in_pAllocator, QwEffectContext* in_pContext,
                                QwPluginParam* in_pParams, QwFormat& io_format)
{
    const QwResult eBegin = BeginInit(in_pAllocator, in_pParams, io_format, false);
    if (eBegin != QW_Success)
        return eBegin;
    ParamsAs<KvSkrelFiltersFXParams>().m_bIntsDirty = 1;
    const QwResult eBuild = BuildImpl(in_pContext, static_cast<float>(m_format.uSampleRate),
                                      QwChannelCount(m_format.uChannelConfig), false);
    if (eBuild != QW_Success)
        return eBuild;
    // The flag stays set: the first block pushes the integers once more.
    return PushInts() ? QW_Success : QW_OutOfMemory;
}

bool KvSkrelFiltersFX::PushInts()
{
    const KvSkrelFiltersFXParams& params = ParamsAs<KvSkrelFiltersFXParams>();
    bool bResult = true;
    for (uint32_t i = 0; i < KvSkrelFiltersFXParams::NUM_INTS; ++i) {
        const bool bOk = m_pImpl->SetIntParam(KvSkrelFiltersFXParams::IntId(i), params.m_auInts[i]);
        bResult = bResult && bOk;
    }
    return bResult;
}

void KvSkrelFiltersFX::Execute(QwAudioBuffer* io_pBuffer)
{
    if (!m_pImpl)
        return;
    KvSkrelFiltersFXParams& params = ParamsAs<KvSkrelFiltersFXParams>();
    // Floats first: a filter whose type changes in this block copies the new settings.
    // A refused integer (a type of 37, a mode of 3) leaves the old value in place; only a
    // failed allocation keeps a flag set and skips the block.
    if (!ApplyDirtyGroup(params.m_bFloatsDirty, [&] {
            for (uint32_t i = 0; i < KvSkrelFiltersFXParams::NUM_FLOATS; ++i)
                m_pImpl->SetFloatParam(KvSkrelFiltersFXParams::FloatId(i), params.m_afFloats[i]);
        }))
        return;
    if (!ApplyDirtyGroup(params.m_bIntsDirty, [&] { PushInts(); }))
        return;
    float* apChannels[QW_MAX_CHANNELS];
    QwGatherChannels(*io_pBuffer, apChannels, m_pImpl->NumChannels());
    // A buffer with fewer channels than the format has been reported by GetChannel; run nothing past it.
    if (m_pImpl->NumChannels() > io_pBuffer->NumChannels())
        return;
    m_pImpl->ProcessDeinterleaved(io_pBuffer->uValidFrames, apChannels);
}

QwPluginRegistration* KvSkrelFiltersRegistration()
{
    static QwPluginRegistration s_record = {nullptr,
                                            QW_PLUGIN_TYPE_EFFECT,
                                            QW_COMPANY_ID,
                                            KvSkrelFiltersFX::PLUGIN_ID,
                                            &KvSkrelFiltersFX::Create,
                                            &KvSkrelFiltersFXParams::Create,
                                            {}};
    return &s_record;
}
