// One second-order shelf per network line that turns three per-sample band gains and the
// line's delay into the gain the line applies on each pass. Lines are filtered four at a time.
#pragma once
#include <cstdint>
#include "kvbase/common/common_vector.h"

class BandGainFilter
{
public:
    BandGainFilter(double in_fSampleRate, uint32_t in_nFilters);

    void SetDelay(uint32_t in_iLine, double in_fSamples);
    void SetLowCrossover(double in_fHz);
    void SetHighCrossover(double in_fHz);
    void SetLowGain(double in_fGain);
    void SetMidGain(double in_fGain);
    void SetHighGain(double in_fGain);

    // Lines 4 x group to 4 x group + 3, in place.
    void ProcessFour(uint32_t in_uGroup, uint32_t in_uFrames, float* const* io_ppLines);
    // The same arithmetic without vector registers; kept for comparison in tests.
    void ProcessFourPortable(uint32_t in_uGroup, uint32_t in_uFrames, float* const* io_ppLines);
    void Reset();

    uint32_t NumFilters() const { return m_nFilters; }
    // Coefficient and state arrays, one entry per line, for kernels that filter every line in one
    // pass; all null after a memory failure.
    struct Arrays
    {
        const float* pB0;
        const float* pB1;
        const float* pB2;
        const float* pA1;
        const float* pA2;
        float* pZ1;
        float* pZ2;
    };
    Arrays GetArrays() { return {m_pB0, m_pB1, m_pB2, m_pA1, m_pA2, m_pZ1, m_pZ2}; }
    // Coefficients of one line: b0, b1, b2, a1, a2.
    void GetCoefficients(uint32_t in_iLine, float out_afCoeffs[5]) const;

private:
    void Update();

    double m_fSampleRate;
    uint32_t m_nFilters;
    double m_fLowCrossover = 1.0;
    double m_fHighCrossover = 1.0;
    double m_fLowGain = 1.0;
    double m_fMidGain = 1.0;
    double m_fHighGain = 1.0;
    common_vector<double> m_fDelays;
    common_aligned_vector<float> m_fStore;
    float* m_pB0 = nullptr;
    float* m_pB1 = nullptr;
    float* m_pB2 = nullptr;
    float* m_pA1 = nullptr;
    float* m_pA2 = nullptr;
    float* m_pZ1 = nullptr;
    float* m_pZ2 = nullptr;
};
