// The reverb as the host sees it: replays a measured space from a model record in plug-in media.
#pragma once
#include "host/qweffectframe.h"
#include "host/qwpluginregistration.h"
#include "kvreverbconsole/interface/kvmodeledreverbimpl.h"
#include "reverb_console/qwent/audioenginefx/src/bivrelreverb_qwentfxparams.h"

class BivrelReverbFX : public QwEffectFrame<KvModeledReverbImpl>
{
public:
    static QwEffectPlugin* Create(QwPluginMemAlloc* in_pAllocator) { return CreateAs<BivrelReverbFX>(in_pAllocator); }

    QwResult Init(QwPluginMemAlloc* in_pAllocator, QwEffectContext* in_pContext, QwPluginParam* in_pParams,
                  QwFormat& io_format) override;
    void Execute(QwAudioBuffer* io_pBuffer) override;
    bool ProbeFlag() override { return true; }
    uint32_t ProbeCode() override { return 1; }

    // Channel index of each of the eight slots for a speaker mask, -1 where unused; false for
    // a mask outside the six layouts.
    static bool SlotMap(uint32_t in_uMask, int32_t out_aiSlots[KvModeledReverbImpl::NUM_SLOTS]);

private:
    BivrelReverbFXParams& Params() const { return *static_cast<BivrelReverbFXParams*>(m_pParams); }
    void ApplyRealTime(uint32_t in_uChannels);
    void ApplyModel();
};

// The reverb's registration record, pushed first at load.
QwPluginRegistration* BivrelReverbRegistration();
