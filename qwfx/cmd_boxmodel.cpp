// qwfx box-model IR.wav -o MODEL.bin [--channel N] [--gain-db G]: packs an impulse response
// into the box modeler's plug-in media.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include "qwfx/lib/qwboxmodel.h"
#include "qwfx/qwfxcli.h"

int QwfxBoxModel(const QwfxArgs& in_args)
{
    const char* const USAGE = "usage: qwfx box-model IR.wav -o MODEL.bin [--channel N] [--gain-db G]";
    std::string sIn, sOut, sChannel = "0", sGain = "0", sError;
    for (size_t i = 0; i < in_args.args.size() && sError.empty(); ++i) {
        if (QwfxTakeOption(in_args.args, i, "-o", sOut, sError) ||
            QwfxTakeOption(in_args.args, i, "--channel", sChannel, sError) ||
            QwfxTakeOption(in_args.args, i, "--gain-db", sGain, sError))
            continue;
        if (in_args.args[i].size() > 1 && in_args.args[i][0] == '-')
            sError = "unknown option '" + in_args.args[i] + "' for box-model";
        else if (sIn.empty())
            sIn = in_args.args[i];
        else
            sError = USAGE;
    }
    if (sError.empty() && (sIn.empty() || sOut.empty()))
        sError = USAGE;
    if (!sError.empty())
        return QwfxError(QWFX_USAGE, sError);

    char* pEnd = nullptr;
    const long sChannelIndex = std::strtol(sChannel.c_str(), &pEnd, 10);
    if (sChannel.empty() || *pEnd != '\0' || sChannelIndex < 0 || sChannelIndex > 255)
        return QwfxError(QWFX_USAGE, "bad --channel '" + sChannel + "': expected a channel from 0");
    const double fGainDb = std::strtod(sGain.c_str(), &pEnd);
    if (sGain.empty() || *pEnd != '\0' || !std::isfinite(fGainDb))
        return QwfxError(QWFX_USAGE, "bad --gain-db '" + sGain + "': expected a level in dB");

    std::vector<uint8_t> blob;
    if (!QwBoxModelFromFile(sIn, static_cast<uint32_t>(sChannelIndex), static_cast<float>(fGainDb), blob, sError))
        return QwfxError(QWFX_FAILED, sError);
    FILE* pFile = std::fopen(sOut.c_str(), "wb");
    if (!pFile)
        return QwfxError(QWFX_FAILED, "cannot write '" + sOut + "'");
    const bool bWritten = std::fwrite(blob.data(), 1, blob.size(), pFile) == blob.size();
    if (std::fclose(pFile) != 0 || !bWritten)
        return QwfxError(QWFX_FAILED, "cannot write '" + sOut + "'");
    std::printf("%s: %zu taps, gain %g dB, %zu bytes\n", sOut.c_str(), (blob.size() - 8) / 4, fGainDb, blob.size());
    return QWFX_OK;
}
