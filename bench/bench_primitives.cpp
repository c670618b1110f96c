// The hot primitives beside plain reference loops compiled here, timed in the same loop on the
// same data: the eight-lane dot product against a running float sum, the multiply-add against
// a plain loop, a four-biquad cascade (IirFilter in double, IirFilterFast in float) against a
// direct-form-I cascade in the same precision, and FirFilter against direct convolution over
// a history buffer. Mono, blocks of 512 (dot product and multiply-add: vectors of 512).
// Counters: Msamples_s = our throughput in millions of samples per CPU second; rtf48k = seconds
// of 48 kHz audio per CPU second; ratio = our time / reference time.
#include <benchmark/benchmark.h>
#include <random>
#include <vector>
#include "bench/benchcputimer.h"
#include "kvbase/common/common_allocator.h"
#include "kvbase/ipp/ipp_vector_ref.h"
#include "kvdspbase/dsp/filtercoeffs.h"
#include "kvdspbase/dsp/firfilter.h"
#include "kvdspbase/dsp/iirfilter.h"
#include "kvdspbase/dsp/iirfilterfast.h"
#include "qwfx/lib/qwhostallocator.h"

namespace {

const uint32_t BLOCK = 512;
const int BATCH = 256;

void BindPrimitivesBenchAllocator()
{
    static QwHostAllocator s_allocator;
    BindAllocator(&s_allocator, 0, 0);
}

std::vector<float> Noise(size_t n, uint32_t seed)
{
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> dist(-0.5f, 0.5f);
    std::vector<float> v(n);
    for (float& x : v)
        x = dist(rng);
    return v;
}

void Report(benchmark::State& state, double dOurs, double dRef, double dSamples)
{
    state.counters["Msamples_s"] = dOurs > 0 ? dSamples / dOurs * 1e-6 : 0;
    state.counters["rtf48k"] = dOurs > 0 ? dSamples / 48000.0 / dOurs : 0;
    state.counters["ratio"] = dRef > 0 ? dOurs / dRef : 0;
}

__attribute__((noinline)) float RunningDot(uint32_t n, const float* a, const float* b)
{
    float s = 0.0f;
    for (uint32_t i = 0; i < n; ++i)
        s += a[i] * b[i];
    return s;
}

__attribute__((noinline)) void PlainAddProduct(uint32_t n, const float* src, float c, float* dst)
{
    for (uint32_t i = 0; i < n; ++i)
        dst[i] += src[i] * c;
}

template <class T>
struct DirectFormOne
{
    T c[6];
    T x1 = 0, x2 = 0, y1 = 0, y2 = 0;
};

template <class T>
__attribute__((noinline)) void ReferenceCascade(std::vector<DirectFormOne<T>>& sections, uint32_t n, float* io)
{
    for (DirectFormOne<T>& s : sections) {
        for (uint32_t i = 0; i < n; ++i) {
            const T x = static_cast<T>(io[i]);
            const T y = s.c[0] * x + s.c[1] * s.x1 + s.c[2] * s.x2 - s.c[4] * s.y1 - s.c[5] * s.y2;
            s.x2 = s.x1;
            s.x1 = x;
            s.y2 = s.y1;
            s.y1 = y;
            io[i] = static_cast<float>(y);
        }
    }
}

void BM_DotProd(benchmark::State& state)
{
    const std::vector<float> a = Noise(BLOCK, 1), b = Noise(BLOCK, 2);
    double dOurs = 0, dRef = 0, dSamples = 0;
    float fSink = 0.0f;
    for (auto _ : state) {
        const double t0 = BenchThreadSeconds();
        // The clobber keeps the compiler from computing a call with unchanged arguments once.
        for (int k = 0; k < BATCH; ++k) {
            fSink += ippsDotProd_32f(BLOCK, a.data(), b.data());
            benchmark::ClobberMemory();
        }
        const double t1 = BenchThreadSeconds();
        for (int k = 0; k < BATCH; ++k) {
            fSink += RunningDot(BLOCK, a.data(), b.data());
            benchmark::ClobberMemory();
        }
        dRef += BenchThreadSeconds() - t1;
        dOurs += t1 - t0;
        dSamples += static_cast<double>(BATCH) * BLOCK;
        benchmark::DoNotOptimize(fSink);
    }
    Report(state, dOurs, dRef, dSamples);
    state.SetLabel("512 floats, ref = running float sum");
}

void BM_AddProductC(benchmark::State& state)
{
    const std::vector<float> a = Noise(BLOCK, 3);
    std::vector<float> acc = Noise(BLOCK, 4);
    double dOurs = 0, dRef = 0, dSamples = 0;
    for (auto _ : state) {
        const double t0 = BenchThreadSeconds();
        for (int k = 0; k < BATCH; ++k)
            ippsAddProductC_32f(BLOCK, a.data(), 1e-3f, acc.data());
        const double t1 = BenchThreadSeconds();
        for (int k = 0; k < BATCH; ++k)
            PlainAddProduct(BLOCK, a.data(), -1e-3f, acc.data());
        dRef += BenchThreadSeconds() - t1;
        dOurs += t1 - t0;
        dSamples += static_cast<double>(BATCH) * BLOCK;
        benchmark::DoNotOptimize(acc.data());
    }
    Report(state, dOurs, dRef, dSamples);
    state.SetLabel("512 floats, ref = plain loop");
}

template <class TFilter, class T>
void BiquadCascade(benchmark::State& state, const char* pszLabel)
{
    BindPrimitivesBenchAllocator();
    T taps[24];
    DesignLowPass(taps, T(48000), T(8000), T(0.7071));
    DesignPeaking(taps + 6, T(48000), T(1000), T(6), T(1.5));
    DesignHighShelf(taps + 12, T(48000), T(5000), T(-3), T(1));
    DesignHighPass(taps + 18, T(48000), T(60), T(0.7071));
    TFilter filter(2, taps, 4);
    std::vector<DirectFormOne<T>> reference(4);
    for (int s = 0; s < 4; ++s)
        for (int j = 0; j < 6; ++j)
            reference[s].c[j] = taps[6 * s + j];
    const std::vector<float> source = Noise(BLOCK, 5);
    std::vector<float> work(BLOCK);
    double dOurs = 0, dRef = 0, dSamples = 0;
    for (auto _ : state) {
        const double t0 = BenchThreadSeconds();
        for (int k = 0; k < BATCH; ++k) {
            work = source;
            filter.Process(BLOCK, work.data());
            benchmark::DoNotOptimize(work.data());
        }
        const double t1 = BenchThreadSeconds();
        for (int k = 0; k < BATCH; ++k) {
            work = source;
            ReferenceCascade(reference, BLOCK, work.data());
            benchmark::DoNotOptimize(work.data());
        }
        dRef += BenchThreadSeconds() - t1;
        dOurs += t1 - t0;
        dSamples += static_cast<double>(BATCH) * BLOCK;
    }
    Report(state, dOurs, dRef, dSamples);
    state.SetLabel(pszLabel);
}

void BM_IirFilterCascade(benchmark::State& state)
{
    BiquadCascade<IirFilter, double>(state, "4 biquads, double, ref = DF-I in double");
}

void BM_IirFilterFastCascade(benchmark::State& state)
{
    BiquadCascade<IirFilterFast, float>(state, "4 biquads, float, ref = DF-I in float");
}

void BM_FirFilter(benchmark::State& state)
{
    BindPrimitivesBenchAllocator();
    const uint32_t uTaps = static_cast<uint32_t>(state.range(0));
    const std::vector<float> taps = Noise(uTaps, 6);
    FirFilter filter(taps.data(), uTaps);
    const std::vector<float> source = Noise(BLOCK, 7);
    std::vector<float> work(BLOCK);
    // Reference: history of uTaps - 1 samples followed by the block, then a plain dot product.
    std::vector<float> history(uTaps - 1 + BLOCK, 0.0f);
    const int iBatch = uTaps > 64 ? BATCH / 8 : BATCH;
    double dOurs = 0, dRef = 0, dSamples = 0;
    for (auto _ : state) {
        const double t0 = BenchThreadSeconds();
        for (int k = 0; k < iBatch; ++k) {
            filter.Process(BLOCK, source.data(), work.data());
            benchmark::DoNotOptimize(work.data());
        }
        const double t1 = BenchThreadSeconds();
        for (int k = 0; k < iBatch; ++k) {
            std::copy(history.end() - (uTaps - 1), history.end(), history.begin());
            std::copy(source.begin(), source.end(), history.begin() + (uTaps - 1));
            for (uint32_t n = 0; n < BLOCK; ++n) {
                const float* x = history.data() + n + uTaps - 1;
                float s = 0.0f;
                for (uint32_t j = 0; j < uTaps; ++j)
                    s += taps[j] * x[-static_cast<int32_t>(j)];
                work[n] = s;
            }
            benchmark::DoNotOptimize(work.data());
        }
        dRef += BenchThreadSeconds() - t1;
        dOurs += t1 - t0;
        dSamples += static_cast<double>(iBatch) * BLOCK;
    }
    Report(state, dOurs, dRef, dSamples);
    state.SetLabel("taps as given, block 512, ref = direct convolution loop");
}

} // namespace

BENCHMARK(BM_DotProd)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_AddProductC)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_IirFilterCascade)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_IirFilterFastCascade)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_FirFilter)->Arg(16)->Arg(64)->Arg(512)->Unit(benchmark::kMicrosecond);
