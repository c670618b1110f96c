// The reverb end to end through the qwfx program: a model record as plug-in media, surround
// layouts, the tail after the input ends, and the errors a user can make.
#include <gtest/gtest.h>
#include <cmath>
#include <fstream>
#include "qwfx/lib/qwaudiofile.h"
#include "qwfx/lib/qwreverbmodel.h"
#include "support/qwfxrun.h"

namespace {

std::string WriteFile(const TestTempDir& in_dir, const char* in_pszName, const std::vector<uint8_t>& in_bytes)
{
    std::ofstream file(in_dir.File(in_pszName), std::ios::binary);
    file.write(reinterpret_cast<const char*>(in_bytes.data()), static_cast<std::streamsize>(in_bytes.size()));
    return in_dir.File(in_pszName);
}

std::string WriteClicks(const TestTempDir& in_dir, uint32_t in_uChannels, size_t in_uFrames)
{
    QwPlanarAudio audio(48000, in_uChannels, in_uFrames);
    for (uint32_t c = 0; c < in_uChannels; ++c)
        audio.channels[c][100 + 10 * c] = 0.5f;
    std::string sError;
    EXPECT_TRUE(QwWriteFloatWav(in_dir.File("in.wav"), audio, sError)) << sError;
    return in_dir.File("in.wav");
}

} // namespace

TEST(QwfxReverb, TailFollowsTheModelsDecayInEveryLayout)
{
    TestTempDir dir;
    QwReverbModel model = QwSyntheticReverbModel(48000, 20.0f);
    model.fDecayTime = 0.05f; // tail: 48000 x 0.05 x 8 = 19200 frames
    const std::string sModel = WriteFile(dir, "model.bin", QwWriteReverbModel(model));
    const size_t uFrames = 9600;
    for (uint32_t uChannels : {1u, 2u, 4u, 5u, 6u, 8u}) {
        const std::string sIn = WriteClicks(dir, uChannels, uFrames);
        const QwfxRunResult result =
            RunQwfx({"render", "reverb", sIn, dir.File("out.wav"), "--media", sModel, "--strict"}, dir);
        ASSERT_EQ(result.iStatus, 0) << uChannels << ": " << result.sErr;
        QwPlanarAudio out;
        std::string sError;
        ASSERT_TRUE(QwReadAudioFile(dir.File("out.wav"), out, sError)) << sError;
        EXPECT_EQ(out.NumChannels(), uChannels);
        // Input and tail, padded to whole blocks of 512.
        EXPECT_EQ(out.NumFrames(), (uFrames + 19200 + 511) / 512 * 512) << uChannels << " channels";
        // Fully wet by default: the reverberation of the click is there, the dry click is not.
        double fEnergy = 0.0;
        for (size_t t = 200; t < out.NumFrames(); ++t)
            fEnergy += out.channels[0][t] * out.channels[0][t];
        EXPECT_GT(fEnergy, 1e-4) << uChannels;
        EXPECT_LT(std::fabs(out.channels[0][100]), 0.5f * 0.1f) << uChannels;
    }
}

TEST(QwfxReverb, MissingOrMalformedModelIsOneClearError)
{
    TestTempDir dir;
    const std::string sIn = WriteClicks(dir, 2, 4800);
    QwfxRunResult result = RunQwfx({"render", "reverb", sIn, dir.File("out.wav")}, dir);
    EXPECT_NE(result.iStatus, 0);
    ASSERT_EQ(result.ErrLines().size(), 1u) << result.sErr;
    EXPECT_NE(result.sErr.find("79"), std::string::npos) << result.sErr;

    std::vector<uint8_t> record = QwWriteReverbModel(QwSyntheticReverbModel(48000, 5.0f));
    record.pop_back();
    const std::string sBad = WriteFile(dir, "bad.bin", record);
    result = RunQwfx({"render", "reverb", sIn, dir.File("out.wav"), "--media", sBad}, dir);
    EXPECT_NE(result.iStatus, 0);
    EXPECT_NE(result.sErr.find("52"), std::string::npos) << result.sErr;
    EXPECT_FALSE(std::ifstream(dir.File("out.wav")).good());
}

TEST(QwfxReverb, ReverbModelWritesARecordThatRenderAccepts)
{
    TestTempDir dir;
    QwfxRunResult result =
        RunQwfx({"reverb-model", "-o", dir.File("m.bin"), "--early-ms", "10", "--decay", "0.05"}, dir);
    ASSERT_EQ(result.iStatus, 0) << result.sErr;
    std::ifstream file(dir.File("m.bin"), std::ios::binary | std::ios::ate);
    // 36 bytes of header and counts, one equaliser tap and 480 early taps on each of two channels.
    EXPECT_EQ(static_cast<size_t>(file.tellg()), 36u + 8u * 1u + 8u * 480u);
    const std::string sIn = WriteClicks(dir, 2, 4800);
    result = RunQwfx({"render", "reverb", sIn, dir.File("out.wav"), "--media", dir.File("m.bin"), "--strict"}, dir);
    EXPECT_EQ(result.iStatus, 0) << result.sErr;

    result = RunQwfx({"reverb-model", "-o", dir.File("n.bin"), "--decay", "7"}, dir);
    EXPECT_NE(result.iStatus, 0);
    EXPECT_EQ(result.ErrLines().size(), 1u) << result.sErr;
    EXPECT_FALSE(std::ifstream(dir.File("n.bin")).good());
}
