// The dynamics demo preset through qwfx demo: it must audibly compress the test programme.
#include <gtest/gtest.h>
#include <algorithm>
#include <cmath>
#include "qwfx/lib/qwaudiofile.h"
#include "support/qwfxrun.h"

namespace {

// RMS level in dB of each 20 ms window of the mid signal.
std::vector<double> WindowLevels(const QwPlanarAudio& in_audio)
{
    const size_t uWindow = in_audio.uSampleRate / 50;
    std::vector<double> levels;
    for (size_t uStart = 0; uStart + uWindow <= in_audio.NumFrames(); uStart += uWindow) {
        double fSum = 0.0;
        for (size_t i = uStart; i < uStart + uWindow; ++i) {
            const double v = 0.5 * (in_audio.channels[0][i] + in_audio.channels[1][i]);
            fSum += v * v;
        }
        levels.push_back(10.0 * std::log10(fSum / uWindow + 1e-30));
    }
    return levels;
}

} // namespace

TEST(QwfxDynamics, DemoNarrowsTheProgrammesLevelRange)
{
    TestTempDir dir;
    const QwfxRunResult result = RunQwfx({"demo", dir.path.string()}, dir);
    ASSERT_EQ(result.iStatus, 0) << result.sErr;
    QwPlanarAudio programme, out;
    std::string sError;
    ASSERT_TRUE(QwReadAudioFile(dir.File("programme.wav"), programme, sError)) << sError;
    ASSERT_TRUE(QwReadAudioFile(dir.File("dynamics.wav"), out, sError)) << sError;
    ASSERT_EQ(out.NumFrames(), programme.NumFrames());
    EXPECT_LE(out.Peak(), 1.0f); // the make-up gain does not clip

    // Over the windows where the programme plays (above -40 dB) the spread between loud and
    // quiet windows shrinks from about 30 dB to about 15 dB; without compression it would not.
    const std::vector<double> in = WindowLevels(programme), levels = WindowLevels(out);
    double fInMax = -1e9, fInMin = 1e9, fOutMax = -1e9, fOutMin = 1e9;
    for (size_t w = 0; w < in.size(); ++w) {
        if (in[w] < -40.0)
            continue;
        fInMax = std::max(fInMax, in[w]);
        fInMin = std::min(fInMin, in[w]);
        fOutMax = std::max(fOutMax, levels[w]);
        fOutMin = std::min(fOutMin, levels[w]);
    }
    EXPECT_LT(fOutMax - fOutMin, fInMax - fInMin - 10.0);
}
