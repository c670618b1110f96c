#include "kvreverbconsole/interface/kvmodeledreverbimpl.h"
#include <cmath>
#include <cstring>
#include "host/qwassert.h"
#include "kvbase/common/common_cast.h"
#include "kvbase/ipp/ipp_vector_ref.h"

const float KvModeledReverbImpl::WET_OUT_MIN = -96.3f;
const float KvModeledReverbImpl::WET_OUT_MAX = 24.3f;
const float KvModeledReverbImpl::DRY_OUT_MIN = -96.3f;
const float KvModeledReverbImpl::DRY_OUT_MAX = 24.3f;

namespace {
float DbToLinear(float in_fDb)
{
    return std::exp(in_fDb * 0.115129255f);
}

uint32_t ReadU32(const uint8_t* p)
{
    return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) | (static_cast<uint32_t>(p[2]) << 16) |
           (static_cast<uint32_t>(p[3]) << 24);
}

float ReadF32(const uint8_t* p)
{
    const uint32_t u = ReadU32(p);
    float f;
    std::memcpy(&f, &u, sizeof f);
    return f;
}
} // namespace

KvModeledReverbImpl::KvModeledReverbImpl(uint16_t in_uMaxFrames, uint32_t in_uSampleRate, uint32_t in_uNumChannels,
                                         uint32_t in_uOrder, uint32_t in_uEditLock, uint32_t in_bInterleaved)
    : m_uNumChannels(in_uNumChannels),
      m_uNumReverbChannels(in_uNumChannels < 4 ? in_uNumChannels : 4),
      m_uSampleRate(in_uSampleRate),
      m_uMaxFrames(in_uMaxFrames)
{
    const uint32_t R = m_uNumReverbChannels;
    m_aafEarly.resize(R);
    m_aafLate.resize(R);
    m_apfEarly.resize(R, nullptr);
    m_fGains[0] = Gains{1.0f, 1.0f};
    m_fGains[1] = Gains{1.0f, 1.0f};
    if (IsOutOfMemory())
        return;

    m_pFDN = common_smart_ptr<StereoFDN>(
        QwNew<StereoFDN>(static_cast<float>(in_uSampleRate), 1024u, R, 0u, in_uOrder));
    if (IsOutOfMemory())
        return;

    m_fModelGain = 1.0f;
    m_apPreDelay.resize(R);
    m_fEarlyGain = 1.0f;
    m_fLateGain = 1.0f;
    m_bEditable = in_uEditLock == 0;
    m_bInterleaved = in_bInterleaved != 0;
    if (IsOutOfMemory())
        return;

    if (m_bInterleaved) {
        m_aafInterleaved.resize(in_uNumChannels);
        m_apfInterleaved.resize(in_uNumChannels, nullptr);
        for (uint32_t c = 0; c < m_aafInterleaved.size() && !IsOutOfMemory(); ++c) {
            m_aafInterleaved[c].resize(in_uMaxFrames, 0.0f);
            m_apfInterleaved[c] = m_aafInterleaved[c].data();
        }
        if (IsOutOfMemory())
            return;
    }

    const uint32_t uMaxTaps = static_cast<uint32_t>(static_cast<float>(in_uSampleRate) * 0.5f);
    m_pLateConvolution = common_smart_ptr<KvMuConvolution>(QwNew<KvMuConvolution>(uMaxTaps, R, 9u, 9u));
    if (IsOutOfMemory())
        return;
    m_pEarlyConvolution = common_smart_ptr<KvMuConvolution>(QwNew<KvMuConvolution>(uMaxTaps, R, 9u, 9u));
    if (IsOutOfMemory())
        return;

    // Pre-delay of at most 100 ms.
    const uint32_t uCapacity = round_cast<uint32_t>(static_cast<double>(in_uSampleRate) * 0.1) + 1;
    for (uint32_t c = 0; c < R; ++c) {
        m_apPreDelay[c] = common_smart_ptr<CrossfadeDelayLine>(QwNew<CrossfadeDelayLine>(uCapacity));
        if (IsOutOfMemory())
            return;
    }

    for (uint32_t c = 0; c < R; ++c) {
        m_aafEarly[c].resize(in_uMaxFrames, 0.0f);
        m_aafLate[c].resize(in_uMaxFrames, 0.0f);
        if (IsOutOfMemory())
            return;
    }
    m_apfLate.resize(R, nullptr);
}

bool KvModeledReverbImpl::LoadModel(uint32_t in_uSize, const uint8_t* in_pRecord)
{
    // The size test comes first, so a refused record changes nothing.
    if (in_uSize < 36) {
        QW_ASSERT(false);
        return false;
    }
    const uint64_t uN1 = ReadU32(in_pRecord + 28);
    const uint64_t uN2Offset = 32 + 8 * uN1;
    if (uN2Offset + 4 > in_uSize) {
        QW_ASSERT(false);
        return false;
    }
    const uint64_t uN2 = ReadU32(in_pRecord + uN2Offset);
    if (36 + 8 * uN1 + 8 * uN2 != in_uSize) {
        QW_ASSERT(false);
        return false;
    }
    if (m_bEditable) {
        SetDecayTime(ReadF32(in_pRecord + 0));
        SetLowCrossover(ReadF32(in_pRecord + 4));
        SetHighCrossover(ReadF32(in_pRecord + 8));
        SetLowMultiplier(ReadF32(in_pRecord + 12));
        SetMidMultiplier(ReadF32(in_pRecord + 16));
        SetHighMultiplier(ReadF32(in_pRecord + 20));
    }
    // Tap arrays inside the record need not be aligned; the convolver stages them.
    const float* apLate[2] = {reinterpret_cast<const float*>(in_pRecord + 32),
                              reinterpret_cast<const float*>(in_pRecord + 32 + 4 * uN1)};
    if (m_pLateConvolution)
        m_pLateConvolution->SetTaps(2, static_cast<uint32_t>(uN1), apLate);
    if (IsOutOfMemory())
        return false;
    const float* apEarly[2] = {reinterpret_cast<const float*>(in_pRecord + 36 + 8 * uN1),
                               reinterpret_cast<const float*>(in_pRecord + 36 + 8 * uN1 + 4 * uN2)};
    if (m_pEarlyConvolution)
        m_pEarlyConvolution->SetTaps(2, static_cast<uint32_t>(uN2), apEarly);
    if (IsOutOfMemory())
        return false;
    m_fModelGain = ReadF32(in_pRecord + 24);
    return true;
}

void KvModeledReverbImpl::Process(uint32_t in_uFrames, float* const* in_ppSlots)
{
    const uint32_t R = m_uNumReverbChannels;
    const uint32_t n = in_uFrames;
    float* const* s = in_ppSlots;
    float** ppLate = m_apfLate.data();
    float** ppEarly = m_apfEarly.data();

    // The fold: each reverb channel's input goes to both paths in one pass.
    for (uint32_t c = 0; c < R; ++c) {
        ppLate[c] = m_aafLate[c].data();
        ppEarly[c] = m_aafEarly[c].data();
        float* __restrict pLate = ppLate[c];
        float* __restrict pEarly = ppEarly[c];
        const float* __restrict pIn = s[c];
        // A 5.0 stream has five channels: its centre is deliberately left out of the reverberation.
        const float* __restrict pAdd = m_uNumChannels >= 6 && c < 2 ? s[4] : m_uNumChannels == 8 ? s[c + 4] : nullptr;
        if (!pAdd) {
            for (uint32_t t = 0; t < n; ++t)
                pLate[t] = pEarly[t] = pIn[t];
        } else if (c < 2) {
            for (uint32_t t = 0; t < n; ++t)
                pLate[t] = pEarly[t] = pIn[t] + pAdd[t] * 0.5f;
        } else {
            for (uint32_t t = 0; t < n; ++t)
                pLate[t] = pEarly[t] = pIn[t] + pAdd[t];
        }
    }
    // Slots the reverberation does not write back to are scaled now; the others in the last pass.
    for (uint32_t i = R; i < m_uNumChannels; ++i) {
        const bool bFront = i == 0 || i == 1 || i == 4 || i == 5;
        ippsMulC_32f_I(n, m_fGains[bFront ? 0 : 1].fDry, s[i]);
    }
    // Both convolutions take the same input, so they share its transforms. The early one thus
    // runs before the network rather than after it, which changes nothing: the network leaves
    // the early buffers alone.
    m_pLateConvolution->ProcessBeside(n, ppLate, *m_pEarlyConvolution, ppEarly);
    m_pFDN->Process(n, ppLate);
    for (uint32_t c = 0; c < R; ++c) {
        const float fLate = m_fLateGain;
        const float fEarly = m_fEarlyGain;
        const float fWet = m_fGains[c < 2 ? 0 : 1].fWet * m_fModelGain;
        const float fDry = m_fGains[c < 2 ? 0 : 1].fDry;
        float* __restrict pLate = ppLate[c];
        const float* __restrict pEarly = ppEarly[c];
        float* __restrict pOut = s[c];
        for (uint32_t t = 0; t < n; ++t)
            pLate[t] = (pLate[t] * fLate + pEarly[t] * fEarly) * fWet;
        // A pre-delay of 0 skips the line wholly: its positions stand still.
        CrossfadeDelayLine& line = *m_apPreDelay[c];
        if (line.GetDelay() != 0)
            line.Process(n, pLate);
        for (uint32_t t = 0; t < n; ++t)
            pOut[t] = pOut[t] * fDry + pLate[t];
    }
    if (m_uNumChannels >= 6) {
        ippsAddProductC_32f(n, ppLate[0], 0.5f, s[4]);
        ippsAddProductC_32f(n, ppLate[1], 0.5f, s[4]);
    }
    if (m_uNumChannels == 8) {
        ippsAdd_32f_I(n, ppLate[2], s[6]);
        ippsAdd_32f_I(n, ppLate[3], s[7]);
    }
}

void KvModeledReverbImpl::ProcessInterleaved(uint32_t in_uTotalSamples, float* io_pInterleaved)
{
    if (!m_bInterleaved || m_uNumChannels == 0)
        return;
    const uint32_t uFrames = in_uTotalSamples / m_uNumChannels;
    if (uFrames > m_uMaxFrames) {
        QW_ASSERT(false);
        return;
    }
    for (uint32_t c = 0; c < m_uNumChannels; ++c)
        for (uint32_t t = 0; t < uFrames; ++t)
            m_apfInterleaved[c][t] = io_pInterleaved[t * m_uNumChannels + c];
    Process(uFrames, m_apfInterleaved.data());
    for (uint32_t c = 0; c < m_uNumChannels; ++c)
        for (uint32_t t = 0; t < uFrames; ++t)
            io_pInterleaved[t * m_uNumChannels + c] = m_apfInterleaved[c][t];
}

void KvModeledReverbImpl::Reset()
{
    if (m_pFDN)
        m_pFDN->Reset();
    if (m_pLateConvolution)
        m_pLateConvolution->Reset();
    if (m_pEarlyConvolution)
        m_pEarlyConvolution->Reset();
    for (uint32_t c = 0; c < m_apPreDelay.size(); ++c)
        if (m_apPreDelay[c])
            m_apPreDelay[c]->Reset();
}

void KvModeledReverbImpl::SetPreDelay(uint32_t uSpeakerPair, float in_fMs)
{
    QW_ASSERT(uSpeakerPair==FRONT_SPEAKER_STEREO_PAIR || uSpeakerPair == REAR_SPEAKER_STEREO_PAIR);
    const uint32_t uSamples =
        round_cast<uint32_t>(static_cast<double>(m_uSampleRate) * static_cast<double>(in_fMs) * 0.001);
    const uint32_t uFirst = uSpeakerPair == FRONT_SPEAKER_STEREO_PAIR ? 0 : 2;
    const uint32_t uLast = uSpeakerPair == FRONT_SPEAKER_STEREO_PAIR ? 2 : m_uNumReverbChannels;
    for (uint32_t c = uFirst; c < uLast && c < m_apPreDelay.size(); ++c)
        m_apPreDelay[c]->SetDelay(uSamples);
}

float KvModeledReverbImpl::GetPreDelay(uint32_t uSpeakerPair) const
{
    if (m_uSampleRate == 0) {
        QW_ASSERT(false);
        return 0.0f;
    }
    if (uSpeakerPair == REAR_SPEAKER_STEREO_PAIR && m_uNumReverbChannels < 2) {
        QW_ASSERT(false);
        return 0.0f;
    }
    const uint32_t uLine = uSpeakerPair == FRONT_SPEAKER_STEREO_PAIR ? 0 : 2;
    if (uLine >= m_apPreDelay.size())
        return 0.0f;
    return 999.99994f / static_cast<float>(m_uSampleRate) * static_cast<float>(m_apPreDelay[uLine]->GetDelay());
}

bool KvModeledReverbImpl::SetDecayTime(float in_f)
{
    if (!m_bEditable || !m_pFDN)
        return false;
    m_pFDN->SetDecayTime(in_f);
    return true;
}

bool KvModeledReverbImpl::SetLowCrossover(float in_f)
{
    if (!m_bEditable || !m_pFDN)
        return false;
    m_pFDN->SetLowCrossover(in_f);
    return true;
}

bool KvModeledReverbImpl::SetHighCrossover(float in_f)
{
    if (!m_bEditable || !m_pFDN)
        return false;
    m_pFDN->SetHighCrossover(in_f);
    return true;
}

bool KvModeledReverbImpl::SetLowMultiplier(float in_f)
{
    if (!m_bEditable || !m_pFDN)
        return false;
    m_pFDN->SetLowMultiplier(in_f);
    return true;
}

bool KvModeledReverbImpl::SetMidMultiplier(float in_f)
{
    if (!m_bEditable || !m_pFDN)
        return false;
    m_pFDN->SetMidMultiplier(in_f);
    return true;
}

bool KvModeledReverbImpl::SetHighMultiplier(float in_f)
{
    if (!m_bEditable || !m_pFDN)
        return false;
    m_pFDN->SetHighMultiplier(in_f);
    return true;
}

void KvModeledReverbImpl::SetWetOut(uint32_t uSpeakerPair, float fWetOut)
{
    QW_ASSERT(fWetOut >= WET_OUT_MIN && fWetOut <= WET_OUT_MAX);
    m_fGains[uSpeakerPair == FRONT_SPEAKER_STEREO_PAIR ? 0 : 1].fWet = DbToLinear(fWetOut);
}

void KvModeledReverbImpl::SetDryOut(uint32_t uSpeakerPair, float fDryOut)
{
    QW_ASSERT(fDryOut >= DRY_OUT_MIN && fDryOut <= DRY_OUT_MAX);
    m_fGains[uSpeakerPair == FRONT_SPEAKER_STEREO_PAIR ? 0 : 1].fDry = DbToLinear(fDryOut);
}
