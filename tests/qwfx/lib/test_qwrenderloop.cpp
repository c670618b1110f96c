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

} // namespace

// The calls the loop makes and what it keeps, worked by hand. A delay of 300 over 1000 frames in
// blocks of 256: block 4 has 232 valid frames and state 17, the tail (300) starts, 24 of it fit
// there, 276 left; tail call 1 leaves 20 (45), tail call 2 none (17): 6 x 256 frames out.
// A cap of 100: after 24 tail frames one call follows (280 >= 100), still answering 45. A cap
// of 0, or of the 24 frames already out, keeps the padded last block only. An effect that
// answers 45 with nothing valid is cut after ceil(1000 / 256) = 4 tail calls, and after 4 for a
// cap of exactly 1024.
TEST(QwRenderLoop, BlocksStatesAndTail)
{
    using K = FakeEffect::Kind;
    struct Case { K eKind; uint32_t uDelay, uChannels; size_t uFrames; uint16_t uBlock; uint64_t uMaxTail;
                  std::vector<uint16_t> valid; std::vector<uint32_t> states; uint32_t uTailCalls; bool bCapped; size_t uOut; };
    const Case cases[] = {
        {K::Gain, 0, 2, 1000, 256, 48000, {256, 256, 256, 232}, {45, 45, 45, 17}, 0, false, 1000},
        {K::Gain, 0, 1, 512, 256, 0, {256, 256}, {45, 17}, 0, false, 512},
        {K::Gain, 0, 1, 0, 64, 0, {0}, {17}, 0, false, 0},
        {K::Delay, 300, 2, 1000, 256, 48000, {256, 256, 256, 232, 0, 0}, {45, 45, 45, 17, 17, 17}, 2, false, 1536},
        {K::Delay, 300, 1, 1000, 256, 100, {256, 256, 256, 232, 0}, {45, 45, 45, 17, 17}, 1, true, 1280},
        {K::Delay, 300, 1, 1000, 256, 0, {256, 256, 256, 232}, {45, 45, 45, 17}, 0, true, 1024},
        {K::Delay, 300, 1, 1000, 256, 24, {256, 256, 256, 232}, {45, 45, 45, 17}, 0, true, 1024},
        {K::Endless, 0, 1, 1000, 256, 1000, {256, 256, 256, 232, 0, 0, 0, 0}, {45, 45, 45, 17, 17, 17, 17, 17}, 4, true, 0},
        {K::Endless, 0, 1, 1000, 256, 1024, {256, 256, 256, 232, 0, 0, 0, 0}, {45, 45, 45, 17, 17, 17, 17, 17}, 4, true, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "kind " << int(c.eKind) << ", " << c.uFrames << " frames, cap " << c.uMaxTail);
        FakeEffect effect(c.eKind, c.uDelay, c.uChannels);
        const QwPlanarAudio input = Ramp(c.uChannels, c.uFrames);
        QwPlanarAudio output;
        const QwRenderStats stats = Render(effect, input, output, c.uBlock, c.uMaxTail);
        std::vector<uint16_t> valid;
        std::vector<uint32_t> states;
        for (const Call& call : effect.calls) {
            valid.push_back(call.uValidFrames);
            states.push_back(call.eState);
            EXPECT_EQ(call.uMaxFrames, c.uBlock);
            EXPECT_TRUE(call.bZeroPastValid);
        }
        EXPECT_EQ(valid, c.valid);
        EXPECT_EQ(states, c.states);
        EXPECT_EQ(stats.uTailCalls, c.uTailCalls);
        EXPECT_EQ(stats.bTailCapped, c.bCapped);
        ASSERT_EQ(output.NumFrames(), c.uOut);
        ASSERT_EQ(output.NumChannels(), c.uChannels);
        if (c.eKind == K::Delay && !c.bCapped) {
            EXPECT_EQ(stats.uTailFrames, c.uOut - c.uFrames);
        }
        // A gain of 2; the delay brings the whole input 300 frames late, then silence.
        for (uint32_t ch = 0; ch < c.uChannels; ++ch)
            for (size_t i = 0; i < c.uOut; ++i) {
                const bool bIn = i >= c.uDelay && i < c.uDelay + c.uFrames;
                const float fExpected = !bIn ? 0.0f : (c.eKind == K::Gain ? 2.0f : 1.0f) * input.channels[ch][i - c.uDelay];
                ASSERT_EQ(output.channels[ch][i], fExpected) << ch << " " << i;
            }
    }
}
