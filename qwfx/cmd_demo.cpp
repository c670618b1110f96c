// qwfx demo [DIR]: a synthetic programme through every registered effect with its demo
// preset, one WAV each, and a table of speed, peak and assertions.
#include <cmath>
#include <cstdio>
#include <filesystem>
#include "qwfx/lib/qwassertreport.h"
#include "qwfx/lib/qwaudiofile.h"
#include "qwfx/lib/qwcputimer.h"
#include "qwfx/lib/qweffectsetup.h"
#include "qwfx/lib/qwhostallocator.h"
#include "qwfx/lib/qwlayout.h"
#include "qwfx/lib/qwprogramme.h"
#include "qwfx/lib/qwrenderloop.h"
#include "qwfx/qwfxcli.h"

namespace {

const uint32_t DEMO_RATE = 48000;
const uint16_t DEMO_BLOCK = 512;
const double DEMO_MAX_TAIL_SECONDS = 10.0;

double PeakDb(float in_fPeak) { return in_fPeak > 0.0f ? 20.0 * std::log10(in_fPeak) : -INFINITY; }

// Renders one effect; false after printing a row that says why it could not.
bool RenderOne(QwfxSession& io_session, const QwPluginRegistration& in_record, const QwPlanarAudio& in_programme,
               const std::string& in_sDir)
{
    const std::string sName = QwEffectDisplayName(in_record.uPluginID);
    QwEffectSetup setup;
    setup.pRecord = &in_record;
    setup.pMeta = QwFindEffectMeta(in_record.uPluginID);
    setup.format = QwFormat{DEMO_RATE, QwFindLayout("stereo")->ChannelConfig(), 0};
    setup.uBlockFrames = DEMO_BLOCK;
    const QwPresetMeta* pPreset = setup.pMeta ? setup.pMeta->pDemoPreset : nullptr;
    const char* pszPreset = pPreset ? pPreset->pszName : "defaults";
    std::string sError;
    if (pPreset && !QwParseSettings(setup.pMeta, pPreset->pszSettings, setup.settings, sError)) {
        std::printf("%-22s %-22s failed: %s\n", sName.c_str(), pszPreset, sError.c_str());
        return false;
    }
    if (setup.pMeta && setup.pMeta->pfnMakeMedia)
        setup.media = setup.pMeta->pfnMakeMedia(DEMO_RATE, pszPreset);

    const size_t uAssertsBefore = io_session.asserts.Total();
    QwHostAllocator allocator;
    QwEffectInstance instance(allocator);
    if (!QwPrepareEffect(instance, setup, sError)) {
        std::printf("%-22s %-22s failed: %s\n", sName.c_str(), pszPreset, sError.c_str());
        return false;
    }
    QwRenderOptions options;
    options.uBlockFrames = DEMO_BLOCK;
    options.uMaxTailFrames = static_cast<uint64_t>(DEMO_MAX_TAIL_SECONDS * DEMO_RATE);
    QwPlanarAudio output;
    const QwCpuTimer timer;
    QwRender(*instance.Effect(), setup.format.uChannelConfig, in_programme, output, options);
    const double fSeconds = timer.Seconds();
    instance.Release();

    const std::string sPath = in_sDir + "/" + sName + ".wav";
    if (!QwWriteFloatWav(sPath, output, sError)) {
        std::printf("%-22s %-22s failed: %s\n", sName.c_str(), pszPreset, sError.c_str());
        return false;
    }
    const double fAudioSeconds = static_cast<double>(in_programme.NumFrames()) / DEMO_RATE;
    std::printf("%-22s %-22s %10.1fx %9.1f dBFS %10zu\n", sName.c_str(), pszPreset,
                fSeconds > 0.0 ? fAudioSeconds / fSeconds : INFINITY, PeakDb(output.Peak()),
                io_session.asserts.Total() - uAssertsBefore);
    return true;
}

} // namespace

int QwfxDemo(const QwfxArgs& in_args)
{
    if (in_args.args.size() > 1 || (!in_args.args.empty() && in_args.args[0][0] == '-'))
        return QwfxError(QWFX_USAGE, "usage: qwfx demo [DIR]");
    const std::string sDir = in_args.args.empty() ? "qwfx-demo" : in_args.args[0];
    QwfxSession session;
    if (!session.Open(in_args.sModulePath))
        return QWFX_FAILED;
    const auto records = session.module.Records();
    if (records.empty()) {
        std::printf("The module registers no effect yet, so there is nothing to render.\n");
        return QWFX_OK;
    }
    std::error_code error;
    std::filesystem::create_directories(sDir, error);
    if (error)
        return QwfxError(QWFX_FAILED, "cannot create directory '" + sDir + "': " + error.message());
    const QwPlanarAudio programme = QwMakeDemoProgramme(DEMO_RATE);
    std::string sError;
    if (!QwWriteFloatWav(sDir + "/programme.wav", programme, sError))
        return QwfxError(QWFX_FAILED, sError);

    std::printf("Test programme: %.1f s, stereo, %u Hz, block %u; peak %.1f dBFS -> %s/programme.wav\n",
                static_cast<double>(programme.NumFrames()) / DEMO_RATE, DEMO_RATE, DEMO_BLOCK,
                PeakDb(programme.Peak()), sDir.c_str());
    std::printf("%-22s %-22s %11s %14s %10s\n", "effect", "preset", "real-time", "peak", "assertions");
    bool bAllRendered = true;
    for (const QwPluginRegistration* pRecord : records)
        bAllRendered = RenderOne(session, *pRecord, programme, sDir) && bAllRendered;
    QwPrintAssertReport(session.asserts, stderr);
    std::printf("WAV files in %s/\n", sDir.c_str());
    if (QwfxWriteCurveSheet(sDir + "/distortion-curves.svg", sError))
        std::printf("Distortion transfer curves: %s/distortion-curves.svg\n", sDir.c_str());
    else
        bAllRendered = QwfxError(QWFX_FAILED, sError) == QWFX_OK && bAllRendered;
    return bAllRendered ? QWFX_OK : QWFX_FAILED;
}
