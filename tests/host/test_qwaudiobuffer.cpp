#include <gtest/gtest.h>
#include <vector>
#include "host/qwaudiobuffer.h"
#include "support/testhost.h"

// Zeroes every channel (uMaxFrames apart) from the valid count on and marks the block full; a
// full block, or a valid count above the capacity, is left alone.
TEST(QwAudioBuffer, PadZeroesEveryChannelFromTheValidCount)
{
    TestHost host;
    struct Case
    {
        uint32_t uChannels;
        uint16_t uMax, uValid, uValidOut;
    };
    for (const Case& c : {Case{2, 16, 5, 16}, Case{3, 7, 0, 7}, Case{1, 8, 8, 8}, Case{1, 8, 9, 9}}) {
        std::vector<float> data(c.uChannels * c.uMax, 7.0f);
        QwAudioBuffer buffer{data.data(), QwMakeChannelConfig(c.uChannels, 0), QW_Success, c.uMax, c.uValid};
        buffer.PadBlockWithZeros();
        EXPECT_EQ(buffer.uValidFrames, c.uValidOut);
        for (uint32_t i = 0; i < data.size(); ++i)
            ASSERT_EQ(data[i], i % c.uMax < c.uValid ? 7.0f : 0.0f) << c.uChannels << " " << c.uValid << " " << i;
    }
    QwAudioBuffer empty{nullptr, QwMakeChannelConfig(0, 0), QW_Success, 0, 0};
    empty.PadBlockWithZeros();
    EXPECT_EQ(host.asserts.Total(), 0u);
}
