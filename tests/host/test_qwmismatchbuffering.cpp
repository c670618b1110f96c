#include <gtest/gtest.h>
#include <random>
#include <vector>
#include "host/qwmismatchbuffering.h"
#include "support/dspreference.h"
#include "support/testhost.h"

namespace {

struct Sizing
{
    uint32_t H, B, S, L;
};

// A process step that delays every channel by a fixed number of frames: with a delay of 0 it
// is the unit impulse response; with a delay D its tail of D frames holds the last input.
class DelayStep
{
public:
    DelayStep(uint32_t in_uChannels, uint32_t in_uDelay)
        : m_history(in_uChannels, std::vector<float>(in_uDelay)), m_pos(in_uChannels, 0)
    {
    }

    void operator()(QwAudioBuffer& io_block)
    {
        EXPECT_EQ(io_block.uValidFrames, io_block.uMaxFrames); // the tail step always fills the block
        for (uint32_t c = 0; c < m_history.size(); ++c) {
            std::vector<float>& h = m_history[c];
            if (h.empty())
                continue;
            float* p = io_block.pData + static_cast<size_t>(c) * io_block.uMaxFrames;
            for (uint32_t i = 0; i < io_block.uValidFrames; ++i) {
                const float x = p[i];
                p[i] = h[m_pos[c]];
                h[m_pos[c]] = x;
                m_pos[c] = (m_pos[c] + 1) % h.size();
            }
        }
    }

private:
    std::vector<std::vector<float>> m_history;
    std::vector<size_t> m_pos;
};

struct StreamResult
{
    std::vector<std::vector<float>> out; // per channel, every valid frame handed back
    bool bInStep = true;                  // each 45 block came back with the frames it brought
    uint32_t uFinalState = 0;
    uint32_t uEndCalls = 0;               // calls after the input ended
};

// Drives the adapter the way the effect does: host blocks of the given sizes, the last one
// flagged 17, then empty 17 blocks until the host gets 17 back.
StreamResult RunStream(QwMismatchBuffering& io_mmb, uint32_t in_uH, uint32_t in_uChannels,
                       const std::vector<std::vector<float>>& in_input, const std::vector<uint32_t>& in_sizes,
                       uint32_t in_uTail)
{
    StreamResult r;
    r.out.resize(in_uChannels);
    QwTailHandler tail;
    DelayStep step(in_uChannels, in_uTail);
    std::vector<float> block(static_cast<size_t>(in_uH) * in_uChannels);
    auto run = [&](QwAudioBuffer& io_buffer) {
        if (io_mmb.HasRing()) {
            io_mmb.Run(io_buffer, tail, [&] { return in_uTail; }, [&](QwAudioBuffer& b) { step(b); });
        } else {
            tail.HandleTail(io_buffer, in_uTail);
            step(io_buffer);
        }
    };
    const uint32_t uConfig = QwMakeChannelConfig(in_uChannels, 0);
    size_t uPos = 0;
    for (size_t k = 0; k < in_sizes.size(); ++k) {
        const uint32_t n = in_sizes[k];
        const bool bLast = k + 1 == in_sizes.size();
        for (uint32_t c = 0; c < in_uChannels; ++c)
            for (uint32_t i = 0; i < in_uH; ++i)
                block[c * in_uH + i] = i < n ? in_input[c][uPos + i] : -99.0f;
        uPos += n;
        QwAudioBuffer buf = {block.data(), uConfig, bLast ? 17u : 45u, static_cast<uint16_t>(in_uH),
                             static_cast<uint16_t>(n)};
        run(buf);
        if (!bLast && (buf.uValidFrames != n || buf.eState != 45))
            r.bInStep = false;
        for (uint32_t c = 0; c < in_uChannels; ++c)
            r.out[c].insert(r.out[c].end(), block.begin() + c * in_uH, block.begin() + c * in_uH + buf.uValidFrames);
        if (bLast)
            r.uFinalState = buf.eState;
    }
    while (r.uFinalState != 17 && r.uEndCalls < 10000) {
        QwAudioBuffer buf = {block.data(), uConfig, 17u, static_cast<uint16_t>(in_uH), 0};
        run(buf);
        r.uEndCalls++;
        for (uint32_t c = 0; c < in_uChannels; ++c)
            r.out[c].insert(r.out[c].end(), block.begin() + c * in_uH, block.begin() + c * in_uH + buf.uValidFrames);
        r.uFinalState = buf.eState;
    }
    return r;
}

std::vector<std::vector<float>> RandomInput(uint32_t in_uChannels, size_t in_uFrames, uint32_t in_uSeed)
{
    std::vector<std::vector<float>> x;
    for (uint32_t c = 0; c < in_uChannels; ++c)
        x.push_back(RefNoise(in_uFrames, in_uSeed * 8 + c));
    return x;
}

// The output must be the input moved by exactly the latency plus the step's own delay, with
// silence before it and after it, and must hold the whole of it.
void ExpectDelayed(const StreamResult& in_r, const std::vector<std::vector<float>>& in_x, uint32_t in_uDelay)
{
    for (size_t c = 0; c < in_x.size(); ++c) {
        const std::vector<float>& y = in_r.out[c];
        ASSERT_GE(y.size(), in_uDelay + in_x[c].size()) << "tail cut short, channel " << c;
        for (size_t i = 0; i < y.size(); ++i) {
            const float fExpected =
                (i >= in_uDelay && i - in_uDelay < in_x[c].size()) ? in_x[c][i - in_uDelay] : 0.0f;
            ASSERT_EQ(y[i], fExpected) << "channel " << c << " frame " << i;
        }
    }
}

} // namespace

TEST(QwMismatchBuffering, SizingExamples)
{
    // H = 1000: B = 1024, L = 1023 - 23 = 1000, then 1000 - 24 + 1000 = 1976 with S = 2B.
    // H = 1500 and 3000: B = 1024 < H and H mod B != 0, so S = 2B and L = B.
    // H = 100: B = 128, L = 127 - 27 = 100, then 100 - 28 + 100 = 172, S = 256.
    // H up to 1024 dividing 1024 needs no ring (S = 0): B = H, no latency, nothing allocated.
    const Sizing aCases[] = {{1000, 1024, 2048, 1976}, {2048, 1024, 1024, 0}, {1536, 1024, 2048, 1024},
                             {1500, 1024, 2048, 1024}, {3000, 1024, 2048, 1024}, {100, 128, 256, 172},
                             {4096, 1024, 1024, 0},     {1, 1, 0, 0},           {64, 64, 0, 0},
                             {512, 512, 0, 0},          {1024, 1024, 0, 0}};
    for (const Sizing& s : aCases) {
        TestHost host;
        QwMismatchBuffering mmb;
        ASSERT_EQ(mmb.Init(&host.allocator, s.H, 2), QW_Success);
        EXPECT_EQ(mmb.HasRing(), s.S != 0) << s.H;
        EXPECT_EQ(mmb.ProcessBlockFrames(), s.B) << s.H;
        EXPECT_EQ(mmb.RingFrames(), s.S) << s.H;
        EXPECT_EQ(mmb.LatencyFrames(), s.L) << s.H;
        EXPECT_EQ(host.allocator.BytesLive(), uint64_t(s.S) * 2 * sizeof(float)) << s.H;
        mmb.Term(&host.allocator);
        EXPECT_TRUE(host.allocator.Balanced());
    }
}

// D = 0 is the unit impulse response with no tail. Otherwise the step delays by D frames and
// reports a tail of D: every input frame must still come out, whether the stream ends on a host
// block boundary, one frame in, one frame short, with an empty block, or after 60 blocks of
// random lengths (mostly short, some empty, some full).
TEST(QwMismatchBuffering, OutputIsInputDelayedByLatencyWithWholeTail)
{
    for (uint32_t H : {1000u, 1500u, 3000u, 1024u, 100u}) {
        for (uint32_t uPattern = 0; uPattern < 5; ++uPattern) {
            for (uint32_t D : {0u, 700u, 2500u}) {
                TestHost host;
                QwMismatchBuffering mmb;
                ASSERT_EQ(mmb.Init(&host.allocator, H, 3), QW_Success);
                if (uPattern == 4 && !mmb.HasRing())
                    continue; // without a ring the step sees the host's short blocks as they are
                std::vector<uint32_t> sizes(5, H);
                if (uPattern < 4) {
                    const uint32_t auLast[4] = {H, 1u, H - 1, 0u};
                    sizes.push_back(auLast[uPattern]);
                } else {
                    std::mt19937 rng(H + D);
                    std::uniform_int_distribution<uint32_t> size(0, H);
                    for (int k = 0; k < 60; ++k)
                        sizes.push_back(k % 7 == 3 ? H : size(rng));
                }
                size_t uFrames = 0;
                for (uint32_t n : sizes)
                    uFrames += n;
                const auto x = RandomInput(3, uFrames, D);
                const StreamResult r = RunStream(mmb, H, 3, x, sizes, D);
                SCOPED_TRACE(testing::Message() << "H " << H << " pattern " << uPattern << " D " << D);
                EXPECT_TRUE(r.bInStep);
                EXPECT_EQ(r.uFinalState, 17u);
                ExpectDelayed(r, x, mmb.LatencyFrames() + D);
                EXPECT_EQ(mmb.WriteIdx(), mmb.ReadIdx());
                EXPECT_EQ(host.asserts.Total(), 0u);
                mmb.Term(&host.allocator);
            }
        }
    }
}

TEST(QwMismatchBuffering, ResetEmptiesTheRing)
{
    TestHost host;
    QwMismatchBuffering mmb;
    ASSERT_EQ(mmb.Init(&host.allocator, 1000, 2), QW_Success);
    const auto x = RandomInput(2, 2500, 9);
    RunStream(mmb, 1000, 2, x, {1000, 1000, 500}, 0);
    mmb.ResetIndices();
    EXPECT_EQ(mmb.ProcessState(), 17u); // kept across the reset
    // After a reset the stream starts again with the full latency.
    const StreamResult r = RunStream(mmb, 1000, 2, x, {1000, 1000, 500}, 0);
    ExpectDelayed(r, x, 1976);
    mmb.Term(&host.allocator);
    EXPECT_TRUE(host.allocator.Balanced());
}
