// One static record per effect, pushed onto g_pQWPluginList at load.
#pragma once
#include "host/qwplugin.h"

typedef QwEffectPlugin* (*QwCreateEffectFn)(QwPluginMemAlloc* in_pAllocator);
typedef QwPluginParam* (*QwCreateParamsFn)(QwPluginMemAlloc* in_pAllocator);

struct QwPluginRegistration
{
    QwPluginRegistration* next;
    uint32_t eType;
    uint32_t uCompanyID;
    uint32_t uPluginID;
    QwCreateEffectFn pCreateFX;
    QwCreateParamsFn pCreateParams;
    void* apUnusedCallbacks[9]; // the host's optional callbacks; the module offers none
};

// Module side: makes the record the new head of the list.
void QwPushRegistration(QwPluginRegistration* in_pRecord);
