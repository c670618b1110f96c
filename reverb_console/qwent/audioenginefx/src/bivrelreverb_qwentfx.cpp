#include "reverb_console/qwent/audioenginefx/src/bivrelreverb_qwentfx.h"
#include <cmath>

namespace {
float DbToLinear(float in_fDb)
{
    return std::exp(in_fDb * 0.115129255f);
}

// A model record's values are outside bytes: a tail beyond 32 bits is as long as the count can
// hold, short of the handler's "not started" mark; NaN and negative give none.
uint32_t TailFramesFrom(float in_fFrames)
{
    if (!(in_fFrames > 0.0f))
        return 0;
    if (in_fFrames >= 4294967040.0f)
        return 0xFFFFFFFEu;
    return static_cast<uint32_t>(in_fFrames);
}
} // namespace

QwResult BivrelReverbFX::Init(QwPluginMemAlloc* in_pAllocator, QwEffectContext* in_pContext,
                              QwPluginParam* in_pParams, QwFormat& io_format)
{
    QwResult eResult = BeginInit(in_pAllocator, in_pParams, io_format, true);
    if (eResult != QW_Success)
        return eResult;
    BivrelReverbFXParams& params = Params();
    const uint32_t uOrder = params.m_uOrder == 16 ? 16 : 8;
    const uint32_t uChannels = QwChannelCount(io_format.uChannelConfig);
    eResult = BuildImpl(in_pContext, io_format.uSampleRate, uChannels, uOrder, 0u, 0u);
    if (eResult != QW_Success)
        return eResult;

    const uint8_t* pMedia = nullptr;
    uint32_t uMediaSize = 0;
    eResult = FetchMedia(in_pContext, pMedia, uMediaSize);
    if (eResult != QW_Success)
        return eResult;
    if (!m_pImpl->LoadModel(uMediaSize, pMedia))
        return QW_OutOfMemory;

    m_pImpl->SetPreDelay(KvModeledReverbImpl::FRONT_SPEAKER_STEREO_PAIR, params.fFrontPreDelay);
    if (uChannels > 2)
        m_pImpl->SetPreDelay(KvModeledReverbImpl::REAR_SPEAKER_STEREO_PAIR, params.fRearPreDelay);

    // The model overrides whatever the block said for the six network values.
    const float afModel[6] = {m_pImpl->GetDecayTime(),     m_pImpl->GetLowCrossover(),
                              m_pImpl->GetHighCrossover(), m_pImpl->GetLowMultiplier(),
                              m_pImpl->GetMidMultiplier(), m_pImpl->GetHighMultiplier()};
    for (uint16_t i = 0; i < 6; ++i)
        params.SetParam(i, &afModel[i], sizeof(float));

    // Time to fall 120 dB, in single precision; not recomputed on later changes.
    float fLargest = params.fLowMultiplier;
    if (params.fMidMultiplier > fLargest)
        fLargest = params.fMidMultiplier;
    if (params.fHighMultiplier > fLargest)
        fLargest = params.fHighMultiplier;
    m_uTailFrames = TailFramesFrom(static_cast<float>(io_format.uSampleRate) * params.fDecayTime * 8.0f * fLargest);
    return QW_Success;
}

void BivrelReverbFX::ApplyRealTime(uint32_t in_uChannels)
{
    BivrelReverbFXParams& params = Params();
    m_pImpl->SetEarlyGain(DbToLinear(params.fEarlyGain));
    m_pImpl->SetLateGain(DbToLinear(params.fLateGain));
    m_pImpl->SetPreDelay(KvModeledReverbImpl::FRONT_SPEAKER_STEREO_PAIR, params.fFrontPreDelay);
    m_pImpl->SetWetOut(KvModeledReverbImpl::FRONT_SPEAKER_STEREO_PAIR, params.fFrontWetOut);
    m_pImpl->SetDryOut(KvModeledReverbImpl::FRONT_SPEAKER_STEREO_PAIR, params.fFrontDryOut);
    if (in_uChannels > 2) {
        m_pImpl->SetPreDelay(KvModeledReverbImpl::REAR_SPEAKER_STEREO_PAIR, params.fRearPreDelay);
        m_pImpl->SetWetOut(KvModeledReverbImpl::REAR_SPEAKER_STEREO_PAIR, params.fRearWetOut);
        m_pImpl->SetDryOut(KvModeledReverbImpl::REAR_SPEAKER_STEREO_PAIR, params.fRearDryOut);
    }
    params.m_bRtDirty = 0;
}

void BivrelReverbFX::ApplyModel()
{
    BivrelReverbFXParams& params = Params();
    // Decay time last: each setter redesigns the band filters.
    m_pImpl->SetLowCrossover(params.fLowCrossover);
    m_pImpl->SetHighCrossover(params.fHighCrossover);
    m_pImpl->SetLowMultiplier(params.fLowMultiplier);
    m_pImpl->SetMidMultiplier(params.fMidMultiplier);
    m_pImpl->SetHighMultiplier(params.fHighMultiplier);
    m_pImpl->SetDecayTime(params.fDecayTime);
    params.m_bModelDirty = 0;
}

bool BivrelReverbFX::SlotMap(uint32_t in_uMask, int32_t out_aiSlots[KvModeledReverbImpl::NUM_SLOTS])
{
    static const int32_t s_aaMaps[6][KvModeledReverbImpl::NUM_SLOTS] = {
        {0, -1, -1, -1, -1, -1, -1, -1}, // mono
        {0, 1, -1, -1, -1, -1, -1, -1},  // stereo
        {0, 1, 2, 3, -1, -1, -1, -1},    // 4.0
        {0, 1, 3, 4, 2, -1, -1, -1},     // 5.0
        {0, 1, 3, 4, 2, 5, -1, -1},      // 5.1
        {0, 1, 5, 6, 2, 7, 3, 4},        // 7.1: side pair to slots 2, 3, back pair to 6, 7
    };
    int32_t iLayout = -1;
    switch (in_uMask) {
    case QW_MASK_MONO: iLayout = 0; break;
    case QW_MASK_STEREO: iLayout = 1; break;
    case QW_MASK_4_0: iLayout = 2; break;
    case QW_MASK_5_0: iLayout = 3; break;
    case QW_MASK_5_1: iLayout = 4; break;
    case QW_MASK_7_1: iLayout = 5; break;
    default: return false;
    }
    for (uint32_t s = 0; s < KvModeledReverbImpl::NUM_SLOTS; ++s)
        out_aiSlots[s] = s_aaMaps[iLayout][s];
    return true;
}

void BivrelReverbFX::Execute(QwAudioBuffer* io_pBuffer)
{
    m_tail.HandleTail(*io_pBuffer, m_uTailFrames);
    const uint32_t uChannels = io_pBuffer->NumChannels();
    if (Params().m_bRtDirty)
        ApplyRealTime(uChannels);
    if (Params().m_bModelDirty)
        ApplyModel();

    int32_t aiSlots[KvModeledReverbImpl::NUM_SLOTS];
    if (!SlotMap(QwSpeakerMask(io_pBuffer->uChannelConfig), aiSlots))
        return;
    float* apSlots[KvModeledReverbImpl::NUM_SLOTS];
    for (uint32_t s = 0; s < KvModeledReverbImpl::NUM_SLOTS; ++s)
        apSlots[s] = aiSlots[s] < 0 ? nullptr : io_pBuffer->GetChannel(static_cast<uint32_t>(aiSlots[s]));
    m_pImpl->Process(io_pBuffer->uValidFrames, apSlots);
}

QwPluginRegistration* BivrelReverbRegistration()
{
    static QwPluginRegistration s_record = {
        nullptr, QW_PLUGIN_TYPE_EFFECT, QW_COMPANY_ID, 2, &BivrelReverbFX::Create, &BivrelReverbFXParams::Create, {}};
    return &s_record;
}
