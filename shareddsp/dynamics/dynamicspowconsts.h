// Constants shared by the versions of the block pow, so that they compute the same sums.
#pragma once
#include <cstdint>

namespace dynamicspow {

// The base is split as 2^k m with m in [sqrt(1/2), sqrt(2)): subtracting the bits of sqrt(1/2)
// leaves k in the exponent field and the bits to take off m.
const uint32_t SQRT_HALF_BITS = 0x3f3504f3u;
const uint32_t MIN_NORMAL_BITS = 0x00800000u;
const uint32_t MAX_FINITE_BITS = 0x7f7fffffu;
// ln m = 2 atanh(s), s = (m - 1) / (m + 1), |s| < 0.1716: 2 (s + s^3/3 + ... + s^15/15)
// leaves a relative error below 4e-14.
const double LOG_COEFFS[8] = {2.0, 2.0 / 3, 2.0 / 5, 2.0 / 7, 2.0 / 9, 2.0 / 11, 2.0 / 13, 2.0 / 15};
const double LN2_HI = 6.93147180369123816490e-01;  // 32 significant bits: n LN2_HI is exact
const double LN2_LO = 1.90821492927058770002e-10;
const double INV_LN2 = 1.44269504088896338700e+00;
// Adding 1.5 * 2^52 rounds to the nearest integer, which then stands in the low bits.
const double ROUND_MAGIC = 6755399441055744.0;
// exp f for |f| <= ln2 / 2 by Taylor to f^12: relative error below 3e-16.
const double EXP_COEFFS[13] = {1.0,
                               1.0,
                               1.0 / 2,
                               1.0 / 6,
                               1.0 / 24,
                               1.0 / 120,
                               1.0 / 720,
                               1.0 / 5040,
                               1.0 / 40320,
                               1.0 / 362880,
                               1.0 / 3628800,
                               1.0 / 39916800,
                               1.0 / 479001600};
// e ln r beyond this overflows or underflows every float; clamping keeps 2^n a normal double.
const double EXPONENT_LIMIT = 200.0;

} // namespace dynamicspow
