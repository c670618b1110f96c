// round_cast beyond every integer: the assertion fires once and the result is the processor's
// INT64_MIN cut to the target, with no undefined conversion (the sanitizer build checks that).
#include <gtest/gtest.h>
#include <cmath>
#include <limits>
#include "kvbase/common/common_cast.h"
#include "support/testhost.h"

TEST(RoundCastRange, BeyondSixtyFourBitsGivesTheIndefiniteInteger)
{
    TestHost host;
    const double fNaN = std::numeric_limits<double>::quiet_NaN();
    const double afBad[] = {1.77089e21, -1e30, 9223372036854775808.0, fNaN, HUGE_VAL, -HUGE_VAL};
    for (double fBad : afBad) {
        host.asserts.Clear();
        EXPECT_EQ(round_cast<int64_t>(fBad), std::numeric_limits<int64_t>::min()) << fBad;
        EXPECT_EQ(round_cast<uint32_t>(static_cast<float>(fBad)), 0u) << fBad; // low 32 bits of INT64_MIN
        EXPECT_EQ(host.asserts.Count("round_cast_conversion_check(T(), u)"), 2u) << fBad;
    }
    // The largest double below 2^63 still converts as itself.
    host.asserts.Clear();
    EXPECT_EQ(round_cast<int64_t>(9223372036854774784.0), 9223372036854774784);
    EXPECT_EQ(host.asserts.Total(), 0u);
}
