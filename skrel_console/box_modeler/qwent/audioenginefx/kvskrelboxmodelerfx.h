// The box modeler as the host sees it: one impulse response from plug-in media convolved with
// every channel, run on a fixed process block of its own through the block adapter.
#pragma once
#include "host/qweffectframe.h"
#include "host/qwmismatchbuffering.h"
#include "host/qwpluginregistration.h"
#include "skrel_console/box_modeler/qwent/audioenginefx/kvskrelboxmodelerfxparams.h"
#include "skrel_console/box_modeler/src/interface/skrelboxmodelerimpl.h"

class KvSkrelBoxModelerFX : public QwEffectFrame<SkrelBoxModelerImpl>
{
public:
    enum : uint32_t { PLUGIN_ID = 7 };

    static QwEffectPlugin* Create(QwPluginMemAlloc* in_pAllocator)
    {
        return CreateAs<KvSkrelBoxModelerFX>(in_pAllocator);
    }
    // Engine channel n is block channel ChannelOrder(mask)[n]; null for a layout it refuses.
    static const uint8_t* ChannelOrder(uint32_t in_uMask, uint32_t& out_uChannels);

    QwResult Init(QwPluginMemAlloc* in_pAllocator, QwEffectContext* in_pContext, QwPluginParam* in_pParams,
                  QwFormat& io_format) override;
    void Execute(QwAudioBuffer* io_pBuffer) override;
    QwResult Reset() override;
    QwResult Term(QwPluginMemAlloc* in_pAllocator) override;
    // Only the two effects that read media answer true and 1.
    bool ProbeFlag() override { return true; }
    uint32_t ProbeCode() override { return 1; }

    uint32_t LatencyFrames() const { return m_mmb.LatencyFrames(); }
    uint32_t ProcessBlockFrames() const { return m_mmb.ProcessBlockFrames(); }

private:
    void SendFloats(const KvSkrelBoxModelerFXParams& in_params);
    void ProcessStep(QwAudioBuffer& io_block);

    QwMismatchBuffering m_mmb;
};

// The module's record for this effect.
QwPluginRegistration* KvSkrelBoxModelerRegistration();
