// The delay through the qwfx program: the tail rendered after the input ends.
#include <gtest/gtest.h>
#include <algorithm>
#include <cmath>
#include "qwfx/lib/qwaudiofile.h"
#include "support/qwfxrun.h"

TEST(DelayQwfx, RenderedTailFollowsTheFormula)
{
    TestTempDir dir;
    // 10000 frames in blocks of 256: the last input block holds 16 valid frames. The engines
    // start at 200 ms and glide to 40 within 160 ms (7680 frames), so the clicks come after that.
    QwPlanarAudio input(48000, 2, 10000);
    input.channels[0][8000] = 0.5f;
    input.channels[1][8010] = -0.5f;
    std::string sError;
    ASSERT_TRUE(QwWriteFloatWav(dir.File("in.wav"), input, sError)) << sError;

    const std::vector<std::string> common = {"--block", "256", "--set", "dry=0", "--set", "wet=100",
                                             "--set", "time=40", "--set", "feedback=30", "--set", "low-cut=20",
                                             "--set", "high-cut=20000"};
    std::vector<std::string> byName = {"render", "delay", dir.File("in.wav"), dir.File("name.wav"), "--set", "mode=clean"};
    std::vector<std::string> byNumber = {"render", "delay", dir.File("in.wav"), dir.File("number.wav"), "--set", "mode=5"};
    byName.insert(byName.end(), common.begin(), common.end());
    byNumber.insert(byNumber.end(), common.begin(), common.end());
    const QwfxRunResult r1 = RunQwfx(byName, dir), r2 = RunQwfx(byNumber, dir);
    ASSERT_EQ(r1.iStatus, 0) << r1.sErr;
    ASSERT_EQ(r2.iStatus, 0) << r2.sErr;

    QwPlanarAudio byNameOut, byNumberOut;
    ASSERT_TRUE(QwReadAudioFile(dir.File("name.wav"), byNameOut, sError)) << sError;
    ASSERT_TRUE(QwReadAudioFile(dir.File("number.wav"), byNumberOut, sError)) << sError;
    // 30 percent falls 10.4576 dB a pass: 100 dB take 9.5624 passes of 40 ms (1920 samples),
    // 18359 frames. The last input block is padded by 240 of them; ceil(18119 / 256) = 71 blocks
    // follow, so the output is 10000 + 240 + 71 x 256 = 28416 frames.
    ASSERT_EQ(byNameOut.channels.size(), 2u);
    const size_t uFrames = byNameOut.channels[0].size();
    EXPECT_EQ(uFrames, 28416u);
    EXPECT_GE(uFrames, 10000u + 18359u);
    EXPECT_EQ(byNameOut.channels, byNumberOut.channels); // the mode by name or by number

    // The echoes ring on into the tail: the second comes back after
    // 2 x 1921 frames, beyond the input, and stands well clear of the quiet between echoes.
    const size_t auAt[2] = {8000 + 2 * 1921, 8010 + 2 * 1921};
    for (int c = 0; c < 2; ++c) {
        const std::vector<float>& y = byNameOut.channels[c];
        float fPeak = 0.0f, fQuiet = 0.0f;
        for (size_t i = auAt[c] - 3; i <= auAt[c] + 3; ++i)
            fPeak = std::fabs(y[i]) > std::fabs(fPeak) ? y[i] : fPeak;
        for (size_t i = auAt[c] - 400; i < auAt[c] - 300; ++i)
            fQuiet = std::max(fQuiet, std::fabs(y[i]));
        EXPECT_GT(std::fabs(fPeak), 10.0f * fQuiet) << c;
        EXPECT_EQ(fPeak > 0.0f, c == 0) << c; // the clean mode keeps each click's sign
    }
}
