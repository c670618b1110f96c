#include <gtest/gtest.h>
#include <vector>
#include "kvdspbase/dsp/ringbuffer.h"
#include "support/dspreference.h"
#include "support/testhost.h"

namespace {

std::vector<float> ReadAll(const RingBuffer& line, uint64_t n)
{
    std::vector<float> out(n);
    line.Read(out.data(), n);
    return out;
}

} // namespace

// Read before write, in blocks of up to the length that wrap at odd places: y[t] = x[t - L - 1].
TEST(RingBuffer, DelaysByLengthPlusOne)
{
    TestHost host;
    for (uint64_t uLength : {4u, 7u}) {
        RingBuffer line(uLength);
        const std::vector<float> x = RefRamp(200);
        const std::vector<uint32_t> blocks = uLength == 4 ? std::vector<uint32_t>{1} : std::vector<uint32_t>{3, 7, 1, 5, 6};
        std::vector<float> y(x.size());
        for (size_t pos = 0, b = 0; pos < x.size(); pos += blocks[b++ % blocks.size()]) {
            const uint32_t n = std::min<uint32_t>(blocks[b % blocks.size()], static_cast<uint32_t>(x.size() - pos));
            line.Read(y.data() + pos, n);
            line.Write(x.data() + pos, n);
        }
        for (size_t t = 0; t < x.size(); ++t)
            EXPECT_EQ(y[t], t > uLength ? x[t - uLength - 1] : 0.0f) << uLength << " " << t;
    }
    EXPECT_EQ(host.asserts.Total(), 0u); // reads of exactly the length pass
}

TEST(RingBuffer, SetLengthKeepsHistory)
{
    TestHost host;
    const std::vector<float> x = RefRamp(16);
    RingBuffer a(6);
    a.Write(x.data(), 6);
    a.Write(x.data() + 6, 4); // holds 8 9 10 4 5 6 7, head 3
    a.SetLength(3, -1.0f); // head 3 >= 3: rotate oldest first, keep four
    EXPECT_EQ(a.GetLength(), 3u);
    EXPECT_EQ(ReadAll(a, 3), (std::vector<float>{4, 5, 6}));
    a.SetLength(5, -1.0f); // growing appends fill entries after the kept history
    EXPECT_EQ(ReadAll(a, 5), (std::vector<float>{4, 5, 6, 7, -1}));

    RingBuffer b(10);
    b.Write(x.data(), 10);
    b.Write(x.data() + 10, 6); // 12 13 14 15 16 6 7 8 9 10 11, head 5
    b.SetLength(8, 0.0f);      // shrink by 2 below the head: entries from 5 on move down to 3
    // 12 13 14 6 7 8 9 10 11, read from the unchanged head 5.
    EXPECT_EQ(ReadAll(b, 8), (std::vector<float>{8, 9, 10, 11, 12, 13, 14, 6}));

    RingBuffer c(10);
    c.Write(x.data(), 1);  // head 1
    c.SetLength(5, 0.5f);  // 1 - 5 < 0: all entries become the fill value
    EXPECT_EQ(ReadAll(c, 5), std::vector<float>(5, 0.5f));

    RingBuffer d(6);
    d.Write(x.data(), 5); // 1 2 3 4 5 0 0, head 5
    d.SetLength(5, 0.0f); // head 5 >= 5: rotated to 0 0 1 2 3 4 5, the oldest six kept
    EXPECT_EQ(ReadAll(d, 5), (std::vector<float>{0, 0, 1, 2, 3}));
    EXPECT_EQ(host.asserts.Total(), 0u);
}

// Execute allocating nothing is checked for every effect by the module's allocation sweep.
TEST(RingBuffer, LongReadsAndWritesWrapsAndReset)
{
    TestHost host;
    RingBuffer longer(3);
    const std::vector<float> x = RefRamp(9);
    longer.Write(x.data(), 5); // positions 0 1 2 3 0: holds 5 2 3 4, head 1
    EXPECT_EQ(ReadAll(longer, 4), (std::vector<float>{2, 3, 4, 5}));
    // The fourth sample is the newest entry, which the iterator must not reach.
    EXPECT_EQ(host.asserts.Count("*this != m_pRingBuffer->end()"), 1u);
    EXPECT_EQ(host.asserts.Total(), 1u);
    RingBuffer line(5);
    line.Write(x.data(), 5);
    ReadAll(line, 5);
    line.Write(x.data(), 9);
    line.Reset();
    EXPECT_EQ(ReadAll(line, 5), std::vector<float>(5, 0.0f));
    EXPECT_EQ(line.GetLength(), 5u);
    // A block that ends exactly on the last slot wraps the head, so a long write after it
    // starts again at slot 0: 11 7 8 9 10, head 1.
    RingBuffer wrap(4);
    const std::vector<float> y = RefRamp(11);
    wrap.Write(y.data(), 4);
    wrap.Write(y.data() + 4, 1);
    wrap.Write(y.data() + 5, 6);
    EXPECT_EQ(ReadAll(wrap, 4), (std::vector<float>{7, 8, 9, 10}));
}
