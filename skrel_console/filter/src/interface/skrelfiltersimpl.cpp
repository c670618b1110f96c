#include "skrel_console/filter/src/interface/skrelfiltersimpl.h"
#include "host/qwassert.h"
#include "host/qwprocesspadded.h"
#include "kvbase/common/common_allocator.h"

namespace {

// SetParam index of each k within a filter's group; NUM_FILTER_PARAMS for the integer ones.
const uint32_t s_auFloatIndex[SkrelFiltersImpl::PARAMS_PER_FILTER] = {
    NUM_FILTER_PARAMS,    FILTER_PARAM_FREQUENCY, FILTER_PARAM_Q,      FILTER_PARAM_RESONANCE,
    FILTER_PARAM_GAIN,    NUM_FILTER_PARAMS,      NUM_FILTER_PARAMS,   FILTER_PARAM_LFO_PERIOD,
    FILTER_PARAM_FREQUENCY2, FILTER_PARAM_GAIN2,  FILTER_PARAM_Q2,     FILTER_PARAM_RESONANCE2,
};

} // namespace

SkrelFiltersImpl::SkrelFiltersImpl(uint32_t in_uMaxBlockFrames, float in_fSampleRate, uint32_t in_uNumChannels,
                                   bool in_bInterleaved)
    : m_uNumChannels(in_uNumChannels), m_uMaxBlockFrames(in_uMaxBlockFrames), m_bInterleaved(in_bInterleaved)
{
    m_pFilters.reserve(in_uNumChannels);
    for (uint32_t i = 0; i < in_uNumChannels; ++i) {
        common_smart_ptr<PrefilterDsp> pChannel(QwNew<PrefilterDsp>(in_fSampleRate));
        if (!pChannel || !m_pFilters.push_back(pChannel))
            return;
    }
    m_scratch.resize(in_uMaxBlockFrames, 0.0f);
    m_scratchList.resize(1, nullptr);
    if (m_scratchList.size() == 1)
        m_scratchList[0] = m_scratch.data();
    if (in_bInterleaved) {
        m_interleavedScratch.resize(in_uNumChannels * in_uMaxBlockFrames, 0.0f);
        m_interleavedList.resize(in_uNumChannels, nullptr);
        if (m_interleavedList.size() == in_uNumChannels && m_interleavedScratch.size() == in_uNumChannels * in_uMaxBlockFrames)
            for (uint32_t i = 0; i < in_uNumChannels; ++i)
                m_interleavedList[i] = m_interleavedScratch.data() + i * in_uMaxBlockFrames;
    }
}

bool SkrelFiltersImpl::SetIntParam(uint32_t in_uId, uint32_t in_uValue)
{
    QW_ASSERT(m_pFilters.size() > 0);
    const uint32_t uFilter = in_uId / PARAMS_PER_FILTER;
    const uint32_t k = in_uId % PARAMS_PER_FILTER;
    const bool bKnown = in_uId < NUM_PARAMS && (k == PARAM_TYPE || k == PARAM_MODE || k == PARAM_LFO_SHAPE);
    QW_ASSERT(bKnown);
    if (!bKnown)
        return false;
    bool bResult = true;
    for (uint32_t i = 0; i < m_pFilters.size(); ++i) {
        PrefilterDsp& channel = *m_pFilters[i];
        bool bOk;
        if (k == PARAM_TYPE)
            bOk = channel.SetType(uFilter, in_uValue);
        else if (k == PARAM_MODE)
            bOk = channel.SetMode(uFilter, in_uValue);
        else
            bOk = channel.SetLfoShape(uFilter, in_uValue);
        bResult = bResult && bOk;
    }
    return bResult;
}

bool SkrelFiltersImpl::SetFloatParam(uint32_t in_uId, float in_fValue)
{
    QW_ASSERT(m_pFilters.size() > 0);
    const uint32_t uIndex = in_uId < NUM_PARAMS ? s_auFloatIndex[in_uId % PARAMS_PER_FILTER] : NUM_FILTER_PARAMS;
    const bool bKnown = uIndex < NUM_FILTER_PARAMS;
    QW_ASSERT(bKnown);
    if (!bKnown)
        return false;
    bool bResult = true;
    for (uint32_t i = 0; i < m_pFilters.size(); ++i) {
        const bool bOk = m_pFilters[i]->SetParam(in_uId / PARAMS_PER_FILTER, uIndex, in_fValue);
        bResult = bResult && bOk;
    }
    return bResult;
}

bool SkrelFiltersImpl::SetBoolParam(uint32_t, bool)
{
    QW_ASSERT(m_pFilters.size() > 0);
    return false;
}

uint32_t SkrelFiltersImpl::GetIntParam(uint32_t in_uId) const
{
    QW_ASSERT(m_pFilters.size() > 0);
    if (m_pFilters.size() == 0 || in_uId >= NUM_PARAMS)
        return 0;
    const PrefilterDsp& channel = *m_pFilters[0];
    const uint32_t uFilter = in_uId / PARAMS_PER_FILTER;
    switch (in_uId % PARAMS_PER_FILTER) {
    case PARAM_TYPE:
        return channel.GetType(uFilter);
    case PARAM_MODE:
        return channel.GetMode(uFilter);
    case PARAM_LFO_SHAPE:
        return channel.GetLfoShape(uFilter);
    default:
        QW_ASSERT(false);
        return 0;
    }
}

float SkrelFiltersImpl::GetFloatParam(uint32_t in_uId) const
{
    QW_ASSERT(m_pFilters.size() > 0);
    const uint32_t uIndex = in_uId < NUM_PARAMS ? s_auFloatIndex[in_uId % PARAMS_PER_FILTER] : NUM_FILTER_PARAMS;
    if (m_pFilters.size() == 0 || uIndex >= NUM_FILTER_PARAMS)
        return 0.0f;
    return m_pFilters[0]->GetParam(in_uId / PARAMS_PER_FILTER, uIndex);
}

void SkrelFiltersImpl::Reset()
{
    for (uint32_t i = 0; i < m_pFilters.size(); ++i)
        m_pFilters[i]->Reset();
}

void SkrelFiltersImpl::ProcessChannel(uint32_t in_uChannel, uint32_t in_uFrames, float* io_pSamples)
{
    PrefilterDsp& channel = *m_pFilters[in_uChannel];
    QwProcessPadded(io_pSamples, in_uFrames, m_uMaxBlockFrames, m_scratchList[0],
                    [&channel](float* io_pBlock, uint32_t in_uBlockFrames) { channel.Process(in_uBlockFrames, io_pBlock); });
}

void SkrelFiltersImpl::ProcessDeinterleaved(uint32_t in_uFrames, float* const* io_ppChannels)
{
    QW_ASSERT(in_uFrames <= m_uMaxBlockFrames);
    if (in_uFrames > m_uMaxBlockFrames || m_scratch.size() != m_uMaxBlockFrames)
        return;
    uint32_t i = 0;
    // Whole blocks go through in place (what the padded step amounts to), two channels at a
    // time where both run static biquads only.
    if (in_uFrames == m_uMaxBlockFrames) {
        for (; i + 1 < m_pFilters.size(); i += 2) {
            if (!PrefilterDsp::ProcessPair(*m_pFilters[i], *m_pFilters[i + 1], in_uFrames, io_ppChannels[i],
                                           io_ppChannels[i + 1])) {
                ProcessChannel(i, in_uFrames, io_ppChannels[i]);
                ProcessChannel(i + 1, in_uFrames, io_ppChannels[i + 1]);
            }
        }
    }
    for (; i < m_pFilters.size(); ++i)
        ProcessChannel(i, in_uFrames, io_ppChannels[i]);
}

void SkrelFiltersImpl::ProcessInterleaved(uint32_t in_uSamples, float* io_pBuffer)
{
    if (!m_bInterleaved || m_uNumChannels == 0 || m_interleavedList.size() != m_uNumChannels)
        return;
    const uint32_t uFrames = in_uSamples / m_uNumChannels;
    QW_ASSERT(uFrames <= m_uMaxBlockFrames);
    if (uFrames > m_uMaxBlockFrames)
        return;
    for (uint32_t c = 0; c < m_uNumChannels; ++c) {
        float* pChannel = m_interleavedList[c];
        for (uint32_t n = 0; n < uFrames; ++n)
            pChannel[n] = io_pBuffer[n * m_uNumChannels + c];
    }
    ProcessDeinterleaved(uFrames, m_interleavedList.data());
    for (uint32_t c = 0; c < m_uNumChannels; ++c) {
        const float* pChannel = m_interleavedList[c];
        for (uint32_t n = 0; n < uFrames; ++n)
            io_pBuffer[n * m_uNumChannels + c] = pChannel[n];
    }
}
