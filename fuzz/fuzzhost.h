// What every fuzz target shares: the seven effects built in-process from their registration
// records, a budgeted allocator that must get every block back, a silent assertion slot (the
// inputs are hostile, so assertions are expected; crashes, leaks and sanitizer reports are
// the findings), and a few blocks of audio through an instance.
#pragma once
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>
#include "host/qwassert.h"
#include "qwfx/lib/qweffectinstance.h"
#include "qwfx/lib/qweffectmeta.h"
#include "qwfx/lib/qwhostallocator.h"
#include "qwfx/lib/qwlayout.h"
#include "reverb_console/qwent/audioenginefx/src/bivrelreverb_qwentfx.h"
#include "skrel_console/box_modeler/qwent/audioenginefx/kvskrelboxmodelerfx.h"
#include "skrel_console/delay/qwent/audioenginefx/kvskreldelayfx.h"
#include "skrel_console/distortion/qwent/audioenginefx/kvskreldistortionfx.h"
#include "skrel_console/dynamics/qwent/audioenginefx/kvskreldynamicsfx.h"
#include "skrel_console/filter/qwent/audioenginefx/kvskrelfiltersfx.h"
#include "skrel_console/mbdistortion/qwent/audioenginefx/kvskrelmultibanddistortionfx.h"

namespace fuzzhost {

// Enough for every effect at the largest block used here; a record that asks for more is
// refused by the budget, as a game's pool would.
const uint64_t MEMORY_LIMIT = 64u << 20;

inline void IgnoreAssert(const char*, const char*, int) {}

inline const QwPluginRegistration* Record(uint32_t in_uIndex)
{
    static const QwPluginRegistration* const s_apRecords[] = {
        BivrelReverbRegistration(),      KvSkrelBoxModelerRegistration(), KvSkrelDelayRegistration(),
        KvSkrelDistortionRegistration(), KvSkrelDynamicsRegistration(),   KvSkrelFiltersRegistration(),
        KvSkrelMultibandDistortionRegistration()};
    g_pQWPluginList.QwAssertHook = &IgnoreAssert;
    return s_apRecords[in_uIndex % 7];
}

// The host's media for an effect that reads it, built once per sample rate.
inline const std::vector<uint8_t>& DefaultMedia(const QwEffectMeta& in_meta)
{
    static std::vector<uint8_t> s_media[10];
    std::vector<uint8_t>& media = s_media[in_meta.uPluginId % 10];
    if (media.empty() && in_meta.pfnMakeMedia)
        media = in_meta.pfnMakeMedia(48000, in_meta.pBenchPresets[0].pszName);
    return media;
}

// A few blocks through the effect: full, short, empty, then the end of the stream and two
// blocks of its tail.
inline void RunBlocks(QwEffectPlugin& io_effect, uint32_t in_uChannelConfig, uint16_t in_uMaxFrames)
{
    const uint32_t uChannels = in_uChannelConfig & 0xFF;
    std::vector<float> block(static_cast<size_t>(uChannels) * in_uMaxFrames);
    const uint16_t auValid[] = {in_uMaxFrames, static_cast<uint16_t>(in_uMaxFrames / 3), 0, in_uMaxFrames, 0, 0};
    for (size_t b = 0; b < 6; ++b) {
        for (size_t i = 0; i < block.size(); ++i)
            block[i] = static_cast<float>((i * 2654435761u + b) % 2001) * 0.001f - 1.0f;
        QwAudioBuffer buffer = {block.data(), in_uChannelConfig, b >= 3 ? 17u : 45u, in_uMaxFrames, auValid[b]};
        io_effect.Execute(&buffer);
        if (buffer.uValidFrames > in_uMaxFrames)
            std::abort();
    }
}

// Term of both objects must give the allocator back every block.
inline void ReleaseBalanced(QwEffectInstance& io_instance, const QwHostAllocator& in_allocator)
{
    io_instance.Release();
    if (!in_allocator.Balanced() || in_allocator.BadFrees() != 0)
        std::abort();
}

} // namespace fuzzhost
