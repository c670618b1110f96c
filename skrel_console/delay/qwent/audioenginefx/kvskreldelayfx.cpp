#include "skrel_console/delay/qwent/audioenginefx/kvskreldelayfx.h"

QwResult KvSkrelDelayFX::Init(QwPluginMemAlloc* in_pAllocator, QwEffectContext* in_pContext,
                              QwPluginParam* in_pParams, QwFormat& io_format)
{
    const QwResult eResult = BeginInit(in_pAllocator, in_pParams, io_format, false);
    if (eResult != QW_Success)
        return eResult;
    // The first Execute sends every value, so the engines' own defaults never sound.
    ParamsAs<KvSkrelDelayFXParams>().SetAllDirty();
    const QwResult eBuild = BuildImpl(in_pContext, m_format.uSampleRate, QwChannelCount(m_format.uChannelConfig), false);
    if (eBuild != QW_Success)
        return eBuild;
    m_uTailFrames = m_pImpl->GetTailFrames();
    return QW_Success;
}

void KvSkrelDelayFX::SendFloats(const KvSkrelDelayFXParams& in_params)
{
    m_pImpl->SetBoolParam(0, false);
    for (uint32_t uId = 0; uId < KvSkrelDelayFXParams::NUM_FLOAT_PARAMS; ++uId)
        m_pImpl->SetFloatParam(uId + 1, in_params.GetFloat(uId));
}

void KvSkrelDelayFX::Execute(QwAudioBuffer* io_pBuffer)
{
    // The tail is taken from the engine before this block's values reach it.
    m_uTailFrames = m_pImpl->GetTailFrames();
    m_tail.HandleTail(*io_pBuffer, m_uTailFrames);

    KvSkrelDelayFXParams& params = ParamsAs<KvSkrelDelayFXParams>();
    if (!ApplyDirtyGroup(params.m_bFloatsDirty, [&] { SendFloats(params); }))
        return;
    // After the floats, so that the mode's curves come from this block's amount.
    if (params.m_bModeDirty) {
        m_pImpl->SetIntParam(SkrelDelayImpl::INT_PARAM_MODE, params.m_uMode);
        params.m_bModeDirty = 0;
    }

    float* apChannels[QW_MAX_CHANNELS];
    if (QwGatherChannels(*io_pBuffer, apChannels, m_pImpl->NumChannels()) != m_pImpl->NumChannels())
        return;
    m_pImpl->ProcessDeinterleaved(io_pBuffer->uValidFrames, apChannels);
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
