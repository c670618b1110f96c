#include "lv2/qwlv2names.h"
#include <cstring>
#include "qwfx/lib/qwmodule.h"

const std::vector<QwLv2Layout>& QwLv2Layouts()
{
    static const char* const s_apszStereo[] = {"left", "right"};
    static const char* const s_apszMono[] = {""};
    static const char* const s_apszSurround[] = {"fl", "fr", "c", "lfe", "sl", "sr"};
    static const std::vector<QwLv2Layout> s_layouts = {
        {"", "stereo", 2, 2u | (0x003u << 12), s_apszStereo},
        {"-mono", "mono", 1, 1u | (0x004u << 12), s_apszMono},
        {"-5.1", "5.1", 6, 6u | (0x60Fu << 12), s_apszSurround},
    };
    return s_layouts;
}

const QwLv2Layout& QwLv2Stereo() { return QwLv2Layouts()[0]; }

std::string QwLv2PluginUri(const QwEffectMeta& in_meta, const QwLv2Layout& in_layout)
{
    return std::string(QW_LV2_URI_BASE) + in_meta.pszShortName + in_layout.pszSuffix;
}

std::string QwLv2MediaPropertyUri(const QwEffectMeta& in_meta)
{
    return std::string(QW_LV2_URI_BASE) + in_meta.pszShortName + "#media";
}

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
            for (const QwLv2Layout& layout : QwLv2Layouts())
                effects.push_back({pRecord, pMeta, &layout});
    return effects;
}
