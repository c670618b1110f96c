#include "skrel_console/dynamics/qwent/audioenginefx/kvskreldynamicsfx.h"

QwResult KvSkrelDynamicsFX::Init(QwPluginMemAlloc* in_pAllocator, QwEffectContext* in_pContext,
                                 QwPluginParam* in_pParams, QwFormat& io_format)
{
    const QwResult eResult = BeginInit(in_pAllocator, in_pParams, io_format, false);
    if (eResult != QW_Success)
        return eResult;
    // The first Execute sends every value, whatever the parameter object went through before.
    ParamsAs<KvSkrelDynamicsFXParams>().SetAllDirty();
    return BuildImpl(in_pContext, static_cast<float>(m_format.uSampleRate),
                     QwChannelCount(m_format.uChannelConfig), false);
}

void KvSkrelDynamicsFX::SendParams(const KvSkrelDynamicsFXParams& in_params)
{
    SkrelDynamicsImpl& impl = *m_pImpl;
    impl.SetBoolParam(SkrelDynamicsImpl::ID_BYPASS, in_params.m_uBypass != 0);
    impl.SetFloatParam(SkrelDynamicsImpl::ID_COMP_THRESHOLD, in_params.m_fCompThreshold);
    impl.SetFloatParam(SkrelDynamicsImpl::ID_COMP_RATIO, in_params.m_fCompRatio);
    impl.SetFloatParam(SkrelDynamicsImpl::ID_COMP_ATTACK, in_params.m_fCompAttack);
    impl.SetFloatParam(SkrelDynamicsImpl::ID_COMP_RELEASE, in_params.m_fCompRelease);
    impl.SetFloatParam(SkrelDynamicsImpl::ID_EXP_THRESHOLD, in_params.m_fExpThreshold);
    impl.SetFloatParam(SkrelDynamicsImpl::ID_EXP_RATIO, in_params.m_fExpRatio);
    impl.SetFloatParam(SkrelDynamicsImpl::ID_EXP_ATTACK, in_params.m_fExpAttack);
    impl.SetFloatParam(SkrelDynamicsImpl::ID_EXP_RELEASE, in_params.m_fExpRelease);
    impl.SetFloatParam(SkrelDynamicsImpl::ID_OUTPUT_GAIN, in_params.m_fOutputGain);
}

void KvSkrelDynamicsFX::Execute(QwAudioBuffer* io_pBuffer)
{
    KvSkrelDynamicsFXParams& params = ParamsAs<KvSkrelDynamicsFXParams>();
    if (!ApplyDirtyGroup(params.m_bParamsDirty, [&] { SendParams(params); }))
        return;
    params.m_bAlgorithmDirty = 0;

    float* apChannels[QW_MAX_CHANNELS];
    if (QwGatherChannels(*io_pBuffer, apChannels, m_pImpl->NumChannels()) != m_pImpl->NumChannels())
        return;
    m_pImpl->Process(io_pBuffer->uValidFrames, apChannels);
}

QwPluginRegistration* KvSkrelDynamicsRegistration()
{
    static QwPluginRegistration s_record = {nullptr,
                                            QW_PLUGIN_TYPE_EFFECT,
                                            QW_COMPANY_ID,
                                            KvSkrelDynamicsFX::PLUGIN_ID,
                                            &KvSkrelDynamicsFX::Create,
                                            &KvSkrelDynamicsFXParams::Create,
                                            {}};
    return &s_record;
}
