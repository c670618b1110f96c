// Our two partitioned convolvers beside zita-convolver set to one partition size equal to ours,
// in the same loop: 2 s mono impulse at 48 kHz, partitions of 512, fed in blocks of 512.
// Counters: CPU time per block for each, real-time factors (seconds of audio per CPU second) and
// the ratios ours / zita (below 1 means we are faster).
#include <benchmark/benchmark.h>
#include <cmath>
#include <random>
#include <vector>
#include "bench/benchcputimer.h"
#include "kvbase/common/common_allocator.h"
#include "kvdspbase/dsp/partconvnolock.h"
#include "kvdspbase/dsp/uniformpartconv.h"
#include "qwfx/lib/qwhostallocator.h"
#ifdef KVFX_BENCH_HAVE_ZITA
#include <zita-convolver.h>
#endif

namespace {

const uint32_t SAMPLE_RATE = 48000;
const uint32_t TAPS = 2 * SAMPLE_RATE;
const uint32_t BLOCK = 512;
const uint32_t BLOCK_ORDER = 9;

void BindConvBenchAllocator()
{
    static QwHostAllocator s_allocator;
    BindAllocator(&s_allocator, 0, 0);
}

// Exponentially decaying noise, like a room.
std::vector<float> DecayingNoise(uint32_t n, uint32_t seed)
{
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> dist(-1.0f, 1.0f);
    std::vector<float> v(n);
    for (uint32_t i = 0; i < n; ++i)
        v[i] = 0.1f * dist(rng) * std::exp(-6.9f * static_cast<float>(i) / static_cast<float>(n));
    return v;
}

void BM_PartConv2sMono48k_B512(benchmark::State& state)
{
    BindConvBenchAllocator();
    const std::vector<float> ir = DecayingNoise(TAPS, 1);
    const std::vector<float> input = DecayingNoise(64 * BLOCK, 2);
    const int iBatch = 32;
    UniformPartConv uniform(1, BLOCK);
    uniform.UseSimd(state.range(0) != 0);
    uniform.SetImpulse(TAPS, ir.data());
    PartConvNoLock nolock(TAPS, 1, BLOCK_ORDER);
    nolock.UseSimd(state.range(0) != 0);
    nolock.SetTaps(TAPS, ir.data(), false);
    std::vector<float> block(BLOCK);
#ifdef KVFX_BENCH_HAVE_ZITA
    Convproc zita;
    zita.set_options(Convproc::OPT_FFTW_MEASURE | Convproc::OPT_VECTOR_MODE);
    zita.configure(1, 1, TAPS, BLOCK, BLOCK, BLOCK, 0.0f);
    std::vector<float> irCopy = ir;
    zita.impdata_create(0, 0, 1, irCopy.data(), 0, static_cast<int32_t>(TAPS));
    zita.start_process(0, 0);
    double dZita = 0;
#endif
    double dUniform = 0, dNoLock = 0, dBlocks = 0;
    uint32_t uPos = 0;
    for (auto _ : state) {
        double t0 = BenchProcessSeconds();
        for (int b = 0; b < iBatch; ++b) {
            const float* pIn = input.data() + ((uPos + b) % 64) * BLOCK;
            for (uint32_t i = 0; i < BLOCK; ++i)
                block[i] = pIn[i];
            float* ch = block.data();
            uniform.ProcessBlock(&ch);
            benchmark::DoNotOptimize(ch);
        }
        double t1 = BenchProcessSeconds();
        for (int b = 0; b < iBatch; ++b) {
            const float* pIn = input.data() + ((uPos + b) % 64) * BLOCK;
            for (uint32_t i = 0; i < BLOCK; ++i)
                block[i] = pIn[i];
            nolock.ProcessMono(BLOCK, block.data());
            benchmark::DoNotOptimize(block.data());
        }
        double t2 = BenchProcessSeconds();
        dUniform += t1 - t0;
        dNoLock += t2 - t1;
#ifdef KVFX_BENCH_HAVE_ZITA
        for (int b = 0; b < iBatch; ++b) {
            const float* pIn = input.data() + ((uPos + b) % 64) * BLOCK;
            float* pZin = zita.inpdata(0);
            for (uint32_t i = 0; i < BLOCK; ++i)
                pZin[i] = pIn[i];
            zita.process(true);
            benchmark::DoNotOptimize(zita.outdata(0));
        }
        dZita += BenchProcessSeconds() - t2;
#endif
        uPos += iBatch;
        dBlocks += iBatch;
    }
    const double dAudio = dBlocks * BLOCK / SAMPLE_RATE;
    state.counters["uniform_us"] = 1e6 * dUniform / dBlocks;
    state.counters["nolock_us"] = 1e6 * dNoLock / dBlocks;
    state.counters["uniform_rtf"] = dAudio / dUniform;
    state.counters["nolock_rtf"] = dAudio / dNoLock;
#ifdef KVFX_BENCH_HAVE_ZITA
    state.counters["zita_us"] = 1e6 * dZita / dBlocks;
    state.counters["zita_rtf"] = dAudio / dZita;
    state.counters["uniform_ratio"] = dUniform / dZita;
    state.counters["nolock_ratio"] = dNoLock / dZita;
    zita.stop_process();
    zita.cleanup();
#endif
}
// Argument: 1 for the AVX2 kernels where the processor has them, 0 for the portable ones.
BENCHMARK(BM_PartConv2sMono48k_B512)->ArgName("simd")->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond);

} // namespace
