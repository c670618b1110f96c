// kvfx.lv2 driven in-process through lilv, as an LV2 host runs it: the plug-ins and their ports
// against qwfx params, and every effect's output under runs of any length against the same
// effect rendered in whole blocks by the host library.
#include <gtest/gtest.h>
#include <cmath>
#include <map>
#include <random>
#include "lv2/qwlv2engine.h"
#include "lv2/qwlv2host.h"
#include "lv2/qwlv2names.h"
#include "qwfx/lib/qweffectsetup.h"
#include "qwfx/lib/qwmodule.h"
#include "qwfx/lib/qwrenderloop.h"
#include "qwfx/lib/qwreverbfit.h"
#include "qwfx/lib/qwreverbmodel.h"
#include "qwfx/qwfxe2e.h"

namespace {

typedef std::map<std::string, float> Settings;   // port symbol -> value

QwLv2World& World()
{
    static QwLv2World* s_pWorld = [] {
        auto* pWorld = new QwLv2World;
        pWorld->LoadBundle(KVFX_LV2_BUNDLE);
        return pWorld;
    }();
    return *s_pWorld;
}

const QwEffectMeta& Meta(const char* in_pszName) { return *QwFindEffectMeta(in_pszName); }

// A test programme: unrelated tones under a decaying envelope that restarts, and a click.
QwPlanarAudio Programme(size_t in_uFrames, uint32_t in_uChannels = 2)
{
    QwPlanarAudio audio(48000, in_uChannels, in_uFrames);
    for (uint32_t c = 0; c < in_uChannels; ++c)
        for (size_t i = 0; i < in_uFrames; ++i)
            audio.channels[c][i] = static_cast<float>(0.7 / (c + 1) * std::exp(-double(i % 9000) / 2000.0) *
                                                      std::sin((0.031 - 0.004 * c) * i + c));
    audio.channels[0][100] = 0.9f;
    return audio;
}

// Runs the whole input through the instance in runs whose lengths come from in_next.
template <class NextRun>
QwPlanarAudio RunThrough(QwLv2Instance& io_instance, const QwPlanarAudio& in_input, NextRun&& in_next)
{
    QwPlanarAudio out(48000, in_input.NumChannels(), in_input.NumFrames());
    for (size_t uDone = 0; uDone < in_input.NumFrames();) {
        const uint32_t n = static_cast<uint32_t>(std::min<size_t>(in_next(), in_input.NumFrames() - uDone));
        const float* apIn[QW_LV2_MAX_CHANNELS];
        float* apOut[QW_LV2_MAX_CHANNELS];
        for (uint32_t c = 0; c < in_input.NumChannels(); ++c) {
            apIn[c] = &in_input.channels[c][uDone];
            apOut[c] = &out.channels[c][uDone];
        }
        io_instance.Run(apIn, apOut, n);
        uDone += n;
    }
    return out;
}

std::unique_ptr<QwLv2Instance> Open(const QwEffectMeta& in_meta, uint32_t in_uMaxBlock, const Settings& in_settings,
                                    bool in_bFixedBlocks = false, const QwLv2Layout& in_layout = QwLv2Stereo())
{
    auto pInstance = std::make_unique<QwLv2Instance>(World());
    QwLv2HostSettings host;
    host.uMaxBlockFrames = in_uMaxBlock;
    host.bFixedBlocks = in_bFixedBlocks;
    std::string sError;
    EXPECT_TRUE(pInstance->Open(QwLv2PluginUri(in_meta, in_layout), host, sError)) << sError;
    for (const auto& setting : in_settings)
        EXPECT_TRUE(pInstance->SetControl(setting.first, setting.second)) << setting.first;
    // A run of no frames hands the values over (and lets a rebuild they need come back).
    pInstance->Run(nullptr, nullptr, 0);
    return pInstance;
}

// A media file handed over as the host's path property; the announcement of the swap goes out
// on the run after it.
void LoadMedia(QwLv2Instance& io_instance, const QwEffectMeta& in_meta, const std::string& in_sPath)
{
    io_instance.SetPathProperty(QwLv2MediaPropertyUri(in_meta), in_sPath);
    io_instance.Run(nullptr, nullptr, 0);
    io_instance.Run(nullptr, nullptr, 0);
}

// The reference: the effect through the host library in whole blocks of B, its input delayed
// by the latency L, so that its blocks fall where the bundle's adapter puts them.
QwPlanarAudio Reference(const QwEffectMeta& in_meta, const Settings& in_settings, std::vector<uint8_t> in_media,
                        uint32_t in_uBlock, uint32_t in_uLatency, const QwPlanarAudio& in_input,
                        const QwLv2Layout& in_layout = QwLv2Stereo())
{
    QwModule module;
    std::string sError;
    EXPECT_TRUE(module.Open(KVFX_MODULE_PATH, sError)) << sError;
    // The module binds one allocator for all its effects, and the bundle's instances share this
    // process's module: the reference must use the bundle's allocator too.
    QwEffectInstance instance(QwLv2SharedAllocator());
    QwEffectSetup setup;
    setup.pRecord = module.Find(in_meta.uPluginId);
    setup.pMeta = &in_meta;
    setup.format = {48000, in_layout.uChannelConfig, 0};
    setup.uBlockFrames = static_cast<uint16_t>(in_uBlock);
    setup.media = in_media.empty() && in_meta.pfnMakeMedia ? in_meta.pfnMakeMedia(48000, "") : in_media;
    for (uint32_t i = 0; i < in_meta.uParamCount; ++i) {
        auto it = in_settings.find(QwLv2PortSymbol(in_meta.pParams[i].pszName));
        if (it != in_settings.end())
            setup.settings.push_back({&in_meta.pParams[i], QwLv2ValueBits(in_meta.pParams[i], it->second)});
    }
    EXPECT_TRUE(QwPrepareEffect(instance, setup, sError)) << sError;
    QwPlanarAudio delayed(48000, in_input.NumChannels(), in_uLatency + in_input.NumFrames());
    for (uint32_t c = 0; c < in_input.NumChannels(); ++c)
        std::copy(in_input.channels[c].begin(), in_input.channels[c].end(), delayed.channels[c].begin() + in_uLatency);
    QwPlanarAudio out;
    QwRenderOptions options;
    options.uBlockFrames = static_cast<uint16_t>(in_uBlock);
    QwRender(*instance.Effect(), in_layout.uChannelConfig, delayed, out, options);
    for (auto& channel : out.channels)
        channel.resize(in_input.NumFrames());
    return out;
}

float MaxDifference(const QwPlanarAudio& in_a, const QwPlanarAudio& in_b)
{
    float fMax = 0.0f;
    for (uint32_t c = 0; c < in_a.NumChannels(); ++c)
        for (size_t i = 0; i < in_a.NumFrames(); ++i)
            fMax = std::max(fMax, std::fabs(in_a.channels[c][i] - in_b.channels[c][i]));
    return fMax;
}

} // namespace

TEST(Lv2Bundle, ListsTheModulesEffectsWithThePortsOfQwfxParams)
{
    std::vector<std::string> expected;
    for (const QwEffectMeta* pMeta : QwAllEffectMeta())
        for (const char* pszSuffix : {"", "-mono", "-5.1"})
            expected.push_back(std::string(QW_LV2_URI_BASE) + pMeta->pszShortName + pszSuffix);
    std::vector<std::string> uris = World().PluginUris();
    std::sort(expected.begin(), expected.end());
    std::sort(uris.begin(), uris.end());
    EXPECT_EQ(uris, expected);

    // Each row of the table qwfx params prints is a control port, in the table's order.
    for (const QwEffectMeta* pMeta : QwAllEffectMeta()) {
        std::vector<std::string> params;
        for (uint32_t i = 0; i < pMeta->uParamCount; ++i)
            params.push_back(QwLv2PortSymbol(pMeta->pParams[i].pszName));
        params.push_back("latency");
        auto pInstance = Open(*pMeta, 256, {});
        EXPECT_EQ(pInstance->ControlSymbols(), params) << pMeta->pszShortName;

        // Defaults and ranges, read back through lilv, are the table's.
        const LilvPlugin* pPlugin = pInstance->Plugin();
        std::vector<float> min(lilv_plugin_get_num_ports(pPlugin)), max(min.size()), def(min.size());
        lilv_plugin_get_port_ranges_float(pPlugin, min.data(), max.data(), def.data());
        for (uint32_t i = 0; i < pMeta->uParamCount; ++i) {
            EXPECT_EQ(def[i], static_cast<float>(pMeta->pParams[i].fDefault)) << pMeta->pParams[i].pszName;
            EXPECT_EQ(min[i], static_cast<float>(pMeta->pParams[i].fMin));
            EXPECT_EQ(max[i], static_cast<float>(pMeta->pParams[i].fMax));
            LilvScalePoints* pPoints =
                lilv_port_get_scale_points(pPlugin, lilv_plugin_get_port_by_index(pPlugin, i));
            EXPECT_EQ(pPoints ? lilv_scale_points_size(pPoints) : 0u, pMeta->pParams[i].uChoiceCount);
            lilv_scale_points_free(pPoints);
        }
    }
}

// Every effect, with settings that exercise its times (echo, attack and release, LFO, tails),
// under one-frame runs, random runs and whole runs: equal to the whole-block reference, which
// advances the effect's time at the audio rate by construction.
TEST(Lv2Bundle, EveryEffectKeepsItsTimeUnderAnyRunLengths)
{
    const struct
    {
        const char* pszEffect;
        Settings settings;
    } aCases[] = {
        {"distortion", {{"algorithm1", 13}, {"drive1", 7}, {"algorithm2", 1}}},
        {"delay", {{"wet", 60}, {"time", 37}, {"feedback", 70}, {"mode", 1}}},
        {"dynamics", {{"comp_threshold", -30}, {"comp_ratio", 6}, {"comp_attack", 3}, {"comp_release", 40}}},
        {"filters", {{"f1_type", 11}, {"f1_mode", 1}, {"f1_lfo_period", 70}, {"f1_lfo_shape", 4}}},
        {"multiband-distortion", {}},
        {"box-modeler", {}},
        {"reverb", {{"front_dry_out", -3}, {"order", 8}}},
    };
    const uint32_t aMaxBlocks[] = {512, 1000, 64};
    const QwPlanarAudio input = Programme(12000);
    for (const auto& testCase : aCases) {
        const QwEffectMeta& meta = Meta(testCase.pszEffect);
        for (uint32_t uMaxBlock : aMaxBlocks) {
            // L = 3 ceil((2B - 1) / 3) - B: 511 for B 512, 1025 for 1024, 65 for 64.
            const uint32_t uBlock = QwLv2ProcessFrames(uMaxBlock);
            const uint32_t uLatency = 3 * ((2 * uBlock + 1) / 3) - uBlock;
            const QwPlanarAudio reference = Reference(meta, testCase.settings, {}, uBlock, uLatency, input);
            std::mt19937 rng(uMaxBlock);
            std::uniform_int_distribution<uint32_t> random(1, uMaxBlock);
            const std::function<uint32_t()> aRuns[] = {[] { return 1u; }, [&] { return random(rng); },
                                                       [&] { return uMaxBlock; }};
            for (const auto& nextRun : aRuns) {
                auto pInstance = Open(meta, uMaxBlock, testCase.settings);
                const QwPlanarAudio out = RunThrough(*pInstance, input, nextRun);
                EXPECT_EQ(pInstance->Control("latency"), static_cast<float>(uLatency));
                EXPECT_EQ(MaxDifference(out, reference), 0.0f) << testCase.pszEffect << " at " << uMaxBlock;
            }
        }
        // Mono and 5.1 alike, under random runs.
        for (const QwLv2Layout& layout : {QwLv2Layouts()[1], QwLv2Layouts()[2]}) {
            const QwPlanarAudio multi = Programme(6000, layout.uChannels);
            auto pInstance = Open(meta, 512, testCase.settings, false, layout);
            std::mt19937 rng(layout.uChannels);
            const QwPlanarAudio out = RunThrough(*pInstance, multi, [&] { return rng() % 512 + 1; });
            EXPECT_EQ(pInstance->AudioInputs(), layout.uChannels);
            EXPECT_EQ(MaxDifference(out, Reference(meta, testCase.settings, {}, 512, 511, multi, layout)), 0.0f)
                << testCase.pszEffect << " " << layout.pszLabel;
        }
        // A host of fixed power-of-two runs gets them as the effect's blocks, without latency
        // (whole runs only: such a host never makes a short one).
        const QwPlanarAudio whole = Programme(47 * 256);
        auto pFixed = Open(meta, 256, testCase.settings, true);
        const QwPlanarAudio out = RunThrough(*pFixed, whole, [] { return 256u; });
        EXPECT_EQ(pFixed->Control("latency"), 0.0f);
        EXPECT_EQ(MaxDifference(out, Reference(meta, testCase.settings, {}, 256, 0, whole)), 0.0f)
            << testCase.pszEffect;
    }
}

// The echo of a click 100 ms (4800 frames at 48 kHz) later, under one-frame runs; the delay
// engine's echo comes one sample after its rounded delay, and the bundle adds its latency.
TEST(Lv2Bundle, HundredMillisecondEchoLandsHundredMillisecondsLater)
{
    auto pInstance = Open(Meta("delay"), 512, {{"dry", 0}, {"wet", 100}, {"time", 100}, {"feedback", 0},
                                               {"mode", 5}, {"low_cut", 20}, {"high_cut", 20000}});
    QwPlanarAudio input(48000, 2, 8000);
    input.channels[0][1000] = input.channels[1][1000] = 1.0f;
    const QwPlanarAudio out = RunThrough(*pInstance, input, [] { return 1u; });
    const auto& left = out.channels[0];
    const size_t uOnset = std::find_if(left.begin(), left.end(), [](float v) { return std::fabs(v) > 0.1f; }) -
                          left.begin();
    EXPECT_EQ(uOnset, 1000 + 4800 + 1 + static_cast<size_t>(pInstance->Control("latency")));
}

// Media from a file the host chooses: a box modeler response of a half-level tap 25 frames in
// gives the input back 25 frames late at half level; the path survives save and restore.
TEST(Lv2Bundle, BoxModelerLoadsAResponseFileAndKeepsItInState)
{
    TestTempDir dir;
    QwPlanarAudio response(48000, 1, 64);
    response.channels[0][25] = 0.5f;
    WriteWav(dir, "ir.wav", response);
    const QwEffectMeta& meta = Meta("box-modeler");
    const QwPlanarAudio input = Programme(6000);
    auto Check = [&](QwLv2Instance& io_instance) {
        const QwPlanarAudio out = RunThrough(io_instance, input, [] { return 7u; });
        const size_t uShift = 25 + static_cast<size_t>(io_instance.Control("latency"));
        float fMax = 0.0f;
        for (uint32_t c = 0; c < 2; ++c)
            for (size_t i = uShift; i < input.NumFrames(); ++i)
                fMax = std::max(fMax, std::fabs(out.channels[c][i] - 0.5f * input.channels[c][i - uShift]));
        EXPECT_LT(fMax, 1e-5f);
    };
    auto pInstance = Open(meta, 256, {});
    LoadMedia(*pInstance, meta, dir.File("ir.wav"));
    EXPECT_EQ(pInstance->AnnouncedPath(), dir.File("ir.wav"));
    Check(*pInstance);

    const std::string sState = pInstance->SaveState(dir.File("state/"));
    EXPECT_NE(sState.find("ir.wav"), std::string::npos) << sState;
    auto pRestored = Open(meta, 256, {});
    ASSERT_TRUE(pRestored->RestoreState(sState));
    Check(*pRestored);
}

// The reverb takes a model record from a file, or a measured room (a WAV) that it fits on the
// worker, and fits again when the order changes; a room at another rate is refused and the
// running model stays. Its tail goes on after the input falls silent.
TEST(Lv2Bundle, ReverbLoadsAModelRecordOrFitsARoom)
{
    TestTempDir dir;
    QwReverbModel model = QwSyntheticReverbModel(48000, 80.0f, 7);
    model.fDecayTime = 0.2f;
    const std::vector<uint8_t> record = QwWriteReverbModel(model);
    WriteBytes(dir, "room.bin", record.data(), record.size());
    // A room: stereo noise decaying 60 dB in 0.4 s, from 20 ms in.
    std::string sError;
    QwPlanarAudio room(48000, 2, 24000);
    std::mt19937 rng(5);
    std::normal_distribution<float> gauss(0.0f, 0.3f);
    for (auto& channel : room.channels)
        for (size_t i = 960; i < channel.size(); ++i)
            channel[i] = gauss(rng) * std::pow(10.0f, -3.0f * static_cast<float>(i - 960) / 19200.0f);
    WriteWav(dir, "room.wav", room);
    room.uSampleRate = 44100;
    WriteWav(dir, "room-44k.wav", room);

    const QwEffectMeta& meta = Meta("reverb");
    QwPlanarAudio input = Programme(6000);
    for (auto& channel : input.channels)
        channel.resize(12000, 0.0f);
    auto pInstance = Open(meta, 512, {});
    LoadMedia(*pInstance, meta, dir.File("room.bin"));
    LoadMedia(*pInstance, meta, dir.File("room-44k.wav"));
    EXPECT_EQ(pInstance->AnnouncedPath(), dir.File("room.bin"));
    QwPlanarAudio out = RunThrough(*pInstance, input, [] { return 1u; });
    EXPECT_EQ(MaxDifference(out, Reference(meta, {}, record, 512, 511, input)), 0.0f);
    // The tail rings on while the host runs the plug-in on silence.
    EXPECT_GT(*std::max_element(out.channels[0].begin() + 11000, out.channels[0].end()), 1e-3f);

    for (uint32_t uOrder : {16u, 8u}) {
        QwReverbFit fit;
        ASSERT_TRUE(QwFitReverbFile(dir.File("room.wav"), nullptr, uOrder, fit, sError)) << sError;
        auto pRoom = Open(meta, 512, {});
        LoadMedia(*pRoom, meta, dir.File("room.wav"));
        EXPECT_EQ(pRoom->AnnouncedPath(), dir.File("room.wav"));
        pRoom->SetControl("order", static_cast<float>(uOrder));
        pRoom->Run(nullptr, nullptr, 0);
        out = RunThrough(*pRoom, input, [] { return 100u; });
        const Settings settings = {{"order", static_cast<float>(uOrder)}};
        EXPECT_EQ(MaxDifference(out, Reference(meta, settings, QwWriteReverbModel(fit.model), 512, 511, input)), 0.0f)
            << uOrder;
    }
}

#ifdef LV2APPLY_PATH
// lv2apply runs one frame at a time and states no block length, so the bundle takes blocks of
// 1024 and a latency of 1025 (3 x 683 - 1024). The distortion's two memoryless algorithms then
// give qwfx render's output exactly, that much later.
TEST(Lv2Bundle, Lv2applyGivesQwfxRenderLateByTheLatency)
{
    const size_t L = 1025;
    TestTempDir dir;
    setenv("LV2_PATH", std::filesystem::path(KVFX_LV2_BUNDLE).parent_path().parent_path().c_str(), 1);
    const QwPlanarAudio input = Programme(20000);
    WriteWav(dir, "in.wav", input);
    const std::string sUri = QwLv2PluginUri(Meta("distortion"));
    ASSERT_EQ(RunQwfx({"-i", dir.File("in.wav"), "-o", dir.File("lv2.wav"), "-c", "algorithm1", "13", "-c", "drive1",
                       "7", "-c", "algorithm2", "1", sUri}, dir, LV2APPLY_PATH).iStatus, 0);
    ASSERT_EQ(RunQwfx({"render", "distortion", dir.File("in.wav"), dir.File("qwfx.wav"), "--set",
                       "algorithm1=hard-limits", "--set", "drive1=7", "--set", "algorithm2=amp-drainer"}, dir).iStatus, 0);
    const QwPlanarAudio lv2 = ReadWav(dir.File("lv2.wav")), qwfx = ReadWav(dir.File("qwfx.wav"));
    ASSERT_EQ(lv2.NumFrames(), input.NumFrames());
    for (uint32_t c = 0; c < 2; ++c) {
        EXPECT_EQ(std::vector<float>(lv2.channels[c].begin(), lv2.channels[c].begin() + L),
                  std::vector<float>(L, 0.0f));
        EXPECT_EQ(std::vector<float>(lv2.channels[c].begin() + L, lv2.channels[c].end()),
                  std::vector<float>(qwfx.channels[c].begin(), qwfx.channels[c].end() - L));
    }
}
#endif
