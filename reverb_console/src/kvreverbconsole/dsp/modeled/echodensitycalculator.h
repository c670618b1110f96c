// How diffuse a stretch of impulse response is: per hop, the weighted fraction of samples that lie
// outside one standard deviation, scaled so that Gaussian noise gives 1.0 and sparse echoes less.
#pragma once
#include <cstdint>
#include "kvbase/common/common_vector.h"

class EchoDensityCalculator
{
public:
    // Sizes the profile for responses of up to in_uMaxLength samples. Allocates.
    EchoDensityCalculator(float in_fSampleRate, uint32_t in_uMaxLength);

    // Fills the profile, one value a hop; empty when in_uLength is at most the window.
    // Allocates when in_uLength is beyond the construction length.
    void Calculate(uint32_t in_uLength, const float* in_pfSamples);

    const common_vector<float>& GetProfile() const { return m_afProfile; }
    uint32_t GetHop() const { return m_sHop; }
    uint32_t GetWindowLength() const { return m_sWindow; }
    const common_vector<float>& GetWindow() const { return m_afWindow; }

private:
    uint32_t NumFrames(uint32_t in_uLength) const;

    uint32_t m_sHalfWindow;
    uint32_t m_sWindow;
    uint32_t m_sHop;
    common_vector<float> m_afWindow;
    common_vector<float> m_afProfile;
};
