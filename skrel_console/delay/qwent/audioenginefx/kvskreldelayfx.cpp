#include "skrel_console/delay/qwent/audioenginefx/kvskreldelayfx.h"
#include "kvbase/common/common_allocator.h"

namespace {

// The channel count is eight bits wide.
const uint32_t MAX_CHANNELS = 256;

} // namespace

QwResult KvSkrelDelayFX::Init(QwPluginMemAlloc* in_pAllocator, QwEffectContext* in_pContext,
                              QwPluginParam* in_pParams, QwFormat& io_format)
{
    const QwResult eResult = BeginInit(in_pAllocator, in_pParams, io_format, false);
    if (eResult != QW_Success)
        return eResult;
    // The first Execute pushes every value, so the engines' own defaults never sound.
    static_cast<KvSkrelDelayFXParams*>(m_pParams)->SetAllDirty();
    const QwResult eBuild = BuildImpl(in_pContext, io_format.uSampleRate, QwChannelCount(io_format.uChannelConfig), false);
    if (eBuild != QW_Success)
        return eBuild;
    m_uTailFrames = m_pImpl->GetTailFrames();
    return QW_Success;
}

void KvSkrelDelayFX::Execute(QwAudioBuffer* io_pBuffer)
{
    SkrelDelayImpl* pImpl = m_pImpl;
    if (!pImpl)
        return;
    // The tail is taken before this block's values are applied.
    m_uTailFrames = pImpl->GetTailFrames();
    m_tail.HandleTail(*io_pBuffer, m_uTailFrames);

    KvSkrelDelayFXParams* pParams = static_cast<KvSkrelDelayFXParams*>(m_pParams);
    if (pParams->m_bFloatsDirty) {
        pImpl->SetBoolParam(0, false);
        for (uint32_t uId = 0; uId < KvSkrelDelayFXParams::NUM_FLOAT_PARAMS; ++uId)
            pImpl->SetFloatParam(uId + 1, pParams->GetFloat(uId));
        if (IsOutOfMemory())
            return;
        pParams->m_bFloatsDirty = 0;
    }
    // After the floats, so that the mode's curves come from this block's amount.
    if (pParams->m_bModeDirty) {
        pImpl->SetIntParam(SkrelDelayImpl::INT_PARAM_MODE, pParams->m_uMode);
        pParams->m_bModeDirty = 0;
    }

    // The channel count is at most 255, so the pointers fit on the stack.
    float* apChannels[MAX_CHANNELS];
    const uint32_t uChannels = pImpl->NumChannels();
    for (uint32_t i = 0; i < uChannels; ++i)
        apChannels[i] = io_pBuffer->GetChannel(i);
    // A buffer with fewer channels than the format has been reported above; run nothing past it.
    if (uChannels > io_pBuffer->NumChannels())
        return;
    pImpl->ProcessDeinterleaved(io_pBuffer->uValidFrames, apChannels);
}

QwPluginRegistration* KvSkrelDelayRegistration()
{
    static QwPluginRegistration s_record = {nullptr,
                                            QW_PLUGIN_TYPE_EFFECT,
                                            QW_COMPANY_ID,
                                            KvSkrelDelayFX::PLUGIN_ID,
                                            &KvSkrelDelayFX::Create,
                                            &KvSkrelDelayFXParams::Create,
                                            {}};
    return &s_record;
}
