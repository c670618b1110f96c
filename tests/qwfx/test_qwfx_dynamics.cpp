// The dynamics effect end to end through the qwfx program and the built module: a WAV file
// in, parameters from --set and --params, a WAV file out, and the demo render.
#include <gtest/gtest.h>
#include <cmath>
#include <cstring>
#include <fstream>
#include "qwfx/lib/qwaudiofile.h"
#include "support/qwfxrun.h"

namespace {

const size_t FRAMES = 9600;

// Stereo, 48 kHz: left a steady 0.5 (-6 dBFS) with alternating sign, right a steady 0.05.
std::string WriteInput(const TestTempDir& in_dir)
{
    QwPlanarAudio audio(48000, 2, FRAMES);
    for (size_t i = 0; i < FRAMES; ++i) {
        audio.channels[0][i] = i % 2 ? -0.5f : 0.5f;
        audio.channels[1][i] = 0.05f;
    }
    std::string sError;
    EXPECT_TRUE(QwWriteFloatWav(in_dir.File("in.wav"), audio, sError)) << sError;
    return in_dir.File("in.wav");
}

QwPlanarAudio Render(const TestTempDir& in_dir, std::vector<std::string> in_extra)
{
    std::vector<std::string> args = {"render", "dynamics", WriteInput(in_dir), in_dir.File("out.wav"), "--strict"};
    args.insert(args.end(), in_extra.begin(), in_extra.end());
    const QwfxRunResult result = RunQwfx(args, in_dir);
    EXPECT_EQ(result.iStatus, 0) << result.sErr;
    QwPlanarAudio out;
    std::string sError;
    EXPECT_TRUE(QwReadAudioFile(in_dir.File("out.wav"), out, sError)) << sError;
    EXPECT_EQ(out.NumChannels(), 2u);
    EXPECT_EQ(out.NumFrames(), FRAMES);
    return out;
}

// With attack 0 a steady level gets the static gain c on one sample and, on the next, c lifted
// by the release towards 1 by (1 - c)(1 - a), a = e^(-2000 / 48000 / 200), both times the
// make-up gain: the bound below.
void ExpectSteadyGain(const QwPlanarAudio& in_out, double in_fTarget, double in_fMakeUp, const char* in_pszWhat)
{
    const double fHunt = in_fMakeUp * (1.0 - std::exp(-2000.0 / 48000.0 / 200.0)) + 1e-6;
    for (size_t i = 0; i < FRAMES; ++i) {
        const double fIn = i % 2 ? -0.5 : 0.5;
        ASSERT_NEAR(in_out.channels[0][i] / fIn, in_fTarget * in_fMakeUp, fHunt) << in_pszWhat << " frame " << i;
    }
}

void PutFloat(std::vector<uint8_t>& io_block, uint32_t in_uId, float in_f)
{
    uint32_t u;
    std::memcpy(&u, &in_f, 4);
    for (uint32_t i = 0; i < 4; ++i)
        io_block[4 * in_uId + i] = static_cast<uint8_t>(u >> (8 * i));
}

// RMS level in dB of each 20 ms window of the sum of the channels.
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

TEST(QwfxDynamics, RenderWithSetCompressesOnlyWhatIsOverTheThreshold)
{
    TestTempDir dir;
    const QwPlanarAudio out =
        Render(dir, {"--set", "comp-threshold=-20", "--set", "comp-ratio=4", "--set", "3=0", "--block", "256"});
    // Left: (0.5 / 0.1)^(1/4 - 1) = 5^-0.75. Right, under the threshold: untouched but for the
    // 1e-10 guards, which vanish against 0.05 in float.
    ExpectSteadyGain(out, std::pow(5.0, -0.75), 1.0, "--set");
    for (size_t i = 0; i < FRAMES; ++i)
        ASSERT_EQ(out.channels[1][i], 0.05f) << i;
}

TEST(QwfxDynamics, RenderWithParamsBlockThenSet)
{
    TestTempDir dir;
    std::vector<uint8_t> block(40, 0);
    const float afValues[10] = {0.0f, -20.0f, 2.0f, 0.0f, 200.0f, 0.0f, 1.0f, 10.0f, 200.0f, 6.0f};
    for (uint32_t id = 1; id < 10; ++id)
        PutFloat(block, id, afValues[id]);
    std::ofstream(dir.File("block.bin"), std::ios::binary).write(reinterpret_cast<const char*>(block.data()), 40);

    // 2:1 and +6 dB make-up: 5^-0.5 x 10^(6/20).
    const double fMakeUp = std::pow(10.0, 6.0 / 20.0);
    ExpectSteadyGain(Render(dir, {"--params", dir.File("block.bin")}), std::pow(5.0, -0.5), fMakeUp, "--params");
    // --set applies after the block: the ratio becomes 4, the make-up stays.
    ExpectSteadyGain(Render(dir, {"--params", dir.File("block.bin"), "--set", "comp-ratio=4"}),
                     std::pow(5.0, -0.75), fMakeUp, "--params then --set");
    // Bypass passes the file through bit for bit.
    const QwPlanarAudio bypassed = Render(dir, {"--params", dir.File("block.bin"), "--set", "bypass=1"});
    for (size_t i = 0; i < FRAMES; ++i)
        ASSERT_EQ(bypassed.channels[0][i], i % 2 ? -0.5f : 0.5f) << i;
}

TEST(QwfxDynamics, DemoRendersTheCompressedProgramme)
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

    // Over the windows where the programme plays (above -40 dB), the spread between loud and
    // quiet windows must shrink: compression narrows the level range (about 30 dB to 15 dB).
    const std::vector<double> in = WindowLevels(programme), outLevels = WindowLevels(out);
    double fInMax = -1e9, fInMin = 1e9, fOutMax = -1e9, fOutMin = 1e9;
    for (size_t w = 0; w < in.size(); ++w) {
        if (in[w] < -40.0)
            continue;
        fInMax = std::max(fInMax, in[w]);
        fInMin = std::min(fInMin, in[w]);
        fOutMax = std::max(fOutMax, outLevels[w]);
        fOutMin = std::min(fOutMin, outLevels[w]);
    }
    EXPECT_LT(fOutMax - fOutMin, fInMax - fInMin - 10.0);
}
