// qwfx render end to end through the real module's effects: parameter blocks and --set reach
// the effect alike, and the host's block length does not change what comes out.
#include <gtest/gtest.h>
#include <cmath>
#include <cstring>
#include <fstream>
#include "qwfx/lib/qwaudiofile.h"
#include "qwfx/lib/qwmodule.h"
#include "support/qwfxrun.h"

namespace {

bool Registered(uint32_t in_uPluginId)
{
    QwModule module;
    std::string sError;
    return module.Open(KVFX_MODULE_PATH, sError) && module.Find(in_uPluginId) != nullptr;
}

std::string WriteProgramme(const TestTempDir& in_dir)
{
    QwPlanarAudio audio(48000, 2, 4800);
    for (uint32_t c = 0; c < 2; ++c)
        for (size_t i = 0; i < 4800; ++i)
            audio.channels[c][i] = static_cast<float>(0.8 * std::sin(0.01 * i * (c + 1)) * ((i % 480) / 480.0));
    std::string sError;
    EXPECT_TRUE(QwWriteFloatWav(in_dir.File("in.wav"), audio, sError)) << sError;
    return in_dir.File("in.wav");
}

QwPlanarAudio ReadBack(const std::string& in_sPath)
{
    QwPlanarAudio audio;
    std::string sError;
    EXPECT_TRUE(QwReadAudioFile(in_sPath, audio, sError)) << sError;
    return audio;
}

QwPlanarAudio Render(const TestTempDir& in_dir, std::vector<std::string> in_args, const std::string& in_sOut)
{
    const QwfxRunResult result = RunQwfx(in_args, in_dir);
    EXPECT_EQ(result.iStatus, 0) << result.sErr;
    EXPECT_EQ(result.sErr, "");   // no assertion either
    return ReadBack(in_sOut);
}

// Distortion parameter block: twelve 4-byte values in id order; ids 5 and 11 are u32.
std::string DistortionBlock(const TestTempDir& in_dir, const float (&in_afValues)[12])
{
    uint8_t aBytes[48];
    for (int i = 0; i < 12; ++i) {
        if (i == 5 || i == 11) {
            const uint32_t uValue = static_cast<uint32_t>(in_afValues[i]);
            std::memcpy(aBytes + 4 * i, &uValue, 4);
        } else {
            std::memcpy(aBytes + 4 * i, &in_afValues[i], 4);
        }
    }
    std::ofstream file(in_dir.File("block.bin"), std::ios::binary);
    file.write(reinterpret_cast<const char*>(aBytes), sizeof(aBytes));
    return in_dir.File("block.bin");
}

} // namespace

TEST(QwfxEffects, DistortionDefaultsPassAudioUntouched)
{
    if (!Registered(3))
        GTEST_SKIP() << "distortion is not registered";
    TestTempDir dir;
    const std::string sIn = WriteProgramme(dir);
    const QwPlanarAudio input = ReadBack(sIn);
    // Algorithm 0 in both slots with unit gains and full mix is the identity.
    const QwPlanarAudio output = Render(dir, {"render", "distortion", sIn, dir.File("out.wav")}, dir.File("out.wav"));
    EXPECT_EQ(output.channels, input.channels);
}

TEST(QwfxEffects, DistortionBlockAndSetAgree)
{
    if (!Registered(3))
        GTEST_SKIP() << "distortion is not registered";
    TestTempDir dir;
    const std::string sIn = WriteProgramme(dir);
    // amp-drainer (1) in slot 1 with drive 3 and mix 70; tape-saturation (30) in slot 2 at -2 dB.
    const float afValues[12] = {2.0f, 3.0f, 0.5f, 70.0f, 0.0f, 1, 0.0f, 5.0f, 0.5f, 100.0f, -2.0f, 30};
    const QwPlanarAudio fromBlock =
        Render(dir, {"render", "distortion", sIn, dir.File("a.wav"), "--params", DistortionBlock(dir, afValues)},
               dir.File("a.wav"));
    const QwPlanarAudio fromSet =
        Render(dir,
               {"render", "3", sIn, dir.File("b.wav"), "--set", "input-gain1=2", "--set", "drive1=3", "--set",
                "mix1=70", "--set", "algorithm1=amp-drainer", "--set", "algorithm2=30", "--set", "10=-2"},
               dir.File("b.wav"));
    EXPECT_EQ(fromBlock.channels, fromSet.channels);
    // And it did distort: the output is not the input.
    EXPECT_NE(fromBlock.channels, ReadBack(sIn).channels);

    // --set after --params overrides the block's value.
    const float afDry[12] = {2.0f, 3.0f, 0.5f, 0.0f, 0.0f, 1, 0.0f, 5.0f, 0.5f, 100.0f, -2.0f, 30};
    const QwPlanarAudio dryBlock =
        Render(dir, {"render", "distortion", sIn, dir.File("c.wav"), "--params", DistortionBlock(dir, afDry)},
               dir.File("c.wav"));
    const QwPlanarAudio overridden =
        Render(dir,
               {"render", "distortion", sIn, dir.File("d.wav"), "--params", DistortionBlock(dir, afValues), "--set",
                "mix1=0"},
               dir.File("d.wav"));
    EXPECT_EQ(dryBlock.channels, overridden.channels);
}

TEST(QwfxEffects, DistortionOutputDoesNotDependOnTheHostBlock)
{
    if (!Registered(3))
        GTEST_SKIP() << "distortion is not registered";
    TestTempDir dir;
    const std::string sIn = WriteProgramme(dir);
    // A memoryless curve: each sample's answer is the same whatever block carries it.
    const std::vector<std::string> settings = {"--set", "algorithm1=amp-drainer", "--set", "drive1=6"};
    std::vector<QwPlanarAudio> outputs;
    for (const char* pszBlock : {"64", "333", "4800"}) {
        std::vector<std::string> args = {"render", "distortion", sIn, dir.File("o.wav"), "--block", pszBlock};
        args.insert(args.end(), settings.begin(), settings.end());
        outputs.push_back(Render(dir, args, dir.File("o.wav")));
        EXPECT_EQ(outputs.back().NumFrames(), 4800u) << pszBlock;
    }
    EXPECT_EQ(outputs[0].channels, outputs[1].channels);
    EXPECT_EQ(outputs[0].channels, outputs[2].channels);
}
