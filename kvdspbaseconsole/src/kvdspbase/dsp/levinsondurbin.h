// The Levinson-Durbin recursion: predictor coefficients from autocorrelation lags, solving the
// Toeplitz normal equations in order-recursive steps. Init allocates; Solve does not.
#pragma once
#include <cstdint>
#include "kvbase/common/common_vector.h"

class LevinsonDurbin
{
public:
    // Work vectors for orders up to uMaxOrder.
    void Init(uint32_t uMaxOrder);
    // From lags r[0..uOrder], the predictor x[n] ~ sum over k = 1..uOrder of a[k] x[n - k]:
    // out_pfCoeffs[0] = 1, out_pfCoeffs[k] = a[k]. The recursion runs in double and stops where
    // the prediction error is no longer positive (silence, or lags that no signal can have),
    // leaving the higher coefficients 0. Returns the final prediction error. An order above
    // the Init order is reported and cut to it.
    double Solve(const float* in_pfLags, uint32_t uOrder, float* out_pfCoeffs);

    uint32_t GetMaxOrder() const { return m_uMaxOrder; }

private:
    common_vector<double> m_adA;
    common_vector<double> m_adPrevious;
    uint32_t m_uMaxOrder = 0;
};
