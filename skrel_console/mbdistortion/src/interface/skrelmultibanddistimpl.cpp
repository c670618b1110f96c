#include "skrel_console/mbdistortion/src/interface/skrelmultibanddistimpl.h"
#include "host/qweffectframe.h"

using namespace KvSkrel;

SkrelMultibandDistImpl::SkrelMultibandDistImpl(uint16_t in_uBlockSize, float in_fSampleRate, uint32_t in_uChannels,
                                               bool in_bInterleaved)
    : m_uChannels(in_uChannels), m_uBlockSize(in_uBlockSize), m_bInterleaved(in_bInterleaved)
{
    m_apDistortion.resize(in_uChannels);
    m_apCrossovers.resize(in_uChannels);
    m_scratch.resize(in_uBlockSize, 0.0f);
    if (IsOutOfMemory())
        return;
    common_vector<float> defaultCutoffs;
    defaultCutoffs.resize(NUM_CUTOFFS, 0.0f);
    if (IsOutOfMemory())
        return;
    defaultCutoffs[0] = 5000.0f;
    defaultCutoffs[1] = 10000.0f;
    for (uint32_t c = 0; c < in_uChannels; ++c) {
        m_apCrossovers[c] = common_smart_ptr<CrossoverLR2>(
            QwNew<CrossoverLR2>(in_fSampleRate, 1u, CrossoverLR2::MAX_CROSSOVER_BANDS, defaultCutoffs));
        if (IsOutOfMemory())
            return;
        m_apDistortion[c] = common_smart_ptr<DistortionDsp>(QwNew<DistortionDsp>(in_fSampleRate));
        if (IsOutOfMemory())
            return;
    }
    if (in_bInterleaved) {
        m_channelBuffers.resize(in_uChannels);
        for (uint32_t c = 0; c < m_channelBuffers.size() && !IsOutOfMemory(); ++c)
            m_channelBuffers[c].resize(in_uBlockSize, 0.0f);
        if (IsOutOfMemory())
            return;
    }
    for (uint32_t b = 0; b < NUM_USED_BANDS; ++b)
        for (uint32_t s = 0; s < NUM_DISTORTION_SLOTS; ++s) {
            SetAlgorithm(0, s, b);
            SetSlotValue(0, 0.0f, s, b);
            SetSlotValue(1, 5.0f, s, b);
            SetSlotValue(2, 0.5f, s, b);
            SetSlotValue(3, 100.0f, s, b);
            SetSlotValue(4, 0.0f, s, b);
        }
}

bool SkrelMultibandDistImpl::SetFloatParameter(uint32_t in_uId, float in_fValue)
{
    if (in_uId == CUTOFF_0 || in_uId == CUTOFF_1) {
        SetCutoff(in_uId - CUTOFF_0, in_fValue);
        return true;
    }
    const uint32_t uGroup = in_uId / PARAMS_PER_GROUP;
    const uint32_t uIndex = in_uId % PARAMS_PER_GROUP;
    if (uGroup >= NUM_USED_BANDS * NUM_DISTORTION_SLOTS || uIndex == ALGORITHM_OFFSET) {
        QW_ASSERT(false);
        return false;
    }
    SetSlotValue(uIndex, in_fValue, uGroup % NUM_DISTORTION_SLOTS, uGroup / NUM_DISTORTION_SLOTS);
    return true;
}

bool SkrelMultibandDistImpl::SetUIntParameter(uint32_t in_uId, uint32_t in_uValue)
{
    const uint32_t uGroup = in_uId / PARAMS_PER_GROUP;
    if (uGroup >= NUM_USED_BANDS * NUM_DISTORTION_SLOTS || in_uId % PARAMS_PER_GROUP != ALGORITHM_OFFSET) {
        QW_ASSERT(false);
        return false;
    }
    SetAlgorithm(in_uValue, uGroup % NUM_DISTORTION_SLOTS, uGroup / NUM_DISTORTION_SLOTS);
    return true;
}

void SkrelMultibandDistImpl::SetSlotValue(uint32_t in_uIndex, float in_fValue, uint32_t iSlot, uint32_t iBand)
{
    QW_ASSERT(iBand < KvSkrel::NUM_BANDS);
    for (uint32_t c = 0; c < m_apDistortion.size(); ++c)
        if (m_apDistortion[c])
            m_apDistortion[c]->SetParameter(iBand, in_uIndex, in_fValue, iSlot);
}

void SkrelMultibandDistImpl::SetAlgorithm(uint32_t in_uAlgorithm, uint32_t iSlot, uint32_t iBand)
{
    if (in_uAlgorithm >= NUM_DISTORTION_ALGORITHMS || iSlot >= NUM_DISTORTION_SLOTS) {
        QW_ASSERT(false);
        return;
    }
    QW_ASSERT(iBand < KvSkrel::NUM_BANDS);
    for (uint32_t c = 0; c < m_apDistortion.size(); ++c)
        if (m_apDistortion[c])
            m_apDistortion[c]->SetAlgorithm(iBand, in_uAlgorithm, iSlot);
}

void SkrelMultibandDistImpl::SetCutoff(uint32_t iCutoff, float in_fHz)
{
    QW_ASSERT(iCutoff < KvSkrel::NUM_CUTOFFS);
    for (uint32_t c = 0; c < m_apCrossovers.size(); ++c)
        if (m_apCrossovers[c])
            m_apCrossovers[c]->SetCutoff(iCutoff, in_fHz);
}

float SkrelMultibandDistImpl::GetParameter(uint32_t in_uIndex, uint32_t iSlot, uint32_t iBand) const
{
    if (m_apDistortion.empty() || !m_apDistortion[0])
        return 0.0f;
    return m_apDistortion[0]->GetParameter(iBand, in_uIndex, iSlot);
}

uint32_t SkrelMultibandDistImpl::GetAlgorithm(uint32_t iSlot, uint32_t iBand) const
{
    if (m_apDistortion.empty() || !m_apDistortion[0])
        return 0;
    return m_apDistortion[0]->GetAlgorithm(iBand, iSlot);
}

float SkrelMultibandDistImpl::GetCutoff(uint32_t iCutoff) const
{
    if (m_apCrossovers.empty() || !m_apCrossovers[0])
        return 0.0f;
    return m_apCrossovers[0]->GetCutoff(iCutoff);
}

// The crossover and both slots of every band run over the whole block, padding included, so
// that their state advances at a fixed rate.
void SkrelMultibandDistImpl::ProcessChannel(uint32_t in_uChannel, float* io_pChannel, uint32_t in_uFrames)
{
    CrossoverLR2& crossover = *m_apCrossovers[in_uChannel];
    DistortionDsp& dsp = *m_apDistortion[in_uChannel];
    QwProcessPadded(io_pChannel, in_uFrames, m_uBlockSize, m_scratch.data(), [&](float* p, uint32_t n) {
        float* apScratch[1] = {p};
        crossover.Process(n, 1, p, apScratch);
        float* apBands[NUM_USED_BANDS];
        for (uint32_t b = 0; b < NUM_USED_BANDS; ++b) {
            apBands[b] = crossover.GetBandBuffer(0, b);
            dsp.Process(b, 0, n, apBands[b]);
            dsp.Process(b, 1, n, apBands[b]);
        }
        for (uint32_t i = 0; i < n; ++i)
            p[i] = apBands[1][i] + apBands[0][i] + apBands[2][i];
    });
}

void SkrelMultibandDistImpl::Process(uint32_t in_uFrames, float* const* in_ppChannels)
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

void SkrelMultibandDistImpl::ProcessInterleaved(uint32_t in_uSamples, float* io_pInterleaved)
{
    if (!m_bInterleaved || m_uChannels == 0 || m_bBypass)
        return;
    const uint32_t uFrames = in_uSamples / m_uChannels;
    if (uFrames > m_uBlockSize) {
        QW_ASSERT(false);
        return;
    }
    for (uint32_t c = 0; c < m_uChannels; ++c) {
        float* pChannel = m_channelBuffers[c].data();
        for (uint32_t i = 0; i < uFrames; ++i)
            pChannel[i] = io_pInterleaved[i * m_uChannels + c];
        ProcessChannel(c, pChannel, uFrames);
        for (uint32_t i = 0; i < uFrames; ++i)
            io_pInterleaved[i * m_uChannels + c] = pChannel[i];
    }
}
