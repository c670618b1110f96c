#include "host/qwmismatchbuffering.h"
#include <cstring>

QwResult QwMismatchBuffering::Init(QwPluginMemAlloc* in_pAllocator, uint32_t in_uHostMaxFrames,
                                   uint32_t in_uChannels)
{
    Term(in_pAllocator);
    m_uChannels = in_uChannels;
    m_uWriteIdx = m_uProcessIdx = m_uReadIdx = 0;
    m_uSilenceFrames = 0;
    m_uPipelineBufferConsumed = m_uPipelineBufferWritten = 0;
    m_uLatencyFrames = 0;

    const uint32_t H = in_uHostMaxFrames;
    uint32_t G = 1;
    while (G < H)
        G <<= 1;
    const uint32_t B = G < MAX_PROCESS_BLOCK ? G : MAX_PROCESS_BLOCK;
    m_uProcessBlockFrames = B;
    // A host without blocks has nothing to adapt.
    if (B == H || H == 0)
        return QW_Success;

    uint32_t S;
    uint32_t L;
    if (B > H) {
        S = B;
        L = (B - 1) - ((B - 1) % H);
        if (B % H != 0) {
            S = 2 * B;
            L = L - (B % H) + H;
        }
    } else if (H % B == 0) {
        S = B;
        L = 0;
    } else {
        S = 2 * B;
        L = B;
    }

    const size_t uBytes = static_cast<size_t>(S) * in_uChannels * sizeof(float);
    void* pMemory = in_pAllocator->MallocAligned(uBytes, 16, __FILE__, __LINE__);
    if (!pMemory)
        return RING_ALLOC_FAILED;
    std::memset(pMemory, 0, uBytes);
    m_pBuffer = static_cast<float*>(pMemory);
    m_uMmbSizeFrames = S;
    m_uLatencyFrames = L;
    return QW_Success;
}

void QwMismatchBuffering::Term(QwPluginMemAlloc* in_pAllocator)
{
    if (m_pBuffer)
        in_pAllocator->Free(m_pBuffer);
    m_pBuffer = nullptr;
    m_uMmbSizeFrames = 0;
    m_uProcessBlockFrames = 0;
    m_uChannels = 0;
}

void QwMismatchBuffering::ResetIndices()
{
    m_uWriteIdx = 0;
    m_uProcessIdx = 0;
    m_uReadIdx = 0;
    m_uSilenceFrames = 0;
}

void QwMismatchBuffering::PushPipelineBuffer(QwAudioBuffer& in_pipelineBuffer)
{
    QW_ASSERT(in_pipelineBuffer.NumChannels() == m_uChannels);
    if (!m_pBuffer)
        return;
    QW_ASSERT(m_uReadIdx <= m_uWriteIdx);
    QW_ASSERT(m_uMmbSizeFrames >= (m_uWriteIdx - m_uReadIdx));

    const uint32_t uFree = FreeFrames();
    if (m_uSilenceFrames != 0) {
        const uint32_t n = uFree < m_uSilenceFrames ? uFree : m_uSilenceFrames;
        WriteSilence(n);
        m_uSilenceFrames -= n;
    }
    if (m_uPipelineBufferConsumed < in_pipelineBuffer.uValidFrames) {
        QW_ASSERT(m_uPipelineBufferConsumed >= m_uPipelineBufferWritten);
        const uint32_t uWanted = in_pipelineBuffer.uValidFrames - m_uPipelineBufferConsumed;
        const uint32_t uFreeNow = FreeFrames();
        const uint32_t uTotal = uWanted < uFreeNow ? uWanted : uFreeNow;
        const uint32_t B = m_uProcessBlockFrames;
        // A host with other channels than announced: copy only those both sides have.
        const uint32_t uHostChannels = in_pipelineBuffer.NumChannels();
        const uint32_t uChannels = uHostChannels < m_uChannels ? uHostChannels : m_uChannels;
        const size_t uHostStride = in_pipelineBuffer.uMaxFrames;
        uint32_t uCopied = 0;
        while (uCopied < uTotal) {
            const uint32_t uInBlock = B - (m_uWriteIdx % B);
            const uint32_t n = uInBlock < uTotal - uCopied ? uInBlock : uTotal - uCopied;
            float* pBlock = BlockAt(m_uWriteIdx) + (m_uWriteIdx % B);
            const float* pSource = in_pipelineBuffer.pData + m_uPipelineBufferConsumed + uCopied;
            for (uint32_t c = 0; c < uChannels; ++c)
                std::memcpy(pBlock + static_cast<size_t>(c) * B, pSource + c * uHostStride, n * sizeof(float));
            m_uWriteIdx += n;
            uCopied += n;
        }
        m_uPipelineBufferConsumed += uTotal;
    }
}

void QwMismatchBuffering::WriteSilence(uint32_t in_uFrames)
{
    const uint32_t B = m_uProcessBlockFrames;
    uint32_t uDone = 0;
    while (uDone < in_uFrames) {
        const uint32_t uInBlock = B - (m_uWriteIdx % B);
        const uint32_t n = uInBlock < in_uFrames - uDone ? uInBlock : in_uFrames - uDone;
        float* pBlock = BlockAt(m_uWriteIdx) + (m_uWriteIdx % B);
        for (uint32_t c = 0; c < m_uChannels; ++c)
            std::memset(pBlock + static_cast<size_t>(c) * B, 0, n * sizeof(float));
        m_uWriteIdx += n;
        uDone += n;
    }
}

bool QwMismatchBuffering::PopPipelineBuffer(QwAudioBuffer& out_pipelineBuffer, const QwAudioBuffer& in_processBuffer)
{
    QW_ASSERT(out_pipelineBuffer.MaxFrames() >= m_uPipelineBufferConsumed);
    QW_ASSERT(m_uPipelineBufferWritten < out_pipelineBuffer.MaxFrames());
    if (!m_pBuffer) {
        out_pipelineBuffer = in_processBuffer;
        m_eProcessState = STATE_NOT_STARTED;
        return false;
    }

    // At the end of the stream the output may fill the whole host block; before that, a
    // block returns only as much as it brought.
    const uint32_t uLimit =
        (out_pipelineBuffer.eState == QW_InputEnded && m_uPipelineBufferConsumed >= out_pipelineBuffer.uValidFrames)
            ? out_pipelineBuffer.uMaxFrames
            : m_uPipelineBufferConsumed;
    const uint32_t B = m_uProcessBlockFrames;
    const uint32_t uHostChannels = out_pipelineBuffer.NumChannels();
    const uint32_t uChannels = uHostChannels < m_uChannels ? uHostChannels : m_uChannels;
    const size_t uHostStride = out_pipelineBuffer.uMaxFrames;
    while (m_uReadIdx < m_uProcessIdx && m_uPipelineBufferWritten < uLimit) {
        uint32_t n = B - (m_uReadIdx % B);
        if (uLimit - m_uPipelineBufferWritten < n)
            n = uLimit - m_uPipelineBufferWritten;
        if (m_uProcessIdx - m_uReadIdx < n)
            n = m_uProcessIdx - m_uReadIdx;
        const float* pBlock = BlockAt(m_uReadIdx) + (m_uReadIdx % B);
        float* pTarget = out_pipelineBuffer.pData + m_uPipelineBufferWritten;
        for (uint32_t c = 0; c < uChannels; ++c)
            std::memcpy(pTarget + c * uHostStride, pBlock + static_cast<size_t>(c) * B, n * sizeof(float));
        m_uReadIdx += n;
        m_uPipelineBufferWritten += n;
    }

    const uint32_t uMaxFrames = out_pipelineBuffer.uMaxFrames;
    const uint32_t uTop = out_pipelineBuffer.eState != QW_InputEnded ? out_pipelineBuffer.uValidFrames : uMaxFrames;
    QW_ASSERT(m_uPipelineBufferWritten <= uMaxFrames);
    if (m_uPipelineBufferWritten != uTop && m_eProcessState != QW_InputEnded)
        return true;
    out_pipelineBuffer.uValidFrames = static_cast<uint16_t>(m_uPipelineBufferWritten);
    out_pipelineBuffer.eState = m_uWriteIdx > m_uReadIdx ? static_cast<uint32_t>(QW_DataReady) : m_eProcessState;
    return false;
}
