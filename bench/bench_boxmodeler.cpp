// The box modeler's engine (2048 taps, one process block a call) beside zita-convolver set up
// for the same partition size, on the same data in the same loop. Counters: real-time factor
// of ours at 48 kHz (seconds of audio per CPU second) and the time ratio ours / zita.
#include <benchmark/benchmark.h>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>
#include "bench/benchcputimer.h"
#include "kvbase/common/common_allocator.h"
#include "qwfx/lib/qwhostallocator.h"
#include "shareddsp/convolve/boxmodeler_dsp.h"
#ifdef KVFX_BENCH_HAVE_ZITA
#include <zita-convolver.h>
#endif

namespace {

std::vector<float> BenchNoise(size_t n, uint32_t seed)
{
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> dist(-1.0f, 1.0f);
    std::vector<float> v(n);
    for (float& x : v)
        x = dist(rng);
    return v;
}

// args: channels, process block frames; 2048 taps, 48 kHz.
void BM_BoxModeler2048Taps(benchmark::State& state)
{
    static QwHostAllocator s_allocator;
    BindAllocator(&s_allocator, 0, 0);
    const uint32_t uChannels = static_cast<uint32_t>(state.range(0));
    const uint32_t B = static_cast<uint32_t>(state.range(1));
    const uint32_t TAPS = 2048;
    const int BLOCKS = 64;
    std::vector<float> taps = BenchNoise(TAPS, 1);
    for (uint32_t i = 0; i < TAPS; ++i)
        taps[i] *= std::exp(-float(i) / 400.0f);
    std::vector<uint8_t> blob(8 + 4 * TAPS);
    const float fGain = 0.0f;
    std::memcpy(blob.data(), &fGain, 4);
    std::memcpy(blob.data() + 4, &TAPS, 4);
    std::memcpy(blob.data() + 8, taps.data(), 4 * TAPS);
    BoxModelerDsp dsp(uChannels, 48000.0f, B, "");
    dsp.SetMedia(uint32_t(blob.size()), blob.data());
    dsp.SetModel(0);
    std::vector<std::vector<float>> x(uChannels, BenchNoise(B, 2));
    float* ap[8];
    for (uint32_t c = 0; c < uChannels; ++c)
        ap[c] = x[c].data();
#ifdef KVFX_BENCH_HAVE_ZITA
    Convproc zita;
    zita.configure(uChannels, uChannels, TAPS, B, B, B, 0.0f);
    for (uint32_t c = 0; c < uChannels; ++c)
        zita.impdata_create(c, c, 1, taps.data(), 0, TAPS);
    zita.start_process(0, 0);
#endif
    double dOurs = 0, dRef = 0, dFrames = 0;
    for (auto _ : state) {
        const double t0 = BenchThreadSeconds();
        for (int k = 0; k < BLOCKS; ++k) {
            dsp.Process(B, ap);
            benchmark::DoNotOptimize(ap[0][0]);
        }
        const double t1 = BenchThreadSeconds();
        dOurs += t1 - t0;
#ifdef KVFX_BENCH_HAVE_ZITA
        for (int k = 0; k < BLOCKS; ++k) {
            for (uint32_t c = 0; c < uChannels; ++c)
                std::memcpy(zita.inpdata(c), x[c].data(), B * sizeof(float));
            zita.process(false);
            for (uint32_t c = 0; c < uChannels; ++c)
                std::memcpy(x[c].data(), zita.outdata(c), B * sizeof(float));
            benchmark::DoNotOptimize(x[0][0]);
        }
        dRef += BenchThreadSeconds() - t1;
#endif
        dFrames += double(BLOCKS) * B;
    }
#ifdef KVFX_BENCH_HAVE_ZITA
    zita.stop_process();
    zita.cleanup();
#endif
    state.counters["realtime_x"] = dFrames / 48000.0 / dOurs;
    if (dRef > 0)
        state.counters["ratio_zita"] = dOurs / dRef;
}

} // namespace

BENCHMARK(BM_BoxModeler2048Taps)->ArgNames({"channels", "block"})->Args({2, 1024})->Args({6, 1024})->Args({2, 512})->Args({6, 512});
