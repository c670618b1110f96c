#include <gtest/gtest.h>
#include <algorithm>
#include "kvbase/common/common_allocator.h"
#include "support/testhost.h"

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
    FreeBytes(nullptr);
    EXPECT_TRUE(host.allocator.Balanced());
    EXPECT_EQ(host.allocator.FreeCalls(), 2u);
}

// The blocks come back zeroed even where the memory was used before (the freed block below is
// the likeliest to be handed out again).
TEST(CommonAllocator, ZeroedBlocksAreZeroAndAligned)
{
    TestHost host;
    auto* pDirty = static_cast<uint8_t*>(AllocBytes(64, __FILE__, __LINE__));
    std::fill(pDirty, pDirty + 64, 0xAB);
    FreeBytes(pDirty);
    auto* q = static_cast<uint8_t*>(AllocZeroed(16, 4, __FILE__, __LINE__));
    ASSERT_NE(q, nullptr);
    EXPECT_TRUE(std::all_of(q, q + 64, [](uint8_t b) { return b == 0; }));
    FreeBytes(q);
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
