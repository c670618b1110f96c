// One compressor-and-expander channel strip: the user values, what is derived from them, and the
// smoothed gains that are the strip's state. A plain record; DynamicsDsp owns and updates it.
#pragma once
#include <cstdint>

struct DynamicsStage
{
    float m_fPeak = 0.0f;
    float m_fCompThresholdDb = 0.0f;
    float m_fCompRatio = 1.0f;
    float m_fCompAttackMs = 10.0f;
    float m_fCompReleaseMs = 200.0f;
    float m_fExpThresholdDb = 0.0f;
    float m_fExpRatio = 1.0f;
    float m_fExpAttackMs = 10.0f;
    float m_fExpReleaseMs = 200.0f;
    float m_fOutputGainDb = 0.0f;

    float m_fCompThreshold = 1.0f;
    float m_fCompSlope = 1.0f;
    float m_fCompAttackCoeff = 0.0f;
    float m_fCompAttackGain = 1.0f;
    float m_fCompReleaseCoeff = 0.0f;
    float m_fCompReleaseGain = 1.0f;
    float m_fExpThreshold = 1.0f;
    float m_fExpSlope = 1.0f;
    float m_fExpAttackCoeff = 0.0f;
    float m_fExpAttackGain = 1.0f;
    float m_fExpReleaseCoeff = 0.0f;
    float m_fExpReleaseGain = 1.0f;
    float m_fOutputGain = 1.0f;

    float m_fCompGain = 1.0f;
    float m_fExpGain = 1.0f;
    float m_fCompGainMin = 1.0f;
    float m_fExpGainMin = 1.0f;
    uint32_t m_uInputGuardCount = 0;
    uint32_t m_uOutputGuardCount = 0;
};
