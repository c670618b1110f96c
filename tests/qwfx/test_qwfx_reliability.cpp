// qwfx render from outside under uneven blocks and under the memory budget.
#include <gtest/gtest.h>
#include <algorithm>
#include <cmath>
#include "qwfx/lib/qwreverbmodel.h"
#include "qwfx/qwfxe2e.h"
#include "support/dspreference.h"
#include "support/testboxmodel.h"

// The short-block rule seen from outside. Blocks of 1, 7, 512, 0, 300, 64 valid frames in a
// 512-frame buffer. The padding effects run each short block as a whole 512-frame block whose
// end is zeros, so they must give what a render at --block 512 gives of the input with each
// short block followed by zeros up to 512 frames, once those frames are dropped. An empty
// block is either such a block of zeros or no work at all, as each effect's engine has it: the
// box modeler's engine does nothing for 0 frames. The reverb runs only the valid frames, so
// its output is that of --block 512 on the plain input.
TEST(QwfxReliability, UnevenBlocksFollowTheShortBlockRule)
{
    TestTempDir dir;
    const std::vector<uint16_t> pattern = {1, 7, 512, 0, 300, 64};
    const size_t uFrames = 3 * 884 + 100; // three rounds, then 1, 7 and 92 of a 512
    QwPlanarAudio input(48000, 2, uFrames);
    for (uint32_t c = 0; c < 2; ++c)
        input.channels[c] = RefNoise(uFrames, 10 + c);
    WriteWav(dir, "in.wav", input);
    const std::vector<uint8_t> model = QwWriteReverbModel(QwSyntheticReverbModel(48000, 20.0f));
    const std::vector<uint8_t> ir = MakeBoxModelBlob(-3.0f, RefNoise(700, 3));
    const std::string sModel = WriteBytes(dir, "model.bin", model.data(), model.size());
    const std::string sIr = WriteBytes(dir, "ir.bin", ir.data(), ir.size());

    // The valid lengths as the render loop hands them.
    std::vector<uint16_t> blocks;
    for (size_t uPos = 0, i = 0; uPos < uFrames || blocks.empty(); ++i) {
        blocks.push_back(static_cast<uint16_t>(std::min<size_t>(pattern[i % pattern.size()], uFrames - uPos)));
        uPos += blocks.back();
    }
    // How the uneven output lines up with a --block 512 render of the input as the effect
    // would see it under one reading of the rule: the largest difference and the peak.
    auto compare = [&](const std::vector<std::string>& in_args, bool in_bPads, bool in_bEmptyIsBlock) {
        QwPlanarAudio reference = input;
        for (uint32_t ch = 0; ch < 2 && in_bPads; ++ch) {
            std::vector<float>& channel = reference.channels[ch];
            channel.clear();
            auto it = input.channels[ch].begin();
            for (uint16_t v : blocks) {
                channel.insert(channel.end(), it, it + v);
                it += v;
                if (v > 0 || in_bEmptyIsBlock)
                    channel.resize(channel.size() + 512 - v, 0.0f);
            }
        }
        WriteWav(dir, "ref-in.wav", reference);
        std::vector<std::string> args = {"render", in_args[0], dir.File("ref-in.wav"), dir.File("ref.wav"),
                                         "--block", "512"};
        args.insert(args.end(), in_args.begin() + 1, in_args.end());
        const QwfxRunResult result = RunQwfx(args, dir);
        EXPECT_EQ(result.iStatus, 0) << result.sErr;
        const QwPlanarAudio uneven = ReadWav(dir.File("uneven.wav"));
        const QwPlanarAudio ref = ReadWav(dir.File("ref.wav"));
        // Each block's valid frames, then from the last input block on output and tail run on
        // contiguously in both.
        std::vector<std::pair<size_t, size_t>> map; // (uneven frame, reference frame)
        size_t uPosA = 0, uPosR = 0;
        for (size_t b = 0; b + 1 < blocks.size(); ++b) {
            for (size_t i = 0; i < blocks[b]; ++i)
                map.emplace_back(uPosA + i, uPosR + i);
            uPosA += blocks[b];
            uPosR += !in_bPads ? blocks[b] : (blocks[b] > 0 || in_bEmptyIsBlock ? 512 : 0);
        }
        EXPECT_GE(uneven.NumFrames(), uPosA + blocks.back());
        const size_t uRun = std::min(uneven.NumFrames() - uPosA, ref.NumFrames() - uPosR);
        for (size_t i = 0; i < uRun; ++i)
            map.emplace_back(uPosA + i, uPosR + i);
        double fMaxError = 0.0, fPeak = 0.0;
        for (uint32_t ch = 0; ch < 2; ++ch)
            for (const auto& m : map) {
                const double fRef = ref.channels[ch][m.second];
                fMaxError = std::max(fMaxError, std::fabs(uneven.channels[ch][m.first] - fRef));
                fPeak = std::max(fPeak, std::fabs(fRef));
            }
        return std::make_pair(fMaxError, fPeak);
    };
    // Effect and options; short blocks run as whole blocks; an empty block runs as a block of zeros.
    struct Case
    {
        std::vector<std::string> args;
        bool bPads, bEmptyIsBlock;
    };
    const Case aCases[] = {
        {{"distortion", "--set", "algorithm1=bit-aliasing", "--set", "drive1=8"}, true, true},
        {{"multiband-distortion"}, true, true},
        {{"delay", "--set", "wet=50", "--set", "time=10", "--set", "feedback=50", "--max-tail", "0.2"}, true, true},
        {{"dynamics", "--set", "comp-threshold=-20", "--set", "comp-ratio=4", "--set", "comp-release=20"}, true, true},
        {{"filters"}, true, true},
        {{"box-modeler", "--media", sIr}, true, false},
        {{"reverb", "--media", sModel, "--max-tail", "0.2"}, false, false},
    };
    for (const Case& c : aCases) {
        std::vector<std::string> args = {"render", c.args[0], dir.File("in.wav"), dir.File("uneven.wav"),
                                         "--blocks", "1,7,512,0,300,64"};
        args.insert(args.end(), c.args.begin() + 1, c.args.end());
        const QwfxRunResult result = RunQwfx(args, dir);
        ASSERT_EQ(result.iStatus, 0) << c.args[0] << result.sErr;
        const auto rule = compare(c.args, c.bPads, c.bEmptyIsBlock);
        EXPECT_GT(rule.second, 0.05) << c.args[0];
        EXPECT_LE(rule.first, 1e-6 * rule.second) << c.args[0];
        // The other readings of the rule must be told apart, or the comparison proves nothing.
        const std::pair<bool, bool> aOthers[] = {{!c.bPads, false}, {true, !c.bEmptyIsBlock}};
        for (const auto& other : aOthers) {
            const auto wrong = compare(c.args, other.first, other.second);
            EXPECT_GT(wrong.first, 1e-3 * wrong.second)
                << c.args[0] << " cannot tell pads " << other.first << ", empty block " << other.second;
        }
    }
}

// A short stress run of one effect: one line of counts, no failures.
TEST(QwfxReliability, StressPrintsItsCountsAndFailsOnlyForCause)
{
    TestTempDir dir;
    const QwfxRunResult result = RunQwfx({"stress", "delay", "--seconds", "0.5", "--seed", "3"}, dir);
    EXPECT_EQ(result.iStatus, 0) << result.sErr;
    const auto lines = result.OutLines();
    ASSERT_EQ(lines.size(), 2u) << result.sOut;
    EXPECT_EQ(lines[1].substr(lines[1].size() - 2), " 0") << lines[1]; // failures
}
