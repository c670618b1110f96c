// qwfx reverb-model -o MODEL.bin [--rate HZ] [--early-ms MS] [--decay SECONDS]: writes a model
// record for the reverb (its plug-in media) with a synthetic early response, so that the reverb
// can be tried before a measured space has been fitted.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include "qwfx/lib/qwreverbmodel.h"
#include "qwfx/qwfxcli.h"

namespace {

bool ParsePositive(const std::string& in_sText, double in_fMax, double& out_f)
{
    char* pEnd = nullptr;
    out_f = std::strtod(in_sText.c_str(), &pEnd);
    return !in_sText.empty() && *pEnd == '\0' && out_f > 0.0 && out_f <= in_fMax;
}

} // namespace

int QwfxReverbModel(const QwfxArgs& in_args)
{
    std::string sOut, sRate = "48000", sEarly = "300", sDecay = "0.5", sError;
    for (size_t i = 0; i < in_args.args.size() && sError.empty(); ++i) {
        if (QwfxTakeOption(in_args.args, i, "-o", sOut, sError) ||
            QwfxTakeOption(in_args.args, i, "--rate", sRate, sError) ||
            QwfxTakeOption(in_args.args, i, "--early-ms", sEarly, sError) ||
            QwfxTakeOption(in_args.args, i, "--decay", sDecay, sError))
            continue;
        sError = "usage: qwfx reverb-model -o MODEL.bin [--rate HZ] [--early-ms MS] [--decay SECONDS]";
    }
    if (sError.empty() && sOut.empty())
        sError = "reverb-model needs -o MODEL.bin";
    double fRate = 0, fEarly = 0, fDecay = 0;
    if (sError.empty() && !ParsePositive(sRate, 384000.0, fRate))
        sError = "bad --rate '" + sRate + "': expected a sample rate in Hz";
    if (sError.empty() && !ParsePositive(sEarly, 500.0, fEarly))
        sError = "bad --early-ms '" + sEarly + "': expected 0 to 500 ms (the reverb holds at most half a second)";
    if (sError.empty() && !ParsePositive(sDecay, 5.0, fDecay))
        sError = "bad --decay '" + sDecay + "': expected seconds to fall 15 dB, above 0 and at most 5";
    if (!sError.empty())
        return QwfxError(QWFX_USAGE, sError);

    QwReverbModel model = QwSyntheticReverbModel(static_cast<uint32_t>(fRate), static_cast<float>(fEarly));
    model.fDecayTime = static_cast<float>(fDecay);
    const std::vector<uint8_t> record = QwWriteReverbModel(model);
    // Written beside the target and renamed, so a failed write leaves nothing half-written.
    const std::string sTemp = sOut + ".part";
    {
        std::ofstream file(sTemp, std::ios::binary | std::ios::trunc);
        file.write(reinterpret_cast<const char*>(record.data()), static_cast<std::streamsize>(record.size()));
        if (!file.good()) {
            std::remove(sTemp.c_str());
            return QwfxError(QWFX_FAILED, "cannot write '" + sOut + "'");
        }
    }
    if (std::rename(sTemp.c_str(), sOut.c_str()) != 0) {
        std::remove(sTemp.c_str());
        return QwfxError(QWFX_FAILED, "cannot write '" + sOut + "'");
    }
    std::printf("%s: reverb model, %zu bytes (decay %.3g s per 15 dB, %.0f ms early response at %.0f Hz)\n",
                sOut.c_str(), record.size(), fDecay, fEarly, fRate);
    return QWFX_OK;
}
