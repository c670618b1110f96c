#include "qwfx/lib/qwreverbfit.h"
#include <chrono>
#include <cmath>
#include <cstdlib>
#include "kvbase/common/common_allocator.h"
#include "kvreverbconsole/dsp/modeled/reverbmodeler.h"
#include "qwfx/lib/qwassertlog.h"
#include "qwfx/lib/qwaudiofile.h"
#include "qwfx/lib/qwcputimer.h"
#include "qwfx/lib/qweffectsetup.h"
#include "qwfx/lib/qwhostallocator.h"
#include "qwfx/lib/qwlayout.h"
#include "qwfx/lib/qwrenderloop.h"

namespace {

const uint32_t REVERB_PLUGIN_ID = 2;

// The module's code in this process reports to its own assertion slot and allocates through
// its own binding; both are set for one fit and put back after.
class InProcessHost
{
public:
    InProcessHost()
        : m_pPreviousHook(g_pQWPluginList.QwAssertHook), m_pPreviousAllocator(GetAllocatorBinding().m_pAllocator)
    {
        g_pQWPluginList.QwAssertHook = &QwAssertLog::Hook;
        BindAllocator(&m_allocator, 0, 0);
    }
    ~InProcessHost()
    {
        BindAllocator(m_pPreviousAllocator, 0, 0);
        g_pQWPluginList.QwAssertHook = m_pPreviousHook;
    }
    QwAssertLog asserts;

private:
    QwAssertHookFn m_pPreviousHook;
    QwPluginMemAlloc* m_pPreviousAllocator;
    QwHostAllocator m_allocator;
};

std::vector<float> ToStd(const common_vector<float>& in_v) { return std::vector<float>(in_v.begin(), in_v.end()); }

bool ParseChannel(const std::string& in_sText, uint32_t& out_u)
{
    char* pEnd = nullptr;
    const long s = std::strtol(in_sText.c_str(), &pEnd, 10);
    if (in_sText.empty() || *pEnd != '\0' || s < 0 || s > 255)
        return false;
    out_u = static_cast<uint32_t>(s);
    return true;
}

} // namespace

bool QwParseChannelPair(const std::string& in_sText, uint32_t out_auChannels[2], std::string& out_sError)
{
    const size_t uComma = in_sText.find(',');
    if (uComma == std::string::npos || !ParseChannel(in_sText.substr(0, uComma), out_auChannels[0]) ||
        !ParseChannel(in_sText.substr(uComma + 1), out_auChannels[1])) {
        out_sError = "bad --channels '" + in_sText + "': expected two channel numbers from 0, as in 0,1";
        return false;
    }
    return true;
}

bool QwPickReverbChannels(const QwPlanarAudio& in_ir, const std::string& in_sName, const uint32_t* in_pauChannels,
                          QwPlanarAudio& out_pair, std::string& out_sError)
{
    const uint32_t uChannels = in_ir.NumChannels();
    if (in_ir.NumFrames() == 0) {
        out_sError = "'" + in_sName + "' holds no samples: nothing to fit";
        return false;
    }
    uint32_t auPick[2] = {0, uChannels > 1 ? 1u : 0u};
    if (in_pauChannels) {
        for (int i = 0; i < 2; ++i) {
            if (in_pauChannels[i] >= uChannels) {
                out_sError = "'" + in_sName + "' has " + std::to_string(uChannels) + " channel(s); channel " +
                             std::to_string(in_pauChannels[i]) + " does not exist (channels count from 0)";
                return false;
            }
            auPick[i] = in_pauChannels[i];
        }
    } else if (uChannels > 2) {
        out_sError = "'" + in_sName + "' has " + std::to_string(uChannels) +
                     " channels; choose the two to fit with --channels A,B (from 0)";
        return false;
    }
    out_pair.uSampleRate = in_ir.uSampleRate;
    out_pair.channels = {in_ir.channels[auPick[0]], in_ir.channels[auPick[1]]};
    if (out_pair.Peak() == 0.0f) {
        out_sError = "'" + in_sName + "' is silent: nothing to fit";
        return false;
    }
    return true;
}

uint32_t QwReverbOrder(uint32_t in_uOrderParam) { return in_uOrderParam == 16 ? 16 : 8; }

bool QwFitReverb(const QwPlanarAudio& in_pair, uint32_t in_uOrder, QwReverbFit& out_fit, std::string& out_sError)
{
    if (in_pair.NumChannels() != 2 || in_pair.NumFrames() == 0 || in_pair.NumFrames() > UINT32_MAX) {
        out_sError = "the reverb's model is fitted to two channels of at least one sample";
        return false;
    }
    // The equaliser is fitted over the last 50 ms ahead of the transition, so a shorter
    // response leaves the model without a late part.
    const uint32_t uLength = static_cast<uint32_t>(in_pair.NumFrames());
    if (uLength < std::lround(0.05 * in_pair.uSampleRate)) {
        out_sError = "the response is " + std::to_string(uLength) + " samples long; the fit needs at least 50 ms";
        return false;
    }
    const auto start = std::chrono::steady_clock::now();
    const QwCpuTimer cpu;
    const float* apfImpulse[2] = {in_pair.channels[0].data(), in_pair.channels[1].data()};
    out_fit = QwReverbFit();
    out_fit.uSampleRate = in_pair.uSampleRate;
    bool bOutOfMemory;
    InProcessHost host;
    {
        ReverbModeler modeler(static_cast<float>(in_pair.uSampleRate), uLength, 0, in_uOrder);
        if (!IsOutOfMemory())
            modeler.Model(uLength, apfImpulse, false);
        bOutOfMemory = IsOutOfMemory();
        if (!bOutOfMemory) {
            QwReverbModel& model = out_fit.model;
            model.fDecayTime = modeler.GetDecayTime();
            model.fLowCrossover = modeler.GetLowCrossover();
            model.fHighCrossover = modeler.GetHighCrossover();
            model.fLowMultiplier = modeler.GetLowMultiplier();
            model.fMidMultiplier = modeler.GetMidMultiplier();
            model.fHighMultiplier = modeler.GetHighMultiplier();
            model.fModelGain = modeler.GetNormGain();
            for (uint32_t c = 0; c < 2; ++c) {
                model.afEqualiser[c] = ToStd(modeler.GetEqFilter());
                model.afEarly[c] = ToStd(modeler.GetEarlyResponse(c));
            }
            out_fit.uTransition = modeler.GetTransition();
            out_fit.uOnset = modeler.GetOnset();
            out_fit.uFilterLength = modeler.GetFilterLength();
            out_fit.uEarlyLength = static_cast<uint32_t>(model.afEarly[0].size());
        }
    }
    if (!bOutOfMemory && out_fit.uTransition >= uLength)
        out_fit.warnings.push_back("the response ends before the network's part begins: its decay is not fitted "
                                   "and the network keeps default decay settings");
    for (const QwAssertRecord& record : host.asserts.Records())
        out_fit.warnings.push_back("the modeler reported '" + record.sExpression + "' at " + record.sFile + ":" +
                                   std::to_string(record.iLine));
    out_fit.fSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    out_fit.fCpuSeconds = cpu.Seconds();
    if (bOutOfMemory) {
        out_sError = "the fit ran out of memory";
        return false;
    }
    return true;
}

bool QwFitReverbFile(const std::string& in_sPath, const uint32_t* in_pauChannels, uint32_t in_uOrder,
                     QwReverbFit& out_fit, std::string& out_sError)
{
    QwPlanarAudio ir, pair;
    if (!QwReadAudioFile(in_sPath, ir, out_sError) || !QwPickReverbChannels(ir, in_sPath, in_pauChannels, pair, out_sError))
        return false;
    if (!QwFitReverb(pair, in_uOrder, out_fit, out_sError)) {
        out_sError = "'" + in_sPath + "': " + out_sError;
        return false;
    }
    return true;
}

bool QwReplayReverbModel(const QwModule& in_module, const std::vector<uint8_t>& in_record, uint32_t in_uSampleRate,
                         uint32_t in_uOrder, size_t in_uFrames, QwPlanarAudio& out_replay, std::string& out_sError)
{
    QwEffectSetup setup;
    setup.pRecord = in_module.Find(REVERB_PLUGIN_ID);
    setup.pMeta = QwFindEffectMeta(REVERB_PLUGIN_ID);
    if (!setup.pRecord || !setup.pMeta) {
        out_sError = "the reverb is not registered in " + in_module.Path();
        return false;
    }
    const std::string sSettings = "front-dry-out=-96.3 front-wet-out=0 order=" + std::to_string(in_uOrder);
    if (!QwParseSettings(setup.pMeta, sSettings, setup.settings, out_sError))
        return false;
    const QwLayout& stereo = *QwFindLayout("stereo");
    setup.format = QwFormat{in_uSampleRate, stereo.ChannelConfig(), 0};
    setup.media = in_record;
    QwHostAllocator allocator;
    QwEffectInstance instance(allocator);
    if (!QwPrepareEffect(instance, setup, out_sError))
        return false;
    QwPlanarAudio impulse(in_uSampleRate, 2, in_uFrames);
    if (in_uFrames > 0)
        impulse.channels[0][0] = impulse.channels[1][0] = 1.0f;
    QwRenderOptions options;
    options.uBlockFrames = setup.uBlockFrames;
    out_replay = QwPlanarAudio();
    QwRender(*instance.Effect(), setup.format.uChannelConfig, impulse, out_replay, options);
    instance.Release();
    return true;
}
