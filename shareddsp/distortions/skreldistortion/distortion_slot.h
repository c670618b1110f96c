// One distortion slot: five user values, the gains derived from them, and the small state that
// only the three digital algorithms carry between blocks.
#pragma once
#include <cstdint>
#include "shareddsp/distortions/skreldistortion/distortion_constants.h"

struct DistortionSlot
{
    uint32_t m_uAlgorithm = 0;
    float m_fInputGainDb = 0.0f;
    float m_fDrive = 5.0f;
    float m_fCharacter = 0.5f;
    float m_fMix = 100.0f;
    float m_fOutputGainDb = 0.0f;
    float m_fInputGain = 1.0f;
    float m_fDriveGain = 10.0f; // Drive 5 on a 40 dB row is 20 dB
    float m_fCharacterCopy = 0.5f; // read by Wrecktifier only, written together with m_fCharacter
    float m_fWetGain = 1.0f;
    float m_fDryGain = 0.0f;
    float m_fOutputGain = 1.0f;
    float m_fAverageBuffer[KvSkrel::MAX_SAMPLE_AVERAGING] = {};
    float m_fAverageSum = 0.0f;
    uint32_t m_uBufferSamples = 0;
    uint32_t m_uBufferPosition = 0;
    int8_t m_iDenormalCounter = 0;
    bool m_bSampleAveraging = true;
};
