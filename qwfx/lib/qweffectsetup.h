// Brings an effect instance from registration record to ready-to-run: parameter object with
// its block and settings, then the effect's Init. Shared by render, demo and bench.
#pragma once
#include <cstdint>
#include <string>
#include <vector>
#include "qwfx/lib/qweffectinstance.h"
#include "qwfx/lib/qweffectmeta.h"
#include "qwfx/lib/qwparamvalue.h"

struct QwEffectSetup
{
    const QwPluginRegistration* pRecord = nullptr;
    const QwEffectMeta* pMeta = nullptr;   // may be null: no table, defaults and raw blocks only
    std::vector<uint8_t> paramBlock;        // empty: the effect's defaults
    std::vector<QwParamSetting> settings;   // applied after the block, in order
    QwFormat format = {48000, 0, 0};
    uint16_t uBlockFrames = 512;
    std::vector<uint8_t> media;             // plug-in media index 0
};

// On failure out_sError names the step and the meaning of the module's result code.
bool QwPrepareEffect(QwEffectInstance& io_instance, const QwEffectSetup& in_setup, std::string& out_sError);

// The display name of an effect: its short name, or "plug-in N" for an id without one.
std::string QwEffectDisplayName(uint32_t in_uPluginId);
