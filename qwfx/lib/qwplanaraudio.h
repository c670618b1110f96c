// Host-side audio: one float vector per channel, all of the same length.
#pragma once
#include <cstddef>
#include <cstdint>
#include <vector>

struct QwPlanarAudio
{
    uint32_t uSampleRate = 48000;
    std::vector<std::vector<float>> channels;

    QwPlanarAudio() = default;
    QwPlanarAudio(uint32_t in_uSampleRate, uint32_t in_uChannels, size_t in_uFrames)
        : uSampleRate(in_uSampleRate), channels(in_uChannels, std::vector<float>(in_uFrames, 0.0f))
    {
    }

    uint32_t NumChannels() const { return static_cast<uint32_t>(channels.size()); }
    size_t NumFrames() const { return channels.empty() ? 0 : channels[0].size(); }
    // Largest magnitude over all channels.
    float Peak() const;

    void FromInterleaved(const float* in_pSamples, uint32_t in_uChannels, size_t in_uFrames);
    std::vector<float> ToInterleaved() const;
};
