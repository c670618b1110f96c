// The filters effect as the host sees it: three morphing filters in series per channel.
// A change of filter type allocates inside Execute; a block whose change ran out of memory is
// left unprocessed and the change is tried again on the next block.
#pragma once
#include "host/qweffectframe.h"
#include "host/qwpluginregistration.h"
#include "skrel_console/filter/qwent/audioenginefx/kvskrelfiltersfxparams.h"
#include "skrel_console/filter/src/interface/skrelfiltersimpl.h"

class KvSkrelFiltersFX : public QwEffectFrame<SkrelFiltersImpl>
{
public:
    enum : uint32_t { PLUGIN_ID = 6 };

    QwResult Init(QwPluginMemAlloc* in_pAllocator, QwEffectContext* in_pContext, QwPluginParam* in_pParams,
                  QwFormat& io_format) override;
    void Execute(QwAudioBuffer* io_pBuffer) override;

    static QwEffectPlugin* Create(QwPluginMemAlloc* in_pAllocator) { return CreateAs<KvSkrelFiltersFX>(in_pAllocator); }

private:
    bool PushInts();
};

// The module's record for this effect.
QwPluginRegistration* KvSkrelFiltersRegistration();
