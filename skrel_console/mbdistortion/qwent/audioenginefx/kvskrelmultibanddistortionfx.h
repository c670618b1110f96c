// The multiband distortion as the host sees it (plug-in 9): every channel split into three
// bands, two distortion slots per band, the bands summed; no tail, any channel count.
#pragma once
#include "host/qweffectframe.h"
#include "host/qwpluginregistration.h"
#include "skrel_console/mbdistortion/qwent/audioenginefx/kvskrelmultibanddistortionfxparams.h"
#include "skrel_console/mbdistortion/src/interface/skrelmultibanddistimpl.h"

class KvSkrelMultibandDistortionFX : public QwEffectFrame<SkrelMultibandDistImpl>
{
public:
    static constexpr uint32_t PLUGIN_ID = 9;

    QwResult Init(QwPluginMemAlloc* in_pAllocator, QwEffectContext* in_pContext, QwPluginParam* in_pParams,
                  QwFormat& io_format) override;
    void Execute(QwAudioBuffer* io_pBuffer) override;

    static QwEffectPlugin* Create(QwPluginMemAlloc* in_pAllocator)
    {
        return CreateAs<KvSkrelMultibandDistortionFX>(in_pAllocator);
    }

private:
    KvSkrelMultibandDistortionFXParams& Params()
    {
        return *static_cast<KvSkrelMultibandDistortionFXParams*>(m_pParams);
    }
};

// The module's record for this effect.
QwPluginRegistration* KvSkrelMultibandDistortionRegistration();
