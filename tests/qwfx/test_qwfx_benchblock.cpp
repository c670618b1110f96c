// qwfx bench --block N: one block length instead of the two defaults, and bad values refused.
#include <gtest/gtest.h>
#include <sstream>
#include "support/qwfxrun.h"

TEST(QwfxBenchBlock, TimesOnlyTheBlockAskedFor)
{
    TestTempDir dir;
    const QwfxRunResult result = RunQwfx({"bench", "dynamics", "--seconds", "0.1", "--block", "100"}, dir);
    ASSERT_EQ(result.iStatus, 0) << result.sErr;
    size_t uRows = 0;
    for (const std::string& sLine : result.OutLines()) {
        std::istringstream line(sLine);
        std::string sEffect, sPreset, sLayout;
        uint32_t uBlock = 0;
        if (sLine.rfind("dynamics ", 0) == 0 && line >> sEffect >> sPreset >> sLayout >> uBlock) {
            EXPECT_EQ(uBlock, 100u) << sLine;
            ++uRows;
        }
    }
    EXPECT_GE(uRows, 1u) << result.sOut;
}

TEST(QwfxBenchBlock, RefusesBlocksOutsideOneTo65535)
{
    TestTempDir dir;
    for (const char* pszBlock : {"0", "65536", "-4", "12x", ""}) {
        const QwfxRunResult result = RunQwfx({"bench", "dynamics", "--block", pszBlock}, dir);
        EXPECT_EQ(result.iStatus, 2) << pszBlock;
        EXPECT_EQ(result.ErrLines().size(), 1u) << result.sErr;
        EXPECT_EQ(result.sOut, "") << pszBlock;
    }
}
