#include "qwfx/lib/qwbenchrun.h"
#include <sstream>
#include "qwfx/lib/qwcputimer.h"
#include "qwfx/lib/qweffectsetup.h"
#include "qwfx/lib/qwparamvalue.h"
#include "qwfx/lib/qwrenderloop.h"

bool QwSplitBenchLayout(const char* in_pszSettings, const QwLayout*& out_pLayout, std::string& out_sRest,
                        std::string& out_sError)
{
    std::istringstream stream(in_pszSettings);
    std::string sItem;
    out_pLayout = QwFindLayout("stereo");
    while (stream >> sItem) {
        if (sItem.compare(0, 7, "layout=") == 0) {
            out_pLayout = QwFindLayout(sItem.substr(7));
            if (!out_pLayout) {
                out_sError = "unknown layout in preset: '" + sItem + "'";
                return false;
            }
        } else {
            out_sRest += sItem + " ";
        }
    }
    return true;
}

bool QwBenchRun::Prepare(const QwPluginRegistration& in_record, const QwEffectMeta* in_pMeta,
                         const QwPresetMeta& in_preset, uint32_t in_uSampleRate, uint16_t in_uBlockFrames,
                         std::string& out_sError)
{
    std::string sSettings;
    if (!QwSplitBenchLayout(in_preset.pszSettings, m_pLayout, sSettings, out_sError))
        return false;
    QwEffectSetup setup;
    setup.pRecord = &in_record;
    setup.pMeta = in_pMeta;
    setup.format = QwFormat{in_uSampleRate, m_pLayout->ChannelConfig(), 0};
    setup.uBlockFrames = in_uBlockFrames;
    if (in_pMeta && in_pMeta->pfnMakeMedia)
        setup.media = in_pMeta->pfnMakeMedia(in_uSampleRate, in_preset.pszName);
    m_uBlockFrames = in_uBlockFrames;
    return QwParseSettings(in_pMeta, sSettings, setup.settings, out_sError) &&
           QwPrepareEffect(m_instance, setup, out_sError);
}

double QwBenchRun::Time(const QwPlanarAudio& in_programme)
{
    QwRenderOptions options;
    options.uBlockFrames = m_uBlockFrames;
    options.bKeepOutput = false;
    QwPlanarAudio output;
    // The loop itself never calls the module's allocator, so what it counts here was asked
    // for inside Execute.
    const uint64_t uBefore = m_allocator.AllocCalls();
    const QwCpuTimer timer;
    QwRender(*m_instance.Effect(), m_pLayout->ChannelConfig(), in_programme, output, options);
    const double fSeconds = timer.Seconds();
    m_uExecuteAllocs += m_allocator.AllocCalls() - uBefore;
    return fSeconds;
}
