// Layout names and the channel words they give the module.
#include <gtest/gtest.h>
#include "qwfx/lib/qwlayout.h"

TEST(QwLayout, ChannelWordIsCountPlusMaskShiftedBy12)
{
    // Worked: stereo 2 + 0x003 * 4096 = 12290; 5.1 6 + 0x60F * 4096 = 6 + 1551 * 4096 = 6352902;
    // 7.1 8 + 0x63F * 4096 = 8 + 1599 * 4096 = 6549512; mono 1 + 4 * 4096 = 16385.
    EXPECT_EQ(QwFindLayout("stereo")->ChannelConfig(), 12290u);
    EXPECT_EQ(QwFindLayout("5.1")->ChannelConfig(), 6352902u);
    EXPECT_EQ(QwFindLayout("7.1")->ChannelConfig(), 6549512u);
    EXPECT_EQ(QwFindLayout("mono")->ChannelConfig(), 16385u);
    EXPECT_EQ(QwFindLayout("4.0")->uChannels, 4u);
    EXPECT_EQ(QwFindLayout("5.0")->uChannels, 5u);
    EXPECT_EQ(QwFindLayout("quad"), nullptr);
    EXPECT_EQ(QwFindLayout("Stereo"), nullptr);
}

TEST(QwLayout, DefaultFollowsTheChannelCount)
{
    const char* const aExpected[] = {nullptr, "mono", "stereo", nullptr, "4.0", "5.0", "5.1", nullptr, "7.1", nullptr};
    for (uint32_t n = 0; n < 10; ++n) {
        const QwLayout* pLayout = QwDefaultLayout(n);
        if (!aExpected[n]) {
            EXPECT_EQ(pLayout, nullptr) << n;
            // No named layout: the count alone, no speaker mask.
            EXPECT_EQ(QwChannelConfigFor(n, pLayout), n);
        } else {
            ASSERT_NE(pLayout, nullptr) << n;
            EXPECT_STREQ(pLayout->pszName, aExpected[n]);
            EXPECT_EQ(QwChannelConfigFor(n, pLayout) & 0xFFu, n);
        }
    }
}
