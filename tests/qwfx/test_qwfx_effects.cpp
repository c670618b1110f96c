// qwfx render end to end through the real module's effects, each against a closed form, a
// hand-worked value or a direct convolution; plus qwfx demo and qwfx bench over all of them.
#include <gtest/gtest.h>
#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <sstream>
#include "qwfx/lib/qweffectmeta.h"
#include "qwfx/lib/qwmodule.h"
#include "qwfx/lib/qwreverbmodel.h"
#include "qwfx/qwfxe2e.h"

namespace {

QwPlanarAudio Programme()
{
    QwPlanarAudio audio(48000, 2, 4800);
    for (uint32_t c = 0; c < 2; ++c)
        for (size_t i = 0; i < 4800; ++i)
            audio.channels[c][i] = static_cast<float>(0.8 * std::sin(0.01 * i * (c + 1)) * ((i % 480) / 480.0));
    return audio;
}

} // namespace

TEST(QwfxEffects, NeutralSettingsPassAudioUntouched)
{
    TestTempDir dir;
    const QwPlanarAudio input = Programme();
    const std::pair<const char*, std::vector<std::string>> aCases[] = {
        {"distortion", {}}, // algorithm 0 in both slots with unit gains and full mix
        {"dynamics", Sets({"bypass=on", "comp-ratio=8", "comp-threshold=-40"})},
        {"filters", Sets({"f1-mode=off", "f2-mode=2", "f3-mode=off"})},
    };
    for (const auto& c : aCases)
        EXPECT_EQ(Render(dir, c.first, input, c.second).channels, input.channels) << c.first;
}

TEST(QwfxEffects, ParameterBlockAndSetAgree)
{
    TestTempDir dir;
    const QwPlanarAudio input = Programme();
    // Twelve 4-byte values in id order, ids 5 and 11 u32: amp-drainer (1) in slot 1 with drive 3
    // and mix 70; tape-saturation (30) in slot 2 at -2 dB.
    float afValues[12] = {2.0f, 3.0f, 0.5f, 70.0f, 0.0f, 0, 0.0f, 5.0f, 0.5f, 100.0f, -2.0f, 0};
    const uint32_t auAlgorithms[2] = {1, 30};
    std::memcpy(&afValues[5], &auAlgorithms[0], 4);
    std::memcpy(&afValues[11], &auAlgorithms[1], 4);
    const std::string sBlock = WriteBytes(dir, "block.bin", afValues, sizeof afValues);
    const QwPlanarAudio fromBlock = Render(dir, "distortion", input, {"--params", sBlock});
    const QwPlanarAudio fromSet = Render(dir, "3", input,
                                         Sets({"input-gain1=2", "drive1=3", "mix1=70", "algorithm1=amp-drainer",
                                               "algorithm2=30", "10=-2"}));
    EXPECT_EQ(fromBlock.channels, fromSet.channels);
    EXPECT_NE(fromBlock.channels, input.channels); // and it did distort
    // --set after --params overrides the block's value.
    const QwPlanarAudio overridden = Render(dir, "distortion", input, {"--params", sBlock, "--set", "mix1=0"});
    afValues[3] = 0.0f;
    const QwPlanarAudio dryBlock =
        Render(dir, "distortion", input, {"--params", WriteBytes(dir, "dry.bin", afValues, sizeof afValues)});
    EXPECT_EQ(dryBlock.channels, overridden.channels);
}

TEST(QwfxEffects, MultibandSplitsDistortsAndSums)
{
    TestTempDir dir;
    // A 100 Hz tone at half scale: it lives in the low band.
    QwPlanarAudio input(48000, 2, 9600);
    for (size_t i = 0; i < 9600; ++i)
        input.channels[0][i] = input.channels[1][i] = 0.5f * std::sin(2.0f * 3.14159265f * 100.0f * i / 48000.0f);
    // All algorithms none: the bands sum back to the tone (the lift between the cut-offs is far
    // above 100 Hz), apart from the low-pass's small phase shift.
    const QwPlanarAudio clean = Render(dir, "multiband-distortion", input, {"--strict"});
    double fErr = 0.0, fRef = 0.0;
    for (size_t i = 4800; i < 9600; ++i) {
        fErr += std::pow(clean.channels[0][i] - input.channels[0][i], 2.0);
        fRef += std::pow(input.channels[0][i], 2.0);
    }
    EXPECT_LT(fErr / fRef, 1e-3);
    // The high band silenced: the tone changes only by the high band's share of it,
    // |HP(10 kHz)| at 100 Hz = 0.01 of 0.5.
    const QwPlanarAudio high =
        Render(dir, "multiband-distortion", input, Sets({"high-algorithm1=hard-limits", "high-output-gain1=-200"}));
    for (size_t i = 0; i < 9600; ++i)
        ASSERT_NEAR(high.channels[0][i], clean.channels[0][i], 0.006f) << i;
    // The same on the low band changes it.
    const QwPlanarAudio low = Render(dir, "multiband-distortion", input,
                                     Sets({"low-algorithm1=hard-limits", "low-drive1=10", "cutoff1=1000"}));
    double fDiff = 0.0;
    for (size_t i = 0; i < 9600; ++i)
        fDiff += std::fabs(low.channels[0][i] - clean.channels[0][i]);
    EXPECT_GT(fDiff / 9600.0, 0.01);
}

TEST(QwfxEffects, DelayTailFollowsTheFormula)
{
    TestTempDir dir;
    // 10000 frames in blocks of 256: the last input block holds 16 valid frames. The engines
    // start at 200 ms and glide to 40 within 160 ms (7680 frames), so the clicks come after that.
    QwPlanarAudio input(48000, 2, 10000);
    input.channels[0][8000] = 0.5f;
    input.channels[1][8010] = -0.5f;
    std::vector<std::string> args = Sets({"dry=0", "wet=100", "time=40", "feedback=30", "low-cut=20", "high-cut=20000"});
    args.insert(args.end(), {"--block", "256", "--set", "mode=clean"});
    const QwPlanarAudio byName = Render(dir, "delay", input, args);
    args.back() = "mode=5";
    EXPECT_EQ(Render(dir, "delay", input, args).channels, byName.channels);
    // 30 percent falls 10.4576 dB a pass: 100 dB take 9.5624 passes of 40 ms (1920 samples),
    // 18359 frames. The last input block is padded by 240 of them; ceil(18119 / 256) = 71 blocks
    // follow, so the output is 10000 + 240 + 71 x 256 = 28416 frames.
    ASSERT_EQ(byName.NumFrames(), 28416u);
    // The second echo comes back after 2 x 1921 frames, in the tail, well clear of the quiet
    // between echoes, each click with its own sign.
    const size_t auAt[2] = {8000 + 2 * 1921, 8010 + 2 * 1921};
    for (int c = 0; c < 2; ++c) {
        const std::vector<float>& y = byName.channels[c];
        float fPeak = 0.0f, fQuiet = 0.0f;
        for (size_t i = auAt[c] - 3; i <= auAt[c] + 3; ++i)
            fPeak = std::fabs(y[i]) > std::fabs(fPeak) ? y[i] : fPeak;
        for (size_t i = auAt[c] - 400; i < auAt[c] - 300; ++i)
            fQuiet = std::max(fQuiet, std::fabs(y[i]));
        EXPECT_GT(std::fabs(fPeak), 10.0f * fQuiet) << c;
        EXPECT_EQ(fPeak > 0.0f, c == 0) << c;
    }
}

TEST(QwfxEffects, BoxModelerIsTheConvolutionWithTheMeasuredCabinet)
{
    // Noise through the 8192-tap bass combo, packed in memory by --ir and from a file by
    // box-model: both give the direct convolution (at H = 512 there is no latency).
    TestTempDir dir;
    const std::string sCabinet = std::string(KVFX_SOURCE_DIR) + "/qwfx/data/bass-combo-a-44k.wav";
    QwPlanarAudio input(44100, 1, 3000);
    std::mt19937 rng(1);
    std::uniform_real_distribution<float> dist(-0.5f, 0.5f);
    for (float& x : input.channels[0])
        x = dist(rng);
    const std::vector<float> h = ReadWav(sCabinet).channels[0];
    const QwPlanarAudio output = Render(dir, "box-modeler", input, {"--ir", sCabinet});
    ASSERT_GE(output.NumFrames(), input.NumFrames() + h.size() - 1);
    const std::vector<float>& x = input.channels[0];
    double fPeak = 0.0;
    for (size_t n = 0; n < x.size() + h.size() - 1; ++n) {
        double ref = 0.0;
        for (size_t k = n >= x.size() ? n - x.size() + 1 : 0; k < h.size() && k <= n; ++k)
            ref += double(h[k]) * x[n - k];
        fPeak = std::max(fPeak, std::fabs(ref));
        ASSERT_NEAR(output.channels[0][n], ref, 2e-5) << n; // float FFT over 16 partitions
    }
    EXPECT_GT(fPeak, 0.05); // the cabinet really passed signal
    ASSERT_EQ(RunQwfx({"box-model", sCabinet, "-o", dir.File("cab.bin")}, dir).iStatus, 0);
    EXPECT_EQ(Render(dir, "box-modeler", input, {"--media", dir.File("cab.bin")}).channels, output.channels);
}

TEST(QwfxEffects, ReverbTailFollowsTheModelsDecayInEveryLayout)
{
    TestTempDir dir;
    QwReverbModel model = QwSyntheticReverbModel(48000, 20.0f);
    model.fDecayTime = 0.05f; // tail: 48000 x 0.05 x 8 = 19200 frames
    const std::vector<uint8_t> record = QwWriteReverbModel(model);
    const std::string sModel = WriteBytes(dir, "model.bin", record.data(), record.size());
    for (uint32_t uChannels : {1u, 2u, 4u, 5u, 6u, 8u}) {
        QwPlanarAudio input(48000, uChannels, 9600);
        for (uint32_t c = 0; c < uChannels; ++c)
            input.channels[c][100 + 10 * c] = 0.5f;
        const QwPlanarAudio out = Render(dir, "reverb", input, {"--media", sModel, "--strict"});
        EXPECT_EQ(out.NumChannels(), uChannels);
        // Input and tail, padded to whole blocks of 512.
        EXPECT_EQ(out.NumFrames(), (9600u + 19200u + 511u) / 512u * 512u) << uChannels;
        // Fully wet by default: the reverberation of the click is there, the dry click is not.
        double fEnergy = 0.0;
        for (size_t t = 200; t < out.NumFrames(); ++t)
            fEnergy += out.channels[0][t] * out.channels[0][t];
        EXPECT_GT(fEnergy, 1e-4) << uChannels;
        EXPECT_LT(std::fabs(out.channels[0][100]), 0.05f) << uChannels;
    }
}

// RMS level in dB of each 20 ms window of the mid signal.
static std::vector<double> WindowLevels(const QwPlanarAudio& in_audio)
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

TEST(QwfxEffects, DemoRendersEveryRegisteredEffect)
{
    QwModule module;
    std::string sError;
    ASSERT_TRUE(module.Open(KVFX_MODULE_PATH, sError)) << sError;
    TestTempDir dir;
    const QwfxRunResult result = RunQwfx({"demo", dir.File("demo")}, dir);
    ASSERT_EQ(result.iStatus, 0) << result.sErr;
    const QwPlanarAudio programme = ReadWav(dir.File("demo/programme.wav"));
    EXPECT_EQ(programme.NumChannels(), 2u);
    EXPECT_EQ(programme.uSampleRate, 48000u);
    EXPECT_NEAR(programme.Peak(), 0.70795f, 1e-4f); // -3 dBFS: 10^(-3/20)
    for (const QwPluginRegistration* pRecord : module.Records()) {
        const std::string sName = QwFindEffectMeta(pRecord->uPluginID)->pszShortName;
        const QwPlanarAudio output = ReadWav(dir.File("demo/" + sName + ".wav"));
        // At least the programme comes back (effects with tails add to it), and the effect did something.
        EXPECT_GE(output.NumFrames(), programme.NumFrames()) << sName;
        EXPECT_NE(output.channels, programme.channels) << sName;
        EXPECT_NE(result.sOut.find("\n" + sName + " "), std::string::npos) << result.sOut;
    }
    // The dynamics preset compresses: over the windows where the programme plays (above -40 dB)
    // the spread between loud and quiet windows shrinks from about 30 dB to about 15 dB.
    const QwPlanarAudio dynamics = ReadWav(dir.File("demo/dynamics.wav"));
    EXPECT_LE(dynamics.Peak(), 1.0f); // the make-up gain does not clip
    const std::vector<double> in = WindowLevels(programme), out = WindowLevels(dynamics);
    double fInMax = -1e9, fInMin = 1e9, fOutMax = -1e9, fOutMin = 1e9;
    for (size_t w = 0; w < in.size(); ++w) {
        if (in[w] < -40.0)
            continue;
        fInMax = std::max(fInMax, in[w]);
        fInMin = std::min(fInMin, in[w]);
        fOutMax = std::max(fOutMax, out[w]);
        fOutMin = std::min(fOutMin, out[w]);
    }
    EXPECT_LT(fOutMax - fOutMin, fInMax - fInMin - 10.0);
}

// Each bench preset at both default block lengths, or only at the one --block asks for; never
// an allocation in Execute.
TEST(QwfxEffects, BenchReportsNoAllocationInExecute)
{
    TestTempDir dir;
    const std::pair<std::vector<std::string>, std::vector<uint32_t>> aCases[] = {
        {{}, {512, 64}}, {{"--block", "100"}, {100}}};
    for (const auto& c : aCases) {
        std::vector<std::string> args = {"bench", "dynamics", "--seconds", "0.1"};
        args.insert(args.end(), c.first.begin(), c.first.end());
        const QwfxRunResult result = RunQwfx(args, dir);
        ASSERT_EQ(result.iStatus, 0) << result.sErr;
        std::vector<uint32_t> blocks;
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
            EXPECT_EQ(uRate, 48000u);
            EXPECT_EQ(uAllocs, 0u) << sLine;
            EXPECT_GT(fNs, 0.0);
            if (std::find(blocks.begin(), blocks.end(), uBlock) == blocks.end())
                blocks.push_back(uBlock);
        }
        EXPECT_EQ(blocks, c.second) << result.sOut;
    }
}
