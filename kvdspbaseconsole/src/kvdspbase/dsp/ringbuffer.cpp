#include "kvdspbase/dsp/ringbuffer.h"
#include <cstring>
#include "host/qwassert.h"
#include "kvbase/common/common_algorithm.h"

namespace {

// The iterator test of the sample-by-sample read: the newest entry is the one it may not reach.
void CheckNotNewest(uint64_t uPos, uint64_t uNewest)
{
    QW_ASSERT_TEXT(uPos != uNewest, "*this != m_pRingBuffer->end()");
}

} // namespace

RingBuffer::RingBuffer(uint64_t n) : m_uLength(n), m_uTotalLength(n + 1), m_uHead(0)
{
    QW_ASSERT(n != 0);
    m_afBuffer.reserve(static_cast<uint32_t>(m_uTotalLength));
    m_afBuffer.resize(static_cast<uint32_t>(m_uTotalLength), 0.0f);
    m_afScratch.reserve(static_cast<uint32_t>(m_uLength));
    if (m_afBuffer.size() != m_uTotalLength) {
        // Out of memory: run as an empty line rather than touch missing entries.
        m_uLength = 0;
        m_uTotalLength = 0;
    }
}

void RingBuffer::Reset()
{
    if (!m_afBuffer.empty())
        std::memset(m_afBuffer.data(), 0, m_afBuffer.size() * sizeof(float));
    m_uHead = 0;
}

void RingBuffer::Read(float* out_pDest, uint64_t uLength) const
{
    if (m_uTotalLength == 0)
        return;
    const float* pBuffer = m_afBuffer.data();
    if (uLength <= m_uLength) {
        QW_ASSERT(uLength < m_uTotalLength);
        const uint64_t uStart = m_uHead % m_uTotalLength;
        const uint64_t uFirst = uLength < m_uTotalLength - uStart ? uLength : m_uTotalLength - uStart;
        std::memcpy(out_pDest, pBuffer + uStart, uFirst * sizeof(float));
        std::memcpy(out_pDest + uFirst, pBuffer, (uLength - uFirst) * sizeof(float));
        return;
    }
    const uint64_t uNewest = (m_uHead + m_uTotalLength - 1) % m_uTotalLength;
    for (uint64_t j = 0; j < uLength; ++j) {
        // Newest minus (length - j), wrapped: the oldest entry for j = 0.
        const uint64_t uPos = (m_uHead + j) % m_uTotalLength;
        CheckNotNewest(uPos, uNewest);
        out_pDest[j] = pBuffer[uPos];
    }
}

void RingBuffer::Write(const float* in_pSource, uint64_t uLength)
{
    if (m_uTotalLength == 0)
        return;
    float* pBuffer = m_afBuffer.data();
    if (uLength <= m_uLength) {
        QW_ASSERT(uLength < m_uTotalLength);
        const uint64_t uFirst = uLength < m_uTotalLength - m_uHead ? uLength : m_uTotalLength - m_uHead;
        std::memcpy(pBuffer + m_uHead, in_pSource, uFirst * sizeof(float));
        std::memcpy(pBuffer, in_pSource + uFirst, (uLength - uFirst) * sizeof(float));
        m_uHead += uLength;
        if (m_uHead >= m_uTotalLength)
            m_uHead -= m_uTotalLength;
        return;
    }
    for (uint64_t j = 0; j < uLength; ++j) {
        pBuffer[m_uHead] = in_pSource[j];
        if (++m_uHead == m_uTotalLength)
            m_uHead = 0;
    }
}

float* RingBuffer::HeadRun(uint64_t& out_uCount)
{
    if (m_uTotalLength == 0) {
        out_uCount = 0;
        return m_afBuffer.data();
    }
    const uint64_t uOldest = m_uHead % m_uTotalLength;
    out_uCount = m_uTotalLength - uOldest;
    return m_afBuffer.data() + uOldest;
}

void RingBuffer::Advance(uint64_t uLength)
{
    if (m_uTotalLength == 0)
        return;
    QW_ASSERT(uLength < m_uTotalLength);
    m_uHead = (m_uHead + uLength) % m_uTotalLength;
}

void RingBuffer::SetLength(uint64_t n, float fFill)
{
    if (n == m_uLength)
        return;
    float* pBuffer = m_afBuffer.data();
    const uint64_t uSize = m_afBuffer.size();
    if (m_uHead < n) {
        if (m_uHead != 0 && n < m_uLength) {
            const int64_t d = static_cast<int64_t>(n) - static_cast<int64_t>(m_uLength);
            if (static_cast<int64_t>(m_uHead) + d < 0) {
                for (uint64_t i = 0; i < uSize; ++i)
                    pBuffer[i] = fFill;
            } else {
                // The head stays put, so the moved history no longer lines up with it; only the
                // fitting does this, and it resets the line afterwards.
                common_copy(pBuffer + m_uHead, pBuffer + uSize, pBuffer + (static_cast<int64_t>(m_uHead) + d));
            }
        }
    } else {
        // Oldest entry first: three reversals rotate left by the head.
        common_reverse(pBuffer, pBuffer + uSize);
        common_reverse(pBuffer, pBuffer + (uSize - m_uHead));
        common_reverse(pBuffer + (uSize - m_uHead), pBuffer + uSize);
        m_uHead = 0;
    }
    m_afBuffer.resize(static_cast<uint32_t>(n + 1), fFill);
    if (m_afBuffer.size() != n + 1) {
        m_uLength = 0;
        m_uTotalLength = 0;
        m_uHead = 0;
        return;
    }
    m_uLength = n;
    m_uTotalLength = n + 1;
}
