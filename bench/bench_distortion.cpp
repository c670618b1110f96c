// Every distortion algorithm alone on one slot, mono, blocks of 512 at 48 kHz, Drive 5,
// Character 0.5, Mix 100, noise at -6 dBFS. Each iteration times a batch of the algorithm and
// a batch of a reference loop with the same per-sample frame (input gain, drive, mix, output
// gain) but no shaping, on the same data. Counters: rtf48k = seconds of audio per CPU second;
// ratio = algorithm time / reference time.
#include <benchmark/benchmark.h>
#include <random>
#include <vector>
#include "bench/benchcputimer.h"
#include "host/qwassert.h"
#include "shareddsp/distortions/skreldistortion/distortion_algorithm_info.h"
#include "shareddsp/distortions/skreldistortion/distortion_dsp.h"

namespace {

const uint32_t BLOCK = 512;
const double RATE = 48000.0;
const int BATCH = 64;

// Cheap Digital reports every full-scale sample; the count is shown, the hook costs a call.
uint64_t s_uAsserts = 0;
void CountAssert(const char*, const char*, int) { ++s_uAsserts; }

// The common frame with an identity transfer: what every shaper pays before its own work.
void ReferenceFrame(const DistortionSlot& in_slot, uint32_t in_uSamples, float* io_p)
{
    const float fIn = in_slot.m_fInputGain, fDrive = in_slot.m_fDriveGain;
    const float fWet = in_slot.m_fWetGain, fDry = in_slot.m_fDryGain, fOut = in_slot.m_fOutputGain;
    for (uint32_t i = 0; i < in_uSamples; ++i) {
        const float v = io_p[i] * fIn;
        io_p[i] = (v * fDrive * fWet + v * fDry) * fOut;
    }
}

void BM_DistortionAlgorithm(benchmark::State& state)
{
    const uint32_t uAlgorithm = static_cast<uint32_t>(state.range(0));
    g_pQWPluginList.QwAssertHook = &CountAssert;
    s_uAsserts = 0;
    DistortionDsp dsp(static_cast<float>(RATE));
    dsp.SetAlgorithm(3, uAlgorithm, 0);
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> dist(-0.5f, 0.5f);
    std::vector<float> source(BLOCK), work(BLOCK);
    for (float& x : source)
        x = dist(rng);
    double dOurs = 0, dRef = 0, dSamples = 0;
    for (auto _ : state) {
        const double t0 = BenchThreadSeconds();
        for (int b = 0; b < BATCH; ++b) {
            work = source;
            dsp.Process(3, 0, BLOCK, work.data());
            benchmark::DoNotOptimize(work.data());
        }
        const double t1 = BenchThreadSeconds();
        for (int b = 0; b < BATCH; ++b) {
            work = source;
            ReferenceFrame(dsp.Slot(3, 0), BLOCK, work.data());
            benchmark::DoNotOptimize(work.data());
        }
        dRef += BenchThreadSeconds() - t1;
        dOurs += t1 - t0;
        dSamples += static_cast<double>(BATCH) * BLOCK;
    }
    state.counters["rtf48k"] = dOurs > 0 ? dSamples / RATE / dOurs : 0;
    state.counters["ratio"] = dRef > 0 ? dOurs / dRef : 0;
    if (s_uAsserts)
        state.counters["asserts_per_sample"] = static_cast<double>(s_uAsserts) / dSamples;
    state.SetLabel(g_aDistortionAlgorithms[uAlgorithm].pName);
}

} // namespace

BENCHMARK(BM_DistortionAlgorithm)->DenseRange(0, 47)->Unit(benchmark::kMicrosecond);
