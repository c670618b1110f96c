// qwfx transients IN.wav [--order N] [--frame MS] [--hop MS] [--top N] [--min-gap MS] [--csv FILE]:
// the strongest transients of a recording (clicks, dropouts, edits), where linear prediction
// fails both forward and backward, listed strongest first.
#include <unistd.h>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include "qwfx/lib/qwaudiofile.h"
#include "qwfx/lib/qwtransients.h"
#include "qwfx/qwfxcli.h"

namespace {

const char* const USAGE =
    "usage: qwfx transients IN.wav [--order N] [--frame MS] [--hop MS] [--top N] [--min-gap MS] [--csv FILE]";

// Files longer than this show their progress.
const double PROGRESS_SECONDS = 20.0;

bool ParseNumber(const std::string& in_sText, double& out_d)
{
    char* pEnd = nullptr;
    out_d = std::strtod(in_sText.c_str(), &pEnd);
    return !in_sText.empty() && *pEnd == '\0' && std::isfinite(out_d);
}

bool ParseCount(const std::string& in_sText, uint32_t& out_u)
{
    char* pEnd = nullptr;
    const long s = std::strtol(in_sText.c_str(), &pEnd, 10);
    out_u = static_cast<uint32_t>(s);
    return !in_sText.empty() && *pEnd == '\0' && s >= 0 && s <= 1000000;
}

// Can a file be made there? Asked before the analysis, so that a long run does not end in
// an error that was known at the start.
bool CsvWritable(const std::string& in_sPath)
{
    const size_t uSlash = in_sPath.rfind('/');
    const std::string sDir = uSlash == std::string::npos ? "." : (uSlash == 0 ? "/" : in_sPath.substr(0, uSlash));
    return access(sDir.c_str(), W_OK) == 0 && (access(in_sPath.c_str(), F_OK) != 0 || access(in_sPath.c_str(), W_OK) == 0);
}

void ShowProgress(uint64_t in_uDone, uint64_t in_uTotal)
{
    std::fprintf(stderr, "\rqwfx: analysing %3.0f%%", in_uTotal ? 100.0 * in_uDone / in_uTotal : 100.0);
    if (in_uDone >= in_uTotal)
        std::fprintf(stderr, "\n");
}

} // namespace

int QwfxTransients(const QwfxArgs& in_args)
{
    QwTransientOptions options;
    std::string sIn, sCsv, sValue, sError;
    for (size_t i = 0; i < in_args.args.size() && sError.empty(); ++i) {
        const std::string& sArg = in_args.args[i];
        if (QwfxTakeOption(in_args.args, i, "--order", sValue, sError)) {
            if (sError.empty() && !ParseCount(sValue, options.uOrder))
                sError = "bad --order '" + sValue + "': expected a whole number from 1 to 256";
        } else if (QwfxTakeOption(in_args.args, i, "--top", sValue, sError)) {
            if (sError.empty() && !ParseCount(sValue, options.uTop))
                sError = "bad --top '" + sValue + "': expected a whole number from 1";
        } else if (QwfxTakeOption(in_args.args, i, "--frame", sValue, sError)) {
            if (sError.empty() && !ParseNumber(sValue, options.dFrameMs))
                sError = "bad --frame '" + sValue + "': expected milliseconds";
        } else if (QwfxTakeOption(in_args.args, i, "--hop", sValue, sError)) {
            if (sError.empty() && !ParseNumber(sValue, options.dHopMs))
                sError = "bad --hop '" + sValue + "': expected milliseconds";
        } else if (QwfxTakeOption(in_args.args, i, "--min-gap", sValue, sError)) {
            if (sError.empty() && !ParseNumber(sValue, options.dMinGapMs))
                sError = "bad --min-gap '" + sValue + "': expected milliseconds";
        } else if (QwfxTakeOption(in_args.args, i, "--csv", sCsv, sError)) {
            if (sError.empty() && sCsv.empty())
                sError = "option --csv needs a file name";
        } else if (sArg.size() > 1 && sArg[0] == '-') {
            sError = "unknown option '" + sArg + "' for transients";
        } else if (sIn.empty()) {
            sIn = sArg;
        } else {
            sError = USAGE;
        }
    }
    if (sError.empty() && sIn.empty())
        sError = USAGE;
    if (!sError.empty())
        return QwfxError(QWFX_USAGE, sError);

    QwPlanarAudio audio;
    if (!QwReadAudioFile(sIn, audio, sError))
        return QwfxError(QWFX_FAILED, sError);
    if (audio.NumFrames() == 0)
        return QwfxError(QWFX_FAILED, "'" + sIn + "' holds no audio");
    if (!QwCheckTransientOptions(options, audio.uSampleRate, sError))
        return QwfxError(QWFX_USAGE, sError);
    if (!sCsv.empty() && !CsvWritable(sCsv))
        return QwfxError(QWFX_FAILED, "cannot write '" + sCsv + "'");
    const double dSeconds = static_cast<double>(audio.NumFrames()) / audio.uSampleRate;
    if (dSeconds > PROGRESS_SECONDS)
        options.progress = ShowProgress;

    QwTransientReport report;
    if (!QwFindTransients(audio, options, report, sError))
        return QwfxError(QWFX_FAILED, sIn + ": " + sError);
    if (!sCsv.empty() && !QwWriteTransientsCsv(sCsv, report.peaks, audio.uSampleRate, sError))
        return QwfxError(QWFX_FAILED, sError);

    std::printf("# %s: %u channels, %u Hz, %.3f s; order %u, frame %g ms (%u), hop %g ms (%u), min gap %g ms (%u)\n",
                sIn.c_str(), audio.NumChannels(), audio.uSampleRate, dSeconds, options.uOrder, options.dFrameMs,
                report.uFrameSamples, options.dHopMs, report.uHopSamples, options.dMinGapMs, report.uGapSamples);
    if (report.peaks.empty()) {
        std::printf("# no transients: the measure is 0 throughout\n");
    } else {
        std::printf("# %zu strongest of %llu local maxima, strongest first\n", report.peaks.size(),
                    static_cast<unsigned long long>(report.uCandidates));
        std::printf("%12s %8s %12s\n", "time_s", "channel", "measure");
        for (const QwTransient& peak : report.peaks)
            std::printf("%12.6f %8u %12.6g\n", static_cast<double>(peak.uFrame) / audio.uSampleRate, peak.uChannel,
                        static_cast<double>(peak.fMeasure));
    }
    if (report.uAssertions)
        std::fprintf(stderr, "qwfx: %zu assertion reports during the analysis\n", report.uAssertions);
    return QWFX_OK;
}
