#include "skrel_console/delay/src/interface/skreldelayimpl.h"
#include <cmath>
#include "host/qwassert.h"
#include "host/qwprocesspadded.h"
#include "kvbase/common/common_allocator.h"

SkrelDelayImpl::SkrelDelayImpl(uint16_t in_uMaxBlockFrames, uint32_t in_uSampleRate, uint32_t in_uNumChannels,
                               bool in_bInterleaved)
    : m_uNumChannels(in_uNumChannels), m_uMaxBlockFrames(in_uMaxBlockFrames), m_uSampleRate(in_uSampleRate),
      m_bInterleaved(in_bInterleaved)
{
    m_pDelay.reserve(in_uNumChannels);
    for (uint32_t c = 0; c < in_uNumChannels && !IsOutOfMemory(); ++c)
        m_pDelay.push_back(common_smart_ptr<SkrelDelayDsp>(QwNew<SkrelDelayDsp>(in_uSampleRate)));
    m_scratch.resize(m_uMaxBlockFrames, 0.0f);
    if (m_bInterleaved) {
        m_interleavedScratch.resize(m_uMaxBlockFrames * in_uNumChannels, 0.0f);
        m_interleavedChannels.resize(in_uNumChannels, nullptr);
        if (m_interleavedScratch.size() == m_uMaxBlockFrames * in_uNumChannels &&
            m_interleavedChannels.size() == in_uNumChannels)
            for (uint32_t c = 0; c < in_uNumChannels; ++c)
                m_interleavedChannels[c] = m_interleavedScratch.data() + static_cast<size_t>(c) * m_uMaxBlockFrames;
    }
}

bool SkrelDelayImpl::SetFloatParam(uint32_t in_uIndex, float in_fValue)
{
    QW_ASSERT(m_pDelay.size() > 0);
    if (in_uIndex < 1 || in_uIndex > SkrelDelayDsp::NUM_PARAMS)
        return false;
    for (uint32_t c = 0; c < m_pDelay.size(); ++c)
        if (SkrelDelayDsp* pEngine = m_pDelay[c].raw())
            pEngine->SetParam(in_uIndex - 1, in_fValue);
    return true;
}

bool SkrelDelayImpl::SetIntParam(uint32_t in_uIndex, uint32_t in_uValue)
{
    switch (in_uIndex) {
    case INT_PARAM_BYPASS:
        m_bBypass = in_uValue != 0;
        return true;
    case INT_PARAM_MODE:
        QW_ASSERT(m_pDelay.size() > 0);
        for (uint32_t c = 0; c < m_pDelay.size(); ++c)
            if (SkrelDelayDsp* pEngine = m_pDelay[c].raw())
                pEngine->SetMode(in_uValue);
        return true;
    default:
        QW_ASSERT_TEXT(false, "false");
        return false;
    }
}

// Kept as the call the effect makes before the floats; there is no boolean parameter.
bool SkrelDelayImpl::SetBoolParam(uint32_t, bool) { return false; }

float SkrelDelayImpl::GetFloat(uint32_t in_uEngineIndex) const
{
    QW_ASSERT(m_pDelay.size() > 0);
    if (m_pDelay.size() == 0 || !m_pDelay[0].raw())
        return 0.0f;
    return m_pDelay[0].raw()->GetParam(in_uEngineIndex);
}

uint32_t SkrelDelayImpl::GetMode() const
{
    QW_ASSERT(m_pDelay.size() > 0);
    if (m_pDelay.size() == 0 || !m_pDelay[0].raw())
        return 0;
    return m_pDelay[0].raw()->GetMode();
}

uint32_t SkrelDelayImpl::GetTailFrames() const
{
    float f = GetFeedbackPercent() * 0.01f;
    if (f > 1.0f)
        f = 0.999f;
    else if (f < 0.005f)
        return m_uMaxBlockFrames;
    // ln(10) / 200: the time for the echoes to fall by 100 dB with the delay in ms. At f = 1
    // exactly the quotient is minus infinity and the tail comes out 0; that is kept.
    const float fDelayMs = GetDelayMs();
    const float fTail = (-0.011512926f / std::log(f)) * (static_cast<float>(m_uSampleRate) * fDelayMs);
    if (!(fTail >= 0.0f) || fTail >= 4294967296.0f)
        return 0;
    return static_cast<uint32_t>(fTail);
}

void SkrelDelayImpl::Reset()
{
    for (uint32_t c = 0; c < m_pDelay.size(); ++c)
        if (SkrelDelayDsp* pEngine = m_pDelay[c].raw())
            pEngine->Reset();
}

void SkrelDelayImpl::ProcessChannel(uint32_t in_uChannel, uint32_t in_uFrames, float* io_pChannel)
{
    SkrelDelayDsp* pEngine = m_pDelay[in_uChannel].raw();
    if (!pEngine)
        return;
    QwProcessPadded(io_pChannel, in_uFrames, m_uMaxBlockFrames, m_scratch.data(),
                    [pEngine](float* io_pBlock, uint32_t in_uBlockFrames) { pEngine->Process(in_uBlockFrames, io_pBlock); });
}

void SkrelDelayImpl::ProcessDeinterleaved(uint32_t in_uFrames, float* const* io_ppChannels)
{
    if (m_bBypass || m_bInterleaved)
        return;
    QW_ASSERT(in_uFrames <= m_uMaxBlockFrames);
    if (in_uFrames > m_uMaxBlockFrames || m_scratch.size() < m_uMaxBlockFrames)
        return;
    for (uint32_t c = 0; c < m_pDelay.size(); ++c)
        ProcessChannel(c, in_uFrames, io_ppChannels[c]);
}

void SkrelDelayImpl::ProcessInterleaved(uint32_t in_uSamples, float* io_pBuffer)
{
    if (m_bBypass || !m_bInterleaved || m_uNumChannels == 0)
        return;
    const uint32_t uChannels = m_uNumChannels;
    const uint32_t uFrames = in_uSamples / uChannels;
    QW_ASSERT(uFrames <= m_uMaxBlockFrames);
    if (uFrames > m_uMaxBlockFrames || m_interleavedChannels.size() != uChannels ||
        m_scratch.size() < m_uMaxBlockFrames)
        return;
    for (uint32_t c = 0; c < uChannels; ++c) {
        float* pChannel = m_interleavedChannels[c];
        for (uint32_t i = 0; i < uFrames; ++i)
            pChannel[i] = io_pBuffer[static_cast<size_t>(i) * uChannels + c];
    }
    for (uint32_t c = 0; c < m_pDelay.size() && c < uChannels; ++c)
        ProcessChannel(c, uFrames, m_interleavedChannels[c]);
    for (uint32_t c = 0; c < uChannels; ++c) {
        const float* pChannel = m_interleavedChannels[c];
        for (uint32_t i = 0; i < uFrames; ++i)
            io_pBuffer[static_cast<size_t>(i) * uChannels + c] = pChannel[i];
    }
}
