#include "skrel_console/distortion/qwent/audioenginefx/kvskreldistortionfx.h"

QwResult KvSkrelDistortionFX::Init(QwPluginMemAlloc* in_pAllocator, QwEffectContext* in_pContext,
                                   QwPluginParam* in_pParams, QwFormat& io_format)
{
    BeginInit(in_pAllocator, in_pParams, io_format, false);
    Params().SetAllDirty();
    return BuildImpl(in_pContext, static_cast<float>(io_format.uSampleRate),
                     QwChannelCount(io_format.uChannelConfig), false);
}

void KvSkrelDistortionFX::Execute(QwAudioBuffer* io_pBuffer)
{
    KvSkrelDistortionFXParams& params = Params();
    // Gains first, so that a new algorithm derives its drive and wet gain from the values just set.
    if (params.m_bGainsChanged) {
        for (uint32_t s = 0; s < KvSkrel::NUM_DISTORTION_SLOTS; ++s) {
            const KvSkrelDistortionFXParams::Slot& slot = params.m_aSlots[s];
            const uint32_t uBase = 1 + s * SkrelDistImpl::PARAMS_PER_SLOT;
            m_pImpl->SetFloatParameter(uBase + 0, slot.fInputGainDb);
            m_pImpl->SetFloatParameter(uBase + 1, slot.fDrive);
            m_pImpl->SetFloatParameter(uBase + 2, slot.fCharacter);
            m_pImpl->SetFloatParameter(uBase + 3, slot.fMix);
            m_pImpl->SetFloatParameter(uBase + 4, slot.fOutputGainDb);
        }
        if (IsOutOfMemory())
            return;
        params.m_bGainsChanged = 0;
    }
    if (params.m_bAlgorithmsChanged) {
        m_pImpl->SetUIntParameter(SkrelDistImpl::PARAM_ALGORITHM, params.m_aSlots[0].uAlgorithm);
        m_pImpl->SetUIntParameter(SkrelDistImpl::PARAM_ALGORITHM + SkrelDistImpl::PARAMS_PER_SLOT,
                                  params.m_aSlots[1].uAlgorithm);
        if (IsOutOfMemory())
            return;
        params.m_bAlgorithmsChanged = 0;
    }
    // The channel count is at most 255, so the pointers fit on the stack.
    float* apChannels[256];
    const uint32_t uChannels = m_pImpl->NumChannels();
    for (uint32_t i = 0; i < uChannels; ++i)
        apChannels[i] = io_pBuffer->GetChannel(i);
    // A buffer with fewer channels than the format has been reported above; run nothing past it.
    if (uChannels > io_pBuffer->NumChannels())
        return;
    m_pImpl->Process(io_pBuffer->uValidFrames, apChannels);
}

QwPluginRegistration* KvSkrelDistortionRegistration()
{
    static QwPluginRegistration s_record = {nullptr,
                                            QW_PLUGIN_TYPE_EFFECT,
                                            QW_COMPANY_ID,
                                            KvSkrelDistortionFX::PLUGIN_ID,
                                            &KvSkrelDistortionFX::Create,
                                            &KvSkrelDistortionFXParams::Create,
                                            {}};
    return &s_record;
}
