// Parameter settings as users write them (NAME|ID=VALUE), typed by the effect's table.
#pragma once
#include <cstdint>
#include <string>
#include <vector>
#include "qwfx/lib/qweffectmeta.h"

struct QwParamSetting
{
    const QwParamMeta* pParam;
    uint32_t uBits;   // the value as the module stores it: a u32, or the bits of an f32
};

// One "NAME=VALUE" or "ID=VALUE". u32 values take a decimal integer or, where the table
// names them, a choice name; f32 values take a finite decimal number.
bool QwParseSetting(const QwEffectMeta* in_pEffect, const std::string& in_sText, QwParamSetting& out_setting,
                    std::string& out_sError);
// Space-separated settings, as in a preset.
bool QwParseSettings(const QwEffectMeta* in_pEffect, const std::string& in_sText,
                     std::vector<QwParamSetting>& out_settings, std::string& out_sError);
// The value in the table's terms: a number, or the choice name.
std::string QwFormatValue(const QwParamMeta& in_param, double in_fValue);
