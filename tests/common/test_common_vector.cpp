#include <gtest/gtest.h>
#include "kvbase/common/common_vector.h"
#include "support/testhost.h"

// Growth doubles or takes the request, whichever is larger; shrinking keeps the capacity;
// resizing to the same size keeps storage and contents.
TEST(CommonVector, ResizeAndGrowth)
{
    TestHost host;
    common_vector<int> v, w;
    v.resize(3, 7);
    ASSERT_EQ(v.capacity(), 3u);
    v.resize(4, 8);
    EXPECT_EQ(v.capacity(), 6u); // twice 3 beats the request of 4
    w.resize(3);
    w.reserve(7);
    EXPECT_EQ(w.capacity(), 7u); // the request of 7 beats twice 3
    EXPECT_EQ(w.size(), 3u);
    const int* pBefore = v.data();
    const uint64_t uCalls = host.allocator.AllocCalls();
    v.resize(4, 9);
    v.resize(2);
    EXPECT_EQ(v.capacity(), 6u);
    v.resize(5, 9);
    EXPECT_EQ(v.data(), pBefore);
    EXPECT_EQ(host.allocator.AllocCalls(), uCalls);
    const int expected[5] = {7, 7, 9, 9, 9};
    EXPECT_TRUE(std::equal(v.begin(), v.end(), expected));
    EXPECT_EQ(host.asserts.Total(), 0u);
}

// While the sticky flag stands, growth asks for nothing; a failed growth keeps size and contents.
TEST(CommonVector, FailedGrowthLeavesSizeAndContents)
{
    TestHost host;
    common_vector<int> v;
    GetAllocatorBinding().m_bOutOfMemory = 1;
    v.resize(10, 1);
    EXPECT_EQ(v.capacity() + host.allocator.AllocCalls(), 0u);
    BindAllocator(&host.allocator, 0, 0); // a new binding clears the flag
    v.resize(2, 5);
    host.allocator.FailAt(1);
    v.resize(3, 6);
    EXPECT_TRUE(IsOutOfMemory());
    EXPECT_EQ(v.size(), 2u);
    EXPECT_EQ(v[1], 5);
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

// Copies are deep, assignment replaces the contents, and everything goes back through the binding.
TEST(CommonVector, CopiesAreDeepAndEverythingIsFreed)
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
        copy[0] = outer[2];
        EXPECT_EQ(copy[0].size(), 12u);
        EXPECT_EQ(copy[0][0], 2);
    }
    EXPECT_TRUE(host.allocator.Balanced());
    EXPECT_EQ(host.allocator.BadFrees(), 0u);
}
