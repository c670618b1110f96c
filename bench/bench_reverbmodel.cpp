// The reverb's reason to exist, in numbers: a measured room replayed from its fitted model by
// the reverb's signal path (order 16) beside the same room convolved in full by UniformPartConv
// (one convolver a channel), stereo, 48 kHz, blocks of 512, in the same loop. The room is the
// data folder's small shop, or the file named by KVFX_BENCH_ROOM. Counters: real-time factors
// of both and how many times cheaper the model is (conv_over_model).
#include <benchmark/benchmark.h>
#include <cstdlib>
#include <random>
#include <vector>
#include "bench/benchcputimer.h"
#include "kvbase/common/common_allocator.h"
#include "kvdspbase/dsp/uniformpartconv.h"
#include "kvreverbconsole/interface/kvmodeledreverbimpl.h"
#include "qwfx/lib/qwaudiofile.h"
#include "qwfx/lib/qwhostallocator.h"
#include "qwfx/lib/qwreverbfit.h"

namespace {

const uint32_t RATE = 48000;
const uint32_t BLOCK = 512;
const int BLOCKS = 64;

void BM_ModeledRoomVersusConvolution(benchmark::State& state)
{
    static QwHostAllocator s_allocator;
    BindAllocator(&s_allocator, 0, 0);
    const char* pszRoom = std::getenv("KVFX_BENCH_ROOM");
    const std::string sRoom = pszRoom ? pszRoom : KVFX_SOURCE_DIR "/qwfx/data/small-shop-48k-stereo.wav";
    QwPlanarAudio ir, pair;
    QwReverbFit fit;
    std::string sError;
    if (!QwReadAudioFile(sRoom, ir, sError) || !QwPickReverbChannels(ir, sRoom, nullptr, pair, sError) ||
        !QwFitReverb(pair, 16, fit, sError) || fit.uSampleRate != RATE) {
        state.SkipWithError((sError.empty() ? sRoom + " is not at 48 kHz" : sError).c_str());
        return;
    }
    const std::vector<uint8_t> record = QwWriteReverbModel(fit.model);
    KvModeledReverbImpl reverb(BLOCK, RATE, 2, 16, 0, 0);
    reverb.LoadModel(static_cast<uint32_t>(record.size()), record.data());
    reverb.SetDryOut(KvModeledReverbImpl::FRONT_SPEAKER_STEREO_PAIR, -96.3f);
    UniformPartConv conv[2] = {UniformPartConv(1, BLOCK), UniformPartConv(1, BLOCK)};
    for (uint32_t c = 0; c < 2; ++c)
        conv[c].SetImpulse(static_cast<uint32_t>(pair.NumFrames()), pair.channels[c].data());
    if (IsOutOfMemory()) {
        state.SkipWithError("out of memory");
        return;
    }

    std::mt19937 rng(1);
    std::uniform_real_distribution<float> dist(-0.5f, 0.5f);
    std::vector<float> x[2] = {std::vector<float>(BLOCK), std::vector<float>(BLOCK)};
    float* apSlots[KvModeledReverbImpl::NUM_SLOTS] = {x[0].data(), x[1].data()};
    double fModel = 0, fConv = 0, fFrames = 0;
    for (auto _ : state) {
        for (auto& channel : x)
            for (float& v : channel)
                v = dist(rng);
        const double t0 = BenchThreadSeconds();
        for (int k = 0; k < BLOCKS; ++k) {
            reverb.Process(BLOCK, apSlots);
            benchmark::DoNotOptimize(x[0][0]);
        }
        const double t1 = BenchThreadSeconds();
        for (int k = 0; k < BLOCKS; ++k)
            for (uint32_t c = 0; c < 2; ++c) {
                float* pChannel = x[c].data();
                conv[c].ProcessBlock(&pChannel);
                benchmark::DoNotOptimize(x[c][0]);
            }
        fConv += BenchThreadSeconds() - t1;
        fModel += t1 - t0;
        fFrames += double(BLOCKS) * BLOCK;
    }
    state.counters["model_realtime_x"] = fFrames / RATE / fModel;
    state.counters["conv_realtime_x"] = fFrames / RATE / fConv;
    state.counters["conv_over_model"] = fConv / fModel;
    state.counters["room_s"] = static_cast<double>(pair.NumFrames()) / RATE;
}

} // namespace

BENCHMARK(BM_ModeledRoomVersusConvolution)->Unit(benchmark::kMillisecond);
