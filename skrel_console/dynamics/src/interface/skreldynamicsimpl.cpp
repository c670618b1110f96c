#include "skrel_console/dynamics/src/interface/skreldynamicsimpl.h"
#include "host/qwprocesspadded.h"
#include "kvbase/common/common_allocator.h"

SkrelDynamicsImpl::SkrelDynamicsImpl(uint16_t in_uMaxFrames, float in_fSampleRate, uint32_t in_uNumChannels,
                                     bool in_bInterleaved)
    : m_uNumChannels(in_uNumChannels), m_uBlockFrames(in_uMaxFrames), m_bInterleaved(in_bInterleaved)
{
    m_pDynamics.reserve(in_uNumChannels);
    for (uint32_t c = 0; c < in_uNumChannels && !IsOutOfMemory(); ++c)
        m_pDynamics.push_back(common_smart_ptr<DynamicsDsp>(QwNew<DynamicsDsp>(in_fSampleRate)));
    // One scratch block per lane of DynamicsDsp::ProcessLanes.
    const uint32_t uLanes = in_uNumChannels < DynamicsDsp::MAX_LANES ? in_uNumChannels : DynamicsDsp::MAX_LANES;
    m_scratch.resize(m_uBlockFrames * uLanes);
    if (m_bInterleaved)
        m_deinterleaved.resize(m_uBlockFrames * in_uNumChannels);
}

bool SkrelDynamicsImpl::SetBoolParam(uint16_t in_uId, bool in_bValue)
{
    if (in_uId != ID_BYPASS) {
        QW_ASSERT(false);
        return false;
    }
    m_bBypass = in_bValue;
    return true;
}

bool SkrelDynamicsImpl::SetFloatParam(uint16_t in_uId, float in_fValue)
{
    if (in_uId < ID_COMP_THRESHOLD || in_uId > ID_OUTPUT_GAIN) {
        QW_ASSERT(false);
        return false;
    }
    // Host ids 1 to 9 are the engine's parameter indices 0 to 8.
    const uint32_t uIndex = in_uId - ID_COMP_THRESHOLD;
    for (common_smart_ptr<DynamicsDsp>& pDsp : m_pDynamics)
        pDsp->SetParameter(EFFECT_STAGE, uIndex, in_fValue);
    return true;
}

bool SkrelDynamicsImpl::GetBoolParam(uint16_t in_uId) const
{
    if (in_uId != ID_BYPASS) {
        QW_ASSERT(false);
        return false;
    }
    return m_bBypass;
}

float SkrelDynamicsImpl::GetFloatParam(uint16_t in_uId) const
{
    QW_ASSERT(m_pDynamics.size() > 0);
    if (m_pDynamics.size() == 0)
        return 0.0f;
    return m_pDynamics[0]->GetParameter(EFFECT_STAGE, static_cast<uint32_t>(in_uId) - ID_COMP_THRESHOLD);
}

void SkrelDynamicsImpl::Reset()
{
    for (common_smart_ptr<DynamicsDsp>& pDsp : m_pDynamics)
        pDsp->Reset();
}

void SkrelDynamicsImpl::ProcessChannel(uint32_t in_uChannel, uint32_t in_uFrames, float* io_pSamples)
{
    DynamicsDsp& dsp = *m_pDynamics[in_uChannel];
    QwProcessPadded(io_pSamples, in_uFrames, m_uBlockFrames, m_scratch.data(),
                    [&dsp](float* io_pBlock, uint32_t in_uBlockFrames) {
                        dsp.Process(EFFECT_STAGE, in_uBlockFrames, io_pBlock);
                    });
}

void SkrelDynamicsImpl::Process(uint32_t in_uFrames, float* const* io_ppChannels)
{
    if (m_bBypass)
        return;
    if (in_uFrames > m_uBlockFrames) {
        QW_ASSERT(false);
        return;
    }
    // Channels go through the engines in groups that run side by side.
    for (uint32_t uFirst = 0; uFirst < m_uNumChannels; uFirst += DynamicsDsp::MAX_LANES) {
        const uint32_t uLeft = m_uNumChannels - uFirst;
        const uint32_t uLanes = uLeft < DynamicsDsp::MAX_LANES ? uLeft : DynamicsDsp::MAX_LANES;
        DynamicsDsp* apDsp[DynamicsDsp::MAX_LANES];
        for (uint32_t l = 0; l < uLanes; ++l)
            apDsp[l] = m_pDynamics[uFirst + l].get();
        QwProcessPaddedGroup<DynamicsDsp::MAX_LANES>(
            uLanes, io_ppChannels + uFirst, in_uFrames, m_uBlockFrames, m_scratch.data(),
            [&](float* const* io_ppBlocks, uint32_t in_uBlockFrames) {
                DynamicsDsp::ProcessLanes(EFFECT_STAGE, uLanes, apDsp, in_uBlockFrames, io_ppBlocks);
            });
    }
}

void SkrelDynamicsImpl::ProcessInterleaved(uint32_t in_uTotalSamples, float* io_pInterleaved)
{
    QW_ASSERT(m_bInterleaved);
    if (m_bBypass || !m_bInterleaved || m_uNumChannels == 0)
        return;
    const uint32_t uFrames = in_uTotalSamples / m_uNumChannels;
    if (uFrames > m_uBlockFrames) {
        QW_ASSERT(false);
        return;
    }
    float* pChannels = m_deinterleaved.data();
    for (uint32_t c = 0; c < m_uNumChannels; ++c) {
        float* pChannel = pChannels + c * m_uBlockFrames;
        for (uint32_t i = 0; i < uFrames; ++i)
            pChannel[i] = io_pInterleaved[i * m_uNumChannels + c];
        ProcessChannel(c, uFrames, pChannel);
        for (uint32_t i = 0; i < uFrames; ++i)
            io_pInterleaved[i * m_uNumChannels + c] = pChannel[i];
    }
}
