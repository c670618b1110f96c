// LpcResidualAnalyzer on a stereo stream at 48 kHz, order 16, frame 20 ms (the defaults of
// qwfx transients), hop 5 ms and 1 ms, blocks of 4096 frames, over two tones and noise.
// Counters: samples_per_s = samples analysed per CPU second, both channels counted;
// rtf_stereo = seconds of stereo audio per CPU second.
#include <benchmark/benchmark.h>
#include <cmath>
#include <random>
#include <vector>
#include "bench/benchcputimer.h"
#include "kvbase/common/common_allocator.h"
#include "kvdspbase/dsp/lpc.h"
#include "qwfx/lib/qwhostallocator.h"

namespace {

const uint32_t RATE = 48000;
const uint32_t BLOCK = 4096;
const uint32_t FRAMES = 16 * BLOCK;

void BM_LpcResidualStereo48k(benchmark::State& state)
{
    static QwHostAllocator s_allocator;
    BindAllocator(&s_allocator, 0, 0);
    std::mt19937 rng(3);
    std::normal_distribution<float> noise(0.0f, 0.01f);
    std::vector<std::vector<float>> x(2, std::vector<float>(FRAMES)), y = x;
    for (uint32_t i = 0; i < FRAMES; ++i) {
        x[0][i] = 0.3f * std::sin(0.0576f * i) + 0.2f * std::sin(0.1636f * i) + noise(rng);
        x[1][i] = 0.4f * std::sin(0.0311f * i) + noise(rng);
    }
    LpcResidualAnalyzer analyzer;
    analyzer.Configure(2, BLOCK, static_cast<float>(RATE));
    analyzer.Init(0.02f, 16, static_cast<float>(state.range(0)) * 0.001f);
    double dSeconds = 0.0;
    uint64_t uFrames = 0;
    for (auto _ : state) {
        const double t0 = BenchThreadSeconds();
        for (uint32_t uPos = 0; uPos < FRAMES; uPos += BLOCK) {
            const float* pIn[2] = {x[0].data() + uPos, x[1].data() + uPos};
            float* pOut[2] = {y[0].data() + uPos, y[1].data() + uPos};
            analyzer.Analyze(BLOCK, pIn, pOut, nullptr, nullptr, nullptr, 0);
        }
        dSeconds += BenchThreadSeconds() - t0;
        uFrames += FRAMES;
        benchmark::DoNotOptimize(y[0][FRAMES - 1]);
    }
    state.counters["samples_per_s"] = 2.0 * static_cast<double>(uFrames) / dSeconds;
    state.counters["rtf_stereo"] = static_cast<double>(uFrames) / RATE / dSeconds;
    state.SetLabel("stereo 48 kHz, order 16, frame 20 ms, hop " + std::to_string(state.range(0)) + " ms");
}

} // namespace

BENCHMARK(BM_LpcResidualStereo48k)->Arg(5)->Arg(1)->Unit(benchmark::kMillisecond);
