#include "qwfx/lib/qwplanaraudio.h"
#include <cmath>

float QwPlanarAudio::Peak() const
{
    float fPeak = 0.0f;
    for (const auto& channel : channels)
        for (float fSample : channel)
            fPeak = std::fmax(fPeak, std::fabs(fSample));
    return fPeak;
}

void QwPlanarAudio::FromInterleaved(const float* in_pSamples, uint32_t in_uChannels, size_t in_uFrames)
{
    channels.assign(in_uChannels, std::vector<float>(in_uFrames));
    for (size_t i = 0; i < in_uFrames; ++i)
        for (uint32_t c = 0; c < in_uChannels; ++c)
            channels[c][i] = in_pSamples[i * in_uChannels + c];
}

std::vector<float> QwPlanarAudio::ToInterleaved() const
{
    const uint32_t uChannels = NumChannels();
    const size_t uFrames = NumFrames();
    std::vector<float> samples(uFrames * uChannels);
    for (size_t i = 0; i < uFrames; ++i)
        for (uint32_t c = 0; c < uChannels; ++c)
            samples[i * uChannels + c] = channels[c][i];
    return samples;
}
