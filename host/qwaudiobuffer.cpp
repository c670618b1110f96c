#include "host/qwaudiobuffer.h"
#include "host/qwassert.h"

bool QwIsKnownSpeakerMask(uint32_t in_uMask)
{
    switch (in_uMask) {
    case QW_MASK_MONO:
    case QW_MASK_STEREO:
    case QW_MASK_4_0:
    case QW_MASK_5_0:
    case QW_MASK_5_1:
    case QW_MASK_7_1:
        return true;
    default:
        return false;
    }
}

float* QwAudioBuffer::GetChannel(uint32_t in_uIndex)
{
    QW_ASSERT(in_uIndex < NumChannels());
    return pData + static_cast<size_t>(in_uIndex) * uMaxFrames;
}

void QwAudioBuffer::PadBlockWithZeros()
{
    QW_ASSERT(pData != nullptr || MaxFrames() == 0);
    const uint16_t uFrom = uValidFrames < uMaxFrames ? uValidFrames : uMaxFrames;
    if (uFrom == uMaxFrames)
        return;
    QW_ASSERT(pData != nullptr);
    const uint32_t uChannels = NumChannels();
    for (uint32_t c = 0; c < uChannels; ++c) {
        float* pChannel = pData + static_cast<size_t>(c) * uMaxFrames;
        for (uint32_t i = uFrom; i < uMaxFrames; ++i)
            pChannel[i] = 0.0f;
    }
    uValidFrames = uMaxFrames;
}
