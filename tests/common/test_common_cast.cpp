#include <gtest/gtest.h>
#include "kvbase/common/common_cast.h"
#include "kvbase/common/common_checked_types.h"
#include "kvbase/common/common_range.h"
#include "kvbase/common/common_algorithm.h"
#include "support/testhost.h"

TEST(RoundCast, HalvesGoAwayFromZero)
{
    TestHost host;
    EXPECT_EQ(round_cast<uint32_t>(2.5), 3u);
    EXPECT_EQ(round_cast<uint32_t>(2.4999f), 2u);
    EXPECT_EQ(round_cast<int32_t>(-2.5), -3);
    EXPECT_EQ(round_cast<int32_t>(-2.4999), -2);
    EXPECT_EQ(round_cast<uint32_t>(4294967295.4), 4294967295u);
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(RoundCast, UnsignedTargetChecksItsRange)
{
    TestHost host;
    EXPECT_EQ(round_cast<uint32_t>(-0.4), 0u);
    EXPECT_EQ(host.asserts.Total(), 0u);
    // -0.5 rounds to -1, which an unsigned target cannot hold: reported, then cut to 32 bits.
    EXPECT_EQ(round_cast<uint32_t>(-0.5), 0xFFFFFFFFu);
    EXPECT_EQ(host.asserts.Count("round_cast_conversion_check(T(), u)"), 1u);
    round_cast<uint32_t>(4294967296.0);
    EXPECT_EQ(host.asserts.Count("round_cast_conversion_check(T(), u)"), 2u);
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
    EXPECT_TRUE(uNumCoeffs.IsValid());
    EXPECT_EQ(uNumCoeffs.Get(), 12u);
    EXPECT_EQ(host.asserts.Total(), 1u);
}

TEST(CheckedValue, HelpersNameTheInvalidOperand)
{
    TestHost host;
    checked_value<int> a(3), unset;
    EXPECT_TRUE(checked_equal(a, 3));
    EXPECT_EQ(host.asserts.Total(), 0u);
    checked_equal(unset, 3);
    EXPECT_EQ(host.asserts.Count("val1.IsValid()"), 1u);
    checked_equal(3, unset);
    EXPECT_EQ(host.asserts.Count("val2.IsValid()"), 1u);
    EXPECT_EQ(checked_add(a, unset), 3); // the unset operand is used as it stands (0)
    EXPECT_EQ(host.asserts.Count("val1.IsValid() && val2.IsValid()"), 1u);
}

TEST(Range, BothEndsAreInside)
{
    const uint_range orders(4, 16);
    EXPECT_TRUE(orders.Contains(4));
    EXPECT_TRUE(orders.Contains(16));
    EXPECT_FALSE(orders.Contains(3));
    EXPECT_FALSE(orders.Contains(17));
    const float_range cutoff(20.0f, 20000.0f);
    EXPECT_TRUE(cutoff.Contains(20.0f));
    EXPECT_FALSE(cutoff.Contains(19.999f));
}

TEST(CommonAlgorithm, CopyAndRotate)
{
    TestHost host;
    int src[5] = {1, 2, 3, 4, 5};
    int dst[5] = {};
    EXPECT_EQ(common_copy(src, src + 5, dst), dst + 5);
    EXPECT_EQ(dst[4], 5);
    common_copy(src + 2, src + 2, dst); // empty run: reported
    EXPECT_EQ(host.asserts.Count("first < last"), 1u);
    common_rotate(src, src + 2, src + 5);
    const int expected[5] = {3, 4, 5, 1, 2};
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(src[i], expected[i]);
}
