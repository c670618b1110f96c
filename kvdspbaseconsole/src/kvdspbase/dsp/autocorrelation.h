// Autocorrelation lags of one analysis frame under a Hann window, for the linear predictor.
// Init allocates; Compute does not.
#pragma once
#include <cstdint>
#include "kvbase/common/common_vector.h"

class Autocorrelation
{
public:
    // A frame of uFrame samples and lags 0 to uNumLags - 1.
    void Init(uint32_t uFrame, uint32_t uNumLags);
    // r[k] = sum over n of y[n] y[n + k], y the windowed frame; summed in double, stored as float.
    // Writes nothing when Init ran out of memory.
    void Compute(const float* in_pFrame, float* out_pfLags);

    uint32_t GetFrame() const { return m_uFrame; }
    uint32_t GetNumLags() const { return m_uNumLags; }
    const float* GetWindow() const { return m_afWindow.data(); }

private:
    common_aligned_vector<float> m_afWindow;
    common_vector<double> m_adWindowed;
    uint32_t m_uFrame = 0;
    uint32_t m_uNumLags = 0;
};
