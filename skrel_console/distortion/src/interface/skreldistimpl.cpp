#include "skrel_console/distortion/src/interface/skreldistimpl.h"
#include "host/qwassert.h"
#include "host/qwprocesspadded.h"

using namespace KvSkrel;

SkrelDistImpl::SkrelDistImpl(uint16_t in_uBlockSize, float in_fSampleRate, uint32_t in_uChannels,
                             bool in_bInterleaved)
    : m_uChannels(in_uChannels), m_uBlockSize(in_uBlockSize), m_bInterleaved(in_bInterleaved)
{
    m_dsps.resize(in_uChannels, DistortionDsp(in_fSampleRate));
    m_scratch.resize(in_uBlockSize);
    if (in_bInterleaved) {
        m_channelBuffers.resize(in_uChannels);
        for (uint32_t c = 0; c < m_channelBuffers.size(); ++c)
            m_channelBuffers[c].resize(in_uBlockSize);
        m_channelPointers.resize(in_uChannels);
        if (m_channelBuffers.size() == in_uChannels && m_channelPointers.size() == in_uChannels)
            for (uint32_t c = 0; c < in_uChannels; ++c)
                m_channelPointers[c] = m_channelBuffers[c].data();
    }
    for (uint32_t s = 0; s < NUM_DISTORTION_SLOTS; ++s) {
        SetAlgorithm(0, s);
        SetInputGain(0.0f, s);
        SetDrive(5.0f, s);
        SetCharacter(0.5f, s);
        SetMix(100.0f, s);
        SetOutputGain(0.0f, s);
    }
}

bool SkrelDistImpl::SetBoolParameter(uint32_t in_uId, bool in_bValue)
{
    if (in_uId != PARAM_BYPASS) {
        QW_ASSERT(false);
        return false;
    }
    m_bBypass = in_bValue;
    return true;
}

bool SkrelDistImpl::SetFloatParameter(uint32_t in_uId, float in_fValue)
{
    const uint32_t uSlot = in_uId == 0 ? 0 : (in_uId - 1) / PARAMS_PER_SLOT;
    const uint32_t uKind = in_uId == 0 ? 0 : (in_uId - 1) % PARAMS_PER_SLOT + 1;
    if (in_uId == 0 || uSlot >= NUM_DISTORTION_SLOTS || uKind == PARAM_ALGORITHM) {
        QW_ASSERT(false);
        return false;
    }
    SetSlotValue(uKind - PARAM_INPUT_GAIN, in_fValue, uSlot);
    return true;
}

bool SkrelDistImpl::SetUIntParameter(uint32_t in_uId, uint32_t in_uValue)
{
    if (in_uId != PARAM_ALGORITHM && in_uId != PARAM_ALGORITHM + PARAMS_PER_SLOT) {
        QW_ASSERT(false);
        return false;
    }
    SetAlgorithm(in_uValue, in_uId == PARAM_ALGORITHM ? 0 : 1);
    return true;
}

void SkrelDistImpl::SetSlotValue(uint32_t in_uIndex, float in_fValue, uint32_t iEffectSlot)
{
    QW_ASSERT(iEffectSlot < KvSkrel::NUM_DISTORTION_SLOTS);
    if (iEffectSlot >= NUM_DISTORTION_SLOTS)
        return;
    for (uint32_t c = 0; c < m_dsps.size(); ++c)
        m_dsps[c].SetParameter(BAND, in_uIndex, in_fValue, iEffectSlot);
}

void SkrelDistImpl::SetAlgorithm(uint32_t in_uAlgorithm, uint32_t iEffectSlot)
{
    if (in_uAlgorithm >= NUM_DISTORTION_ALGORITHMS || iEffectSlot >= NUM_DISTORTION_SLOTS) {
        QW_ASSERT(false);
        return;
    }
    for (uint32_t c = 0; c < m_dsps.size(); ++c)
        m_dsps[c].SetAlgorithm(BAND, in_uAlgorithm, iEffectSlot);
}

float SkrelDistImpl::GetParameter(uint32_t in_uIndex, uint32_t iEffectSlot) const
{
    QW_ASSERT(iEffectSlot < KvSkrel::NUM_DISTORTION_SLOTS);
    if (m_dsps.empty() || iEffectSlot >= NUM_DISTORTION_SLOTS)
        return 0.0f;
    return m_dsps[0].GetParameter(BAND, in_uIndex, iEffectSlot);
}

uint32_t SkrelDistImpl::GetAlgorithm(uint32_t iEffectSlot) const
{
    QW_ASSERT(iEffectSlot < KvSkrel::NUM_DISTORTION_SLOTS);
    if (m_dsps.empty() || iEffectSlot >= NUM_DISTORTION_SLOTS)
        return 0;
    return m_dsps[0].GetAlgorithm(BAND, iEffectSlot);
}

// Both slots run over the whole block, padding included: the moving averages and denormal
// counters must advance by the block size whatever the valid count.
void SkrelDistImpl::ProcessChannel(uint32_t in_uChannel, float* io_pChannel, uint32_t in_uFrames)
{
    DistortionDsp& dsp = m_dsps[in_uChannel];
    QwProcessPadded(io_pChannel, in_uFrames, m_uBlockSize, m_scratch.data(), [&dsp](float* p, uint32_t n) {
        dsp.Process(BAND, 0, n, p);
        dsp.Process(BAND, 1, n, p);
    });
}

void SkrelDistImpl::Process(uint32_t in_uFrames, float* const* in_ppChannels)
{
    if (m_bBypass || m_bInterleaved)
        return;
    if (in_uFrames > m_uBlockSize) {
        QW_ASSERT(false);
        return;
    }
    for (uint32_t c = 0; c < m_uChannels; ++c)
        ProcessChannel(c, in_ppChannels[c], in_uFrames);
}

void SkrelDistImpl::ProcessInterleaved(uint32_t in_uSamples, float* io_pInterleaved)
{
    if (!m_bInterleaved || m_uChannels == 0) {
        QW_ASSERT(false);
        return;
    }
    if (m_bBypass)
        return;
    const uint32_t uFrames = in_uSamples / m_uChannels;
    if (uFrames > m_uBlockSize) {
        QW_ASSERT(false);
        return;
    }
    for (uint32_t c = 0; c < m_uChannels; ++c) {
        float* pChannel = m_channelPointers[c];
        for (uint32_t i = 0; i < uFrames; ++i)
            pChannel[i] = io_pInterleaved[i * m_uChannels + c];
        ProcessChannel(c, pChannel, uFrames);
        for (uint32_t i = 0; i < uFrames; ++i)
            io_pInterleaved[i * m_uChannels + c] = pChannel[i];
    }
}
