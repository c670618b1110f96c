#include "host/qwtailhandler.h"

void QwTailHandler::HandleTail(QwAudioBuffer& io_buffer, uint32_t in_uTotalTailFrames)
{
    if (io_buffer.eState != QW_InputEnded) {
        m_uTailFramesRemaining = NOT_STARTED;
        return;
    }
    const uint32_t uRemaining = m_uTailFramesRemaining;
    if (uRemaining == 0 && io_buffer.uValidFrames == 0)
        return;
    if (uRemaining == NOT_STARTED || io_buffer.uValidFrames > 0) {
        m_uTailFramesRemaining = in_uTotalTailFrames;
        m_uTotalTailFrames = in_uTotalTailFrames;
    } else if (in_uTotalTailFrames > m_uTotalTailFrames) {
        m_uTailFramesRemaining += in_uTotalTailFrames - m_uTotalTailFrames;
        m_uTotalTailFrames = in_uTotalTailFrames;
    }
    const uint32_t uRoom = io_buffer.uMaxFrames > io_buffer.uValidFrames
                               ? static_cast<uint32_t>(io_buffer.uMaxFrames - io_buffer.uValidFrames)
                               : 0u;
    m_uTailFramesRemaining -= m_uTailFramesRemaining < uRoom ? m_uTailFramesRemaining : uRoom;
    // The pad always fills the whole block, even past the last tail frame.
    io_buffer.PadBlockWithZeros();
    if (m_uTailFramesRemaining > 0)
        io_buffer.eState = QW_DataReady;
}
