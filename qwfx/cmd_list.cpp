// qwfx list: one line a registration record, in walk order.
#include <cstdio>
#include "qwfx/lib/qwpluginnames.h"
#include "qwfx/qwfxcli.h"

int QwfxList(const QwfxArgs& in_args)
{
    if (!in_args.args.empty())
        return QwfxError(QWFX_USAGE, "list takes no arguments");
    QwfxSession session;
    if (!session.Open(in_args.sModulePath))
        return QWFX_FAILED;
    const auto records = session.module.Records();
    if (records.empty()) {
        std::fprintf(stderr, "qwfx: the module registers no effect\n");
        return QWFX_OK;
    }
    std::printf("%-7s %-8s %-5s %s\n", "plugin", "company", "type", "name");
    for (const QwPluginRegistration* pRecord : records) {
        const char* pszName = QwShortNameForPluginId(pRecord->uPluginID);
        std::printf("%-7u %-8u %-5u %s\n", pRecord->uPluginID, pRecord->uCompanyID, pRecord->eType,
                    pszName ? pszName : "?");
    }
    return QWFX_OK;
}
