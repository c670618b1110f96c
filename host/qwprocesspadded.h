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

// The same step for up to MAX channels that an engine runs side by side: a full block is
// processed where it stands; a short one goes through MAX scratch blocks of in_uBlockFrames
// each, so that every engine still advances by the whole block size.
template <uint32_t MAX, class Process>
void QwProcessPaddedGroup(uint32_t in_uCount, float* const* io_ppChannels, uint32_t in_uValidFrames,
                          uint32_t in_uBlockFrames, float* io_pScratch, Process&& in_process)
{
    if (in_uValidFrames >= in_uBlockFrames) {
        in_process(io_ppChannels, in_uBlockFrames);
        return;
    }
    float* apBlock[MAX];
    for (uint32_t c = 0; c < in_uCount && c < MAX; ++c) {
        apBlock[c] = io_pScratch + c * in_uBlockFrames;
        for (uint32_t i = 0; i < in_uBlockFrames; ++i)
            apBlock[c][i] = i < in_uValidFrames ? io_ppChannels[c][i] : 0.0f;
    }
    in_process(apBlock, in_uBlockFrames);
    for (uint32_t c = 0; c < in_uCount && c < MAX; ++c)
        for (uint32_t i = 0; i < in_uValidFrames; ++i)
            io_ppChannels[c][i] = apBlock[c][i];
}
