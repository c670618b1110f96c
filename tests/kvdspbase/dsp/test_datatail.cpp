// DataTail and DataTail1D side by side: the same cases run on both through a small adapter
// (the two-channel tail carries the negated signal on its second channel).
#include <gtest/gtest.h>
#include <algorithm>
#include <random>
#include <vector>
#include "kvdspbase/dsp/datatail.h"
#include "kvdspbase/dsp/datatail1d.h"
#include "support/dspreference.h"
#include "support/testhost.h"

namespace {

using Vec = std::vector<float>;

struct Stereo
{
    DataTail tail;
    void Init(int32_t sBlock, int32_t sTail, bool bPrime) { tail.Init(2, 0, sBlock, sTail, bPrime); }
    void Append(const Vec& v, int32_t n, int32_t sOffset, bool bWrapping)
    {
        const Vec neg = Negated(v);
        const float* pp[2] = {v.data(), neg.data()};
        bWrapping ? tail.AppendWrapping(pp, n, sOffset) : tail.Append(pp, n, sOffset);
    }
    Vec Read(int32_t n, int32_t sOffset) const
    {
        Vec a(n), b(n), one(n);
        float* pp[2] = {a.data(), b.data()};
        float* pOne[1] = {one.data()};
        tail.ReadWrapped(pp, n, sOffset, -1, 0);
        tail.ReadWrapped(pOne, n, sOffset, 1, 0); // one channel, into the first destination
        EXPECT_EQ(Negated(b), a);
        EXPECT_EQ(one, b);
        return a;
    }
    Vec Valid() const
    {
        const int32_t n = tail.GetTotal();
        Vec a(tail.GetChannel(0), tail.GetChannel(0) + n);
        EXPECT_EQ(Negated(Vec(tail.GetChannel(1), tail.GetChannel(1) + n)), a);
        return a;
    }
    static Vec Negated(Vec v) { for (float& f : v) f = -f; return v; }
};

struct Mono
{
    DataTail1D tail;
    void Init(int32_t sBlock, int32_t sTail, bool bPrime) { tail.Init(sBlock, sTail, bPrime); }
    void Append(const Vec& v, int32_t n, int32_t sOffset, bool bWrapping)
    {
        bWrapping ? tail.AppendWrapping(v.data(), n, sOffset) : tail.Append(v.data(), n, sOffset);
    }
    Vec Read(int32_t n, int32_t sOffset) const
    {
        Vec a(n + 2, 7.0f);
        tail.ReadWrapped(a.data(), n, sOffset, 2);
        EXPECT_EQ(a[0], 7.0f); // the destination offset is honoured
        return Vec(a.begin() + 2, a.end());
    }
    Vec Valid() const { return Vec(tail.GetData(), tail.GetData() + tail.GetTotal()); }
};

// Appends n samples of a fresh ramp, from a source offset, to the tail and to the model.
template <class T>
void AppendRamp(T& io_t, Vec& io_model, int n, int sOffset, bool bWrapping, float& io_fNext)
{
    io_t.Append(RefRamp(n + sOffset, io_fNext), n, sOffset, bWrapping);
    const Vec added = RefRamp(n, io_fNext + sOffset);
    io_model.insert(io_model.end(), added.begin(), added.end());
    io_fNext += 50.0f;
}

const char* const RANGE = "m_sTotal >= 0 && m_sTotal <= implicit_cast<signed>(GetTotalSize())";

template <class T>
void EdgeCases()
{
    TestHost host;
    T t;
    t.Init(8, 0, true); // prime with a tail of 0: nothing valid
    EXPECT_EQ(t.tail.GetTotal(), 0);
    t.Init(5, 3, true); // total size 8, three silent samples
    EXPECT_EQ(t.Valid(), Vec(3, 0.0f));
    const uint64_t uAllocs = host.allocator.AllocCalls();
    t.Append(RefRamp(9, 1), 5, 4, false); // exactly the free space, from source offset 4
    EXPECT_EQ(t.Valid(), (Vec{0, 0, 0, 5, 6, 7, 8, 9}));
    EXPECT_EQ(host.asserts.Total(), 0u);
    t.tail.Advance(2); // keeps the tail: three samples from index 2
    EXPECT_EQ(t.Valid(), (Vec{0, 5, 6}));
    t.tail.Consume(1);
    EXPECT_EQ(t.Valid(), (Vec{5, 6}));
    t.tail.Consume(5); // more than is present: reported, and the buffer ends empty
    EXPECT_EQ(host.asserts.Count("false"), 1u);
    EXPECT_EQ(t.tail.GetTotal(), 0);
    t.Append(RefRamp(4, 1), 4, 0, false);
    t.tail.Advance(4); // the whole total: nothing kept, nothing reported
    EXPECT_EQ(t.tail.GetTotal(), 0);
    EXPECT_EQ(host.asserts.Total(), 1u);
    EXPECT_EQ(host.allocator.AllocCalls(), uAllocs); // appends and cuts allocate nothing
    t.Append(RefRamp(2, 1), 2, 0, false);
    t.tail.Advance(5); // more than present: keep = -3, stored and reported
    EXPECT_EQ(host.asserts.Count(RANGE), 1u);
    EXPECT_EQ(t.tail.GetTotal(), -3);

    // Twice the capacity, written from 0 and from 3: the last 8 samples, oldest at the write
    // position; an offset of minus the total size reads from there.
    for (int32_t sStart : {0, 3}) {
        t.Init(5, 3, true);
        t.tail.Consume(3); // an empty buffer
        t.Append(RefRamp(sStart, 100), sStart, 0, false);
        t.Append(RefRamp(16, 1), 16, 0, true);
        EXPECT_EQ(t.tail.GetTotal() % 8, sStart);
        EXPECT_EQ(t.Read(8, -8), RefRamp(8, 9)) << sStart;
        EXPECT_EQ(t.Read(3, -2), (Vec{15, 16, 9})) << sStart; // wraps past the newest
    }
    host.asserts.Clear();
    t.Init(5, 3, true);
    t.Append(RefRamp(6, 1), 6, 0, false); // one too many: reported, cut at the end of the storage
    EXPECT_EQ(t.tail.GetTotal(), 8);
    EXPECT_EQ(host.asserts.Total(), 1u);
}

// A long random run of appends, reads and cuts against a std::vector holding the valid samples
// (append: push; consume: erase the front; advance: erase the front, then keep the first tail
// samples), and of ring writes and reads against the whole written history, whose last S
// samples the ring holds, oldest at the write position.
template <class T>
void RandomAgainstModel()
{
    TestHost host;
    std::mt19937 rng(15);
    auto pick = [&](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
    const int S = 13, TAIL = 4;
    T t;
    t.Init(S - TAIL, TAIL, true);
    Vec model(TAIL, 0.0f);
    size_t uOvershoots = 0;
    float fNext = 1.0f;
    for (int step = 0; step < 3000; ++step) {
        const int sTotal = static_cast<int>(model.size());
        const int op = pick(0, 3);
        if (op == 0) {
            AppendRamp(t, model, pick(0, S - sTotal), pick(0, 3), false, fNext);
        } else if (op == 1) {
            const int n = pick(0, sTotal + 2);
            uOvershoots += n > sTotal && sTotal > 0;
            t.tail.Consume(n);
            model.erase(model.begin(), model.begin() + std::min(n, sTotal));
        } else if (op == 2 && sTotal > 0) {
            const int n = pick(1, sTotal);
            t.tail.Advance(n);
            model.erase(model.begin(), model.begin() + n);
            model.resize(std::min<size_t>(model.size(), TAIL));
        } else if (sTotal > 0) {
            EXPECT_EQ(t.Read(sTotal, -sTotal), model); // from index 0: the valid samples
        }
        ASSERT_EQ(t.Valid(), model) << step;
    }
    EXPECT_EQ(host.asserts.Count("false"), uOvershoots);
    EXPECT_EQ(host.asserts.Total(), uOvershoots);

    Vec history(S, 0.0f);
    t.Init(S - TAIL, TAIL, true);
    t.tail.Consume(TAIL);
    for (int step = 0; step < 2000; ++step) {
        if (pick(0, 1)) {
            AppendRamp(t, history, pick(0, 2 * S + 3), pick(0, 2), true, fNext);
        } else {
            const int n = pick(1, S), sOffset = pick(-3 * S, 2 * S);
            Vec expected(n);
            for (int j = 0; j < n; ++j)
                expected[j] = history[history.size() - S + (((sOffset + j) % S) + S) % S];
            ASSERT_EQ(t.Read(n, sOffset), expected) << step;
        }
    }
    EXPECT_EQ(host.asserts.Total(), uOvershoots);
}

} // namespace

TEST(DataTail, EdgeCases) { EdgeCases<Stereo>(); }
TEST(DataTail1D, EdgeCases) { EdgeCases<Mono>(); }
TEST(DataTail, RandomAppendsReadsAndCutsMatchAPlainBuffer) { RandomAgainstModel<Stereo>(); }
TEST(DataTail1D, RandomAppendsReadsAndCutsMatchAPlainBuffer) { RandomAgainstModel<Mono>(); }

TEST(DataTail, CopiesAreDeepAndResizingKeepsTheNewest)
{
    TestHost host;
    Stereo a, b;
    a.Init(6, 4, true);
    a.Append(RefRamp(5, 1), 5, 0, false); // 0 0 0 0 1 2 3 4 5
    b.Init(2, 1, false);
    b.tail = a.tail;
    Stereo c{a.tail};
    a.tail.Consume(9);
    EXPECT_EQ(b.Valid(), (Vec{0, 0, 0, 0, 1, 2, 3, 4, 5}));

    b.tail.SetTail(2); // shorter: the newest 8 that fit, from index 0
    EXPECT_EQ(b.Valid(), (Vec{0, 0, 0, 1, 2, 3, 4, 5}));
    c.tail.Advance(3); // 0 1 2 3
    c.tail.SetTail(7); // longer: the old data ends where the new tail ends
    EXPECT_EQ(c.Valid(), (Vec{0, 0, 0, 0, 1, 2, 3}));

    Mono m;
    m.Init(6, 4, true);
    m.Append(RefRamp(5, 1), 5, 0, false);
    Mono n{m.tail};
    m.tail.SetMaxBlockSize(2); // total size 6: the newest six
    EXPECT_EQ(m.Valid(), (Vec{0, 1, 2, 3, 4, 5}));
    EXPECT_EQ(n.Valid(), (Vec{0, 0, 0, 0, 1, 2, 3, 4, 5}));
    n.tail.Init(3, 0, true);
    n.tail.SetMaxBlockSize(-2); // reported; with no tail that is a fresh buffer of one
    EXPECT_EQ(host.asserts.Count("sNewMaxBlockSize>=0"), 1u);
    EXPECT_EQ(n.tail.GetTotalSize() + n.tail.GetTotal(), 1u);
}

TEST(DataTail, OutOfMemoryLeavesNoStorageAndCopiesNothing)
{
    TestHost host;
    host.allocator.FailFrom(1);
    Stereo s;
    s.Init(6, 4, true);
    EXPECT_EQ(s.tail.GetChannel(0), nullptr);
    s.Append(RefRamp(3, 1), 3, 0, false);
    s.tail.Advance(2);
    EXPECT_EQ(s.tail.GetTotal(), 4); // the counts go on
    EXPECT_EQ(host.asserts.Total(), 0u);
}
