// qwfx model-reverb and qwfx render reverb --ir end to end, on a synthetic room: stereo
// exponentially decaying noise written by the test.
#include <gtest/gtest.h>
#include <cmath>
#include <cstring>
#include "qwfx/qwfxe2e.h"

namespace {

uint32_t U32At(const std::string& in_bytes, size_t in_uAt)
{
    uint32_t u;
    std::memcpy(&u, in_bytes.data() + in_uAt, 4);
    return u;
}

// The number after in_sLabel in the program's output.
double ValueAfter(const std::string& in_sText, const std::string& in_sLabel)
{
    const size_t uAt = in_sText.find(in_sLabel);
    return uAt == std::string::npos ? NAN : std::strtod(in_sText.c_str() + uAt + in_sLabel.size(), nullptr);
}

} // namespace

TEST(QwfxModelReverb, WritesTheRecordAndPrintsWhatItFound)
{
    TestTempDir dir;
    const QwPlanarAudio room = SyntheticRoom(2);
    WriteWav(dir, "room.wav", room);
    const QwfxRunResult r =
        RunQwfx({"model-reverb", dir.File("room.wav"), "-o", dir.File("m.bin"), "--svg", dir.File("d.svg")}, dir);
    ASSERT_EQ(r.iStatus, 0) << r.sErr;

    const std::string record = Slurp(dir.File("m.bin"));
    ASSERT_GE(record.size(), 36u);
    const uint32_t N1 = U32At(record, 28);
    ASSERT_EQ(N1, 128u); // the equaliser's length at 48 kHz
    ASSERT_GE(record.size(), 36u + 8u * N1);
    const uint32_t N2 = U32At(record, 32 + 8 * N1);
    EXPECT_EQ(record.size(), 36u + 8u * N1 + 8u * N2);
    // One equaliser, stored for both channels.
    EXPECT_EQ(std::memcmp(record.data() + 32, record.data() + 32 + 4 * N1, 4 * N1), 0);

    // Normalisation: 1 / L2 norm of the channels' mean over the whole response.
    double fEnergy = 0.0;
    for (size_t i = 0; i < room.NumFrames(); ++i)
        fEnergy += std::pow(0.5 * (double(room.channels[0][i]) + room.channels[1][i]), 2.0);
    float fGain;
    std::memcpy(&fGain, record.data() + 24, 4);
    EXPECT_NEAR(fGain, 1.0 / std::sqrt(fEnergy), 1e-4 / std::sqrt(fEnergy));
    EXPECT_NEAR(ValueAfter(r.sOut, "normalisation   gain"), fGain, 1e-5 * fGain);

    // The transition lies between 150 and 350 ms and the early response runs from the onset to
    // it (printed to 0.1 ms: 5 samples). The noise starts at 50 ms, and the onset search's 10 ms
    // smoothing reaches ahead of it. White noise decays alike in every band, so the decay time
    // is the room's (T60 0.5 s: 0.125 s per 15 dB) and the multipliers are near 1.
    const double fTransition = ValueAfter(r.sOut, "transition");
    EXPECT_GE(fTransition, 150.0);
    EXPECT_LE(fTransition, 350.0);
    EXPECT_NEAR(ValueAfter(r.sOut, "onset"), 45.0, 5.0);
    EXPECT_NEAR(ValueAfter(r.sOut, "early response"), 48.0 * (fTransition - ValueAfter(r.sOut, "onset")), 5.0);
    EXPECT_NEAR(ValueAfter(r.sOut, "decay time"), 0.125, 0.125 * 0.1);
    const std::string sMultipliers = r.sOut.substr(r.sOut.find("multipliers"));
    for (const char* pszLabel : {"low ", "mid ", "high "})
        EXPECT_NEAR(ValueAfter(sMultipliers, pszLabel), 1.0, 0.15) << pszLabel;
    EXPECT_EQ(ValueAfter(r.sOut, "crossovers"), 800.0);
    EXPECT_GE(ValueAfter(r.sOut, "fitted in"), 0.0);

    // One measured and one modeled curve an octave, 125 Hz to 8 kHz.
    const std::string sSvg = Slurp(dir.File("d.svg"));
    EXPECT_EQ(CountOf(sSvg, "<polyline"), 14u);
}
TEST(QwfxModelReverb, RenderWithIrEqualsRenderWithTheModelFile)
{
    // The fit is deterministic: fitting in memory gives the record model-reverb writes, for
    // the order the reverb will run.
    TestTempDir dir;
    WriteWav(dir, "room.wav", SyntheticRoom(2));
    QwPlanarAudio input(48000, 2, 4800);
    input.channels[0][0] = 1.0f;
    input.channels[1][100] = -0.5f;
    WriteWav(dir, "in.wav", input);
    for (const char* pszOrder : {"16", "8"}) {
        ASSERT_EQ(RunQwfx({"model-reverb", dir.File("room.wav"), "-o", dir.File("m.bin"), "--order", pszOrder}, dir).iStatus, 0);
        const std::string sOrder = std::string("order=") + pszOrder;
        QwfxRunResult r = RunQwfx({"render", "reverb", dir.File("in.wav"), dir.File("a.wav"), "--ir", dir.File("room.wav"),
                                   "--set", sOrder, "--max-tail", "0.5"},
                                  dir);
        ASSERT_EQ(r.iStatus, 0) << r.sErr;
        r = RunQwfx({"render", "reverb", dir.File("in.wav"), dir.File("b.wav"), "--media", dir.File("m.bin"), "--set",
                     sOrder, "--max-tail", "0.5"},
                    dir);
        ASSERT_EQ(r.iStatus, 0) << r.sErr;
        const QwPlanarAudio a = ReadWav(dir.File("a.wav")), b = ReadWav(dir.File("b.wav"));
        ASSERT_GT(a.NumFrames(), input.NumFrames());
        EXPECT_EQ(a.channels, b.channels) << pszOrder;
        EXPECT_GT(a.Peak(), 0.0f);
    }
}
