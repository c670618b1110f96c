// The host-facing delay effect (plug-in id 4): any channel count, an engine a channel, and a
// tail that follows the feedback and the requested delay.
#pragma once
#include "host/qweffectframe.h"
#include "host/qwpluginregistration.h"
#include "skrel_console/delay/qwent/audioenginefx/kvskreldelayfxparams.h"
#include "skrel_console/delay/src/interface/skreldelayimpl.h"

class KvSkrelDelayFX : public QwEffectFrame<SkrelDelayImpl>
{
public:
    enum : uint32_t { PLUGIN_ID = 4 };

    QwResult Init(QwPluginMemAlloc* in_pAllocator, QwEffectContext* in_pContext, QwPluginParam* in_pParams,
                  QwFormat& io_format) override;
    void Execute(QwAudioBuffer* io_pBuffer) override;

    static QwEffectPlugin* Create(QwPluginMemAlloc* in_pAllocator) { return CreateAs<KvSkrelDelayFX>(in_pAllocator); }

private:
    void SendFloats(const KvSkrelDelayFXParams& in_params);
};

// The module's record for this effect.
QwPluginRegistration* KvSkrelDelayRegistration();
