// Storage of the list head and the assertion slot, in that order, in one exported record so
// that the slot sits directly behind the head.
#include "host/qwassert.h"
#include "host/qwpluginregistration.h"

extern "C" {
__attribute__((visibility("default"))) QwModuleSlots g_pQWPluginList = {nullptr, nullptr};
}

void QwPushRegistration(QwPluginRegistration* in_pRecord)
{
    in_pRecord->next = g_pQWPluginList.pPluginList;
    g_pQWPluginList.pPluginList = in_pRecord;
}
