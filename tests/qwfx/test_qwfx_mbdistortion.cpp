// The multiband distortion end to end through the qwfx program.
#include <gtest/gtest.h>
#include <cmath>
#include "qwfx/lib/qwaudiofile.h"
#include "support/qwfxrun.h"

TEST(QwfxMultibandDistortion, RenderSplitsDistortsAndSums)
{
    TestTempDir dir;
    // A 100 Hz tone at half scale: it lives in the low band.
    QwPlanarAudio in(48000, 2, 9600);
    for (size_t i = 0; i < 9600; ++i)
        in.channels[0][i] = in.channels[1][i] = 0.5f * std::sin(2.0f * 3.14159265f * 100.0f * i / 48000.0f);
    std::string sError;
    ASSERT_TRUE(QwWriteFloatWav(dir.File("in.wav"), in, sError)) << sError;

    auto Render = [&](std::vector<std::string> in_settings) {
        std::vector<std::string> args = {"render", "multiband-distortion", dir.File("in.wav"), dir.File("out.wav"),
                                         "--strict"};
        for (const std::string& s : in_settings) {
            args.push_back("--set");
            args.push_back(s);
        }
        const QwfxRunResult result = RunQwfx(args, dir);
        EXPECT_EQ(result.iStatus, 0) << result.sErr;
        QwPlanarAudio out;
        std::string sReadError;
        EXPECT_TRUE(QwReadAudioFile(dir.File("out.wav"), out, sReadError)) << sReadError;
        EXPECT_EQ(out.NumFrames(), 9600u);
        return out;
    };
    // All algorithms none: the bands sum back to the tone (the lift between the cut-offs is far
    // above 100 Hz), apart from the low-pass's small phase shift.
    const QwPlanarAudio clean = Render({});
    double fErr = 0.0, fRef = 0.0;
    for (size_t i = 4800; i < 9600; ++i) {
        fErr += std::pow(clean.channels[0][i] - in.channels[0][i], 2.0);
        fRef += std::pow(in.channels[0][i], 2.0);
    }
    EXPECT_LT(fErr / fRef, 1e-3);

    // The high band silenced: what is left of the tone changes only by the high band's share of
    // it, |HP(10 kHz)| at 100 Hz = 0.01 of 0.5.
    const QwPlanarAudio high = Render({"high-algorithm1=hard-limits", "high-output-gain1=-200"});
    for (size_t i = 0; i < 9600; ++i)
        ASSERT_NEAR(high.channels[0][i], clean.channels[0][i], 0.006f) << i;
    // The same on the low band changes it.
    const QwPlanarAudio low = Render({"low-algorithm1=hard-limits", "low-drive1=10", "cutoff1=1000"});
    double fDiff = 0.0;
    for (size_t i = 0; i < 9600; ++i)
        fDiff += std::fabs(low.channels[0][i] - clean.channels[0][i]);
    EXPECT_GT(fDiff / 9600.0, 0.01);
}
