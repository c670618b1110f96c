#include "qwfx/lib/qweffectmeta.h"
#include <cstdlib>
#include <cstring>

// Each effect's table lives in its own file (qwfx/lib/meta_<effect>.cpp) and is listed here
// in walk order: multiband distortion 9, filters 6, dynamics 5, distortion 3, delay 4,
// box modeler 7, reverb 2.
extern const QwEffectMeta g_qwMultibandDistortionMeta;
extern const QwEffectMeta g_qwFiltersMeta;
extern const QwEffectMeta g_qwDynamicsMeta;
extern const QwEffectMeta g_qwDistortionMeta;
extern const QwEffectMeta g_qwDelayMeta;
extern const QwEffectMeta g_qwBoxModelerMeta;
extern const QwEffectMeta g_qwReverbMeta;

const std::vector<const QwEffectMeta*>& QwAllEffectMeta()
{
    static const std::vector<const QwEffectMeta*> s_all = {
        &g_qwMultibandDistortionMeta,
        &g_qwFiltersMeta,
        &g_qwDynamicsMeta,
        &g_qwDistortionMeta,
        &g_qwDelayMeta,
        &g_qwBoxModelerMeta,
        &g_qwReverbMeta,
    };
    return s_all;
}

const QwEffectMeta* QwFindEffectMeta(uint32_t in_uPluginId)
{
    for (const QwEffectMeta* pMeta : QwAllEffectMeta())
        if (pMeta->uPluginId == in_uPluginId)
            return pMeta;
    return nullptr;
}

const QwEffectMeta* QwFindEffectMeta(const char* in_pszNameOrId)
{
    for (const QwEffectMeta* pMeta : QwAllEffectMeta())
        if (std::strcmp(pMeta->pszShortName, in_pszNameOrId) == 0)
            return pMeta;
    char* pEnd = nullptr;
    const unsigned long uId = std::strtoul(in_pszNameOrId, &pEnd, 10);
    if (pEnd != in_pszNameOrId && *pEnd == '\0')
        return QwFindEffectMeta(static_cast<uint32_t>(uId));
    return nullptr;
}

const QwParamMeta* QwFindParam(const QwEffectMeta& in_effect, const char* in_pszNameOrId)
{
    for (uint32_t i = 0; i < in_effect.uParamCount; ++i)
        if (std::strcmp(in_effect.pParams[i].pszName, in_pszNameOrId) == 0)
            return &in_effect.pParams[i];
    char* pEnd = nullptr;
    const unsigned long uId = std::strtoul(in_pszNameOrId, &pEnd, 10);
    if (pEnd != in_pszNameOrId && *pEnd == '\0')
        for (uint32_t i = 0; i < in_effect.uParamCount; ++i)
            if (in_effect.pParams[i].uId == uId)
                return &in_effect.pParams[i];
    return nullptr;
}
