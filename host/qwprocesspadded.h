// The short-block step every fixed-block engine shares, kept apart from the effect frame so
// that implementation classes can use it without reaching up to the host-facing layer.
#pragma once
#include <cstdint>

// Runs a fixed-size engine over a possibly short block: the valid frames go through a
// zero-padded scratch block so that the engine's state advances by the whole block size,
// and only the valid frames are copied back.
template <class Process>
void QwProcessPadded(float* io_pChannel, uint32_t in_uValidFrames, uint32_t in_uBlockFrames, float* io_pScratch,
                     Process&& in_process)
{
    if (in_uValidFrames < in_uBlockFrames) {
        for (uint32_t i = 0; i < in_uBlockFrames; ++i)
            io_pScratch[i] = 0.0f;
    }
    for (uint32_t i = 0; i < in_uValidFrames; ++i)
        io_pScratch[i] = io_pChannel[i];
    in_process(io_pScratch, in_uBlockFrames);
    for (uint32_t i = 0; i < in_uValidFrames; ++i)
        io_pChannel[i] = io_pScratch[i];
}
