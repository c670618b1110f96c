// Box model records for the box modeler's tests.
#pragma once
#include <cstdint>
#include <cstring>
#include <vector>
#include "support/dspreference.h"

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
