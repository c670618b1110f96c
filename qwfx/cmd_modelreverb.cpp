// qwfx model-reverb IR.wav -o MODEL.bin [--channels A,B] [--order 8|16] [--svg FILE]: fits the
// reverb's model to a measured room response, writes the model record (the reverb's plug-in
// media) and says what the fit found; --svg draws each octave's energy decay of the response
// beside that of the model replayed by the reverb.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include "qwfx/lib/qwassertreport.h"
#include "qwfx/lib/qwaudiofile.h"
#include "qwfx/lib/qwdecaysvg.h"
#include "qwfx/lib/qwreverbfit.h"
#include "qwfx/lib/qwroomacoustics.h"
#include "qwfx/qwfxcli.h"

namespace {

// Beside the target and renamed into place, so a failed write leaves nothing half-written.
bool WriteWhole(const std::string& in_sPath, const void* in_pData, size_t in_uSize, std::string& out_sError)
{
    const std::string sTemp = in_sPath + ".part";
    {
        std::ofstream file(sTemp, std::ios::binary | std::ios::trunc);
        file.write(static_cast<const char*>(in_pData), static_cast<std::streamsize>(in_uSize));
        if (file.good())
            file.close();
        if (!file.good()) {
            std::remove(sTemp.c_str());
            out_sError = "cannot write '" + in_sPath + "'";
            return false;
        }
    }
    if (std::rename(sTemp.c_str(), in_sPath.c_str()) != 0) {
        std::remove(sTemp.c_str());
        out_sError = "cannot write '" + in_sPath + "'";
        return false;
    }
    return true;
}

double Ms(uint32_t in_uSamples, uint32_t in_uRate) { return 1000.0 * in_uSamples / in_uRate; }

// The decay curves of the response and of the model's replay, as long as the response.
bool MakeSvg(const QwfxArgs& in_args, const std::string& in_sIr, const QwPlanarAudio& in_pair, const QwReverbFit& in_fit,
             const std::vector<uint8_t>& in_record, uint32_t in_uOrder, std::string& out_sSvg, std::string& out_sError)
{
    QwfxSession session;
    if (!session.Open(in_args.sModulePath)) {
        out_sError = "--svg replays the model through the reverb, which needs the module";
        return false;
    }
    QwPlanarAudio replay;
    if (!QwReplayReverbModel(session.module, in_record, in_fit.uSampleRate, in_uOrder, in_pair.NumFrames(), replay,
                             out_sError))
        return false;
    QwPrintAssertReport(session.asserts, stderr);
    out_sSvg = QwDecayCurvesSvg(in_sIr + ": measured and modeled decay per octave", in_fit.uSampleRate,
                                QwAnalyseOctaves(in_pair), QwAnalyseOctaves(replay));
    return true;
}

} // namespace

int QwfxModelReverb(const QwfxArgs& in_args)
{
    const char* const USAGE = "usage: qwfx model-reverb IR.wav -o MODEL.bin [--channels A,B] [--order 8|16] [--svg FILE]";
    std::string sIn, sOut, sChannels, sOrder = "16", sSvg, sError;
    for (size_t i = 0; i < in_args.args.size() && sError.empty(); ++i) {
        if (QwfxTakeOption(in_args.args, i, "-o", sOut, sError) ||
            QwfxTakeOption(in_args.args, i, "--channels", sChannels, sError) ||
            QwfxTakeOption(in_args.args, i, "--order", sOrder, sError) ||
            QwfxTakeOption(in_args.args, i, "--svg", sSvg, sError))
            continue;
        if (in_args.args[i].size() > 1 && in_args.args[i][0] == '-')
            sError = "unknown option '" + in_args.args[i] + "' for model-reverb";
        else if (sIn.empty())
            sIn = in_args.args[i];
        else
            sError = USAGE;
    }
    if (sError.empty() && (sIn.empty() || sOut.empty()))
        sError = USAGE;
    uint32_t auChannels[2];
    if (sError.empty() && !sChannels.empty())
        QwParseChannelPair(sChannels, auChannels, sError);
    if (sError.empty() && sOrder != "8" && sOrder != "16")
        sError = "bad --order '" + sOrder + "': the reverb runs 8 or 16 lines";
    if (!sError.empty())
        return QwfxError(QWFX_USAGE, sError);
    const uint32_t uOrder = static_cast<uint32_t>(std::atoi(sOrder.c_str()));

    QwPlanarAudio ir, pair;
    if (!QwReadAudioFile(sIn, ir, sError) ||
        !QwPickReverbChannels(ir, sIn, sChannels.empty() ? nullptr : auChannels, pair, sError))
        return QwfxError(QWFX_FAILED, sError);
    QwReverbFit fit;
    bool bFitted = false;
    QwfxRunWithProgress("fitting the reverb model", [&] { bFitted = QwFitReverb(pair, uOrder, fit, sError); });
    if (!bFitted)
        return QwfxError(QWFX_FAILED, "'" + sIn + "': " + sError);
    for (const std::string& sWarning : fit.warnings)
        std::fprintf(stderr, "qwfx: %s\n", sWarning.c_str());
    const std::vector<uint8_t> record = QwWriteReverbModel(fit.model);
    std::string sSvgText;
    if (!sSvg.empty() && !MakeSvg(in_args, sIn, pair, fit, record, uOrder, sSvgText, sError))
        return QwfxError(QWFX_FAILED, sError);
    if (!sSvg.empty() && !WriteWhole(sSvg, sSvgText.data(), sSvgText.size(), sError))
        return QwfxError(QWFX_FAILED, sError);
    if (!WriteWhole(sOut, record.data(), record.size(), sError)) {
        if (!sSvg.empty())
            std::remove(sSvg.c_str());
        return QwfxError(QWFX_FAILED, sError);
    }

    const QwReverbModel& m = fit.model;
    const uint32_t uRate = fit.uSampleRate;
    std::printf("%s: reverb model of '%s', %zu bytes, fitted in %.2f s (%.2f s CPU; %u Hz, order %u)\n", sOut.c_str(),
                sIn.c_str(), record.size(), fit.fSeconds, fit.fCpuSeconds, uRate, uOrder);
    std::printf("  transition      %.1f ms, onset %.1f ms\n", Ms(fit.uTransition, uRate), Ms(fit.uOnset, uRate));
    std::printf("  decay time      %.3f s to fall 15 dB (%.2f s to fall 60 dB)\n", m.fDecayTime, 4.0 * m.fDecayTime);
    std::printf("  crossovers      %.0f Hz, %.0f Hz\n", m.fLowCrossover, m.fHighCrossover);
    std::printf("  multipliers     low %.3f, mid %.3f, high %.3f\n", m.fLowMultiplier, m.fMidMultiplier,
                m.fHighMultiplier);
    std::printf("  equaliser       %u taps\n", fit.uFilterLength);
    std::printf("  early response  %u samples (%.1f ms)\n", fit.uEarlyLength, Ms(fit.uEarlyLength, uRate));
    std::printf("  normalisation   gain %.6g\n", m.fModelGain);
    if (!sSvg.empty())
        std::printf("  decay curves    %s\n", sSvg.c_str());
    return QWFX_OK;
}
