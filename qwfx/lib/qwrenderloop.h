// The host's render loop, the one place that drives Execute block by block.
//
// Input goes in blocks of uBlockFrames, or of the valid lengths of blockPattern in turn (the
// buffer is then uBlockFrames long); every block but the last carries state 45, the last
// (possibly short, possibly empty) carries 17. After it the loop keeps calling with no valid
// frames and state 17 while the effect answers 45, until the tail has produced
// uMaxTailFrames frames. Every valid frame the effect returns is kept.
#pragma once
#include <cstdint>
#include <functional>
#include <vector>
#include "host/qwplugin.h"
#include "qwfx/lib/qwplanaraudio.h"

struct QwRenderOptions
{
    uint16_t uBlockFrames = 512;
    uint64_t uMaxTailFrames = 0;
    // Valid lengths of the input blocks, cycled; 0 allowed, none above uBlockFrames, at least one
    // above 0. Empty: every block full.
    std::vector<uint16_t> blockPattern;
    // False: output is not collected (benchmarks); only the counts are kept.
    bool bKeepOutput = true;
    // Called now and then with frames of input consumed so far and in total.
    std::function<void(uint64_t, uint64_t)> progress;
};

struct QwRenderStats
{
    uint64_t uInputFrames = 0;
    uint64_t uOutputFrames = 0;   // valid frames returned, tail included
    uint64_t uTailFrames = 0;     // output frames beyond the input's length
    uint64_t uExecuteCalls = 0;
    uint64_t uTailCalls = 0;      // calls after the last input block
    bool bTailCapped = false;     // the effect still answered 45 when the cap was reached
};

// Output gets the input's sample rate and channel count; in_uChannelConfig must carry the
// same channel count as the input.
QwRenderStats QwRender(QwEffectPlugin& io_effect, uint32_t in_uChannelConfig, const QwPlanarAudio& in_input,
                       QwPlanarAudio& out_output, const QwRenderOptions& in_options);
