// What the bundle's Turtle and its binary must agree on: plug-in and property URIs, port
// symbols and the order of the ports. Both are built from the host library's parameter tables.
#pragma once
#include <cstdint>
#include <string>
#include <vector>
#include "qwfx/lib/qweffectmeta.h"

#define QW_LV2_URI_BASE "https://kvfx.invalid/lv2/"

enum : uint32_t { QW_LV2_MAX_CHANNELS = 8 };

// The layouts each effect is offered in: stereo under the effect's own name, then mono and 5.1
// under the name with a suffix.
struct QwLv2Layout
{
    const char* pszSuffix;              // "", "-mono", "-5.1"
    const char* pszLabel;               // "stereo", "mono", "5.1"
    uint32_t uChannels;
    uint32_t uChannelConfig;            // count in bits 0-7, speaker mask from bit 12
    const char* const* apszChannels;    // per channel: symbol suffix ("" for mono) and name
};
const std::vector<QwLv2Layout>& QwLv2Layouts();
const QwLv2Layout& QwLv2Stereo();

// QW_LV2_URI_BASE, the short name qwfx list prints, the layout's suffix.
std::string QwLv2PluginUri(const QwEffectMeta& in_meta, const QwLv2Layout& in_layout = QwLv2Stereo());
// The property a host sets with patch:Set to choose the media file (one for all layouts).
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
    uint32_t uChannels;
    bool bMedia;

    QwLv2Ports(const QwEffectMeta& in_meta, const QwLv2Layout& in_layout)
        : uParams(in_meta.uParamCount), uChannels(in_layout.uChannels), bMedia(QwLv2TakesMedia(in_meta))
    {
    }
    uint32_t AudioIn(uint32_t in_uChannel) const { return uParams + in_uChannel; }
    uint32_t AudioOut(uint32_t in_uChannel) const { return uParams + uChannels + in_uChannel; }
    uint32_t Latency() const { return uParams + 2 * uChannels; }
    uint32_t Control() const { return Latency() + 1; }
    uint32_t Notify() const { return Latency() + 2; }
    uint32_t Count() const { return bMedia ? Notify() + 1 : Latency() + 1; }
};

// The plug-ins of the bundle: the module's effects that have a parameter table, in walk order,
// each in every layout.
struct QwPluginRegistration;
class QwModule;
struct QwLv2Effect
{
    const QwPluginRegistration* pRecord;
    const QwEffectMeta* pMeta;
    const QwLv2Layout* pLayout;
};
std::vector<QwLv2Effect> QwLv2Effects(const QwModule& in_module);
