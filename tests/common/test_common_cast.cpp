#include <gtest/gtest.h>
#include <cmath>
#include <limits>
#include "kvbase/common/common_algorithm.h"
#include "kvbase/common/common_cast.h"
#include "kvbase/common/common_checked_types.h"
#include "kvbase/common/common_range.h"
#include "support/testhost.h"

// Halves go away from zero; a result the target cannot hold is reported and converted anyway
// (-0.5 rounds to -1, cut to 32 bits).
TEST(RoundCast, HalvesGoAwayFromZero)
{
    TestHost host;
    struct Case
    {
        double x;
        int64_t want;
        bool bReported;
    };
    for (const Case& c : {Case{2.5, 3, false}, Case{2.4999, 2, false}, Case{-0.4, 0, false}, Case{4294967295.4, 4294967295, false},
                          Case{-0.5, 0xFFFFFFFF, true}, Case{4294967296.0, 0, true}}) {
        const size_t uBefore = host.asserts.Total();
        EXPECT_EQ(round_cast<uint32_t>(c.x), static_cast<uint32_t>(c.want)) << c.x;
        EXPECT_EQ(host.asserts.Total() - uBefore, c.bReported ? 1u : 0u) << c.x;
    }
    EXPECT_EQ(round_cast<int32_t>(-2.5), -3);
    EXPECT_EQ(round_cast<int32_t>(-2.4999f), -2);
    EXPECT_EQ(round_cast<uint32_t>(2.5f), 3u);
}

TEST(ImplicitCast, ReportsValuesTheTargetCannotHold)
{
    TestHost host;
    EXPECT_EQ(implicit_cast<uint16_t>(65535u), 65535);
    EXPECT_EQ(host.asserts.Total(), 0u);
    EXPECT_EQ(implicit_cast<uint16_t>(65536u), 0); // reported, converted all the same
    EXPECT_EQ(implicit_cast<uint32_t>(-1), 0xFFFFFFFFu);
    EXPECT_EQ(host.asserts.Count("implicit_cast_conversion_check(T(), u)"), 2u);
}

TEST(CheckedValue, ReadingAnUnsetValueAsserts)
{
    TestHost host;
    checked_value<uint32_t> uNumCoeffs;
    EXPECT_FALSE(uNumCoeffs.IsValid());
    (void)uNumCoeffs.Get();
    EXPECT_EQ(host.asserts.Count("IsValid()"), 1u);
    uNumCoeffs = 12u;
    EXPECT_EQ(uNumCoeffs.Get(), 12u);
    checked_value<int> a(3), unset;
    EXPECT_TRUE(checked_equal(a, 3));
    EXPECT_EQ(checked_add(a, unset), 3); // the unset operand is used as it stands (0)
    EXPECT_EQ(host.asserts.Count("val1.IsValid() && val2.IsValid()"), 1u);
}

TEST(CommonAlgorithm, RangeCopyAndRotate)
{
    const uint_range orders(4, 16); // both ends inside
    EXPECT_TRUE(orders.Contains(4) && orders.Contains(16) && !orders.Contains(3) && !orders.Contains(17));
    int src[5] = {1, 2, 3, 4, 5}, dst[5] = {};
    EXPECT_EQ(common_copy(src, src + 5, dst), dst + 5);
    EXPECT_EQ(dst[4], 5);
    common_rotate(src, src + 2, src + 5);
    const int expected[5] = {3, 4, 5, 1, 2};
    EXPECT_TRUE(std::equal(src, src + 5, expected));
}

// round_cast beyond every integer: the assertion fires once and the result is the processor's
// INT64_MIN cut to the target, with no undefined conversion (the sanitizer build checks that).
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
