// qwfx bench [EFFECT]: speed of each registered effect and bench preset through Execute,
// stereo 48 kHz, blocks of 512 and 64, with the allocations made during Execute.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <sstream>
#include <string>
#include "qwfx/lib/qwassertreport.h"
#include "qwfx/lib/qwcputimer.h"
#include "qwfx/lib/qweffectsetup.h"
#include "qwfx/lib/qwhostallocator.h"
#include "qwfx/lib/qwlayout.h"
#include "qwfx/lib/qwpluginnames.h"
#include "qwfx/lib/qwprogramme.h"
#include "qwfx/lib/qwrenderloop.h"
#include "qwfx/qwfxcli.h"

namespace {

const uint32_t BENCH_RATE = 48000;
const uint16_t BENCH_BLOCKS[] = {512, 64};
const QwPresetMeta DEFAULT_PRESET = {"defaults", ""};

// The host loop with an effect that does nothing: the reference the effects are measured against.
class NullEffect : public QwEffectPlugin
{
public:
    QwResult Term(QwPluginMemAlloc*) override { return QW_Success; }
    QwResult Reset() override { return QW_Success; }
    QwResult GetPluginInfo(QwPluginMemAlloc*, QwPluginInfo&) override { return QW_Success; }
    QwResult Init(QwPluginMemAlloc*, QwEffectContext*, QwPluginParam*, QwFormat&) override { return QW_Success; }
    void Execute(QwAudioBuffer*) override {}
    QwResult TimeSkip(uint32_t) override { return QW_DataReady; }
};

struct Measure
{
    double fRealTime;
    double fNsPerSample;
};

Measure Time(QwEffectPlugin& io_effect, const QwLayout& in_layout, const QwPlanarAudio& in_programme,
             uint16_t in_uBlock)
{
    QwRenderOptions options;
    options.uBlockFrames = in_uBlock;
    options.bKeepOutput = false;
    QwPlanarAudio output;
    const QwCpuTimer timer;
    QwRender(io_effect, in_layout.ChannelConfig(), in_programme, output, options);
    const double fSeconds = timer.Seconds();
    const double fAudio = static_cast<double>(in_programme.NumFrames()) / BENCH_RATE;
    return Measure{fAudio / fSeconds, 1e9 * fSeconds / (in_programme.NumFrames() * in_layout.uChannels)};
}

void PrintRow(const std::string& in_sEffect, const char* in_pszPreset, const QwLayout& in_layout, uint16_t in_uBlock,
              const Measure& in_m, const std::string& in_sAllocs, const std::string& in_sAsserts)
{
    std::printf("%-22s %-22s %8s %6u %8u %11.1fx %10.2f %8s %10s\n", in_sEffect.c_str(), in_pszPreset,
                in_layout.pszName, in_uBlock, BENCH_RATE, in_m.fRealTime, in_m.fNsPerSample, in_sAllocs.c_str(),
                in_sAsserts.c_str());
}

// A preset may name its layout with the pseudo-setting layout=NAME (stereo when it does not);
// the rest are parameter settings.
bool SplitLayout(const char* in_pszSettings, const QwLayout*& out_pLayout, std::string& out_sRest,
                 std::string& out_sError)
{
    std::istringstream stream(in_pszSettings);
    std::string sItem;
    out_pLayout = QwFindLayout("stereo");
    while (stream >> sItem) {
        if (sItem.compare(0, 7, "layout=") == 0) {
            out_pLayout = QwFindLayout(sItem.substr(7));
            if (!out_pLayout) {
                out_sError = "unknown layout in preset: '" + sItem + "'";
                return false;
            }
        } else {
            out_sRest += sItem + " ";
        }
    }
    return true;
}

} // namespace

int QwfxBench(const QwfxArgs& in_args)
{
    std::string sEffect;
    std::string sSeconds = "20";
    std::string sError;
    for (size_t i = 0; i < in_args.args.size() && sError.empty(); ++i) {
        if (QwfxTakeOption(in_args.args, i, "--seconds", sSeconds, sError))
            continue;
        if (in_args.args[i][0] == '-' || !sEffect.empty())
            sError = "usage: qwfx bench [EFFECT] [--seconds S]";
        else
            sEffect = in_args.args[i];
    }
    char* pEnd = nullptr;
    const double fSeconds = std::strtod(sSeconds.c_str(), &pEnd);
    if (sError.empty() && (sSeconds.empty() || *pEnd != '\0' || !(fSeconds > 0.0) || fSeconds > 3600.0))
        sError = "bad --seconds '" + sSeconds + "': expected a duration above 0";
    if (!sError.empty())
        return QwfxError(QWFX_USAGE, sError);
    uint32_t uOnlyId = 0;
    if (!sEffect.empty() && !QwPluginIdFromName(sEffect, uOnlyId))
        return QwfxError(QWFX_USAGE, "unknown effect '" + sEffect + "' (known: " + QwAllShortNames() + ")");

    QwfxSession session;
    if (!session.Open(in_args.sModulePath))
        return QWFX_FAILED;
    auto records = session.module.Records();
    if (!sEffect.empty()) {
        const QwPluginRegistration* pRecord = session.module.Find(uOnlyId);
        if (!pRecord)
            return QwfxError(QWFX_FAILED, "effect '" + sEffect + "' is not registered in " + session.module.Path());
        records.assign(1, pRecord);
    }
    if (records.empty()) {
        std::printf("The module registers no effect yet, so there is nothing to measure.\n");
        return QWFX_OK;
    }

    const QwLayout& stereo = *QwFindLayout("stereo");
    std::map<uint32_t, QwPlanarAudio> programmes; // one per channel count, made when first needed
    programmes[stereo.uChannels] = QwMakeBenchProgramme(BENCH_RATE, fSeconds, stereo.uChannels);
    std::printf("%.0f s of noise-like programme per run; real-time = audio seconds per CPU second\n", fSeconds);
    std::printf("%-22s %-22s %8s %6s %8s %12s %10s %8s %10s\n", "effect", "preset", "layout", "block", "rate",
                "real-time", "ns/smp/ch", "allocs", "assertions");
    for (uint16_t uBlock : BENCH_BLOCKS) {
        NullEffect reference;
        PrintRow("(host loop alone)", "-", stereo, uBlock, Time(reference, stereo, programmes[stereo.uChannels], uBlock),
                 "-", "-");
    }
    bool bClean = true;
    for (const QwPluginRegistration* pRecord : records) {
        const std::string sName = QwEffectDisplayName(pRecord->uPluginID);
        const QwEffectMeta* pMeta = QwFindEffectMeta(pRecord->uPluginID);
        const QwPresetMeta* pPresets = pMeta && pMeta->uBenchPresetCount ? pMeta->pBenchPresets : &DEFAULT_PRESET;
        const uint32_t uPresets = pMeta && pMeta->uBenchPresetCount ? pMeta->uBenchPresetCount : 1;
        for (uint32_t p = 0; p < uPresets; ++p) {
            const QwLayout* pLayout = nullptr;
            std::string sSettings;
            if (!SplitLayout(pPresets[p].pszSettings, pLayout, sSettings, sError)) {
                std::printf("%-22s %-22s failed: %s\n", sName.c_str(), pPresets[p].pszName, sError.c_str());
                bClean = false;
                continue;
            }
            if (programmes.find(pLayout->uChannels) == programmes.end())
                programmes[pLayout->uChannels] = QwMakeBenchProgramme(BENCH_RATE, fSeconds, pLayout->uChannels);
            const QwPlanarAudio& programme = programmes[pLayout->uChannels];
            for (uint16_t uBlock : BENCH_BLOCKS) {
                QwEffectSetup setup;
                setup.pRecord = pRecord;
                setup.pMeta = pMeta;
                setup.format = QwFormat{BENCH_RATE, pLayout->ChannelConfig(), 0};
                setup.uBlockFrames = uBlock;
                if (pMeta && pMeta->pfnMakeMedia)
                    setup.media = pMeta->pfnMakeMedia(BENCH_RATE, pPresets[p].pszName);
                QwHostAllocator allocator;
                QwEffectInstance instance(allocator);
                if (!QwParseSettings(pMeta, sSettings, setup.settings, sError) ||
                    !QwPrepareEffect(instance, setup, sError)) {
                    std::printf("%-22s %-22s failed: %s\n", sName.c_str(), pPresets[p].pszName, sError.c_str());
                    bClean = false;
                    continue;
                }
                // The loop itself never calls the module's allocator, so what it counts
                // here was asked for inside Execute.
                const uint64_t uBefore = allocator.AllocCalls();
                const size_t uAssertsBefore = session.asserts.Total();
                const Measure m = Time(*instance.Effect(), *pLayout, programme, uBlock);
                const uint64_t uAllocs = allocator.AllocCalls() - uBefore;
                PrintRow(sName, pPresets[p].pszName, *pLayout, uBlock, m, std::to_string(uAllocs) + (uAllocs ? " !" : ""),
                         std::to_string(session.asserts.Total() - uAssertsBefore));
                bClean = bClean && uAllocs == 0;
            }
        }
    }
    QwPrintAssertReport(session.asserts, stderr);
    if (!bClean)
        return QwfxError(QWFX_FAILED, "some runs failed or allocated inside Execute");
    return QWFX_OK;
}
