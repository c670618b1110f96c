// The dynamics effect's DSP side: one DynamicsDsp per channel, unlinked, each run over whole
// blocks (a short block through a zero-padded scratch) so that its state advances at a
// constant rate. Channels run in groups of up to four, side by side.
#pragma once
#include <cstdint>
#include "kvbase/common/common_smart_ptr.h"
#include "kvbase/common/common_vector.h"
#include "shareddsp/dynamics/dynamicsdsp.h"

class SkrelDynamicsImpl
{
public:
    // Parameter identifiers, the same as the host's.
    enum : uint16_t {
        ID_BYPASS = 0,
        ID_COMP_THRESHOLD = 1,
        ID_COMP_RATIO = 2,
        ID_COMP_ATTACK = 3,
        ID_COMP_RELEASE = 4,
        ID_EXP_THRESHOLD = 5,
        ID_EXP_RATIO = 6,
        ID_EXP_ATTACK = 7,
        ID_EXP_RELEASE = 8,
        ID_OUTPUT_GAIN = 9,
    };
    // The stage of each DynamicsDsp that this effect drives.
    enum : uint32_t { EFFECT_STAGE = 3 };

    // Allocates everything; a failure shows in the sticky out-of-memory flag and leaves a
    // partly built object that the destructor still tears down.
    SkrelDynamicsImpl(uint16_t in_uMaxFrames, float in_fSampleRate, uint32_t in_uNumChannels, bool in_bInterleaved);

    // Id 0 only: stores the bypass.
    bool SetBoolParam(uint16_t in_uId, bool in_bValue);
    // Ids 1 to 9, forwarded to every channel.
    bool SetFloatParam(uint16_t in_uId, float in_fValue);
    bool GetBoolParam(uint16_t in_uId) const;
    float GetFloatParam(uint16_t in_uId) const;

    void Reset();

    // One pointer per channel, each to at least in_uFrames samples, processed in place.
    void Process(uint32_t in_uFrames, float* const* io_ppChannels);
    // Frames interleaved channel by channel; only for an object built interleaved.
    void ProcessInterleaved(uint32_t in_uTotalSamples, float* io_pInterleaved);

    uint32_t NumChannels() const { return m_uNumChannels; }
    uint32_t BlockFrames() const { return m_uBlockFrames; }
    const DynamicsDsp& GetDsp(uint32_t in_uChannel) const { return *m_pDynamics[in_uChannel]; }

private:
    void ProcessChannel(uint32_t in_uChannel, uint32_t in_uFrames, float* io_pSamples);

    common_vector<common_smart_ptr<DynamicsDsp>> m_pDynamics;
    common_aligned_vector<float> m_scratch;
    uint32_t m_uNumChannels;
    bool m_bBypass = false;
    uint32_t m_uBlockFrames;
    bool m_bInterleaved;
    common_aligned_vector<float> m_deinterleaved; // channels x block, interleaved mode only
};
