// The block record handed to Execute; channels are contiguous with stride uMaxFrames.
#pragma once
#include "host/qwtypes.h"

struct QwAudioBuffer
{
    float* pData;
    QwChannelConfig uChannelConfig;
    uint32_t eState;
    uint16_t uMaxFrames;
    uint16_t uValidFrames;

    uint32_t NumChannels() const { return uChannelConfig & 0xFFu; }
    uint16_t MaxFrames() const { return uMaxFrames; }
    float* GetChannel(uint32_t in_uIndex);
    void PadBlockWithZeros();
};
