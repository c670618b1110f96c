#include "lv2/qwlv2names.h"
#include <cstring>
#include "qwfx/lib/qwmodule.h"

std::string QwLv2PluginUri(const QwEffectMeta& in_meta) { return std::string(QW_LV2_URI_BASE) + in_meta.pszShortName; }

std::string QwLv2MediaPropertyUri(const QwEffectMeta& in_meta) { return QwLv2PluginUri(in_meta) + "#media"; }

std::string QwLv2PortSymbol(const char* in_pszParamName)
{
    std::string sSymbol = in_pszParamName;
    for (char& c : sSymbol)
        if (c == '-')
            c = '_';
    return sSymbol;
}

bool QwLv2TakesMedia(const QwEffectMeta& in_meta) { return in_meta.pfnMakeMedia != nullptr; }

bool QwLv2RebuildsOnChange(const QwEffectMeta& in_meta, const QwParamMeta& in_param)
{
    const char* pszName = in_param.pszName;
    const size_t uLength = std::strlen(pszName);
    if (std::strcmp(in_meta.pszShortName, "reverb") == 0)
        return std::strcmp(pszName, "order") == 0;
    if (std::strcmp(in_meta.pszShortName, "filters") == 0)
        return uLength > 5 && std::strcmp(pszName + uLength - 5, "-type") == 0;
    return false;
}

std::vector<QwLv2Effect> QwLv2Effects(const QwModule& in_module)
{
    std::vector<QwLv2Effect> effects;
    for (const QwPluginRegistration* pRecord : in_module.Records())
        if (const QwEffectMeta* pMeta = QwFindEffectMeta(pRecord->uPluginID))
            effects.push_back({pRecord, pMeta});
    return effects;
}
