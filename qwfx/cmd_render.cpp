// qwfx render EFFECT IN OUT [options]: one effect over one audio file.
#include <unistd.h>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include "qwfx/lib/qwassertreport.h"
#include "qwfx/lib/qwaudiofile.h"
#include "qwfx/lib/qwboxmodel.h"
#include "qwfx/lib/qweffectsetup.h"
#include "qwfx/lib/qwhostallocator.h"
#include "qwfx/lib/qwlayout.h"
#include "qwfx/lib/qwpluginnames.h"
#include "qwfx/lib/qwreverbfit.h"
#include "qwfx/lib/qwrenderloop.h"
#include "qwfx/qwfxcli.h"

namespace {

struct RenderOptions
{
    std::vector<std::string> positional;
    std::string sParamsFile;
    std::vector<std::string> sets;
    std::string sMediaFile;
    std::string sIrFile; // box modeler: an impulse response packed in memory; reverb: a room fitted in memory
    std::string sChannels; // reverb --ir: the two channels of the room to fit
    std::string sBlock;
    std::string sBlocks;
    std::string sMemoryLimit;
    std::string sLayout;
    std::string sMaxTail = "30";
    bool bStrict = false;
};

bool ParseOptions(const std::vector<std::string>& in_args, RenderOptions& out_options, std::string& out_sError)
{
    for (size_t i = 0; i < in_args.size() && out_sError.empty(); ++i) {
        std::string sValue;
        if (QwfxTakeOption(in_args, i, "--params", out_options.sParamsFile, out_sError) ||
            QwfxTakeOption(in_args, i, "--media", out_options.sMediaFile, out_sError) ||
            QwfxTakeOption(in_args, i, "--ir", out_options.sIrFile, out_sError) ||
            QwfxTakeOption(in_args, i, "--channels", out_options.sChannels, out_sError) ||
            QwfxTakeOption(in_args, i, "--block", out_options.sBlock, out_sError) ||
            QwfxTakeOption(in_args, i, "--blocks", out_options.sBlocks, out_sError) ||
            QwfxTakeOption(in_args, i, "--memory-limit", out_options.sMemoryLimit, out_sError) ||
            QwfxTakeOption(in_args, i, "--layout", out_options.sLayout, out_sError) ||
            QwfxTakeOption(in_args, i, "--max-tail", out_options.sMaxTail, out_sError))
            continue;
        if (QwfxTakeOption(in_args, i, "--set", sValue, out_sError)) {
            out_options.sets.push_back(sValue);
        } else if (in_args[i] == "--strict") {
            out_options.bStrict = true;
        } else if (in_args[i].size() > 1 && in_args[i][0] == '-') {
            out_sError = "unknown option '" + in_args[i] + "' for render";
        } else {
            out_options.positional.push_back(in_args[i]);
        }
    }
    if (out_sError.empty() && out_options.positional.size() != 3)
        out_sError = "usage: qwfx render EFFECT IN OUT [--params BLOCK.bin] [--set NAME|ID=VALUE]... "
                     "[--media FILE | --ir IR.wav [--channels A,B]] [--block N | --blocks N1,N2,...] [--layout L] [--max-tail SECONDS] "
                     "[--memory-limit MB] [--strict]";
    return out_sError.empty();
}

// The network order the reverb will run: the last --set of it, else the parameter block's
// (a u32 at byte 24), else the default 16.
uint32_t ReverbOrderOf(const QwEffectSetup& in_setup)
{
    uint32_t uOrder = 16;
    if (in_setup.paramBlock.size() >= 28)
        uOrder = static_cast<uint32_t>(in_setup.paramBlock[24]) | static_cast<uint32_t>(in_setup.paramBlock[25]) << 8 |
                 static_cast<uint32_t>(in_setup.paramBlock[26]) << 16 | static_cast<uint32_t>(in_setup.paramBlock[27]) << 24;
    for (const QwParamSetting& setting : in_setup.settings)
        if (std::string(setting.pParam->pszName) == "order")
            uOrder = setting.uBits;
    return QwReverbOrder(uOrder);
}

// The reverb's media from a measured room, fitted here; the room must be at the input's rate,
// since the model's filters count samples.
bool FitRoom(const std::string& in_sIrFile, const uint32_t* in_pauChannels, const QwEffectSetup& in_setup,
             uint32_t in_uSampleRate, std::vector<uint8_t>& out_media, std::string& out_sError)
{
    QwReverbFit fit;
    bool bFitted = false;
    QwfxRunWithProgress("fitting the reverb model", [&] {
        bFitted = QwFitReverbFile(in_sIrFile, in_pauChannels, ReverbOrderOf(in_setup), fit, out_sError);
    });
    if (!bFitted)
        return false;
    if (fit.uSampleRate != in_uSampleRate) {
        out_sError = "'" + in_sIrFile + "' is at " + std::to_string(fit.uSampleRate) + " Hz but the input at " +
                     std::to_string(in_uSampleRate) + " Hz: the model plays at the rate it was fitted";
        return false;
    }
    for (const std::string& sWarning : fit.warnings)
        std::fprintf(stderr, "qwfx: %s\n", sWarning.c_str());
    out_media = QwWriteReverbModel(fit.model);
    return true;
}

// "1,7,512,0": each a whole number from 0 to 65535, at least one above 0.
bool ParseBlockPattern(const std::string& in_sText, std::vector<uint16_t>& out_pattern)
{
    size_t uStart = 0;
    while (true) {
        const size_t uComma = in_sText.find(',', uStart);
        long sLength = 0;
        if (!QwfxParseWhole(in_sText.substr(uStart, uComma - uStart), 0, 65535, sLength))
            return false;
        out_pattern.push_back(static_cast<uint16_t>(sLength));
        if (uComma == std::string::npos)
            break;
        uStart = uComma + 1;
    }
    return *std::max_element(out_pattern.begin(), out_pattern.end()) > 0;
}

void ShowProgress(uint64_t in_uDone, uint64_t in_uTotal)
{
    std::fprintf(stderr, "\rqwfx: rendering %3.0f%%", in_uTotal ? 100.0 * in_uDone / in_uTotal : 100.0);
    if (in_uDone >= in_uTotal)
        std::fprintf(stderr, "\n");
}

} // namespace

int QwfxRender(const QwfxArgs& in_args)
{
    RenderOptions options;
    std::string sError;
    if (!ParseOptions(in_args.args, options, sError))
        return QwfxError(QWFX_USAGE, sError);
    const std::string& sEffect = options.positional[0];
    const std::string& sIn = options.positional[1];
    const std::string& sOut = options.positional[2];

    uint32_t uId = 0;
    if (!QwPluginIdFromName(sEffect, uId))
        return QwfxError(QWFX_USAGE, "unknown effect '" + sEffect + "' (known: " + QwAllShortNames() + ")");
    if (!options.sBlock.empty() && !options.sBlocks.empty())
        return QwfxError(QWFX_USAGE, "give --block or --blocks, not both");
    long sBlock = 512;
    if (!options.sBlock.empty() && !QwfxParseWhole(options.sBlock, 1, 65535, sBlock))
        return QwfxError(QWFX_USAGE, "bad --block '" + options.sBlock + "': expected a whole number from 1 to 65535");
    std::vector<uint16_t> blockPattern;
    if (!options.sBlocks.empty()) {
        if (!ParseBlockPattern(options.sBlocks, blockPattern))
            return QwfxError(QWFX_USAGE, "bad --blocks '" + options.sBlocks +
                                             "': expected whole numbers from 0 to 65535 separated by commas, "
                                             "at least one above 0");
        sBlock = *std::max_element(blockPattern.begin(), blockPattern.end());
    }
    long sMemoryLimitMb = QWFX_DEFAULT_MEMORY_LIMIT_MB;
    if (!options.sMemoryLimit.empty() && !QwfxParseWhole(options.sMemoryLimit, 1, 1 << 20, sMemoryLimitMb))
        return QwfxError(QWFX_USAGE, "bad --memory-limit '" + options.sMemoryLimit +
                                         "': expected megabytes, a whole number from 1 to 1048576");
    char* pEnd = nullptr;
    const double fMaxTail = std::strtod(options.sMaxTail.c_str(), &pEnd);
    if (options.sMaxTail.empty() || *pEnd != '\0' || !std::isfinite(fMaxTail) || fMaxTail < 0.0)
        return QwfxError(QWFX_USAGE, "bad --max-tail '" + options.sMaxTail + "': expected seconds, 0 or more");
    const QwLayout* pLayout = nullptr;
    if (!options.sLayout.empty() && !(pLayout = QwFindLayout(options.sLayout)))
        return QwfxError(QWFX_USAGE, "unknown layout '" + options.sLayout + "' (known: " + QwLayoutNames() + ")");

    QwEffectSetup setup;
    setup.pMeta = QwFindEffectMeta(uId);
    for (const std::string& sSet : options.sets) {
        QwParamSetting setting;
        if (!QwParseSetting(setup.pMeta, sSet, setting, sError))
            return QwfxError(QWFX_USAGE, sError);
        setup.settings.push_back(setting);
    }

    QwPlanarAudio input;
    if (!QwReadAudioFile(sIn, input, sError))
        return QwfxError(QWFX_FAILED, sError);
    if (pLayout && pLayout->uChannels != input.NumChannels())
        return QwfxError(QWFX_USAGE, "layout " + options.sLayout + " has " + std::to_string(pLayout->uChannels) +
                                         " channels but '" + sIn + "' has " +
                                         std::to_string(input.NumChannels()));
    if (!pLayout)
        pLayout = QwDefaultLayout(input.NumChannels());
    if (!options.sParamsFile.empty() && !QwReadBinaryFile(options.sParamsFile, setup.paramBlock, sError))
        return QwfxError(QWFX_FAILED, sError);
    if (!options.sMediaFile.empty() && !QwReadBinaryFile(options.sMediaFile, setup.media, sError))
        return QwfxError(QWFX_FAILED, sError);
    if (!options.sIrFile.empty() && !options.sMediaFile.empty())
        return QwfxError(QWFX_USAGE, "give --media or --ir, not both");
    const bool bReverb = uId == 2;
    if (!options.sChannels.empty() && (!bReverb || options.sIrFile.empty()))
        return QwfxError(QWFX_USAGE, "--channels goes with --ir of the reverb");
    uint32_t auChannels[2];
    if (!options.sChannels.empty() && !QwParseChannelPair(options.sChannels, auChannels, sError))
        return QwfxError(QWFX_USAGE, sError);
    if (!options.sIrFile.empty() && bReverb &&
        !FitRoom(options.sIrFile, options.sChannels.empty() ? nullptr : auChannels, setup, input.uSampleRate,
                 setup.media, sError))
        return QwfxError(QWFX_FAILED, sError);
    if (!options.sIrFile.empty() && !bReverb && !QwBoxModelFromFile(options.sIrFile, 0, 0.0f, setup.media, sError))
        return QwfxError(QWFX_FAILED, sError);
    setup.format = QwFormat{input.uSampleRate, QwChannelConfigFor(input.NumChannels(), pLayout), 0};
    setup.uBlockFrames = static_cast<uint16_t>(sBlock);

    QwfxSession session;
    if (!session.Open(in_args.sModulePath))
        return QWFX_FAILED;
    setup.pRecord = session.module.Find(uId);
    if (!setup.pRecord)
        return QwfxError(QWFX_FAILED, "effect '" + sEffect + "' (plug-in " + std::to_string(uId) +
                                          ") is not registered in " + session.module.Path());

    QwHostAllocator allocator;
    allocator.SetLimit(static_cast<uint64_t>(sMemoryLimitMb) << 20);
    QwEffectInstance instance(allocator);
    if (!QwPrepareEffect(instance, setup, sError))
        return QwfxError(QWFX_FAILED, sError + QwfxMemoryLimitNote(allocator) + QwAssertSummary(session.asserts));

    QwRenderOptions renderOptions;
    renderOptions.uBlockFrames = setup.uBlockFrames;
    renderOptions.blockPattern = blockPattern;
    renderOptions.uMaxTailFrames = static_cast<uint64_t>(std::llround(fMaxTail * input.uSampleRate));
    if (isatty(STDERR_FILENO))
        renderOptions.progress = ShowProgress;
    QwPlanarAudio output;
    const QwRenderStats stats =
        QwRender(*instance.Effect(), setup.format.uChannelConfig, input, output, renderOptions);
    instance.Release();
    if (allocator.LimitRefusals() != 0)
        std::fprintf(stderr, "qwfx: while rendering%s\n", QwfxMemoryLimitNote(allocator).c_str() + 1);
    if (!allocator.Balanced())
        std::fprintf(stderr, "qwfx: %s kept %zu memory blocks after Term\n", sEffect.c_str(), allocator.LiveBlocks());
    if (stats.bTailCapped)
        std::fprintf(stderr, "qwfx: tail cut after %g s (--max-tail); the effect had more to give\n", fMaxTail);

    QwPrintAssertReport(session.asserts, stderr);
    if (!QwWriteFloatWav(sOut, output, sError))
        return QwfxError(QWFX_FAILED, sError);
    if (options.bStrict && session.asserts.Total() > 0)
        return QwfxError(QWFX_ASSERTED, "--strict: assertions fired");
    return QWFX_OK;
}
