// Cost of each filter class inside the three-filter chain, mono, 48 kHz, blocks of 256: filter 0
// carries the class (static, or modulated by a sine LFO), the other two filters are off.
// "rtf" is seconds of audio per CPU second. BM_FiltersReferenceBiquad, a plain double-precision
// direct-form biquad over the same blocks, is the yardstick for ratios.
#include <benchmark/benchmark.h>
#include <cmath>
#include <vector>
#include "kvbase/common/common_allocator.h"
#include "qwfx/lib/qwhostallocator.h"
#include "shareddsp/filters/prefilter_dsp.h"

namespace {

constexpr float FS = 48000.0f;
constexpr uint32_t BLOCK = 256;

std::vector<float> Signal()
{
    std::vector<float> s(BLOCK);
    for (uint32_t i = 0; i < BLOCK; ++i)
        s[i] = 0.5f * std::sin(0.05f * static_cast<float>(i)) + 0.1f * std::sin(1.3f * static_cast<float>(i));
    return s;
}

void SetRate(benchmark::State& state)
{
    state.counters["rtf"] =
        benchmark::Counter(static_cast<double>(state.iterations()) * BLOCK / FS, benchmark::Counter::kIsRate);
}

void BM_FiltersClass(benchmark::State& state)
{
    QwHostAllocator allocator;
    BindAllocator(&allocator, 0, 0);
    {
        PrefilterDsp dsp(FS);
        dsp.SetType(0, static_cast<uint32_t>(state.range(0)));
        dsp.SetParam(0, FILTER_PARAM_FREQUENCY, 300.0f);
        dsp.SetParam(0, FILTER_PARAM_FREQUENCY2, 3000.0f);
        dsp.SetParam(0, FILTER_PARAM_RESONANCE, 0.5f);
        dsp.SetParam(0, FILTER_PARAM_RESONANCE2, 0.5f);
        dsp.SetParam(0, FILTER_PARAM_LFO_PERIOD, 500.0f);
        dsp.SetMode(0, state.range(1) ? FILTER_MODE_MODULATED : FILTER_MODE_STATIC);
        dsp.SetMode(1, FILTER_MODE_OFF);
        dsp.SetMode(2, FILTER_MODE_OFF);
        const std::vector<float> input = Signal();
        std::vector<float> block = input;
        for (auto _ : state) {
            block = input;
            dsp.Process(BLOCK, block.data());
            benchmark::DoNotOptimize(block.data());
        }
    }
    BindAllocator(nullptr, 0, 0);
    SetRate(state);
}

void BM_FiltersReferenceBiquad(benchmark::State& state)
{
    // A 300 Hz low-pass, Q 0.707, in double, as a textbook direct form I.
    const double c[5] = {0.000380, 0.000760, 0.000380, -1.944, 0.9455};
    double x1 = 0, x2 = 0, y1 = 0, y2 = 0;
    const std::vector<float> input = Signal();
    std::vector<float> block = input;
    for (auto _ : state) {
        block = input;
        for (uint32_t i = 0; i < BLOCK; ++i) {
            const double x = block[i];
            const double y = c[0] * x + c[1] * x1 + c[2] * x2 - c[3] * y1 - c[4] * y2;
            x2 = x1, x1 = x, y2 = y1, y1 = y;
            block[i] = static_cast<float>(y);
        }
        benchmark::DoNotOptimize(block.data());
    }
    SetRate(state);
}

// One type per class: biquad, SVF chain, clipped ladder, ladder, cascade, scaled SVF, driven
// SVF, formant; second argument 0 static, 1 modulated.
void ClassArgs(benchmark::internal::Benchmark* b)
{
    for (int64_t type : {1, 8, 10, 13, 14, 15, 21, 28})
        for (int64_t modulated : {0, 1})
            b->Args({type, modulated});
    b->ArgNames({"type", "lfo"});
}

} // namespace

BENCHMARK(BM_FiltersReferenceBiquad);
BENCHMARK(BM_FiltersClass)->Apply(ClassArgs);
