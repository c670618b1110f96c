// Host-side metadata of the module's effects: short names, parameter tables and presets.
// The module holds no display text, so this lives in the tool, one table per effect.
#pragma once
#include <cstdint>
#include <vector>

enum class QwParamType : uint8_t { U32, F32 };

struct QwParamMeta
{
    uint16_t uId;
    const char* pszName;        // command-line name, e.g. "comp-threshold"
    QwParamType eType;
    double fDefault;
    const char* pszUnit;        // "dB", "ms", "Hz", "%", "" ...
    double fMin;                // nominal range, for display only: the module clamps nothing
    double fMax;
    const char* const* apszChoices; // optional names of u32 values 0..uChoiceCount-1 (algorithm, mode, type)
    uint32_t uChoiceCount;
};

// A preset is a list of NAME=VALUE settings in the --set syntax, separated by spaces.
struct QwPresetMeta
{
    const char* pszName;
    const char* pszSettings;
};

struct QwEffectMeta
{
    uint32_t uPluginId;
    const char* pszShortName;   // "reverb", "distortion", "delay", "dynamics", "filters", "box-modeler", ...
    const QwParamMeta* pParams;
    uint32_t uParamCount;
    uint32_t uBlockBytes;       // size of the packed parameter block
    const QwPresetMeta* pDemoPreset;
    const QwPresetMeta* pBenchPresets;
    uint32_t uBenchPresetCount;
    // Optional: plug-in media the effect needs (model record, impulse response), built for a
    // sample rate and a preset name. Null when the effect reads no media.
    std::vector<uint8_t> (*pfnMakeMedia)(uint32_t in_uSampleRate, const char* in_pszPreset);
};

// Every effect the tool knows, in the module's walk order.
const std::vector<const QwEffectMeta*>& QwAllEffectMeta();
const QwEffectMeta* QwFindEffectMeta(uint32_t in_uPluginId);
// By short name or plug-in id written as a number.
const QwEffectMeta* QwFindEffectMeta(const char* in_pszNameOrId);
const QwParamMeta* QwFindParam(const QwEffectMeta& in_effect, const char* in_pszNameOrId);
