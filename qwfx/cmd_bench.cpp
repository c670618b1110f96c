// qwfx bench [EFFECT] [--block N]: speed of each registered effect and bench preset through
// Execute at 48 kHz, blocks of 512 and 64 (or the one block length asked for), with the
// allocations made during Execute.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <map>
#include <string>
#include <vector>
#include "qwfx/lib/qwassertreport.h"
#include "qwfx/lib/qwbenchrun.h"
#include "qwfx/lib/qwcputimer.h"
#include "qwfx/lib/qweffectsetup.h"
#include "qwfx/lib/qwlayout.h"
#include "qwfx/lib/qwpluginnames.h"
#include "qwfx/lib/qwprogramme.h"
#include "qwfx/lib/qwrenderloop.h"
#include "qwfx/qwfxcli.h"

namespace {

const uint32_t BENCH_RATE = 48000;
const uint16_t DEFAULT_BLOCKS[] = {512, 64};
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

Measure FromSeconds(double in_fSeconds, const QwPlanarAudio& in_programme)
{
    const double fAudio = static_cast<double>(in_programme.NumFrames()) / BENCH_RATE;
    return Measure{fAudio / in_fSeconds, 1e9 * in_fSeconds / (in_programme.NumFrames() * in_programme.NumChannels())};
}

Measure Time(QwEffectPlugin& io_effect, const QwLayout& in_layout, const QwPlanarAudio& in_programme,
             uint16_t in_uBlock)
{
    QwRenderOptions options;
    options.uBlockFrames = in_uBlock;
    options.bKeepOutput = false;
    QwPlanarAudio output;
    const QwCpuTimer timer;
    QwRender(io_effect, in_layout.ChannelConfig(), in_programme, output, options);
    return FromSeconds(timer.Seconds(), in_programme);
}

void PrintRow(const std::string& in_sEffect, const char* in_pszPreset, const QwLayout& in_layout, uint16_t in_uBlock,
              const Measure& in_m, const std::string& in_sAllocs, const std::string& in_sAsserts)
{
    std::printf("%-22s %-22s %8s %6u %8u %11.1fx %10.2f %8s %10s\n", in_sEffect.c_str(), in_pszPreset,
                in_layout.pszName, in_uBlock, BENCH_RATE, in_m.fRealTime, in_m.fNsPerSample, in_sAllocs.c_str(),
                in_sAsserts.c_str());
}

} // namespace

int QwfxBench(const QwfxArgs& in_args)
{
    std::string sEffect;
    std::string sSeconds = "20";
    std::string sBlock;
    bool bBlockGiven = false;
    std::string sError;
    for (size_t i = 0; i < in_args.args.size() && sError.empty(); ++i) {
        if (QwfxTakeOption(in_args.args, i, "--seconds", sSeconds, sError))
            continue;
        if (QwfxTakeOption(in_args.args, i, "--block", sBlock, sError)) {
            bBlockGiven = true;
            continue;
        }
        if (in_args.args[i][0] == '-' || !sEffect.empty())
            sError = "usage: qwfx bench [EFFECT] [--seconds S] [--block N]";
        else
            sEffect = in_args.args[i];
    }
    char* pEnd = nullptr;
    const double fSeconds = std::strtod(sSeconds.c_str(), &pEnd);
    if (sError.empty() && (sSeconds.empty() || *pEnd != '\0' || !(fSeconds > 0.0) || fSeconds > 3600.0))
        sError = "bad --seconds '" + sSeconds + "': expected a duration above 0";
    std::vector<uint16_t> blocks(std::begin(DEFAULT_BLOCKS), std::end(DEFAULT_BLOCKS));
    if (sError.empty() && bBlockGiven) {
        const unsigned long uBlock = std::strtoul(sBlock.c_str(), &pEnd, 10);
        if (sBlock.empty() || sBlock[0] < '0' || sBlock[0] > '9' || *pEnd != '\0' || uBlock < 1 || uBlock > UINT16_MAX)
            sError = "bad --block '" + sBlock + "': expected a whole number of frames from 1 to 65535";
        blocks.assign(1, static_cast<uint16_t>(uBlock));
    }
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
    for (uint16_t uBlock : blocks) {
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
            if (!QwSplitBenchLayout(pPresets[p].pszSettings, pLayout, sSettings, sError)) {
                std::printf("%-22s %-22s failed: %s\n", sName.c_str(), pPresets[p].pszName, sError.c_str());
                bClean = false;
                continue;
            }
            if (programmes.find(pLayout->uChannels) == programmes.end())
                programmes[pLayout->uChannels] = QwMakeBenchProgramme(BENCH_RATE, fSeconds, pLayout->uChannels);
            const QwPlanarAudio& programme = programmes[pLayout->uChannels];
            for (uint16_t uBlock : blocks) {
                QwBenchRun run;
                if (!run.Prepare(*pRecord, pMeta, pPresets[p], BENCH_RATE, uBlock, sError)) {
                    std::printf("%-22s %-22s failed: %s\n", sName.c_str(), pPresets[p].pszName, sError.c_str());
                    bClean = false;
                    continue;
                }
                const size_t uAssertsBefore = session.asserts.Total();
                const Measure m = FromSeconds(run.Time(programme), programme);
                const uint64_t uAllocs = run.ExecuteAllocations();
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
