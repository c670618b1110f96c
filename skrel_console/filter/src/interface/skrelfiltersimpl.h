// The filters effect's DSP side: one three-filter chain per channel, each run over a whole
// block of the maximum size so that LFOs and filters advance at a constant rate.
#pragma once
#include <cstdint>
#include "kvbase/common/common_smart_ptr.h"
#include "kvbase/common/common_vector.h"
#include "shareddsp/filters/prefilter_dsp.h"

class SkrelFiltersImpl
{
public:
    enum : uint32_t {
        PARAMS_PER_FILTER = 12,
        NUM_PARAMS = PARAMS_PER_FILTER * PrefilterDsp::NUM_FILTERS,
        // k within a filter's group of 12
        PARAM_TYPE = 0,
        PARAM_FREQUENCY = 1,
        PARAM_Q = 2,
        PARAM_RESONANCE = 3,
        PARAM_GAIN = 4,
        PARAM_MODE = 5,
        PARAM_LFO_SHAPE = 6,
        PARAM_LFO_PERIOD = 7,
        PARAM_FREQUENCY2 = 8,
        PARAM_GAIN2 = 9,
        PARAM_Q2 = 10,
        PARAM_RESONANCE2 = 11,
    };

    // The frame passes the maximum block first.
    SkrelFiltersImpl(uint32_t in_uMaxBlockFrames, float in_fSampleRate, uint32_t in_uNumChannels,
                     bool in_bInterleaved);

    // Ids with k = 0 (type), 5 (mode), 6 (LFO shape), sent to every channel; true if every
    // channel took it. A type change allocates.
    bool SetIntParam(uint32_t in_uId, uint32_t in_uValue);
    // The other ids. May allocate (it reconfigures through SetType).
    bool SetFloatParam(uint32_t in_uId, float in_fValue);
    bool SetBoolParam(uint32_t in_uId, bool in_bValue);
    // Read from channel 0.
    uint32_t GetIntParam(uint32_t in_uId) const;
    float GetFloatParam(uint32_t in_uId) const;

    void Reset();
    void ProcessDeinterleaved(uint32_t in_uFrames, float* const* io_ppChannels);
    void ProcessInterleaved(uint32_t in_uSamples, float* io_pBuffer);

    uint32_t NumChannels() const { return m_uNumChannels; }
    uint32_t MaxBlockFrames() const { return m_uMaxBlockFrames; }
    const PrefilterDsp* Channel(uint32_t in_uChannel) const
    {
        return in_uChannel < m_pFilters.size() ? m_pFilters[in_uChannel].raw() : nullptr;
    }

private:
    void ProcessChannel(uint32_t in_uChannel, uint32_t in_uFrames, float* io_pSamples);

    common_vector<common_smart_ptr<PrefilterDsp>> m_pFilters;
    common_aligned_vector<float> m_scratch;
    common_vector<float*> m_scratchList;
    uint32_t m_uNumChannels;
    uint32_t m_uMaxBlockFrames;
    bool m_bInterleaved;
    common_aligned_vector<float> m_interleavedScratch;
    common_vector<float*> m_interleavedList;
};
