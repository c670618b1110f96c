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
    EXPECT_EQ(v.capacity(), 6u); // twice 3 beats the request of 4
    common_vector<int> w;
    w.resize(3);
    w.reserve(7);
    EXPECT_EQ(w.capacity(), 7u); // the request of 7 beats twice 3
    EXPECT_EQ(w.size(), 3u);
    EXPECT_EQ(v[0], 7);
    EXPECT_EQ(v[2], 7);
    EXPECT_EQ(v[3], 8);
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(CommonVector, ResizeToSameSizeKeepsStorageAndContents)
{
    TestHost host;
    common_vector<float> v;
    v.resize(5, 1.5f);
    v[2] = -3.0f;
    const float* pBefore = v.data();
    const uint64_t uCalls = host.allocator.AllocCalls();
    v.resize(5, 9.0f);
    EXPECT_EQ(v.data(), pBefore);
    EXPECT_EQ(v.capacity(), 5u);
    EXPECT_EQ(v[2], -3.0f);
    EXPECT_EQ(v[4], 1.5f);
    EXPECT_EQ(host.allocator.AllocCalls(), uCalls);
}

TEST(CommonVector, ShrinkDestroysSurplusAndKeepsCapacity)
{
    TestHost host;
    common_vector<int> v;
    v.resize(6, 4);
    v.resize(2);
    EXPECT_EQ(v.size(), 2u);
    EXPECT_EQ(v.capacity(), 6u);
    v.resize(4, 9);
    EXPECT_EQ(v[1], 4);
    EXPECT_EQ(v[2], 9);
}

TEST(CommonVector, StickyFlagStopsGrowthWithoutCallingTheAllocator)
{
    TestHost host;
    common_vector<int> v;
    GetAllocatorBinding().m_bOutOfMemory = 1;
    const uint64_t uCalls = host.allocator.AllocCalls();
    v.resize(10, 1);
    EXPECT_EQ(v.size(), 0u);
    EXPECT_EQ(v.capacity(), 0u);
    EXPECT_EQ(host.allocator.AllocCalls(), uCalls);
    BindAllocator(&host.allocator, 0, 0); // a new binding clears the flag
    v.resize(10, 1);
    EXPECT_EQ(v.size(), 10u);
}

TEST(CommonVector, FailedGrowthLeavesSizeAndContents)
{
    TestHost host;
    common_vector<int> v;
    v.resize(2, 5);
    host.allocator.FailAt(1);
    v.resize(3, 6);
    EXPECT_TRUE(IsOutOfMemory());
    EXPECT_EQ(v.size(), 2u);
    EXPECT_EQ(v[0], 5);
    EXPECT_EQ(v[1], 5);
}

TEST(CommonVector, OutOfRangeIndexAssertsAndStillReturnsTheElement)
{
    TestHost host;
    common_vector<int> v;
    v.reserve(4);
    v.resize(2, 3);
    int& ref = v[3];
    EXPECT_EQ(&ref, v.data() + 3);
    EXPECT_EQ(host.asserts.Count("i < size()"), 1u);
}

TEST(CommonVector, AlignedStorageIsSixteenByteAlignedAndZeroed)
{
    TestHost host;
    for (uint32_t n : {1u, 3u, 17u, 1000u}) {
        common_aligned_vector<float> v;
        v.reserve(n);
        ASSERT_EQ(reinterpret_cast<uintptr_t>(v.data()) % 16, 0u);
        v.resize(n);
        for (uint32_t i = 0; i < n; ++i)
            EXPECT_EQ(v[i], 0.0f);
    }
    EXPECT_TRUE(host.allocator.Balanced());
}

TEST(CommonVector, EverythingIsFreedThroughTheBinding)
{
    TestHost host;
    {
        common_vector<common_vector<int>> outer;
        outer.resize(3);
        for (uint32_t i = 0; i < 3; ++i)
            outer[i].resize(10 + i, static_cast<int>(i));
        common_vector<common_vector<int>> copy(outer);
        EXPECT_EQ(copy[2].size(), 12u);
        EXPECT_EQ(copy[2][11], 2);
        EXPECT_NE(copy[2].data(), outer[2].data());
    }
    EXPECT_TRUE(host.allocator.Balanced());
    EXPECT_EQ(host.allocator.BadFrees(), 0u);
}
