// qwfx params EFFECT: the effect's parameter table as the tool knows it.
#include <cstdio>
#include "qwfx/lib/qweffectmeta.h"
#include "qwfx/lib/qwparamvalue.h"
#include "qwfx/lib/qwpluginnames.h"
#include "qwfx/qwfxcli.h"

int QwfxParams(const QwfxArgs& in_args)
{
    if (in_args.args.size() != 1)
        return QwfxError(QWFX_USAGE, "usage: qwfx params EFFECT");
    const std::string& sEffect = in_args.args[0];
    uint32_t uId = 0;
    if (!QwPluginIdFromName(sEffect, uId))
        return QwfxError(QWFX_USAGE, "unknown effect '" + sEffect + "' (known: " + QwAllShortNames() + ")");
    const QwEffectMeta* pMeta = QwFindEffectMeta(uId);
    if (!pMeta)
        return QwfxError(QWFX_FAILED, "no parameter table for effect '" + sEffect + "' in this build of qwfx");

    std::printf("%s (plug-in %u): parameter block of %u bytes\n", pMeta->pszShortName, pMeta->uPluginId,
                pMeta->uBlockBytes);
    std::printf("%4s  %-24s %-4s %10s  %-6s %s\n", "id", "name", "type", "default", "unit", "range");
    // Short choice lists fit the range column; long ones (algorithms) follow the table.
    const uint32_t MAX_INLINE_CHOICES = 6;
    std::string sLongChoices;
    for (uint32_t i = 0; i < pMeta->uParamCount; ++i) {
        const QwParamMeta& param = pMeta->pParams[i];
        std::string sRange = QwFormatValue(param, param.fMin) + " .. " + QwFormatValue(param, param.fMax);
        if (param.apszChoices) {
            std::string sChoices;
            for (uint32_t k = 0; k < param.uChoiceCount; ++k)
                sChoices += (k ? ", " : "") + std::to_string(k) + "=" + param.apszChoices[k];
            if (param.uChoiceCount <= MAX_INLINE_CHOICES) {
                sRange = sChoices;
            } else {
                sRange = std::to_string(0) + " .. " + std::to_string(param.uChoiceCount - 1) + ", names below";
                sLongChoices += std::string("\n") + param.pszName + ": " + sChoices + "\n";
            }
        }
        std::printf("%4u  %-24s %-4s %10s  %-6s %s\n", param.uId, param.pszName,
                    param.eType == QwParamType::U32 ? "u32" : "f32", QwFormatValue(param, param.fDefault).c_str(),
                    param.pszUnit ? param.pszUnit : "", sRange.c_str());
    }
    std::fputs(sLongChoices.c_str(), stdout);
    return QWFX_OK;
}
