// The single-band distortion as the host sees it (plug-in 3): two distortion slots in series
// on every channel, no tail, any channel count.
#pragma once
#include "host/qweffectframe.h"
#include "host/qwpluginregistration.h"
#include "skrel_console/distortion/qwent/audioenginefx/kvskreldistortionfxparams.h"
#include "skrel_console/distortion/src/interface/skreldistimpl.h"

class KvSkrelDistortionFX : public QwEffectFrame<SkrelDistImpl>
{
public:
    static constexpr uint32_t PLUGIN_ID = 3;

    QwResult Init(QwPluginMemAlloc* in_pAllocator, QwEffectContext* in_pContext, QwPluginParam* in_pParams,
                  QwFormat& io_format) override;
    void Execute(QwAudioBuffer* io_pBuffer) override;

    static QwEffectPlugin* Create(QwPluginMemAlloc* in_pAllocator) { return CreateAs<KvSkrelDistortionFX>(in_pAllocator); }

private:
    void SendGains(const KvSkrelDistortionFXParams& in_params);
    void SendAlgorithms(const KvSkrelDistortionFXParams& in_params);
};

// The module's record for this effect.
QwPluginRegistration* KvSkrelDistortionRegistration();
