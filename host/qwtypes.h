// Plain records and result codes shared by the host and the module.
#pragma once
#include <cstddef>
#include <cstdint>

typedef uint32_t QwResult;

enum : QwResult {
    QW_Success = 1,
    QW_InputEnded = 17,          // as eState: the input has ended
    QW_UnknownParam = 31,
    QW_DataReady = 45,           // as eState: output now, more to come
    QW_OutOfMemory = 52,
    QW_UnsupportedChannels = 78,
    QW_MediaMissing = 79,
    QW_NoDataReady = 46,         // not enough input for a process block
};

// Bits 0-7 channel count, 8-11 configuration type (never read), 12-31 speaker mask.
typedef uint32_t QwChannelConfig;

enum : uint32_t {
    QW_SPEAKER_FRONT_LEFT = 0x001,
    QW_SPEAKER_FRONT_RIGHT = 0x002,
    QW_SPEAKER_CENTER = 0x004,
    QW_SPEAKER_LOW_FREQUENCY = 0x008,
    QW_SPEAKER_BACK_LEFT = 0x010,
    QW_SPEAKER_BACK_RIGHT = 0x020,
    QW_SPEAKER_SIDE_LEFT = 0x200,
    QW_SPEAKER_SIDE_RIGHT = 0x400,
};

enum : uint32_t {
    QW_MASK_MONO = 0x004,
    QW_MASK_STEREO = 0x003,
    QW_MASK_4_0 = 0x603,
    QW_MASK_5_0 = 0x607,
    QW_MASK_5_1 = 0x60F,
    QW_MASK_7_1 = 0x63F,
};

inline uint32_t QwChannelCount(QwChannelConfig in_uConfig) { return in_uConfig & 0xFFu; }
inline uint32_t QwSpeakerMask(QwChannelConfig in_uConfig) { return in_uConfig >> 12; }
inline QwChannelConfig QwMakeChannelConfig(uint32_t in_uCount, uint32_t in_uMask)
{
    return (in_uCount & 0xFFu) | (in_uMask << 12);
}
// True for the six layouts the layout-filtering effects accept.
bool QwIsKnownSpeakerMask(uint32_t in_uMask);

struct QwFormat
{
    uint32_t uSampleRate;
    QwChannelConfig uChannelConfig;
    uint32_t uFormatWord;
};

struct QwPluginInfo
{
    uint32_t eType;
    uint32_t uBuildVersion;
    bool bIsInPlace;
};

enum : uint32_t {
    QW_PLUGIN_TYPE_EFFECT = 3,
    QW_BUILD_VERSION = 0x7E501,
    QW_COMPANY_ID = 259,
};
