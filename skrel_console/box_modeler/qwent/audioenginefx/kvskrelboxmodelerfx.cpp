#include "skrel_console/box_modeler/qwent/audioenginefx/kvskrelboxmodelerfx.h"
#include <new>

namespace {

// The surround layouts hand the engine their channels in another order than the block's.
const uint8_t ORDER_STEREO[] = {0, 1};
const uint8_t ORDER_MONO[] = {0};
const uint8_t ORDER_4_0[] = {0, 1, 2, 3};
const uint8_t ORDER_5_0[] = {0, 1, 3, 4, 2};
const uint8_t ORDER_5_1[] = {0, 1, 3, 4, 2, 5};
const uint8_t ORDER_7_1[] = {0, 1, 2, 5, 6, 3, 4, 7};

} // namespace

const uint8_t* KvSkrelBoxModelerFX::ChannelOrder(uint32_t in_uMask, uint32_t& out_uChannels)
{
    switch (in_uMask) {
    case QW_MASK_STEREO: out_uChannels = 2; return ORDER_STEREO;
    case QW_MASK_MONO: out_uChannels = 1; return ORDER_MONO;
    case QW_MASK_4_0: out_uChannels = 4; return ORDER_4_0;
    case QW_MASK_5_0: out_uChannels = 5; return ORDER_5_0;
    case QW_MASK_5_1: out_uChannels = 6; return ORDER_5_1;
    case QW_MASK_7_1: out_uChannels = 8; return ORDER_7_1;
    default: out_uChannels = 0; return nullptr;
    }
}

QwResult KvSkrelBoxModelerFX::Init(QwPluginMemAlloc* in_pAllocator, QwEffectContext* in_pContext,
                                   QwPluginParam* in_pParams, QwFormat& io_format)
{
    // The six layouts of the channel order table are exactly the ones the frame's filter knows.
    QwResult eResult = BeginInit(in_pAllocator, in_pParams, io_format, true);
    if (eResult != QW_Success)
        return eResult;
    KvSkrelBoxModelerFXParams& params = ParamsAs<KvSkrelBoxModelerFXParams>();
    params.SetAllDirty();
    BindAllocator(m_pAllocator, 0, 0);

    const uint32_t uChannels = QwChannelCount(m_format.uChannelConfig);
    const uint32_t uHostMaxFrames = in_pContext->GetGlobalContext()->GetMaxFramesPerBlock();
    eResult = m_mmb.Init(m_pAllocator, uHostMaxFrames, uChannels);
    if (eResult != QW_Success)
        return eResult;

    // The implementation runs on the adapter's process block, not on the host's, so it is
    // built here rather than through BuildImpl.
    void* pMemory = m_pAllocator->Malloc(sizeof(SkrelBoxModelerImpl), __FILE__, __LINE__);
    if (pMemory)
        m_pImpl = new (pMemory) SkrelBoxModelerImpl(static_cast<float>(m_format.uSampleRate), uChannels,
                                                    m_mmb.ProcessBlockFrames(), "", false);
    if (!pMemory || IsOutOfMemory())
        return QW_OutOfMemory;

    const uint8_t* pMedia = nullptr;
    uint32_t uMediaSize = 0;
    eResult = FetchMedia(in_pContext, pMedia, uMediaSize);
    if (eResult != QW_Success)
        return eResult;
    if (!m_pImpl->SetMedia(uMediaSize, pMedia))
        return QW_OutOfMemory;
    if (!m_pImpl->SetIntParam(SkrelBoxModelerImpl::INT_MODEL, params.m_uModel))
        return QW_OutOfMemory;
    if (!m_pImpl->SetIntParam(SkrelBoxModelerImpl::INT_MODE, params.m_uMode))
        return QW_OutOfMemory;
    return QW_Success;
}

void KvSkrelBoxModelerFX::Execute(QwAudioBuffer* io_pBuffer)
{
    if (!m_pImpl)
        return;
    if (!m_mmb.HasRing()) {
        m_tail.HandleTail(*io_pBuffer, m_pImpl->GetTailFrames());
        ProcessStep(*io_pBuffer);
        return;
    }
    m_mmb.Run(
        *io_pBuffer, m_tail, [this] { return m_pImpl->GetTailFrames(); },
        [this](QwAudioBuffer& io_block) { ProcessStep(io_block); });
}

void KvSkrelBoxModelerFX::SendFloats(const KvSkrelBoxModelerFXParams& in_params)
{
    SkrelBoxModelerImpl& impl = *m_pImpl;
    impl.SetFloatParam(KvSkrelBoxModelerFXParams::ID_INPUT_GAIN, in_params.m_fInputGain);
    impl.SetFloatParam(KvSkrelBoxModelerFXParams::ID_OUTPUT_GAIN, in_params.m_fOutputGain);
    impl.SetFloatParam(KvSkrelBoxModelerFXParams::ID_WET, in_params.m_fWetLevel);
    impl.SetFloatParam(KvSkrelBoxModelerFXParams::ID_TRIM_LEVEL, in_params.m_fTrimLevel);
    impl.SetFloatParam(KvSkrelBoxModelerFXParams::ID_LENGTH_FRACTION, in_params.m_fLengthFraction);
}

void KvSkrelBoxModelerFX::ProcessStep(QwAudioBuffer& io_block)
{
    KvSkrelBoxModelerFXParams& params = ParamsAs<KvSkrelBoxModelerFXParams>();
    if (!ApplyDirtyGroup(params.m_bFloatsDirty, [&] { SendFloats(params); }))
        return;
    // Deliberate: a model or mode written after Init is dropped, only the flag is cleared.
    params.m_bIntsDirty = 0;

    SkrelBoxModelerImpl& impl = *m_pImpl;
    uint32_t uOrderChannels = 0;
    const uint8_t* pOrder = ChannelOrder(QwSpeakerMask(io_block.uChannelConfig), uOrderChannels);
    // A layout the effect refuses, or one with fewer channels than the engine was built
    // for, leaves the block untouched.
    if (!pOrder || uOrderChannels < impl.NumChannels())
        return;
    float* apChannels[BoxModelerDsp::MAX_CHANNELS];
    for (uint32_t n = 0; n < uOrderChannels; ++n)
        apChannels[n] = io_block.GetChannel(pOrder[n]);
    impl.Process(io_block.uValidFrames, apChannels);
}

QwResult KvSkrelBoxModelerFX::Reset()
{
    m_mmb.ResetIndices();
    if (m_pImpl)
        m_pImpl->Reset();
    return QW_Success;
}

QwResult KvSkrelBoxModelerFX::Term(QwPluginMemAlloc* in_pAllocator)
{
    m_mmb.Term(in_pAllocator);
    return QwEffectFrame<SkrelBoxModelerImpl>::Term(in_pAllocator);
}

QwPluginRegistration* KvSkrelBoxModelerRegistration()
{
    static QwPluginRegistration s_record = {nullptr,
                                            QW_PLUGIN_TYPE_EFFECT,
                                            QW_COMPANY_ID,
                                            KvSkrelBoxModelerFX::PLUGIN_ID,
                                            &KvSkrelBoxModelerFX::Create,
                                            &KvSkrelBoxModelerFXParams::Create,
                                            {}};
    return &s_record;
}
