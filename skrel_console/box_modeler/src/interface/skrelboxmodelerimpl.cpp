#include "skrel_console/box_modeler/src/interface/skrelboxmodelerimpl.h"
#include "host/qwassert.h"
#include "kvbase/common/common_allocator.h"

namespace {

// Adds +-1e-10 by the sign of the running 8-bit counter, so the offset turns every 128 samples
// and builds up no steady level.
void AddDenormalOffset(float* io_pChannel, uint32_t in_uFrames, uint8_t& io_uCounter)
{
    uint8_t uCounter = io_uCounter;
    for (uint32_t i = 0; i < in_uFrames; ++i) {
        io_pChannel[i] += static_cast<int8_t>(uCounter) < 0 ? -1e-10f : 1e-10f;
        uCounter = static_cast<uint8_t>(uCounter + 1);
    }
    io_uCounter = uCounter;
}

} // namespace

SkrelBoxModelerImpl::SkrelBoxModelerImpl(float in_fSampleRate, uint32_t in_uChannels, uint32_t in_uBlockFrames,
                                         const char* in_pszName, bool in_bInterleaved)
    : m_pBoxModeler(QwNew<BoxModelerDsp>(in_uChannels, in_fSampleRate, in_uBlockFrames, in_pszName)),
      m_uNumChannels(in_uChannels),
      m_uBlockFrames(in_uBlockFrames),
      m_bInterleaved(in_bInterleaved)
{
    if (!in_bInterleaved)
        return;
    m_scratchChannels.resize(in_uChannels);
    m_scratchPointers.resize(in_uChannels);
    if (m_scratchChannels.size() != in_uChannels || m_scratchPointers.size() != in_uChannels)
        return;
    for (uint32_t c = 0; c < in_uChannels; ++c) {
        m_scratchChannels[c].resize(in_uBlockFrames);
        m_scratchPointers[c] = m_scratchChannels[c].data();
    }
}

bool SkrelBoxModelerImpl::SetMedia(uint32_t in_uSize, const uint8_t* in_pData)
{
    QW_ASSERT(m_pBoxModeler.get() != 0);
    if (!m_pBoxModeler)
        return false;
    return m_pBoxModeler->SetMedia(in_uSize, in_pData);
}

bool SkrelBoxModelerImpl::SetIntParam(uint32_t in_uIndex, uint32_t in_uValue)
{
    QW_ASSERT(m_pBoxModeler.get() != 0);
    if (!m_pBoxModeler)
        return false;
    switch (in_uIndex) {
    case INT_MODEL:
        m_pBoxModeler->SetModel(in_uValue);
        break;
    case INT_MODE:
        m_pBoxModeler->SetMode(in_uValue);
        break;
    default:
        QW_ASSERT(in_uIndex <= INT_MODE);
        return false;
    }
    return !IsOutOfMemory();
}

bool SkrelBoxModelerImpl::SetFloatParam(uint32_t in_uIndex, float in_fValue)
{
    QW_ASSERT(m_pBoxModeler.get() != 0);
    if (!m_pBoxModeler)
        return false;
    if (in_uIndex < FLOAT_FIRST || in_uIndex > FLOAT_LAST) {
        QW_ASSERT(in_uIndex >= FLOAT_FIRST && in_uIndex <= FLOAT_LAST);
        return false;
    }
    m_pBoxModeler->SetParam(in_uIndex - FLOAT_FIRST, in_fValue);
    return true;
}

uint32_t SkrelBoxModelerImpl::GetTailFrames() const
{
    QW_ASSERT(m_pBoxModeler.get() != 0);
    return m_pBoxModeler ? m_pBoxModeler->GetTapsUsed() : 0;
}

void SkrelBoxModelerImpl::Reset()
{
    QW_ASSERT(m_pBoxModeler.get() != 0);
    if (m_pBoxModeler)
        m_pBoxModeler->Reset();
}

void SkrelBoxModelerImpl::Process(uint32_t in_uFrames, float** io_ppChannels)
{
    QW_ASSERT(m_pBoxModeler.get() != 0);
    if (!m_pBoxModeler)
        return;
    if (in_uFrames > m_uBlockFrames) {
        QW_ASSERT(in_uFrames <= m_uBlockFrames);
        return;
    }
    BoxModelerDsp& engine = *m_pBoxModeler;
    if (!engine.IsModelValid())
        return;
    const float fInputGain = engine.GetInputGain();
    for (uint32_t c = 0; c < m_uNumChannels; ++c) {
        float* p = io_ppChannels[c];
        AddDenormalOffset(p, in_uFrames, engine.DenormalCounterIn());
        for (uint32_t i = 0; i < in_uFrames; ++i)
            p[i] *= fInputGain;
    }
    engine.Process(in_uFrames, io_ppChannels);
    for (uint32_t c = 0; c < m_uNumChannels; ++c)
        AddDenormalOffset(io_ppChannels[c], in_uFrames, engine.DenormalCounterOut());
}

void SkrelBoxModelerImpl::ProcessInterleaved(uint32_t in_uSamples, float* io_pBuffer)
{
    if (!m_bInterleaved || m_uNumChannels == 0 || m_scratchPointers.size() != m_uNumChannels)
        return;
    uint32_t uFrames = in_uSamples / m_uNumChannels;
    if (uFrames > m_uBlockFrames) {
        QW_ASSERT(uFrames <= m_uBlockFrames);
        uFrames = m_uBlockFrames;
    }
    float** ppScratch = m_scratchPointers.data();
    for (uint32_t i = 0; i < uFrames; ++i)
        for (uint32_t c = 0; c < m_uNumChannels; ++c)
            ppScratch[c][i] = io_pBuffer[i * m_uNumChannels + c];
    Process(uFrames, ppScratch);
    for (uint32_t i = 0; i < uFrames; ++i)
        for (uint32_t c = 0; c < m_uNumChannels; ++c)
            io_pBuffer[i * m_uNumChannels + c] = ppScratch[c][i];
}
