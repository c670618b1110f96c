// A single-channel FIR filter with single-precision taps, owning its primitive state and two
// scratch blocks through which audio is cleaned of near-zero values on the way in and out.
#pragma once
#include <cstdint>
#include "kvbase/common/common_checked_types.h"
#include "kvbase/common/common_vector.h"
#include "kvbase/ipp/ipp_filtering_ref.h"

class FirFilter
{
public:
    // Null taps or a count of 0 make an empty filter. Allocates.
    FirFilter(const float* pTaps, uint32_t uCount);
    ~FirFilter();
    FirFilter(const FirFilter&) = delete;
    FirFilter& operator=(const FirFilter&) = delete;

    // The same count swaps the taps under the running delay line; another count builds a new
    // state (allocates) and drops the old one without freeing it, a leak that is part of the
    // required behaviour. Unless bKeepState, the line is cleared.
    void SetTaps(const float* pTaps, uint32_t uCount, bool bKeepState);
    void Reset();
    // Allocates only when uFrames exceeds every block seen before.
    void Process(uint32_t uFrames, const float* pInput, float* pOutput);
    void Process(uint32_t uFrames, float* pInOut) { Process(uFrames, pInOut, pInOut); }
    // One sample straight through the state: no scratch, no cleaning.
    float ProcessSample(float fIn);

    bool IsEmpty() const { return m_pState == nullptr; }

private:
    void CheckInvariant() const;

    QwIppFirState* m_pState;
    checked_value<uint32_t> m_uNumCoeffs;
    common_aligned_vector<float> m_afIn;
    common_aligned_vector<float> m_afOut;
};
