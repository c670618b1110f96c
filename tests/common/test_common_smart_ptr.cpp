#include <gtest/gtest.h>
#include "kvbase/common/common_smart_ptr.h"
#include "support/testhost.h"

namespace {
struct Tracked
{
    explicit Tracked(int* in_pDestroyed) : pDestroyed(in_pDestroyed) {}
    ~Tracked() { ++*pDestroyed; }
    int* pDestroyed;
};
} // namespace

TEST(CommonSmartPtr, CountsOwnersAndDestroysWithTheLast)
{
    TestHost host;
    int iDestroyed = 0;
    {
        common_smart_ptr<Tracked> a(QwNew<Tracked>(&iDestroyed));
        EXPECT_EQ(a.use_count(), 1);
        // The object and a separate 4-byte count block.
        EXPECT_EQ(host.allocator.AllocCalls(), 2u);
        {
            common_smart_ptr<Tracked> b(a);
            EXPECT_EQ(a.use_count(), 2);
            EXPECT_EQ(b.get(), a.get());
        }
        EXPECT_EQ(a.use_count(), 1);
        EXPECT_EQ(iDestroyed, 0);
        // Reset of a shared owner takes a new count and leaves the other owner alone.
        common_smart_ptr<Tracked> b(a);
        a.reset(QwNew<Tracked>(&iDestroyed));
        EXPECT_EQ(iDestroyed, 0);
        EXPECT_TRUE(a.use_count() == 1 && b.use_count() == 1 && a.get() != b.get());
        // Reset of the sole owner destroys the old object and keeps its count block.
        const uint64_t uCalls = host.allocator.AllocCalls();
        Tracked* pNew = QwNew<Tracked>(&iDestroyed);
        a.reset(pNew);
        EXPECT_EQ(iDestroyed, 1);
        EXPECT_TRUE(a.get() == pNew && a.use_count() == 1);
        EXPECT_EQ(host.allocator.AllocCalls(), uCalls + 1); // only the object, no new count block
        a.reset(pNew); // same pointer: nothing
        EXPECT_EQ(iDestroyed, 1);
    }
    EXPECT_EQ(iDestroyed, 3);
    EXPECT_TRUE(host.allocator.Balanced());
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(CommonSmartPtr, FailedCountBlockDestroysTheObject)
{
    TestHost host;
    int iDestroyed = 0;
    Tracked* p = QwNew<Tracked>(&iDestroyed);
    host.allocator.FailAt(1);
    common_smart_ptr<Tracked> a(p);
    EXPECT_EQ(iDestroyed, 1);
    EXPECT_EQ(a.raw(), nullptr);
    EXPECT_EQ(a.use_count(), 0);
    EXPECT_TRUE(host.allocator.Balanced());

    // The same in reset while another owner remains.
    BindAllocator(&host.allocator, 0, 0);
    common_smart_ptr<Tracked> b(QwNew<Tracked>(&iDestroyed));
    common_smart_ptr<Tracked> c(b);
    Tracked* q = QwNew<Tracked>(&iDestroyed);
    host.allocator.FailAt(1);
    c.reset(q);
    EXPECT_EQ(iDestroyed, 2);
    EXPECT_EQ(c.raw(), nullptr);
    EXPECT_EQ(b.use_count(), 1);
}
