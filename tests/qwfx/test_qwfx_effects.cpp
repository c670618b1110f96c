// qwfx render end to end through the real module's effects: parameter blocks and --set reach
// the effect alike, and the host's block length does not change what comes out.
#include <gtest/gtest.h>
#include <cmath>
#include <cstring>
#include <fstream>
#include <sstream>
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

namespace {

std::string DynamicsBlock(const TestTempDir& in_dir, uint32_t in_uBypass, const float (&in_afValues)[9])
{
    uint8_t aBytes[40];
    std::memcpy(aBytes, &in_uBypass, 4);
    std::memcpy(aBytes + 4, in_afValues, 36);
    std::ofstream file(in_dir.File("dynamics.bin"), std::ios::binary);
    file.write(reinterpret_cast<const char*>(aBytes), sizeof(aBytes));
    return in_dir.File("dynamics.bin");
}

} // namespace

TEST(QwfxEffects, DynamicsBypassLeavesAudioUntouched)
{
    if (!Registered(5))
        GTEST_SKIP() << "dynamics is not registered";
    TestTempDir dir;
    const std::string sIn = WriteProgramme(dir);
    const QwPlanarAudio output =
        Render(dir, {"render", "dynamics", sIn, dir.File("out.wav"), "--set", "bypass=on", "--set", "comp-ratio=8",
                     "--set", "comp-threshold=-40"},
               dir.File("out.wav"));
    EXPECT_EQ(output.channels, ReadBack(sIn).channels);
}

TEST(QwfxEffects, DynamicsCompressorWithZeroAttackHitsItsTarget)
{
    if (!Registered(5))
        GTEST_SKIP() << "dynamics is not registered";
    TestTempDir dir;
    // Left a steady 0.5, 14 dB over a -20 dB threshold; right a steady 0.05, under it.
    QwPlanarAudio input(48000, 2, 2400);
    for (size_t i = 0; i < 2400; ++i) {
        input.channels[0][i] = 0.5f;
        input.channels[1][i] = 0.05f;
    }
    std::string sError;
    ASSERT_TRUE(QwWriteFloatWav(dir.File("in.wav"), input, sError));

    // Threshold -20 dB, ratio 4, attack 0, release 100 ms, expander off, as a block and as --set.
    const float afValues[9] = {-20.0f, 4.0f, 0.0f, 100.0f, 0.0f, 1.0f, 10.0f, 200.0f, 0.0f};
    const QwPlanarAudio fromBlock = Render(
        dir, {"render", "dynamics", dir.File("in.wav"), dir.File("a.wav"), "--params", DynamicsBlock(dir, 0, afValues)},
        dir.File("a.wav"));
    const QwPlanarAudio fromSet =
        Render(dir,
               {"render", "dynamics", dir.File("in.wav"), dir.File("b.wav"), "--set", "comp-threshold=-20", "--set",
                "comp-ratio=4", "--set", "3=0", "--set", "comp-release=100"},
               dir.File("b.wav"));
    EXPECT_EQ(fromBlock.channels, fromSet.channels);
    ASSERT_EQ(fromBlock.NumFrames(), 2400u);

    // Target gain c = (x / T)^(1/ratio - 1) with T = e^(-20 x 0.115129255) (about 0.1).
    // Attack 0 puts the gain on c at once; on the next sample gain <= c takes the release
    // branch towards 1, h = c a + (1 - a) with a = e^(-2000 / 48000 / 100), and the one after
    // pulls it back to c: the gain alternates between the two, even samples on c.
    const double fThreshold = std::exp(-20.0 * 0.115129255);
    const double fTarget = std::pow(0.5 / fThreshold, 0.25 - 1.0);
    const double fA = std::exp(-2000.0 / 48000.0 / 100.0);
    const double fHunt = fTarget * fA + (1.0 - fA);
    for (size_t i = 0; i < 2400; ++i) {
        const double fExpected = 0.5 * (i % 2 == 0 ? fTarget : fHunt);
        // Single-precision pow and products: a few ulps.
        ASSERT_NEAR(fromBlock.channels[0][i], fExpected, 2e-6 * fExpected) << i;
        // Under the threshold the gain stays 1; the +-1e-10 guards are below float resolution at 0.05.
        ASSERT_EQ(fromBlock.channels[1][i], 0.05f) << i;
    }
}

TEST(QwfxEffects, DemoRendersEveryRegisteredEffect)
{
    QwModule module;
    std::string sError;
    ASSERT_TRUE(module.Open(KVFX_MODULE_PATH, sError)) << sError;
    const auto records = module.Records();
    if (records.empty())
        GTEST_SKIP() << "no effect registered";
    TestTempDir dir;
    const QwfxRunResult result = RunQwfx({"demo", dir.File("demo")}, dir);
    ASSERT_EQ(result.iStatus, 0) << result.sErr;
    const QwPlanarAudio programme = ReadBack(dir.File("demo/programme.wav"));
    EXPECT_EQ(programme.NumChannels(), 2u);
    EXPECT_EQ(programme.uSampleRate, 48000u);
    // Peak at -3 dBFS: 10^(-3/20) = 0.70795.
    EXPECT_NEAR(programme.Peak(), 0.70795f, 1e-4f);
    for (const QwPluginRegistration* pRecord : records) {
        const char* const apszNames[10] = {nullptr,   nullptr, "reverb",      "distortion", "delay", "dynamics",
                                           "filters", "box-modeler", nullptr, "multiband-distortion"};
        const std::string sName = apszNames[pRecord->uPluginID];
        const QwPlanarAudio output = ReadBack(dir.File("demo/" + sName + ".wav"));
        // At least the programme comes back (effects with tails add to it), and the effect did something.
        EXPECT_GE(output.NumFrames(), programme.NumFrames()) << sName;
        EXPECT_NE(output.channels, programme.channels) << sName;
        EXPECT_NE(result.sOut.find("\n" + sName + " "), std::string::npos) << result.sOut;
    }
}

TEST(QwfxEffects, BenchReportsNoAllocationInExecute)
{
    if (!Registered(5))
        GTEST_SKIP() << "dynamics is not registered";
    TestTempDir dir;
    const QwfxRunResult result = RunQwfx({"bench", "dynamics", "--seconds", "0.2"}, dir);
    ASSERT_EQ(result.iStatus, 0) << result.sErr;
    size_t uRows = 0;
    for (const std::string& sLine : result.OutLines()) {
        if (sLine.rfind("dynamics ", 0) != 0)
            continue;
        std::istringstream line(sLine);
        std::string sEffect, sPreset, sLayout, sRealTime;
        uint32_t uBlock = 0, uRate = 0;
        double fNs = 0.0;
        uint64_t uAllocs = 1;
        ASSERT_TRUE(line >> sEffect >> sPreset >> sLayout >> uBlock >> uRate >> sRealTime >> fNs >> uAllocs) << sLine;
        EXPECT_EQ(sLayout, "stereo");
        EXPECT_TRUE(uBlock == 512 || uBlock == 64) << uBlock;
        EXPECT_EQ(uRate, 48000u);
        EXPECT_EQ(uAllocs, 0u) << sLine;
        EXPECT_GT(fNs, 0.0);
        ++uRows;
    }
    // Each bench preset at both block lengths.
    EXPECT_EQ(uRows % 2, 0u);
    EXPECT_GE(uRows, 2u) << result.sOut;
}
