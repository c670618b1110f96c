#include "skrel_console/mbdistortion/qwent/audioenginefx/kvskrelmultibanddistortionfx.h"

QwResult KvSkrelMultibandDistortionFX::Init(QwPluginMemAlloc* in_pAllocator, QwEffectContext* in_pContext,
                                            QwPluginParam* in_pParams, QwFormat& io_format)
{
    BeginInit(in_pAllocator, in_pParams, io_format, false);
    Params().SetAllDirty();
    return BuildImpl(in_pContext, static_cast<float>(io_format.uSampleRate),
                     QwChannelCount(io_format.uChannelConfig), false);
}

void KvSkrelMultibandDistortionFX::Execute(QwAudioBuffer* io_pBuffer)
{
    typedef KvSkrelMultibandDistortionFXParams P;
    P& params = Params();
    if (params.m_bFloatsChanged) {
        for (uint32_t g = 0; g < P::NUM_GROUPS; ++g) {
            const P::Group& group = params.m_aGroups[g];
            const uint32_t uBase = g * P::PARAMS_PER_GROUP;
            m_pImpl->SetFloatParameter(uBase + 0, group.fInputGainDb);
            m_pImpl->SetFloatParameter(uBase + 1, group.fDrive);
            m_pImpl->SetFloatParameter(uBase + 2, group.fCharacter);
            m_pImpl->SetFloatParameter(uBase + 3, group.fMix);
            m_pImpl->SetFloatParameter(uBase + 4, group.fOutputGainDb);
        }
        m_pImpl->SetFloatParameter(P::CUTOFF_0, params.m_afCutoffs[0]);
        m_pImpl->SetFloatParameter(P::CUTOFF_1, params.m_afCutoffs[1]);
        if (IsOutOfMemory())
            return;
        params.m_bFloatsChanged = 0;
    }
    if (params.m_bAlgorithmsChanged) {
        for (uint32_t g = 0; g < P::NUM_GROUPS; ++g)
            m_pImpl->SetUIntParameter(g * P::PARAMS_PER_GROUP + SkrelMultibandDistImpl::ALGORITHM_OFFSET,
                                      params.m_aGroups[g].uAlgorithm);
        if (IsOutOfMemory())
            return;
        params.m_bAlgorithmsChanged = 0;
    }
    // The channel count is at most 255, so the pointers fit on the stack.
    float* apChannels[256];
    const uint32_t uChannels = m_pImpl->NumChannels();
    for (uint32_t i = 0; i < uChannels; ++i)
        apChannels[i] = io_pBuffer->GetChannel(i);
    if (uChannels > io_pBuffer->NumChannels())
        return;
    m_pImpl->Process(io_pBuffer->uValidFrames, apChannels);
}

QwPluginRegistration* KvSkrelMultibandDistortionRegistration()
{
    static QwPluginRegistration s_record = {nullptr,
                                            QW_PLUGIN_TYPE_EFFECT,
                                            QW_COMPANY_ID,
                                            KvSkrelMultibandDistortionFX::PLUGIN_ID,
                                            &KvSkrelMultibandDistortionFX::Create,
                                            &KvSkrelMultibandDistortionFXParams::Create,
                                            {}};
    return &s_record;
}
