#include <gtest/gtest.h>
#include <vector>
#include "host/qwaudiobuffer.h"
#include "support/testhost.h"

namespace {
QwAudioBuffer MakeBuffer(std::vector<float>& io_data, uint32_t in_uChannels, uint16_t in_uMax, uint16_t in_uValid)
{
    io_data.assign(static_cast<size_t>(in_uChannels) * in_uMax, 7.0f);
    return QwAudioBuffer{io_data.data(), QwMakeChannelConfig(in_uChannels, QW_MASK_STEREO), QW_Success, in_uMax,
                         in_uValid};
}
} // namespace

TEST(QwAudioBuffer, ChannelsAreStridedByMaxFrames)
{
    TestHost host;
    std::vector<float> data;
    QwAudioBuffer buffer = MakeBuffer(data, 2, 64, 64);
    EXPECT_EQ(buffer.NumChannels(), 2u);
    EXPECT_EQ(buffer.GetChannel(1), data.data() + 64);
    EXPECT_EQ(host.asserts.Total(), 0u);
    // One past the last channel: reported, and the pointer is still computed.
    EXPECT_EQ(buffer.GetChannel(2), data.data() + 128);
    EXPECT_EQ(host.asserts.Count("in_uIndex < NumChannels()"), 1u);
}

TEST(QwAudioBuffer, PadZeroesEveryChannelFromTheValidCount)
{
    TestHost host;
    std::vector<float> data;
    QwAudioBuffer buffer = MakeBuffer(data, 2, 16, 5);
    buffer.PadBlockWithZeros();
    EXPECT_EQ(buffer.uValidFrames, 16);
    for (int c = 0; c < 2; ++c)
        for (int i = 0; i < 16; ++i)
            EXPECT_EQ(data[c * 16 + i], i < 5 ? 7.0f : 0.0f) << c << " " << i;
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(QwAudioBuffer, PadOfAFullBlockChangesNothing)
{
    TestHost host;
    std::vector<float> data;
    QwAudioBuffer buffer = MakeBuffer(data, 1, 8, 8);
    buffer.PadBlockWithZeros();
    EXPECT_EQ(buffer.uValidFrames, 8);
    for (float f : data)
        EXPECT_EQ(f, 7.0f);
    // A valid count above the capacity is treated as full and left alone.
    buffer.uValidFrames = 9;
    buffer.PadBlockWithZeros();
    EXPECT_EQ(buffer.uValidFrames, 9);
}

TEST(QwAudioBuffer, PadOfANullBlockAsserts)
{
    TestHost host;
    QwAudioBuffer empty{nullptr, QwMakeChannelConfig(0, 0), QW_Success, 0, 0};
    empty.PadBlockWithZeros();
    EXPECT_EQ(host.asserts.Total(), 0u);
    QwAudioBuffer broken{nullptr, QwMakeChannelConfig(0, 0), QW_Success, 4, 0};
    broken.PadBlockWithZeros();
    EXPECT_EQ(host.asserts.Count("pData != nullptr || MaxFrames() == 0"), 1u);
    EXPECT_EQ(host.asserts.Count("pData != nullptr"), 1u);
}
