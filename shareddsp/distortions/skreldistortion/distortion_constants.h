// Sizes of the distortion slot grid and the two helpers every distortion mapping goes through.
#pragma once
#include <cmath>
#include <cstdint>

namespace KvSkrel {

constexpr uint32_t NUM_BANDS = 4;
constexpr uint32_t NUM_DISTORTION_SLOTS = 2;
constexpr uint32_t NUM_CUTOFFS = 2; // the multiband effect's two crossover frequencies
constexpr uint32_t NUM_DISTORTION_ALGORITHMS = 48;
constexpr uint32_t MAX_BUFFER_SIZE = 1024;
constexpr uint32_t MAX_SAMPLE_AVERAGING = 64;

// ln(10) / 20 in single precision: the family converts dB with exp, not a power of ten.
constexpr float DB_TO_NEPER = 0.115129255f;

inline float DbToLinear(float in_fDb) { return std::exp(in_fDb * DB_TO_NEPER); }

// Maps v from (a, b) onto (c, d); a degenerate source range yields c.
inline float LinearMap(float in_fValue, float in_fA, float in_fB, float in_fC, float in_fD)
{
    if (in_fA == in_fB)
        return in_fC;
    return (in_fValue - in_fA) / (in_fB - in_fA) * (in_fD - in_fC) + in_fC;
}

} // namespace KvSkrel
