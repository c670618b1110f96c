#include <gtest/gtest.h>
#include <vector>
#include "host/qwtailhandler.h"
#include "support/testhost.h"

namespace {
struct Block
{
    explicit Block(uint16_t in_uMax) : data(2 * in_uMax, 1.0f)
    {
        buffer = QwAudioBuffer{data.data(), QwMakeChannelConfig(2, QW_MASK_STEREO), QW_Success, in_uMax, in_uMax};
    }
    void Set(uint32_t in_eState, uint16_t in_uValid)
    {
        buffer.eState = in_eState;
        buffer.uValidFrames = in_uValid;
    }
    std::vector<float> data;
    QwAudioBuffer buffer;
};
} // namespace

TEST(QwTailHandler, RunningStreamIsNotTouched)
{
    TestHost host;
    QwTailHandler tail;
    tail.m_uTailFramesRemaining = 12;
    Block block(64);
    block.Set(QW_DataReady, 10);
    tail.HandleTail(block.buffer, 1000);
    EXPECT_EQ(tail.m_uTailFramesRemaining, QwTailHandler::NOT_STARTED);
    EXPECT_EQ(block.buffer.uValidFrames, 10);
    EXPECT_EQ(block.buffer.eState, static_cast<uint32_t>(QW_DataReady));
    EXPECT_EQ(block.data[20], 1.0f);
}

TEST(QwTailHandler, TailFromAnEmptyLastBlock)
{
    TestHost host;
    QwTailHandler tail;
    Block block(64);
    block.Set(QW_InputEnded, 0);
    tail.HandleTail(block.buffer, 150);
    // 150 frames of tail: 64 of them fit this block.
    EXPECT_EQ(tail.m_uTailFramesRemaining, 86u);
    EXPECT_EQ(tail.m_uTotalTailFrames, 150u);
    EXPECT_EQ(block.buffer.uValidFrames, 64);
    EXPECT_EQ(block.buffer.eState, static_cast<uint32_t>(QW_DataReady));
    EXPECT_EQ(block.data[0], 0.0f);
    EXPECT_EQ(block.data[127], 0.0f);

    block.Set(QW_InputEnded, 0);
    tail.HandleTail(block.buffer, 150);
    EXPECT_EQ(tail.m_uTailFramesRemaining, 22u);
    EXPECT_EQ(block.buffer.eState, static_cast<uint32_t>(QW_DataReady));

    // The last 22 frames: the block is still padded to its full length and the stream ends.
    block.Set(QW_InputEnded, 0);
    tail.HandleTail(block.buffer, 150);
    EXPECT_EQ(tail.m_uTailFramesRemaining, 0u);
    EXPECT_EQ(block.buffer.uValidFrames, 64);
    EXPECT_EQ(block.buffer.eState, static_cast<uint32_t>(QW_InputEnded));

    // Over: later empty blocks are left as the host made them.
    block.Set(QW_InputEnded, 0);
    tail.HandleTail(block.buffer, 150);
    EXPECT_EQ(block.buffer.uValidFrames, 0);
    EXPECT_EQ(block.buffer.eState, static_cast<uint32_t>(QW_InputEnded));
}

TEST(QwTailHandler, ZeroTailPadsOnceAndEnds)
{
    TestHost host;
    QwTailHandler tail;
    Block block(32);
    block.Set(QW_InputEnded, 10);
    tail.HandleTail(block.buffer, 0);
    EXPECT_EQ(block.buffer.uValidFrames, 32);
    EXPECT_EQ(block.buffer.eState, static_cast<uint32_t>(QW_InputEnded));
    EXPECT_EQ(block.data[9], 1.0f);
    EXPECT_EQ(block.data[10], 0.0f);
    for (int i = 0; i < 3; ++i) {
        block.Set(QW_InputEnded, 0);
        tail.HandleTail(block.buffer, 0);
        EXPECT_EQ(block.buffer.uValidFrames, 0);
    }
}

TEST(QwTailHandler, FullBlockAtEndOfInputLeavesTheCount)
{
    TestHost host;
    QwTailHandler tail;
    Block block(64);
    block.Set(QW_InputEnded, 64);
    tail.HandleTail(block.buffer, 100);
    EXPECT_EQ(tail.m_uTailFramesRemaining, 100u); // no room in a full block
    EXPECT_EQ(block.buffer.eState, static_cast<uint32_t>(QW_DataReady));
    EXPECT_EQ(block.data[63], 1.0f);
}

TEST(QwTailHandler, ResumedStreamGetsAWholeNewTail)
{
    TestHost host;
    QwTailHandler tail;
    Block block(64);
    block.Set(QW_InputEnded, 0);
    tail.HandleTail(block.buffer, 200);
    EXPECT_EQ(tail.m_uTailFramesRemaining, 136u);
    block.Set(QW_DataReady, 64);
    tail.HandleTail(block.buffer, 200);
    block.Set(QW_InputEnded, 0);
    tail.HandleTail(block.buffer, 200);
    EXPECT_EQ(tail.m_uTailFramesRemaining, 136u);
}

TEST(QwTailHandler, GrowingTotalExtendsAShrinkingOneDoesNot)
{
    TestHost host;
    QwTailHandler tail;
    Block block(64);
    block.Set(QW_InputEnded, 0);
    tail.HandleTail(block.buffer, 200);
    EXPECT_EQ(tail.m_uTailFramesRemaining, 136u);
    block.Set(QW_InputEnded, 0);
    tail.HandleTail(block.buffer, 300); // +100, then 64 used
    EXPECT_EQ(tail.m_uTailFramesRemaining, 172u);
    EXPECT_EQ(tail.m_uTotalTailFrames, 300u);
    block.Set(QW_InputEnded, 0);
    tail.HandleTail(block.buffer, 10); // shrunk: ignored
    EXPECT_EQ(tail.m_uTailFramesRemaining, 108u);
    EXPECT_EQ(tail.m_uTotalTailFrames, 300u);
    // New input in an ended block restarts the tail at the current total.
    block.Set(QW_InputEnded, 5);
    tail.HandleTail(block.buffer, 10);
    EXPECT_EQ(tail.m_uTailFramesRemaining, 0u);
    EXPECT_EQ(block.buffer.eState, static_cast<uint32_t>(QW_InputEnded));
}
