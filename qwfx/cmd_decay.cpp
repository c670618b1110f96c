// qwfx decay A.wav [B.wav]: per octave from 125 Hz to 8 kHz, the reverberation time T30 and
// the early decay time EDT of a response (each band cut at its noise floor), and with a second
// file its values beside the first and their errors in percent of the first.
#include <cmath>
#include <cstdio>
#include "qwfx/lib/qwaudiofile.h"
#include "qwfx/lib/qwroomacoustics.h"
#include "qwfx/qwfxcli.h"

namespace {

std::string Seconds(double in_f)
{
    if (!std::isfinite(in_f))
        return "-";
    char aText[32];
    std::snprintf(aText, sizeof aText, "%.3f", in_f);
    return aText;
}

std::string Percent(double in_fMeasured, double in_fReference)
{
    const double f = 100.0 * (in_fMeasured - in_fReference) / in_fReference;
    if (!std::isfinite(f))
        return "-";
    char aText[32];
    std::snprintf(aText, sizeof aText, "%+.1f", f);
    return aText;
}

} // namespace

int QwfxDecay(const QwfxArgs& in_args)
{
    if (in_args.args.empty() || in_args.args.size() > 2)
        return QwfxError(QWFX_USAGE, "usage: qwfx decay A.wav [B.wav]");
    for (const std::string& sArg : in_args.args)
        if (sArg.size() > 1 && sArg[0] == '-')
            return QwfxError(QWFX_USAGE, "unknown option '" + sArg + "' for decay");
    std::vector<QwBandDecay> results[2];
    for (size_t f = 0; f < in_args.args.size(); ++f) {
        QwPlanarAudio audio;
        std::string sError;
        if (!QwReadAudioFile(in_args.args[f], audio, sError))
            return QwfxError(QWFX_FAILED, sError);
        if (audio.NumFrames() == 0)
            return QwfxError(QWFX_FAILED, "'" + in_args.args[f] + "' holds no samples");
        results[f] = QwAnalyseOctaves(audio);
        std::printf("%s %s: %u Hz, %u channel(s), %.3f s\n", f == 0 ? "A" : "B", in_args.args[f].c_str(),
                    audio.uSampleRate, audio.NumChannels(), static_cast<double>(audio.NumFrames()) / audio.uSampleRate);
    }
    const bool bTwo = in_args.args.size() == 2;
    std::printf("%8s %8s %8s", "octave", "T30 s", "EDT s");
    if (bTwo)
        std::printf(" %8s %8s %9s %9s", "B T30 s", "B EDT s", "T30 err%", "EDT err%");
    std::printf("\n");
    for (const QwBandDecay& a : results[0]) {
        std::printf("%5.0f Hz %8s %8s", a.fCentre, Seconds(a.fT30).c_str(), Seconds(a.fEdt).c_str());
        for (const QwBandDecay& b : results[1])
            if (b.fCentre == a.fCentre)
                std::printf(" %8s %8s %9s %9s", Seconds(b.fT30).c_str(), Seconds(b.fEdt).c_str(),
                            Percent(b.fT30, a.fT30).c_str(), Percent(b.fEdt, a.fEdt).c_str());
        std::printf("\n");
    }
    return QWFX_OK;
}
