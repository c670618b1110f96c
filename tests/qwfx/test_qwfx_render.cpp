// qwfx render end to end through a stand-in module whose effect is a plain gain with a
// chosen tail, Init result and media need: what reaches the effect and what reaches OUT.
#include <gtest/gtest.h>
#include "qwfx/qwfxe2e.h"

namespace {

struct FakeBlock
{
    float fGain;
    uint32_t uInitResult;
    uint32_t uTailFrames;
    uint32_t uFlags;   // 1: needs media, 2: asserts in every Execute
};

QwPlanarAudio Programme(uint32_t in_uRate, uint32_t in_uChannels, size_t in_uFrames)
{
    QwPlanarAudio audio(in_uRate, in_uChannels, in_uFrames);
    for (uint32_t c = 0; c < in_uChannels; ++c)
        for (size_t i = 0; i < in_uFrames; ++i)
            audio.channels[c][i] = static_cast<float>(((i * 7919 + c * 104729) % 2001) / 1000.0 - 1.0);
    return audio;
}

// Renders in.wav through the stand-in effect (plug-in 8) with the given block and options.
QwfxRunResult RenderFake(const TestTempDir& in_dir, const FakeBlock& in_block, const std::string& in_sOut,
                         std::vector<std::string> in_extra = {})
{
    std::vector<std::string> args = {"--module", QWFX_FAKE_MODULE_PATH, "render", "8", in_dir.File("in.wav"), in_sOut,
                                     "--params", WriteBytes(in_dir, "block.bin", &in_block, sizeof(in_block))};
    args.insert(args.end(), in_extra.begin(), in_extra.end());
    return RunQwfx(args, in_dir);
}

} // namespace

TEST(QwfxRender, OutputIsTheEffectsAnswerAsFloatWav)
{
    TestTempDir dir;
    // Three channels (no named layout) at 44.1 kHz: rate and count must pass through.
    const QwPlanarAudio input = Programme(44100, 3, 3000);
    WriteWav(dir, "in.wav", input);
    const QwfxRunResult result = RenderFake(dir, {0.5f, 1, 0, 0}, dir.File("out.wav"));
    ASSERT_EQ(result.iStatus, 0) << result.sErr;
    EXPECT_EQ(result.sErr, "");
    const QwPlanarAudio output = ReadWav(dir.File("out.wav"));
    EXPECT_EQ(output.uSampleRate, 44100u);
    ASSERT_EQ(output.NumChannels(), 3u);
    ASSERT_EQ(output.NumFrames(), 3000u);
    for (uint32_t c = 0; c < 3; ++c)
        for (size_t i = 0; i < 3000; ++i)
            ASSERT_EQ(output.channels[c][i], 0.5f * input.channels[c][i]) << c << " " << i;
}

TEST(QwfxRender, TailIsRenderedUpToMaxTail)
{
    TestTempDir dir;
    const QwPlanarAudio input = Programme(48000, 2, 4800);
    WriteWav(dir, "in.wav", input);
    struct Case
    {
        std::vector<std::string> options;
        size_t uFrames;
        bool bCut;
    };
    const Case aCases[] = {
        // 4800 = 9 x 512 + 192. The 10th block (192 valid, state 17) starts a 1000-frame tail:
        // room 320 -> 680 left, padded to 512 (5120 out). Tail call: 680 - 512 = 168 left
        // (5632 out). Next: 0 left, state 17 (6144 out), and the loop stops.
        {{}, 6144, false},
        // --max-tail 0.01 s = 480 frames: after the last input block 320 tail frames are out, so
        // one tail call follows (832 >= 480) and the loop stops there, saying so.
        {{"--max-tail", "0.01"}, 5632, true},
        // Block 4800: one whole block with state 17 (room 0, 1000 left, 45), then one tail call
        // whose room of 4800 takes the 1000 to 0 and leaves state 17.
        {{"--block", "4800"}, 9600, false},
    };
    for (const Case& c : aCases) {
        const QwfxRunResult result = RenderFake(dir, {2.0f, 1, 1000, 0}, dir.File("out.wav"), c.options);
        ASSERT_EQ(result.iStatus, 0) << result.sErr;
        EXPECT_EQ(result.sErr.find("tail cut") != std::string::npos, c.bCut) << result.sErr;
        const QwPlanarAudio output = ReadWav(dir.File("out.wav"));
        ASSERT_EQ(output.NumFrames(), c.uFrames);
        for (uint32_t ch = 0; ch < 2; ++ch)
            for (size_t i = 0; i < c.uFrames; ++i)
                ASSERT_EQ(output.channels[ch][i], i < 4800 ? 2.0f * input.channels[ch][i] : 0.0f) << ch << " " << i;
    }
}

TEST(QwfxRender, AssertionsAreListedAndStrictMakesThemStatus3)
{
    TestTempDir dir;
    WriteWav(dir, "in.wav", Programme(48000, 2, 1000));
    // 1000 frames at block 256 make 4 Execute calls, each reporting once.
    QwfxRunResult result = RenderFake(dir, {1.0f, 1, 0, 2}, dir.File("out.wav"), {"--block", "256"});
    EXPECT_EQ(result.iStatus, 0) << result.sErr;
    EXPECT_TRUE(std::filesystem::exists(dir.File("out.wav")));
    EXPECT_NE(result.sErr.find("\"fake effect assertion\" at "), std::string::npos) << result.sErr;
    EXPECT_NE(result.sErr.find("fakeeffectmodule.cpp:"), std::string::npos) << result.sErr;
    EXPECT_NE(result.sErr.find(", 4 times"), std::string::npos) << result.sErr;
    result = RenderFake(dir, {1.0f, 1, 0, 2}, dir.File("strict.wav"), {"--block", "256", "--strict"});
    EXPECT_EQ(result.iStatus, 3);
    // No assertion: --strict changes nothing.
    EXPECT_EQ(RenderFake(dir, {1.0f, 1, 0, 0}, dir.File("clean.wav"), {"--strict"}).iStatus, 0);

    // A parameter block of the wrong size: the effect reports it; the host hands over the
    // file's own size and keeps the read inside its memory (the sanitizer build checks that).
    const FakeBlock block = {1.0f, 1, 0, 0};
    result = RunQwfx({"--module", QWFX_FAKE_MODULE_PATH, "render", "8", dir.File("in.wav"), dir.File("short.wav"),
                      "--params", WriteBytes(dir, "short.bin", &block, 4), "--strict"},
                     dir);
    EXPECT_EQ(result.iStatus, 3);
    EXPECT_NE(result.sErr.find("\"in_ulBlockSize == 0 || eResult != QW_Success\""), std::string::npos) << result.sErr;
}
