#include "skrel_console/distortion/qwent/audioenginefx/kvskreldistortionfx.h"

QwResult KvSkrelDistortionFX::Init(QwPluginMemAlloc* in_pAllocator, QwEffectContext* in_pContext,
                                   QwPluginParam* in_pParams, QwFormat& io_format)
{
    BeginInit(in_pAllocator, in_pParams, io_format, false);
    ParamsAs<KvSkrelDistortionFXParams>().SetAllDirty();
    return BuildImpl(in_pContext, static_cast<float>(io_format.uSampleRate),
                     QwChannelCount(io_format.uChannelConfig), false);
}

void KvSkrelDistortionFX::SendGains(const KvSkrelDistortionFXParams& in_params)
{
    for (uint32_t s = 0; s < KvSkrel::NUM_DISTORTION_SLOTS; ++s) {
        const KvSkrelDistortionFXParams::Slot& slot = in_params.m_aSlots[s];
        const uint32_t uBase = s * SkrelDistImpl::PARAMS_PER_SLOT;
        m_pImpl->SetFloatParameter(uBase + SkrelDistImpl::PARAM_INPUT_GAIN, slot.fInputGainDb);
        m_pImpl->SetFloatParameter(uBase + SkrelDistImpl::PARAM_DRIVE, slot.fDrive);
        m_pImpl->SetFloatParameter(uBase + SkrelDistImpl::PARAM_CHARACTER, slot.fCharacter);
        m_pImpl->SetFloatParameter(uBase + SkrelDistImpl::PARAM_MIX, slot.fMix);
        m_pImpl->SetFloatParameter(uBase + SkrelDistImpl::PARAM_OUTPUT_GAIN, slot.fOutputGainDb);
    }
}

void KvSkrelDistortionFX::SendAlgorithms(const KvSkrelDistortionFXParams& in_params)
{
    for (uint32_t s = 0; s < KvSkrel::NUM_DISTORTION_SLOTS; ++s)
        m_pImpl->SetUIntParameter(s * SkrelDistImpl::PARAMS_PER_SLOT + SkrelDistImpl::PARAM_ALGORITHM,
                                  in_params.m_aSlots[s].uAlgorithm);
}

void KvSkrelDistortionFX::Execute(QwAudioBuffer* io_pBuffer)
{
    KvSkrelDistortionFXParams& params = ParamsAs<KvSkrelDistortionFXParams>();
    // Gains first, so that a new algorithm derives its drive and wet gain from the values just set.
    if (!ApplyDirtyGroup(params.m_bGainsChanged, [&] { SendGains(params); }))
        return;
    if (!ApplyDirtyGroup(params.m_bAlgorithmsChanged, [&] { SendAlgorithms(params); }))
        return;

    float* apChannels[QW_MAX_CHANNELS];
    // A block with fewer channels than the format is reported while gathering and left alone.
    if (QwGatherChannels(*io_pBuffer, apChannels, m_pImpl->NumChannels()) != m_pImpl->NumChannels())
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
