// What the bundle's Turtle and its binary must agree on: plug-in and property URIs, port
// symbols and the order of the ports. Both are built from the host library's parameter tables.
#pragma once
#include <cstdint>
#include <string>
#include <vector>
#include "qwfx/lib/qweffectmeta.h"

#define QW_LV2_URI_BASE "https://kvfx.invalid/lv2/"

// Stereo in and out: the one layout every effect of the module takes.
enum : uint32_t { QW_LV2_CHANNELS = 2, QW_LV2_CHANNEL_CONFIG = 2u | (0x3u << 12) };

// QW_LV2_URI_BASE followed by the short name qwfx list prints.
std::string QwLv2PluginUri(const QwEffectMeta& in_meta);
// The property a host sets with patch:Set to choose the media file.
std::string QwLv2MediaPropertyUri(const QwEffectMeta& in_meta);
// The qwfx params name with '-' replaced by '_' (LV2 symbols are C identifiers).
std::string QwLv2PortSymbol(const char* in_pszParamName);

bool QwLv2TakesMedia(const QwEffectMeta& in_meta);
// A value the effect only reads at Init (the reverb's order), or one whose change allocates
// inside Execute (a filter type): a change rebuilds the instance off the audio thread.
bool QwLv2RebuildsOnChange(const QwEffectMeta& in_meta, const QwParamMeta& in_param);

// Port indices: one control input per table row in table order, then audio in, audio out,
// the latency output and, for effects that take media, the atom control input and notify output.
struct QwLv2Ports
{
    uint32_t uParams;
    bool bMedia;

    explicit QwLv2Ports(const QwEffectMeta& in_meta)
        : uParams(in_meta.uParamCount), bMedia(QwLv2TakesMedia(in_meta))
    {
    }
    uint32_t AudioIn(uint32_t in_uChannel) const { return uParams + in_uChannel; }
    uint32_t AudioOut(uint32_t in_uChannel) const { return uParams + QW_LV2_CHANNELS + in_uChannel; }
    uint32_t Latency() const { return uParams + 2 * QW_LV2_CHANNELS; }
    uint32_t Control() const { return Latency() + 1; }
    uint32_t Notify() const { return Latency() + 2; }
    uint32_t Count() const { return bMedia ? Notify() + 1 : Latency() + 1; }
};

// The module's effects that have a parameter table, in walk order: the plug-ins of the bundle.
struct QwPluginRegistration;
class QwModule;
struct QwLv2Effect
{
    const QwPluginRegistration* pRecord;
    const QwEffectMeta* pMeta;
};
std::vector<QwLv2Effect> QwLv2Effects(const QwModule& in_module);
