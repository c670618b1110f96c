#include "kvdspbase/dsp/crossfadedelayline.h"
#include <cstring>
#include "host/qwassert.h"

CrossfadeDelayLine::CrossfadeDelayLine(uint32_t in_uCapacity)
    : m_fCrossfade(0.0f),
      m_fCrossfadeStep(0.0078125f),
      m_bCrossfading(false),
      m_iWrite(0),
      m_iRead(0),
      m_iReadOld(0)
{
    m_fDelayLine.resize(in_uCapacity, 0.0f);
    m_iReadOld = Capacity();
}

void CrossfadeDelayLine::SetDelay(uint32_t in_uDelay)
{
    if (in_uDelay >= Capacity()) {
        QW_ASSERT(false);
        return;
    }
    if (m_iReadOld != Capacity()) {
        m_uPendingDelay = in_uDelay;
        return;
    }
    QW_ASSERT(!m_bCrossfading);
    m_iRead = Behind(m_iWrite, in_uDelay);
}

uint32_t CrossfadeDelayLine::GetDelay() const
{
    if (m_uPendingDelay.IsValid())
        return m_uPendingDelay.Get();
    return Behind(m_iWrite, m_iRead);
}

void CrossfadeDelayLine::Process(uint32_t in_uFrames, float* io_pSamples)
{
    const uint32_t uCapacity = Capacity();
    if (uCapacity == 0)
        return;
    float* pLine = m_fDelayLine.data();
    for (uint32_t i = 0; i < in_uFrames; ++i) {
        if (m_uPendingDelay.IsValid() && !m_bCrossfading) {
            m_iReadOld = m_iRead;
            m_iRead = Behind(m_iWrite, m_uPendingDelay.Get());
            m_fCrossfade = m_fCrossfadeStep;
            m_bCrossfading = true;
            m_uPendingDelay.Invalidate();
        }
        // Write before read: a delay of 0 passes the sample straight through.
        pLine[m_iWrite] = io_pSamples[i];
        float fOut;
        if (m_bCrossfading) {
            QW_ASSERT(m_iReadOld < m_fDelayLine.size());
            const float fOld = m_iReadOld < uCapacity ? pLine[m_iReadOld] : 0.0f;
            fOut = (1.0f - m_fCrossfade) * fOld + m_fCrossfade * pLine[m_iRead];
        } else {
            fOut = pLine[m_iRead];
        }
        if (++m_iWrite >= uCapacity)
            m_iWrite = 0;
        if (++m_iRead >= uCapacity)
            m_iRead = 0;
        // This also ends the start value (the capacity), which marks a line that has not run.
        if (++m_iReadOld >= uCapacity)
            m_iReadOld = 0;
        if (m_bCrossfading) {
            m_fCrossfade += m_fCrossfadeStep;
            if (m_fCrossfade >= 1.0f)
                m_bCrossfading = false;
        }
        io_pSamples[i] = fOut;
    }
}

void CrossfadeDelayLine::Reset()
{
    const uint32_t uDelay = GetDelay();
    if (!m_fDelayLine.empty())
        std::memset(m_fDelayLine.data(), 0, m_fDelayLine.size() * sizeof(float));
    m_fCrossfade = 0.0f;
    m_uPendingDelay.Invalidate();
    m_bCrossfading = false;
    m_iWrite = 0;
    m_iRead = uDelay != 0 ? Capacity() - uDelay : 0;
    m_iReadOld = Capacity();
}
