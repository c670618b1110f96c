// Box model records and noise for the box modeler's tests.
#pragma once
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

// The plug-in media: f32 gain in dB, u32 tap count, the taps (little-endian on this host).
inline std::vector<uint8_t> MakeBoxModelBlob(float in_fGainDb, const std::vector<float>& in_taps)
{
    std::vector<uint8_t> blob(8 + 4 * in_taps.size());
    const uint32_t uTaps = static_cast<uint32_t>(in_taps.size());
    std::memcpy(blob.data(), &in_fGainDb, 4);
    std::memcpy(blob.data() + 4, &uTaps, 4);
    if (!in_taps.empty())
        std::memcpy(blob.data() + 8, in_taps.data(), 4 * in_taps.size());
    return blob;
}

inline std::vector<float> TestNoise(size_t in_uCount, uint32_t in_uSeed)
{
    std::mt19937 rng(in_uSeed);
    std::uniform_real_distribution<float> dist(-1.0f, 1.0f);
    std::vector<float> v(in_uCount);
    for (float& x : v)
        x = dist(rng);
    return v;
}
