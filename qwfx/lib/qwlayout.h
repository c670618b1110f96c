// The speaker layouts a user can name, and the channel word the module receives.
#pragma once
#include <cstdint>
#include <string>

struct QwLayout
{
    const char* pszName;  // "mono", "stereo", "4.0", "5.0", "5.1", "7.1"
    uint32_t uChannels;
    uint32_t uMask;
    // Channel count in bits 0-7, speaker mask from bit 12.
    uint32_t ChannelConfig() const { return uChannels | (uMask << 12); }
};

// Null for a name not in the list.
const QwLayout* QwFindLayout(const std::string& in_sName);
// The layout of that many channels, or null (3, 7, more than 8).
const QwLayout* QwDefaultLayout(uint32_t in_uChannels);
// A channel count with no named layout gets no speaker mask: effects that only count
// channels still run, those that filter layouts refuse it with 78.
uint32_t QwChannelConfigFor(uint32_t in_uChannels, const QwLayout* in_pLayout);
// "mono, stereo, 4.0, 5.0, 5.1, 7.1"
std::string QwLayoutNames();
