// The host's render loop against a fake effect: which blocks it hands over, with which
// state, and what it keeps of the answers.
#include <gtest/gtest.h>
#include <cmath>
#include <vector>
#include "host/qwplugin.h"
#include "host/qwtailhandler.h"
#include "qwfx/lib/qwlayout.h"
#include "qwfx/lib/qwrenderloop.h"

namespace {

struct Call
{
    uint16_t uMaxFrames;
    uint16_t uValidFrames;
    uint32_t eState;
    bool bZeroPastValid;   // the host cleared what lies past the valid frames
};

// A test effect: either a gain of 2 with no tail, or a pure delay of uDelay frames that
// announces a tail of the same length through the shared tail handler, or an effect that
// answers 45 for ever without giving frames.
class FakeEffect : public QwEffectPlugin
{
public:
    enum class Kind { Gain, Delay, Endless };
    FakeEffect(Kind in_eKind, uint32_t in_uDelay, uint32_t in_uChannels)
        : m_eKind(in_eKind), m_uDelay(in_uDelay), m_lines(in_uChannels, std::vector<float>(in_uDelay + 1, 0.0f))
    {
    }
    QwResult Term(QwPluginMemAlloc*) override { return QW_Success; }
    QwResult Reset() override { return QW_Success; }
    QwResult GetPluginInfo(QwPluginMemAlloc*, QwPluginInfo&) override { return QW_Success; }
    QwResult Init(QwPluginMemAlloc*, QwEffectContext*, QwPluginParam*, QwFormat&) override { return QW_Success; }
    QwResult TimeSkip(uint32_t) override { return QW_DataReady; }

    void Execute(QwAudioBuffer* io_pBuffer) override
    {
        bool bZero = true;
        for (uint32_t c = 0; c < io_pBuffer->NumChannels(); ++c)
            for (uint32_t i = io_pBuffer->uValidFrames; i < io_pBuffer->uMaxFrames; ++i)
                bZero = bZero && io_pBuffer->GetChannel(c)[i] == 0.0f;
        calls.push_back(Call{io_pBuffer->uMaxFrames, io_pBuffer->uValidFrames, io_pBuffer->eState, bZero});
        if (m_eKind == Kind::Endless) {
            io_pBuffer->uValidFrames = 0;
            io_pBuffer->eState = QW_DataReady;
            return;
        }
        if (m_eKind == Kind::Delay)
            m_tail.HandleTail(*io_pBuffer, m_uDelay);
        for (uint32_t c = 0; c < io_pBuffer->NumChannels(); ++c) {
            float* pChannel = io_pBuffer->GetChannel(c);
            for (uint32_t i = 0; i < io_pBuffer->uValidFrames; ++i) {
                if (m_eKind == Kind::Gain) {
                    pChannel[i] *= 2.0f;
                } else {
                    std::vector<float>& line = m_lines[c];
                    line[m_uPos[c]] = pChannel[i];
                    const size_t uRead = (m_uPos[c] + 1) % line.size();
                    pChannel[i] = line[uRead];
                    m_uPos[c] = uRead;
                }
            }
        }
    }

    std::vector<Call> calls;

private:
    Kind m_eKind;
    uint32_t m_uDelay;
    std::vector<std::vector<float>> m_lines;
    size_t m_uPos[8] = {};
    QwTailHandler m_tail;
};

QwPlanarAudio Ramp(uint32_t in_uChannels, size_t in_uFrames)
{
    QwPlanarAudio audio(48000, in_uChannels, in_uFrames);
    for (uint32_t c = 0; c < in_uChannels; ++c)
        for (size_t i = 0; i < in_uFrames; ++i)
            audio.channels[c][i] = static_cast<float>(i + 1) + 10000.0f * c;
    return audio;
}

QwRenderStats Render(FakeEffect& io_effect, const QwPlanarAudio& in_input, QwPlanarAudio& out_output,
                     uint16_t in_uBlock, uint64_t in_uMaxTail)
{
    QwRenderOptions options;
    options.uBlockFrames = in_uBlock;
    options.uMaxTailFrames = in_uMaxTail;
    return QwRender(io_effect, QwFindLayout(in_input.NumChannels() == 1 ? "mono" : "stereo")->ChannelConfig(),
                    in_input, out_output, options);
}

std::vector<uint16_t> ValidFrames(const FakeEffect& in_effect)
{
    std::vector<uint16_t> frames;
    for (const Call& call : in_effect.calls)
        frames.push_back(call.uValidFrames);
    return frames;
}

std::vector<uint32_t> States(const FakeEffect& in_effect)
{
    std::vector<uint32_t> states;
    for (const Call& call : in_effect.calls)
        states.push_back(call.eState);
    return states;
}

} // namespace

TEST(QwRenderLoop, ShortLastBlockCarriesInputEnded)
{
    FakeEffect effect(FakeEffect::Kind::Gain, 0, 2);
    const QwPlanarAudio input = Ramp(2, 1000);
    QwPlanarAudio output;
    const QwRenderStats stats = Render(effect, input, output, 256, 48000);
    // 1000 = 3 x 256 + 232.
    EXPECT_EQ(ValidFrames(effect), (std::vector<uint16_t>{256, 256, 256, 232}));
    EXPECT_EQ(States(effect), (std::vector<uint32_t>{45, 45, 45, 17}));
    for (const Call& call : effect.calls) {
        EXPECT_EQ(call.uMaxFrames, 256);
        EXPECT_TRUE(call.bZeroPastValid);
    }
    ASSERT_EQ(output.NumChannels(), 2u);
    ASSERT_EQ(output.NumFrames(), 1000u);
    for (uint32_t c = 0; c < 2; ++c)
        for (size_t i = 0; i < 1000; ++i)
            ASSERT_EQ(output.channels[c][i], 2.0f * input.channels[c][i]) << c << " " << i;
    EXPECT_EQ(stats.uTailCalls, 0u);
    EXPECT_EQ(stats.uTailFrames, 0u);
    EXPECT_FALSE(stats.bTailCapped);
}

TEST(QwRenderLoop, WholeLastBlockAndEmptyInputStillEndTheStream)
{
    FakeEffect whole(FakeEffect::Kind::Gain, 0, 1);
    QwPlanarAudio output;
    Render(whole, Ramp(1, 512), output, 256, 0);
    EXPECT_EQ(ValidFrames(whole), (std::vector<uint16_t>{256, 256}));
    EXPECT_EQ(States(whole), (std::vector<uint32_t>{45, 17}));
    EXPECT_EQ(output.NumFrames(), 512u);

    FakeEffect empty(FakeEffect::Kind::Gain, 0, 1);
    Render(empty, Ramp(1, 0), output, 64, 0);
    EXPECT_EQ(ValidFrames(empty), (std::vector<uint16_t>{0}));
    EXPECT_EQ(States(empty), (std::vector<uint32_t>{17}));
    EXPECT_EQ(output.NumFrames(), 0u);
}

TEST(QwRenderLoop, TailRunsUntilTheEffectStopsAnswering45)
{
    // Delay of 300 frames, input 1000 frames in blocks of 256. Worked by hand:
    // block 4 has 232 valid frames and state 17: the tail (300) starts, room 24 -> 276 left,
    // padded to 256, state 45. Tail call 1: room 256 -> 20 left, 45. Tail call 2: 0 left, 17.
    // So 6 calls and 6 x 256 = 1536 frames out.
    FakeEffect effect(FakeEffect::Kind::Delay, 300, 2);
    const QwPlanarAudio input = Ramp(2, 1000);
    QwPlanarAudio output;
    const QwRenderStats stats = Render(effect, input, output, 256, 48000);
    EXPECT_EQ(ValidFrames(effect), (std::vector<uint16_t>{256, 256, 256, 232, 0, 0}));
    EXPECT_EQ(States(effect), (std::vector<uint32_t>{45, 45, 45, 17, 17, 17}));
    EXPECT_EQ(stats.uTailCalls, 2u);
    EXPECT_FALSE(stats.bTailCapped);
    ASSERT_EQ(output.NumFrames(), 1536u);
    EXPECT_EQ(stats.uTailFrames, 536u);
    // The whole input comes out, 300 frames late, followed by silence.
    for (uint32_t c = 0; c < 2; ++c)
        for (size_t i = 0; i < 1536; ++i) {
            const float fExpected = i >= 300 && i < 1300 ? input.channels[c][i - 300] : 0.0f;
            ASSERT_EQ(output.channels[c][i], fExpected) << c << " " << i;
        }
}

TEST(QwRenderLoop, MaxTailCapsTheTailCalls)
{
    const QwPlanarAudio input = Ramp(1, 1000);
    QwPlanarAudio output;

    // Cap 100 frames: after the last input block 24 tail frames are out (< 100), so one tail
    // call follows (280 >= 100) and the loop stops with the effect still answering 45.
    FakeEffect capped(FakeEffect::Kind::Delay, 300, 1);
    QwRenderStats stats = Render(capped, input, output, 256, 100);
    EXPECT_EQ(stats.uTailCalls, 1u);
    EXPECT_TRUE(stats.bTailCapped);
    EXPECT_EQ(output.NumFrames(), 1280u);

    // Cap 0: no call after the last input block; its padded frames are still kept.
    FakeEffect none(FakeEffect::Kind::Delay, 300, 1);
    stats = Render(none, input, output, 256, 0);
    EXPECT_EQ(none.calls.size(), 4u);
    EXPECT_TRUE(stats.bTailCapped);
    EXPECT_EQ(output.NumFrames(), 1024u);

    // An effect that answers 45 with nothing valid is cut after ceil(1000 / 256) = 4 tail calls.
    FakeEffect endless(FakeEffect::Kind::Endless, 0, 1);
    stats = Render(endless, input, output, 256, 1000);
    EXPECT_EQ(stats.uTailCalls, 4u);
    EXPECT_EQ(endless.calls.size(), 8u);
    EXPECT_TRUE(stats.bTailCapped);
    EXPECT_EQ(output.NumFrames(), 0u);
}
