// The delay effect per character mode, stereo, 512-frame blocks at 48 kHz, 300 ms, 50 percent
// feedback, amount 0.5. Each iteration runs a block of the mode under test and a block of the
// clean mode (the reference) on the same input: the counters give the real-time factor of
// both and their cost ratio (mode / clean; above 1 means the mode's character stage costs more).
#include <benchmark/benchmark.h>
#include <cstring>
#include <random>
#include <vector>
#include "bench/benchcputimer.h"
#include "kvbase/common/common_allocator.h"
#include "qwfx/lib/qwhostallocator.h"
#include "skrel_console/delay/qwent/audioenginefx/kvskreldelayfx.h"

namespace {

const uint32_t RATE = 48000;
const uint16_t BLOCK = 512;
const uint32_t CHANNELS = 2;

class BenchContext : public QwEffectContext, public QwGlobalContext
{
public:
    QwGlobalContext* GetGlobalContext() override { return this; }
    void GetPluginMedia(uint32_t, const uint8_t*& out_pData, uint32_t& out_uSize) override
    {
        out_pData = nullptr;
        out_uSize = 0;
    }
    uint16_t GetMaxFramesPerBlock() override { return BLOCK; }
};

struct DelayInstance
{
    DelayInstance(QwHostAllocator& io_allocator, uint32_t in_uMode) : allocator(io_allocator)
    {
        params = KvSkrelDelayFXParams::Create(&allocator);
        params->Init(&allocator, nullptr, 0);
        const float afValues[] = {100.0f, 50.0f, 300.0f, 50.0f, 0.5f};
        const uint16_t aIds[] = {0, 1, 6, 7, 8};
        for (int i = 0; i < 5; ++i)
            params->SetParam(aIds[i], &afValues[i], 4);
        params->SetParam(9, &in_uMode, 4);
        fx = KvSkrelDelayFX::Create(&allocator);
        QwFormat format = {RATE, QwMakeChannelConfig(CHANNELS, 0x3), 0};
        fx->Init(&allocator, &context, params, format);
    }
    ~DelayInstance()
    {
        fx->Term(&allocator);
        params->Term(&allocator);
    }
    void Run(std::vector<float>& io_data)
    {
        QwAudioBuffer buffer = {io_data.data(), QwMakeChannelConfig(CHANNELS, 0x3), QW_DataReady, BLOCK, BLOCK};
        fx->Execute(&buffer);
    }
    QwHostAllocator& allocator;
    BenchContext context;
    QwPluginParam* params;
    QwEffectPlugin* fx;
};

void BM_DelayMode(benchmark::State& state)
{
    static QwHostAllocator s_allocator;
    BindAllocator(&s_allocator, 0, 0);
    const uint32_t uMode = static_cast<uint32_t>(state.range(0));
    DelayInstance ours(s_allocator, uMode), clean(s_allocator, 5);
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> dist(-0.5f, 0.5f);
    std::vector<float> input(static_cast<size_t>(CHANNELS) * BLOCK), a, b;
    for (float& x : input)
        x = dist(rng);
    const int iBatch = 32;
    double dOurs = 0, dRef = 0, dFrames = 0;
    for (auto _ : state) {
        const double t0 = BenchThreadSeconds();
        for (int i = 0; i < iBatch; ++i) {
            a = input;
            ours.Run(a);
            benchmark::DoNotOptimize(a.data());
        }
        const double t1 = BenchThreadSeconds();
        for (int i = 0; i < iBatch; ++i) {
            b = input;
            clean.Run(b);
            benchmark::DoNotOptimize(b.data());
        }
        dRef += BenchThreadSeconds() - t1;
        dOurs += t1 - t0;
        dFrames += iBatch * BLOCK;
    }
    const double dAudioSeconds = dFrames / RATE;
    state.counters["rtf"] = dAudioSeconds / dOurs;
    state.counters["clean_rtf"] = dAudioSeconds / dRef;
    state.counters["ratio"] = dOurs / dRef;
}

} // namespace

BENCHMARK(BM_DelayMode)->DenseRange(0, 5)->Unit(benchmark::kMicrosecond);
