#include "qwfx/lib/qwrenderloop.h"
#include <algorithm>
#include <cstring>

namespace {

class BlockRunner
{
public:
    BlockRunner(QwEffectPlugin& io_effect, uint32_t in_uChannelConfig, uint32_t in_uChannels, uint16_t in_uBlock,
                QwPlanarAudio& out_output, bool in_bKeep)
        : m_effect(io_effect), m_uConfig(in_uChannelConfig), m_uChannels(in_uChannels), m_uBlock(in_uBlock),
          m_block(static_cast<size_t>(in_uChannels) * in_uBlock), m_output(out_output), m_bKeep(in_bKeep)
    {
    }

    float* Channel(uint32_t in_uIndex) { return m_block.data() + static_cast<size_t>(in_uIndex) * m_uBlock; }

    // One Execute over the block as filled; returns the state the effect left and adds the
    // valid frames it returned to the output.
    uint32_t Run(uint16_t in_uValidFrames, uint32_t in_eState, QwRenderStats& io_stats)
    {
        QwAudioBuffer buffer;
        buffer.pData = m_block.data();
        buffer.uChannelConfig = m_uConfig;
        buffer.eState = in_eState;
        buffer.uMaxFrames = m_uBlock;
        buffer.uValidFrames = in_uValidFrames;
        m_effect.Execute(&buffer);
        ++io_stats.uExecuteCalls;
        // An effect never hands back more than the block holds; guard the copy anyway.
        const uint16_t uValid = std::min(buffer.uValidFrames, m_uBlock);
        if (m_bKeep)
            for (uint32_t c = 0; c < m_uChannels; ++c)
                m_output.channels[c].insert(m_output.channels[c].end(), Channel(c), Channel(c) + uValid);
        io_stats.uOutputFrames += uValid;
        return buffer.eState;
    }

private:
    QwEffectPlugin& m_effect;
    uint32_t m_uConfig;
    uint32_t m_uChannels;
    uint16_t m_uBlock;
    std::vector<float> m_block;
    QwPlanarAudio& m_output;
    bool m_bKeep;
};

} // namespace

QwRenderStats QwRender(QwEffectPlugin& io_effect, uint32_t in_uChannelConfig, const QwPlanarAudio& in_input,
                       QwPlanarAudio& out_output, const QwRenderOptions& in_options)
{
    QwRenderStats stats;
    const uint32_t uChannels = in_input.NumChannels();
    const uint64_t uFrames = in_input.NumFrames();
    const uint16_t uBlock = std::max<uint16_t>(in_options.uBlockFrames, 1);
    stats.uInputFrames = uFrames;

    out_output.uSampleRate = in_input.uSampleRate;
    out_output.channels.assign(uChannels, std::vector<float>());
    if (in_options.bKeepOutput)
        for (auto& channel : out_output.channels)
            channel.reserve(uFrames + uBlock);

    BlockRunner runner(io_effect, in_uChannelConfig, uChannels, uBlock, out_output, in_options.bKeepOutput);
    const uint64_t uProgressStep = std::max<uint64_t>(uFrames / 100, uBlock);
    uint64_t uNextProgress = uProgressStep;

    // Input blocks. An empty input still makes one call: the end of input must be told.
    uint64_t uPos = 0;
    uint32_t eState = QW_InputEnded;
    // A pattern of empty blocks only would never reach the end of the input.
    const bool bPatternMoves = std::any_of(in_options.blockPattern.begin(), in_options.blockPattern.end(),
                                           [](uint16_t in_uLength) { return in_uLength > 0; });
    static const std::vector<uint16_t> NO_PATTERN;
    const std::vector<uint16_t>& pattern = bPatternMoves ? in_options.blockPattern : NO_PATTERN;
    size_t iPattern = 0;
    do {
        uint16_t uWanted = uBlock;
        if (!pattern.empty()) {
            uWanted = std::min(pattern[iPattern], uBlock);
            iPattern = (iPattern + 1) % pattern.size();
        }
        const uint16_t uValid = static_cast<uint16_t>(std::min<uint64_t>(uWanted, uFrames - uPos));
        const bool bLast = uPos + uValid >= uFrames;
        for (uint32_t c = 0; c < uChannels; ++c) {
            if (uValid > 0)
                std::memcpy(runner.Channel(c), in_input.channels[c].data() + uPos, uValid * sizeof(float));
            std::fill(runner.Channel(c) + uValid, runner.Channel(c) + uBlock, 0.0f);
        }
        eState = runner.Run(uValid, bLast ? QW_InputEnded : QW_DataReady, stats);
        uPos += uValid;
        if (in_options.progress && uPos >= uNextProgress) {
            in_options.progress(uPos, uFrames);
            uNextProgress = uPos + uProgressStep;
        }
        if (bLast)
            break;
    } while (true);

    // Tail: empty blocks with state 17 while the effect says more is to come. The call count
    // is capped too, so an effect that answers 45 with nothing valid cannot hold the loop.
    const uint64_t uMaxTailCalls = (in_options.uMaxTailFrames + uBlock - 1) / uBlock;
    auto tailFrames = [&]() { return stats.uOutputFrames > uFrames ? stats.uOutputFrames - uFrames : 0; };
    while (eState == QW_DataReady) {
        if (tailFrames() >= in_options.uMaxTailFrames || stats.uTailCalls >= uMaxTailCalls) {
            stats.bTailCapped = true;
            break;
        }
        for (uint32_t c = 0; c < uChannels; ++c)
            std::fill(runner.Channel(c), runner.Channel(c) + uBlock, 0.0f);
        eState = runner.Run(0, QW_InputEnded, stats);
        ++stats.uTailCalls;
    }
    stats.uTailFrames = tailFrames();
    if (in_options.progress)
        in_options.progress(uFrames, uFrames);
    return stats;
}
