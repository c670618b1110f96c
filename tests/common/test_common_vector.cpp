#include <gtest/gtest.h>
#include "kvbase/common/common_vector.h"
#include "support/testhost.h"

TEST(CommonVector, GrowthDoublesOrTakesRequest)
{
    TestHost host;
    common_vector<int> v;
    v.resize(3, 7);
    ASSERT_EQ(v.capacity(), 3u);
    v.resize(4, 8);
    EXPECT_EQ(v.capacity(), 6u); // twice the old capacity beats the request
    common_vector<int> w;
    w.resize(3);
    w.reserve(7);
    EXPECT_EQ(w.capacity(), 7u); // the request beats twice the old capacity
    EXPECT_EQ(w.size(), 3u);
    EXPECT_EQ(v[0], 7);
    EXPECT_EQ(v[3], 8);
    EXPECT_EQ(host.asserts.Total(), 0u);
}
