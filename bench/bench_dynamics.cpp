// The dynamics engine on a stereo stream, 48 kHz, blocks of 512 (and 64 through the whole
// effect), on a noise programme whose level swings between -40 and -3 dBFS. Presets: both
// ratios 1 (pow never runs) and both working (compressor threshold -60 dB 4:1, expander
// threshold 0 dB 2:1: both pow calls on nearly every sample). Each iteration times a batch of
// ours and a batch of a reference loop on the same data: one single-precision pow and one
// multiply per sample, the cost the engine is expected to be bound by. Counters:
// rtf_stereo = seconds of stereo audio per CPU second; ratio = our time / reference time.
#include <benchmark/benchmark.h>
#include <cmath>
#include <random>
#include <vector>
#include "bench/benchcputimer.h"
#include "shareddsp/dynamics/dynamicsdsp.h"
#include "skrel_console/dynamics/qwent/audioenginefx/kvskreldynamicsfx.h"
#include "qwfx/lib/qwhostallocator.h"

namespace {

const double RATE = 48000.0;
const uint32_t CHANNELS = 2;
const uint32_t PROGRAMME_FRAMES = 48000;
const int BATCH = 32;

// Noise under an envelope that moves every 2400 frames, one channel after the other.
std::vector<float> Programme()
{
    std::mt19937 rng(11);
    std::uniform_real_distribution<float> noise(-1.0f, 1.0f), levelDb(-40.0f, -3.0f);
    std::vector<float> data(CHANNELS * PROGRAMME_FRAMES);
    for (uint32_t c = 0; c < CHANNELS; ++c) {
        float fLevel = 1.0f;
        for (uint32_t i = 0; i < PROGRAMME_FRAMES; ++i) {
            if (i % 2400 == 0)
                fLevel = std::pow(10.0f, levelDb(rng) / 20.0f);
            data[c * PROGRAMME_FRAMES + i] = fLevel * noise(rng);
        }
    }
    return data;
}

void SetPreset(DynamicsDsp& io_dsp, bool in_bWorking)
{
    if (!in_bWorking)
        return; // the defaults have both ratios at 1
    const uint32_t s = SkrelDynamicsImpl::EFFECT_STAGE;
    io_dsp.SetParameter(s, DynamicsDsp::COMP_THRESHOLD_DB, -60.0f);
    io_dsp.SetParameter(s, DynamicsDsp::COMP_RATIO, 4.0f);
    io_dsp.SetParameter(s, DynamicsDsp::COMP_ATTACK_MS, 5.0f);
    io_dsp.SetParameter(s, DynamicsDsp::COMP_RELEASE_MS, 100.0f);
    io_dsp.SetParameter(s, DynamicsDsp::EXP_THRESHOLD_DB, 0.0f);
    io_dsp.SetParameter(s, DynamicsDsp::EXP_RATIO, 2.0f);
    io_dsp.SetParameter(s, DynamicsDsp::EXP_ATTACK_MS, 5.0f);
    io_dsp.SetParameter(s, DynamicsDsp::EXP_RELEASE_MS, 100.0f);
}

void ReferencePow(uint32_t in_uSamples, float* io_p)
{
    for (uint32_t i = 0; i < in_uSamples; ++i)
        io_p[i] *= std::pow(std::fabs(io_p[i]) * 1000.0f + 1.0f, -0.75f);
}

void Report(benchmark::State& state, double in_dOurs, double in_dRef, double in_dFrames)
{
    state.counters["rtf_stereo"] = in_dOurs > 0 ? in_dFrames / RATE / in_dOurs : 0;
    state.counters["ratio"] = in_dRef > 0 ? in_dOurs / in_dRef : 0;
}

// The engine alone, one DynamicsDsp per channel.
void BM_DynamicsDsp(benchmark::State& state)
{
    const bool bWorking = state.range(0) != 0;
    const uint32_t uBlock = static_cast<uint32_t>(state.range(1));
    QwHostAllocator allocator;
    BindAllocator(&allocator, 0, 0);
    {
        DynamicsDsp left(static_cast<float>(RATE)), right(static_cast<float>(RATE));
        SetPreset(left, bWorking);
        SetPreset(right, bWorking);
        DynamicsDsp* apDsp[CHANNELS] = {&left, &right};
        const std::vector<float> source = Programme();
        std::vector<float> work(source.size());
        uint32_t uPos = 0;
        double dOurs = 0, dRef = 0, dFrames = 0;
        for (auto _ : state) {
            const double t0 = BenchThreadSeconds();
            for (int b = 0; b < BATCH; ++b) {
                for (uint32_t c = 0; c < CHANNELS; ++c) {
                    float* p = work.data() + c * PROGRAMME_FRAMES + uPos;
                    std::copy(source.begin() + (p - work.data()), source.begin() + (p - work.data()) + uBlock, p);
                    apDsp[c]->Process(SkrelDynamicsImpl::EFFECT_STAGE, uBlock, p);
                }
                benchmark::DoNotOptimize(work.data());
                uPos = uPos + 2 * uBlock <= PROGRAMME_FRAMES ? uPos + uBlock : 0;
            }
            const double t1 = BenchThreadSeconds();
            for (int b = 0; b < BATCH; ++b) {
                for (uint32_t c = 0; c < CHANNELS; ++c) {
                    float* p = work.data() + c * PROGRAMME_FRAMES + uPos;
                    std::copy(source.begin() + (p - work.data()), source.begin() + (p - work.data()) + uBlock, p);
                    ReferencePow(uBlock, p);
                }
                benchmark::DoNotOptimize(work.data());
                uPos = uPos + 2 * uBlock <= PROGRAMME_FRAMES ? uPos + uBlock : 0;
            }
            dRef += BenchThreadSeconds() - t1;
            dOurs += t1 - t0;
            dFrames += static_cast<double>(BATCH) * uBlock;
        }
        Report(state, dOurs, dRef, dFrames);
        state.SetLabel(bWorking ? "both working, stereo" : "both ratios 1, stereo");
    }
    BindAllocator(nullptr, 0, 0);
}

// The whole effect through Execute, parameters from a block, as a host would drive it.
void BM_DynamicsEffect(benchmark::State& state)
{
    const bool bWorking = state.range(0) != 0;
    const uint16_t uBlock = static_cast<uint16_t>(state.range(1));
    QwHostAllocator allocator;
    struct Context : QwEffectContext, QwGlobalContext
    {
        uint16_t uFrames = 0;
        QwGlobalContext* GetGlobalContext() override { return this; }
        void GetPluginMedia(uint32_t, const uint8_t*&, uint32_t&) override {}
        uint16_t GetMaxFramesPerBlock() override { return uFrames; }
    } context;
    context.uFrames = uBlock;
    QwPluginParam* pParams = KvSkrelDynamicsFXParams::Create(&allocator);
    pParams->Init(&allocator, nullptr, 0);
    if (bWorking) {
        const float afSet[9] = {-60.0f, 4.0f, 5.0f, 100.0f, 0.0f, 2.0f, 5.0f, 100.0f, 0.0f};
        for (uint16_t id = 1; id <= 9; ++id)
            pParams->SetParam(id, &afSet[id - 1], 4);
    }
    QwEffectPlugin* pFX = KvSkrelDynamicsFX::Create(&allocator);
    QwFormat format = {48000, QwMakeChannelConfig(CHANNELS, QW_MASK_STEREO), 0};
    if (pFX->Init(&allocator, &context, pParams, format) != QW_Success)
        state.SkipWithError("Init failed");
    const std::vector<float> source = Programme();
    std::vector<float> block(CHANNELS * uBlock), ref(CHANNELS * uBlock);
    QwAudioBuffer buffer = {block.data(), format.uChannelConfig, 0, uBlock, uBlock};
    uint32_t uPos = 0;
    double dOurs = 0, dRef = 0, dFrames = 0;
    const uint64_t uAllocsBefore = allocator.AllocCalls();
    for (auto _ : state) {
        const double t0 = BenchThreadSeconds();
        for (int b = 0; b < BATCH; ++b) {
            for (uint32_t c = 0; c < CHANNELS; ++c)
                std::copy_n(source.begin() + c * PROGRAMME_FRAMES + uPos, uBlock, block.begin() + c * uBlock);
            buffer.uValidFrames = uBlock;
            pFX->Execute(&buffer);
            benchmark::DoNotOptimize(block.data());
            uPos = uPos + 2u * uBlock <= PROGRAMME_FRAMES ? uPos + uBlock : 0;
        }
        const double t1 = BenchThreadSeconds();
        for (int b = 0; b < BATCH; ++b) {
            for (uint32_t c = 0; c < CHANNELS; ++c) {
                std::copy_n(source.begin() + c * PROGRAMME_FRAMES + uPos, uBlock, ref.begin() + c * uBlock);
                ReferencePow(uBlock, ref.data() + c * uBlock);
            }
            benchmark::DoNotOptimize(ref.data());
            uPos = uPos + 2u * uBlock <= PROGRAMME_FRAMES ? uPos + uBlock : 0;
        }
        dRef += BenchThreadSeconds() - t1;
        dOurs += t1 - t0;
        dFrames += static_cast<double>(BATCH) * uBlock;
    }
    Report(state, dOurs, dRef, dFrames);
    state.counters["allocs"] = static_cast<double>(allocator.AllocCalls() - uAllocsBefore);
    state.SetLabel(bWorking ? "effect, both working, stereo" : "effect, both ratios 1, stereo");
    pFX->Term(&allocator);
    pParams->Term(&allocator);
}

} // namespace

BENCHMARK(BM_DynamicsDsp)->ArgsProduct({{0, 1}, {512}})->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_DynamicsEffect)->ArgsProduct({{0, 1}, {512, 64}})->Unit(benchmark::kMicrosecond);
