#include "qwfx/lib/qwparamvalue.h"
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>

namespace {

bool ParseU32(const QwParamMeta& in_param, const std::string& in_sValue, uint32_t& out_uValue)
{
    for (uint32_t i = 0; in_param.apszChoices && i < in_param.uChoiceCount; ++i) {
        if (in_param.apszChoices[i] && in_sValue == in_param.apszChoices[i]) {
            out_uValue = i;
            return true;
        }
    }
    if (in_sValue.empty() || in_sValue.size() > 10 || in_sValue.find_first_not_of("0123456789") != std::string::npos)
        return false;
    const unsigned long long uValue = std::strtoull(in_sValue.c_str(), nullptr, 10);
    if (uValue > 0xFFFFFFFFull)
        return false;
    out_uValue = static_cast<uint32_t>(uValue);
    return true;
}

bool ParseF32(const std::string& in_sValue, float& out_fValue)
{
    if (in_sValue.empty() || std::isspace(static_cast<unsigned char>(in_sValue[0])))
        return false;
    char* pEnd = nullptr;
    errno = 0;
    const float fValue = std::strtof(in_sValue.c_str(), &pEnd);
    if (*pEnd != '\0' || !std::isfinite(fValue) || errno == ERANGE)
        return false;
    out_fValue = fValue;
    return true;
}

std::string ChoiceList(const QwParamMeta& in_param)
{
    std::string sList;
    for (uint32_t i = 0; in_param.apszChoices && i < in_param.uChoiceCount; ++i) {
        if (!sList.empty())
            sList += ", ";
        sList += in_param.apszChoices[i];
    }
    return sList;
}

} // namespace

bool QwParseSetting(const QwEffectMeta* in_pEffect, const std::string& in_sText, QwParamSetting& out_setting,
                    std::string& out_sError)
{
    const size_t uEquals = in_sText.find('=');
    if (uEquals == std::string::npos || uEquals == 0) {
        out_sError = "setting '" + in_sText + "' is not NAME=VALUE";
        return false;
    }
    const std::string sName = in_sText.substr(0, uEquals);
    const std::string sValue = in_sText.substr(uEquals + 1);
    const QwParamMeta* pParam = in_pEffect ? QwFindParam(*in_pEffect, sName.c_str()) : nullptr;
    if (!pParam) {
        out_sError = "unknown parameter '" + sName + "'" +
                     (in_pEffect ? std::string(" for ") + in_pEffect->pszShortName + " (see qwfx params " +
                                       in_pEffect->pszShortName + ")"
                                 : std::string(": this effect has no parameter table"));
        return false;
    }
    out_setting.pParam = pParam;
    if (pParam->eType == QwParamType::U32) {
        if (!ParseU32(*pParam, sValue, out_setting.uBits)) {
            const std::string sChoices = ChoiceList(*pParam);
            out_sError = "bad value '" + sValue + "' for " + pParam->pszName + ": expected an unsigned integer" +
                         (sChoices.empty() ? std::string() : " or one of " + sChoices);
            return false;
        }
    } else {
        float fValue = 0.0f;
        if (!ParseF32(sValue, fValue)) {
            out_sError = "bad value '" + sValue + "' for " + pParam->pszName + ": expected a finite number";
            return false;
        }
        std::memcpy(&out_setting.uBits, &fValue, sizeof(fValue));
    }
    return true;
}

bool QwParseSettings(const QwEffectMeta* in_pEffect, const std::string& in_sText,
                     std::vector<QwParamSetting>& out_settings, std::string& out_sError)
{
    std::istringstream stream(in_sText);
    std::string sItem;
    while (stream >> sItem) {
        QwParamSetting setting;
        if (!QwParseSetting(in_pEffect, sItem, setting, out_sError))
            return false;
        out_settings.push_back(setting);
    }
    return true;
}

std::string QwFormatValue(const QwParamMeta& in_param, double in_fValue)
{
    if (in_param.eType == QwParamType::U32 && in_param.apszChoices && in_fValue >= 0.0 &&
        in_fValue < in_param.uChoiceCount && in_param.apszChoices[static_cast<uint32_t>(in_fValue)])
        return in_param.apszChoices[static_cast<uint32_t>(in_fValue)];
    char aText[64];
    std::snprintf(aText, sizeof(aText), "%g", in_fValue);
    return aText;
}
