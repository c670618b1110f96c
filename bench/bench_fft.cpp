// Our transform beside FFTW (single precision, FFTW_MEASURE) in the same loop: each iteration
// times a batch of ours and a batch of FFTW's on the same data, and the counters give both
// times per transform and their ratio (ours / FFTW; below 1 means we are faster).
#include <benchmark/benchmark.h>
#include <random>
#include <vector>
#include "bench/benchcputimer.h"
#include "kvbase/common/common_allocator.h"
#include "kvdspbase/dsp/fft.h"
#include "qwfx/lib/qwhostallocator.h"
#ifdef KVFX_BENCH_HAVE_FFTW
#include <fftw3.h>
#endif

namespace {

void BindFftBenchAllocator()
{
    static QwHostAllocator s_allocator;
    BindAllocator(&s_allocator, 0, 0);
}

std::vector<float> Noise(size_t n, uint32_t seed)
{
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> dist(-1.0f, 1.0f);
    std::vector<float> v(n);
    for (float& x : v)
        x = dist(rng);
    return v;
}

void Report(benchmark::State& state, double dOurs, double dRef, double dCount, const char* pszRef)
{
    state.counters["ours_us"] = 1e6 * dOurs / dCount;
    if (dRef > 0) {
        state.counters[std::string(pszRef) + "_us"] = 1e6 * dRef / dCount;
        state.counters["ratio"] = dOurs / dRef;
    }
}

// Real forward plus inverse transform of N points.
void BM_FftRealForwardInverse(benchmark::State& state)
{
    BindFftBenchAllocator();
    const uint32_t n = static_cast<uint32_t>(state.range(0));
    const int iBatch = n <= 4096 ? 256 : 8;
    Fft fft;
    fft.InitReal(n);
    fft.UseSimd(state.range(1) != 0);
    std::vector<float> x = Noise(n, 1), spec(n + 2), y(n);
#ifdef KVFX_BENCH_HAVE_FFTW
    float* fx = fftwf_alloc_real(n);
    float* fy = fftwf_alloc_real(n);
    fftwf_complex* fs = fftwf_alloc_complex(n / 2 + 1);
    fftwf_plan fwd = fftwf_plan_dft_r2c_1d(static_cast<int>(n), fx, fs, FFTW_MEASURE);
    fftwf_plan inv = fftwf_plan_dft_c2r_1d(static_cast<int>(n), fs, fy, FFTW_MEASURE);
    for (uint32_t i = 0; i < n; ++i)
        fx[i] = x[i];
#endif
    double dOurs = 0, dRef = 0, dCount = 0;
    for (auto _ : state) {
        double t0 = BenchThreadSeconds();
        for (int b = 0; b < iBatch; ++b) {
            fft.ForwardReal(x.data(), spec.data());
            fft.InverseReal(spec.data(), y.data());
            benchmark::DoNotOptimize(y.data());
        }
        double t1 = BenchThreadSeconds();
        dOurs += t1 - t0;
#ifdef KVFX_BENCH_HAVE_FFTW
        for (int b = 0; b < iBatch; ++b) {
            fftwf_execute(fwd);
            fftwf_execute(inv);
            benchmark::DoNotOptimize(fy);
        }
        dRef += BenchThreadSeconds() - t1;
#endif
        dCount += iBatch;
    }
    Report(state, dOurs, dRef, dCount, "fftw");
#ifdef KVFX_BENCH_HAVE_FFTW
    fftwf_destroy_plan(fwd);
    fftwf_destroy_plan(inv);
    fftwf_free(fx);
    fftwf_free(fy);
    fftwf_free(fs);
#endif
}
// Second argument: 1 for the AVX2 kernels where the processor has them, 0 for the portable ones.
BENCHMARK(BM_FftRealForwardInverse)
    ->ArgNames({"n", "simd"})
    ->ArgsProduct({{1024, 4096, 1 << 18}, {1, 0}})
    ->Unit(benchmark::kMicrosecond);

// Complex forward transform of N points. Ours takes split arrays; FFTW is timed on interleaved
// data (its fastest form) and, as a second reference, on split arrays through the guru interface.
void BM_FftComplexForward(benchmark::State& state)
{
    BindFftBenchAllocator();
    const uint32_t n = static_cast<uint32_t>(state.range(0));
    const int iBatch = n <= 4096 ? 256 : 2;
    Fft fft;
    fft.InitComplex(n);
    fft.UseSimd(state.range(1) != 0);
    std::vector<float> re = Noise(n, 2), im = Noise(n, 3), ore(n), oim(n);
#ifdef KVFX_BENCH_HAVE_FFTW
    fftwf_complex* fin = fftwf_alloc_complex(n);
    fftwf_complex* fout = fftwf_alloc_complex(n);
    float* sin = fftwf_alloc_real(2 * n);
    float* sout = fftwf_alloc_real(2 * n);
    fftwf_plan plan = fftwf_plan_dft_1d(static_cast<int>(n), fin, fout, FFTW_FORWARD, FFTW_MEASURE);
    fftwf_iodim dim = {static_cast<int>(n), 1, 1};
    fftwf_plan split = fftwf_plan_guru_split_dft(1, &dim, 0, nullptr, sin, sin + n, sout, sout + n, FFTW_MEASURE);
    for (uint32_t i = 0; i < n; ++i) {
        fin[i][0] = sin[i] = re[i];
        fin[i][1] = sin[n + i] = im[i];
    }
    double dSplit = 0;
#endif
    double dOurs = 0, dRef = 0, dCount = 0;
    for (auto _ : state) {
        double t0 = BenchThreadSeconds();
        for (int b = 0; b < iBatch; ++b) {
            fft.ForwardComplex(re.data(), im.data(), ore.data(), oim.data());
            benchmark::DoNotOptimize(ore.data());
        }
        double t1 = BenchThreadSeconds();
        dOurs += t1 - t0;
#ifdef KVFX_BENCH_HAVE_FFTW
        for (int b = 0; b < iBatch; ++b) {
            fftwf_execute(plan);
            benchmark::DoNotOptimize(fout);
        }
        double t2 = BenchThreadSeconds();
        dRef += t2 - t1;
        for (int b = 0; b < iBatch; ++b) {
            fftwf_execute_split_dft(split, sin, sin + n, sout, sout + n);
            benchmark::DoNotOptimize(sout);
        }
        dSplit += BenchThreadSeconds() - t2;
#endif
        dCount += iBatch;
    }
    Report(state, dOurs, dRef, dCount, "fftw");
#ifdef KVFX_BENCH_HAVE_FFTW
    state.counters["fftw_split_us"] = 1e6 * dSplit / dCount;
    state.counters["ratio_split"] = dOurs / dSplit;
    fftwf_destroy_plan(plan);
    fftwf_destroy_plan(split);
    fftwf_free(fin);
    fftwf_free(fout);
    fftwf_free(sin);
    fftwf_free(sout);
#endif
}
BENCHMARK(BM_FftComplexForward)
    ->ArgNames({"n", "simd"})
    ->ArgsProduct({{1024, 1 << 18}, {1, 0}})
    ->Unit(benchmark::kMicrosecond);

} // namespace
