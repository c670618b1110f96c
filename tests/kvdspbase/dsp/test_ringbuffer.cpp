#include <gtest/gtest.h>
#include <vector>
#include "kvdspbase/dsp/ringbuffer.h"
#include "support/testhost.h"

namespace {

// Runs blocks of the given sizes through the line (read before write) and returns the output.
std::vector<float> RunBlocks(RingBuffer& line, const std::vector<float>& in, const std::vector<uint32_t>& blocks)
{
    std::vector<float> out(in.size());
    size_t pos = 0;
    for (size_t b = 0; pos < in.size(); ++b) {
        const uint32_t n = std::min<uint32_t>(blocks[b % blocks.size()], static_cast<uint32_t>(in.size() - pos));
        line.Read(out.data() + pos, n);
        line.Write(in.data() + pos, n);
        pos += n;
    }
    return out;
}

std::vector<float> Ramp(size_t n)
{
    std::vector<float> v(n);
    for (size_t i = 0; i < n; ++i)
        v[i] = static_cast<float>(i + 1);
    return v;
}

} // namespace

TEST(RingBuffer, DelaysByLengthPlusOne)
{
    TestHost host;
    {
        RingBuffer line(4);
        // An impulse written at step 0 comes back in the read of step 5.
        std::vector<float> in(12, 0.0f);
        in[0] = 1.0f;
        const std::vector<float> out = RunBlocks(line, in, {1});
        for (size_t t = 0; t < out.size(); ++t)
            EXPECT_EQ(out[t], t == 5 ? 1.0f : 0.0f) << t;
    }
    {
        // Blocks of up to the length, wrapping at odd places: y[t] = x[t - 8] for length 7.
        RingBuffer line(7);
        const std::vector<float> in = Ramp(200);
        const std::vector<float> out = RunBlocks(line, in, {3, 7, 1, 5, 6, 2});
        for (size_t t = 0; t < in.size(); ++t)
            EXPECT_EQ(out[t], t >= 8 ? in[t - 8] : 0.0f) << t;
    }
    EXPECT_EQ(host.asserts.Total(), 0u); // reads of exactly the length pass
}

TEST(RingBuffer, LongReadsAndWritesGoSampleBySample)
{
    TestHost host;
    RingBuffer line(3);
    const std::vector<float> in = Ramp(5);
    line.Write(in.data(), 5); // longer than the line: entries 2..5 remain, head at 1
    // Holding 5, 2, 3, 4 at positions 0..3; oldest is 2 at position 1.
    std::vector<float> out(4);
    line.Read(out.data(), 4);
    EXPECT_EQ(out, (std::vector<float>{2, 3, 4, 5}));
    // The fourth sample of the read is the newest entry, which the iterator must not reach.
    EXPECT_EQ(host.asserts.Count("*this != m_pRingBuffer->end()"), 1u);
    EXPECT_EQ(host.asserts.Total(), 1u);
}

TEST(RingBuffer, SetLengthRotatesOldestFirst)
{
    TestHost host;
    RingBuffer line(6);
    const std::vector<float> in = Ramp(10);
    line.Write(in.data(), 6);
    line.Write(in.data() + 6, 4); // holds 1..10 of which the last 7 fit: 4..10, head at 3
    const uint64_t uAllocs = host.allocator.AllocCalls();
    line.SetLength(3, -1.0f); // head 3 >= 3: rotate, keep the four oldest
    EXPECT_EQ(host.allocator.AllocCalls(), uAllocs); // shorter than reserved: no allocation
    EXPECT_EQ(line.GetLength(), 3u);
    std::vector<float> out(3);
    line.Read(out.data(), 3);
    EXPECT_EQ(out, (std::vector<float>{4, 5, 6}));
    // Growing appends fill entries after the kept history.
    line.SetLength(5, -1.0f);
    std::vector<float> out5(5);
    line.Read(out5.data(), 5);
    EXPECT_EQ(out5, (std::vector<float>{4, 5, 6, 7, -1}));
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(RingBuffer, ShrinkBelowHeadMovesOrFills)
{
    TestHost host;
    {
        RingBuffer line(10);
        const std::vector<float> in = Ramp(16);
        line.Write(in.data(), 10);
        line.Write(in.data() + 10, 6); // buffer: 12 13 14 15 16 6 7 8 9 10 11, head 5
        line.SetLength(8, 0.0f);       // d = -2: entries from 5 on move down to 3
        std::vector<float> out(8);
        line.Read(out.data(), 8);
        // buffer now 12 13 14 6 7 8 9 10 11; reading from the unchanged head 5 wraps round.
        EXPECT_EQ(out, (std::vector<float>{8, 9, 10, 11, 12, 13, 14, 6}));
    }
    {
        RingBuffer line(10);
        const std::vector<float> in = Ramp(1);
        line.Write(in.data(), 1); // head 1
        line.SetLength(5, 0.5f);  // 1 - 5 < 0: everything becomes the fill value
        std::vector<float> out(5);
        line.Read(out.data(), 5);
        EXPECT_EQ(out, std::vector<float>(5, 0.5f));
    }
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(RingBuffer, ZeroLengthAndResetAndNoAllocation)
{
    TestHost host;
    { RingBuffer bad(0); }
    EXPECT_EQ(host.asserts.Count("n != 0"), 1u);
    RingBuffer line(5);
    const std::vector<float> in = Ramp(9);
    std::vector<float> out(5);
    const uint64_t uAllocs = host.allocator.AllocCalls();
    line.Write(in.data(), 5);
    line.Read(out.data(), 5);
    line.Write(in.data(), 9);
    EXPECT_EQ(host.allocator.AllocCalls(), uAllocs);
    line.Reset();
    line.Read(out.data(), 5);
    EXPECT_EQ(out, std::vector<float>(5, 0.0f));
    EXPECT_EQ(line.GetLength(), 5u);
}
