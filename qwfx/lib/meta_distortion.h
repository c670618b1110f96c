// The short names of the 48 distortion algorithms, shared by the parameter table and
// qwfx curve.
#pragma once
#include <cstdint>

enum : uint32_t { QW_DISTORTION_ALGORITHMS = 48 };

extern const char* const g_apszDistortionAlgorithmNames[QW_DISTORTION_ALGORITHMS];
