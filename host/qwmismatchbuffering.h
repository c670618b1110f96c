// Lets an effect with a fixed process block run inside a host that hands it blocks of any
// other length: a ring of block-major frames between the host's block and the process step.
// It primes the ring with silence on purpose, so that every host block can be filled on the
// call that brings it and host blocks in and out stay in step.
#pragma once
#include <cstdint>
#include "host/qwassert.h"
#include "host/qwaudiobuffer.h"
#include "host/qwpluginmemalloc.h"
#include "host/qwtailhandler.h"

class QwMismatchBuffering
{
public:
    enum : QwResult { RING_ALLOC_FAILED = 2 };
    enum : uint32_t { MAX_PROCESS_BLOCK = 1024, STATE_NOT_STARTED = 43 };

    // Sizes the ring for the host's largest block and C channels; 1, or 2 if the ring could
    // not be allocated (then there is no ring and the size is 0).
    QwResult Init(QwPluginMemAlloc* in_pAllocator, uint32_t in_uHostMaxFrames, uint32_t in_uChannels);
    // Frees the ring and zeroes the size, block and channel fields.
    void Term(QwPluginMemAlloc* in_pAllocator);
    // Back to an empty ring; its content and the last process state stay.
    void ResetIndices();

    void PushPipelineBuffer(QwAudioBuffer& in_pipelineBuffer);
    void WriteSilence(uint32_t in_uFrames);
    // True while the host block is not yet full and the loop must run again.
    bool PopPipelineBuffer(QwAudioBuffer& out_pipelineBuffer, const QwAudioBuffer& in_processBuffer);

    // One host block through the ring: pushes, runs every process block that is ready (with
    // the tail logic applied to the process block), and pops. in_tailFrames() gives the
    // effect's tail length at that moment; in_process(QwAudioBuffer&) is the process step.
    template <class TailFrames, class Process>
    void Run(QwAudioBuffer& io_pipelineBuffer, QwTailHandler& io_tail, TailFrames&& in_tailFrames,
             Process&& in_process);

    bool HasRing() const { return m_pBuffer != nullptr; }
    uint32_t ProcessBlockFrames() const { return m_uProcessBlockFrames; }
    uint32_t RingFrames() const { return m_uMmbSizeFrames; }
    uint32_t LatencyFrames() const { return m_uLatencyFrames; }
    uint32_t ProcessState() const { return m_eProcessState; }
    uint32_t WriteIdx() const { return m_uWriteIdx; }
    uint32_t ProcessIdx() const { return m_uProcessIdx; }
    uint32_t ReadIdx() const { return m_uReadIdx; }

private:
    // Start of the block that holds frame in_uFrame, block-major with channel stride B.
    float* BlockAt(uint32_t in_uFrame) const
    {
        const uint32_t uBlockStart = (in_uFrame - in_uFrame % m_uProcessBlockFrames) % m_uMmbSizeFrames;
        return m_pBuffer + static_cast<size_t>(uBlockStart) * m_uChannels;
    }
    uint32_t FreeFrames() const { return m_uReadIdx - m_uWriteIdx + m_uMmbSizeFrames; }

    float* m_pBuffer = nullptr;
    uint32_t m_uMmbSizeFrames = 0;
    uint32_t m_uProcessBlockFrames = 0;
    uint32_t m_uChannels = 0;
    uint32_t m_uWriteIdx = 0;
    uint32_t m_uProcessIdx = 0;
    uint32_t m_uReadIdx = 0;
    uint32_t m_eProcessState = STATE_NOT_STARTED;
    uint32_t m_uPipelineBufferConsumed = 0;
    uint32_t m_uPipelineBufferWritten = 0;
    uint32_t m_uSilenceFrames = 0;
    uint32_t m_uLatencyFrames = 0;
};

template <class TailFrames, class Process>
void QwMismatchBuffering::Run(QwAudioBuffer& io_pipelineBuffer, QwTailHandler& io_tail, TailFrames&& in_tailFrames,
                              Process&& in_process)
{
    const uint32_t B = m_uProcessBlockFrames;
    const uint32_t S = m_uMmbSizeFrames;
    m_uPipelineBufferConsumed = 0;
    m_uPipelineBufferWritten = 0;
    // Top the ring up to the full latency at every block, also after a stretch of short blocks.
    if (io_pipelineBuffer.eState != QW_InputEnded &&
        m_uSilenceFrames + m_uWriteIdx - m_uReadIdx < m_uLatencyFrames)
        m_uSilenceFrames = m_uLatencyFrames - m_uWriteIdx + m_uReadIdx;

    QwAudioBuffer in_processBuffer = {nullptr, io_pipelineBuffer.uChannelConfig, QW_NoDataReady, 0, 0};
    for (;;) {
        const uint32_t uWriteBefore = m_uWriteIdx;
        const uint32_t uReadBefore = m_uReadIdx;
        const uint32_t uProcessBefore = m_uProcessIdx;
        PushPipelineBuffer(io_pipelineBuffer);
        for (;;) {
            const uint32_t uAvail = m_uWriteIdx - m_uProcessIdx;
            const uint32_t T = io_tail.m_uTailFramesRemaining;
            uint32_t uValid = B;
            uint32_t eState;
            if (io_pipelineBuffer.eState == QW_DataReady) {
                if (uAvail < B)
                    break;
                eState = QW_DataReady;
            } else if (io_pipelineBuffer.eState == QW_InputEnded) {
                if (uAvail >= B) {
                    eState = m_uPipelineBufferConsumed < io_pipelineBuffer.uValidFrames ? QW_DataReady : QW_InputEnded;
                } else {
                    if (m_uPipelineBufferConsumed < io_pipelineBuffer.uValidFrames)
                        break;
                    if (uAvail == 0 && T == 0)
                        break;
                    if (S - (m_uWriteIdx - m_uReadIdx) < B - uAvail)
                        break;
                    eState = QW_InputEnded;
                    if (T != 0)
                        uValid = uAvail; // the tail step pads the block inside the ring
                    else
                        WriteSilence(B - uAvail);
                }
            } else {
                break;
            }
            QW_ASSERT(!(m_uProcessIdx % m_uProcessBlockFrames));
            in_processBuffer.pData = m_pBuffer + static_cast<size_t>(m_uProcessIdx % S) * m_uChannels;
            in_processBuffer.uChannelConfig = io_pipelineBuffer.uChannelConfig;
            in_processBuffer.eState = eState;
            in_processBuffer.uMaxFrames = static_cast<uint16_t>(B);
            in_processBuffer.uValidFrames = static_cast<uint16_t>(uValid);
            QW_ASSERT_TEXT(in_processBuffer.pData != nullptr || in_processBuffer.MaxFrames() == 0,
                           "pData != nullptr || MaxFrames() == 0");
            io_tail.HandleTail(in_processBuffer, in_tailFrames());
            in_process(in_processBuffer);
            QW_ASSERT(in_processBuffer.eState != QW_NoDataReady);
            m_uProcessIdx += in_processBuffer.uValidFrames;
            // Takes the frames padded inside the ring into the count.
            if (m_uProcessIdx > m_uWriteIdx)
                m_uWriteIdx = m_uProcessIdx;
            m_eProcessState = in_processBuffer.eState;
        }
        in_processBuffer.eState = QW_NoDataReady;
        if (!PopPipelineBuffer(io_pipelineBuffer, in_processBuffer))
            return;
        // Cannot happen with host blocks of at most the size given to Init; guards the audio
        // thread against spinning if a host breaks that promise.
        if (m_uWriteIdx == uWriteBefore && m_uReadIdx == uReadBefore && m_uProcessIdx == uProcessBefore)
            return;
    }
}
