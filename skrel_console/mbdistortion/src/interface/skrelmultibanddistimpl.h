// DSP side of the multiband distortion: per channel a three-band crossover and a distortion
// grid with two slots per band; the bands are summed by plain addition.
#pragma once
#include <cstdint>
#include "kvbase/common/common_smart_ptr.h"
#include "kvbase/common/common_vector.h"
#include "kvdspbase/dsp/crossoverlr2.h"
#include "shareddsp/distortions/skreldistortion/distortion_dsp.h"

class SkrelMultibandDistImpl
{
public:
    static constexpr uint32_t NUM_USED_BANDS = 3;
    static constexpr uint32_t PARAMS_PER_GROUP = 6; // five floats and the algorithm
    static constexpr uint32_t ALGORITHM_OFFSET = 5;
    static constexpr uint32_t CUTOFF_0 = 36;
    static constexpr uint32_t CUTOFF_1 = 37;

    // Allocates; check the allocator's sticky flag afterwards.
    SkrelMultibandDistImpl(uint16_t in_uBlockSize, float in_fSampleRate, uint32_t in_uChannels, bool in_bInterleaved);

    void Reset() {} // the distortion state is kept across a host reset

    // Host identifiers: 6g + 0..4 floats of group g = 2 x band + slot, 36 and 37 the cut-offs.
    bool SetFloatParameter(uint32_t in_uId, float in_fValue);
    // Host identifiers 6g + 5.
    bool SetUIntParameter(uint32_t in_uId, uint32_t in_uValue);

    void SetSlotValue(uint32_t in_uIndex, float in_fValue, uint32_t iSlot, uint32_t iBand);
    void SetAlgorithm(uint32_t in_uAlgorithm, uint32_t iSlot, uint32_t iBand);
    void SetCutoff(uint32_t iCutoff, float in_fHz);

    float GetParameter(uint32_t in_uIndex, uint32_t iSlot, uint32_t iBand) const;
    uint32_t GetAlgorithm(uint32_t iSlot, uint32_t iBand) const;
    float GetCutoff(uint32_t iCutoff) const;
    uint32_t NumChannels() const { return m_uChannels; }
    CrossoverLR2* Crossover(uint32_t in_uChannel) const { return m_apCrossovers[in_uChannel].raw(); }

    void Process(uint32_t in_uFrames, float* const* in_ppChannels);
    void ProcessInterleaved(uint32_t in_uSamples, float* io_pInterleaved);

private:
    void ProcessChannel(uint32_t in_uChannel, float* io_pChannel, uint32_t in_uFrames);

    common_vector<common_smart_ptr<DistortionDsp>> m_apDistortion;
    common_vector<common_smart_ptr<CrossoverLR2>> m_apCrossovers;
    common_aligned_vector<float> m_scratch;
    uint32_t m_uChannels;
    bool m_bBypass = false;
    uint32_t m_uBlockSize;
    bool m_bInterleaved;
    common_vector<common_aligned_vector<float>> m_channelBuffers;
};
