// The dynamics effect as the host sees it: a per-sample compressor and expander on every
// channel, no tail, any channel layout.
#pragma once
#include "host/qweffectframe.h"
#include "host/qwpluginregistration.h"
#include "skrel_console/dynamics/qwent/audioenginefx/kvskreldynamicsfxparams.h"
#include "skrel_console/dynamics/src/interface/skreldynamicsimpl.h"

class KvSkrelDynamicsFX : public QwEffectFrame<SkrelDynamicsImpl>
{
public:
    enum : uint32_t { PLUGIN_ID = 5 };

    static QwEffectPlugin* Create(QwPluginMemAlloc* in_pAllocator) { return CreateAs<KvSkrelDynamicsFX>(in_pAllocator); }

    QwResult Init(QwPluginMemAlloc* in_pAllocator, QwEffectContext* in_pContext, QwPluginParam* in_pParams,
                  QwFormat& io_format) override;
    void Execute(QwAudioBuffer* io_pBuffer) override;

private:
    void SendParams(const KvSkrelDynamicsFXParams& in_params);
};

// The module's record for this effect.
QwPluginRegistration* KvSkrelDynamicsRegistration();
