// Tail state of an effect that rings on after its input ends.
#pragma once
#include <cstdint>
#include "host/qwaudiobuffer.h"

struct QwTailHandler
{
    static constexpr uint32_t NOT_STARTED = 0xFFFFFFFFu;

    uint32_t m_uTailFramesRemaining = NOT_STARTED;
    uint32_t m_uTotalTailFrames = 0;

    // Pads the last input block and the blocks after it with silence and keeps eState at 45
    // while tail frames remain.
    void HandleTail(QwAudioBuffer& io_buffer, uint32_t in_uTotalTailFrames);
};
