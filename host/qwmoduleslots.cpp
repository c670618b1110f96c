// Storage of the list head and the assertion slot, in that order, in one record so that
// the slot sits directly behind the exported head.
#include "host/qwassert.h"
#include "host/qwpluginregistration.h"

extern "C" {
__attribute__((visibility("hidden"))) QwModuleSlots g_qwModuleSlots = {nullptr, nullptr};
extern QwPluginRegistration* g_pQWPluginList
    __attribute__((alias("g_qwModuleSlots"), visibility("default")));
}

void QwPushRegistration(QwPluginRegistration* in_pRecord)
{
    in_pRecord->next = g_qwModuleSlots.pPluginList;
    g_qwModuleSlots.pPluginList = in_pRecord;
}
