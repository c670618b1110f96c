#include <gtest/gtest.h>
#include "kvbase/common/common_allocator.h"
#include "support/testhost.h"

TEST(CommonAllocator, FreeOfNullCallsNoAllocator)
{
    TestHost host;
    FreeBytes(nullptr);
    EXPECT_EQ(host.allocator.FreeCalls(), 0u);
    EXPECT_EQ(host.allocator.AllocCalls(), 0u);
}

TEST(CommonAllocator, FailureSetsTheStickyFlagUntilTheNextBinding)
{
    TestHost host;
    host.allocator.FailAt(2);
    void* a = AllocBytes(8, nullptr, -1);
    EXPECT_FALSE(IsOutOfMemory());
    void* b = AllocZeroed(4, 4, __FILE__, __LINE__);
    EXPECT_EQ(b, nullptr);
    EXPECT_TRUE(IsOutOfMemory());
    void* c = AllocBytes(8, nullptr, -1); // succeeds, the flag stays
    EXPECT_NE(c, nullptr);
    EXPECT_TRUE(IsOutOfMemory());
    BindAllocator(&host.allocator, 0, 0);
    EXPECT_FALSE(IsOutOfMemory());
    FreeBytes(a);
    FreeBytes(c);
    EXPECT_TRUE(host.allocator.Balanced());
}

TEST(CommonAllocator, ZeroedBlocksAreZeroAndAligned)
{
    TestHost host;
    auto* p = static_cast<uint8_t*>(AllocZeroedAligned(37, 4, 16, __FILE__, __LINE__));
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % 16, 0u);
    for (int i = 0; i < 37 * 4; ++i)
        EXPECT_EQ(p[i], 0);
    FreeBytes(p);
    EXPECT_TRUE(host.allocator.Balanced());
}

TEST(CommonAllocator, LockedBindingKeepsItsAllocatorButClearsTheFlag)
{
    TestHost host;
    QwHostAllocator other;
    BindAllocator(&host.allocator, 0, 1);
    GetAllocatorBinding().m_bOutOfMemory = 1;
    BindAllocator(&other, 0, 0);
    EXPECT_EQ(GetAllocatorBinding().m_pAllocator, &host.allocator);
    EXPECT_FALSE(IsOutOfMemory());
    GetAllocatorBinding().m_bLocked = 0;
}
