// The constant curves of the eleven lookup algorithms, built at compile time and shared by all
// instances: 861 interleaved (positive, negative) pairs on the 16-bit scale, then one zero pair.
#pragma once
#include <cstdint>

namespace KvSkrel {

constexpr uint32_t LOOKUP_POSITIONS = 861;
constexpr uint32_t LOOKUP_LAST_POSITION = LOOKUP_POSITIONS - 1;
constexpr uint32_t LOOKUP_TABLE_FLOATS = 2 * (LOOKUP_POSITIONS + 1);
// Every table starts here in both columns, so silence comes out as a small negative offset.
constexpr float LOOKUP_SILENCE = -2230.2146f;
constexpr float LOOKUP_SCALE = 3.051851e-05f; // 1 / 32767

} // namespace KvSkrel

// The table an algorithm reads (37 to 47; 38 and 39 share one), or null for any other number.
const float* DistortionLookupTable(uint32_t in_uAlgorithm);
