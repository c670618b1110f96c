// qwfx response EFFECT [options]: the magnitude response of an effect, measured by running a
// unit impulse through it (mono, in host blocks), printed or drawn as an SVG plot. Modulated
// settings go on moving while the impulse response is recorded.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include "qwfx/lib/qwassertreport.h"
#include "qwfx/lib/qwaudiofile.h"
#include "qwfx/lib/qweffectsetup.h"
#include "qwfx/lib/qwhostallocator.h"
#include "qwfx/lib/qwlayout.h"
#include "qwfx/lib/qwpluginnames.h"
#include "qwfx/lib/qwrenderloop.h"
#include "qwfx/lib/qwresponse.h"
#include "qwfx/qwfxcli.h"

namespace {

const char* const USAGE = "usage: qwfx response EFFECT [--params BLOCK.bin] [--set NAME|ID=VALUE]... "
                          "[--svg FILE] [--rate HZ] [--length SAMPLES]";

struct ResponseOptions
{
    std::vector<std::string> positional;
    std::string sParamsFile;
    std::vector<std::string> sets;
    std::string sSvgFile;
    std::string sRate = "48000";
    std::string sLength = "65536";
};

bool ParseOptions(const std::vector<std::string>& in_args, ResponseOptions& out_options, std::string& out_sError)
{
    for (size_t i = 0; i < in_args.size() && out_sError.empty(); ++i) {
        std::string sValue;
        if (QwfxTakeOption(in_args, i, "--params", out_options.sParamsFile, out_sError) ||
            QwfxTakeOption(in_args, i, "--svg", out_options.sSvgFile, out_sError) ||
            QwfxTakeOption(in_args, i, "--rate", out_options.sRate, out_sError) ||
            QwfxTakeOption(in_args, i, "--length", out_options.sLength, out_sError))
            continue;
        if (QwfxTakeOption(in_args, i, "--set", sValue, out_sError))
            out_options.sets.push_back(sValue);
        else if (in_args[i].size() > 1 && in_args[i][0] == '-')
            out_sError = "unknown option '" + in_args[i] + "' for response";
        else
            out_options.positional.push_back(in_args[i]);
    }
    if (out_sError.empty() && out_options.positional.size() != 1)
        out_sError = USAGE;
    return out_sError.empty();
}

bool ParseWhole(const std::string& in_sText, long in_sLow, long in_sHigh, long& out_sValue)
{
    char* pEnd = nullptr;
    out_sValue = std::strtol(in_sText.c_str(), &pEnd, 10);
    return !in_sText.empty() && *pEnd == '\0' && out_sValue >= in_sLow && out_sValue <= in_sHigh;
}

} // namespace

int QwfxResponse(const QwfxArgs& in_args)
{
    ResponseOptions options;
    std::string sError;
    if (!ParseOptions(in_args.args, options, sError))
        return QwfxError(QWFX_USAGE, sError);
    const std::string& sEffect = options.positional[0];
    uint32_t uId = 0;
    if (!QwPluginIdFromName(sEffect, uId))
        return QwfxError(QWFX_USAGE, "unknown effect '" + sEffect + "' (known: " + QwAllShortNames() + ")");
    long sRate = 0, sLength = 0;
    if (!ParseWhole(options.sRate, 8000, 384000, sRate))
        return QwfxError(QWFX_USAGE, "bad --rate '" + options.sRate + "': expected Hz from 8000 to 384000");
    if (!ParseWhole(options.sLength, 256, 1 << 22, sLength))
        return QwfxError(QWFX_USAGE, "bad --length '" + options.sLength + "': expected samples from 256 to 4194304");

    QwEffectSetup setup;
    setup.pMeta = QwFindEffectMeta(uId);
    for (const std::string& sSet : options.sets) {
        QwParamSetting setting;
        if (!QwParseSetting(setup.pMeta, sSet, setting, sError))
            return QwfxError(QWFX_USAGE, sError);
        setup.settings.push_back(setting);
    }
    if (!options.sParamsFile.empty() && !QwReadBinaryFile(options.sParamsFile, setup.paramBlock, sError))
        return QwfxError(QWFX_FAILED, sError);
    setup.format = QwFormat{static_cast<uint32_t>(sRate), QwFindLayout("mono")->ChannelConfig(), 0};

    QwfxSession session;
    if (!session.Open(in_args.sModulePath))
        return QWFX_FAILED;
    setup.pRecord = session.module.Find(uId);
    if (!setup.pRecord)
        return QwfxError(QWFX_FAILED, "effect '" + sEffect + "' is not registered in " + session.module.Path());
    QwHostAllocator allocator;
    QwEffectInstance instance(allocator);
    if (!QwPrepareEffect(instance, setup, sError)) {
        QwPrintAssertReport(session.asserts, stderr);
        return QwfxError(QWFX_FAILED, sError);
    }

    QwPlanarAudio impulse(static_cast<uint32_t>(sRate), 1, static_cast<size_t>(sLength));
    impulse.channels[0][0] = 1.0f;
    QwRenderOptions renderOptions;
    renderOptions.uBlockFrames = setup.uBlockFrames;
    QwPlanarAudio output;
    QwRender(*instance.Effect(), setup.format.uChannelConfig, impulse, output, renderOptions);
    instance.Release();
    QwPrintAssertReport(session.asserts, stderr);
    output.channels[0].resize(static_cast<size_t>(sLength), 0.0f);

    const double fNyquist = 0.5 * static_cast<double>(sRate);
    if (!options.sSvgFile.empty()) {
        const std::vector<QwResponsePoint> points =
            QwMagnitudeResponse(output.channels[0], static_cast<uint32_t>(sRate), QwLogFrequencies(10.0, fNyquist, 48));
        std::ofstream file(options.sSvgFile);
        file << QwResponseSvg(points, "qwfx response " + sEffect + ", " + std::to_string(sRate) + " Hz");
        if (!file)
            return QwfxError(QWFX_FAILED, "cannot write '" + options.sSvgFile + "'");
        return QWFX_OK;
    }
    std::printf("# %s, impulse response of %ld samples at %ld Hz\n# %10s %9s\n", sEffect.c_str(), sLength, sRate,
                "Hz", "dB");
    for (const QwResponsePoint& p :
         QwMagnitudeResponse(output.channels[0], static_cast<uint32_t>(sRate), QwLogFrequencies(20.0, fNyquist, 6)))
        std::printf("%12.1f %9.2f\n", p.fFrequency, p.fGainDb);
    return QWFX_OK;
}
