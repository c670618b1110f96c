// Splits a signal into up to three bands with first-order low-pass and high-pass sections.
// Bands come out as separate buffers; their sum is the caller's business. Two bands sum to the
// input exactly; three sum to 1 + LP(c0) x HP(c1) times the input, a lift that is part of the sound.
#pragma once
#include <cstdint>
#include "kvbase/common/common_range.h"
#include "kvbase/common/common_smart_ptr.h"
#include "kvbase/common/common_vector.h"
#include "kvdspbase/dsp/crossoverfilterset.h"

class CrossoverLR2
{
public:
    static constexpr uint32_t MAX_CROSSOVER_BANDS = 3;
    static constexpr uint32_t MAX_PROCESS_SAMPLE_FRAMES = 4096;
    static const float_range CUTOFF_RANGE;

    // Allocates everything, filters included; retuning and fading allocate nothing later.
    CrossoverLR2(float fSampleRate, uint32_t uNumChannels, uint32_t uNumBands, const common_vector<float>& fCutoffs);

    // Re-designs the active set in place, keeping the filters' state.
    void SetCutoff(uint32_t iBand, float fCutoffFreq);
    void SetCutoffs(const common_vector<float>& fCutoffs);
    float GetCutoff(uint32_t in_uIndex) const;
    void BeginCutoffCrossfade();
    // Reads the responses at m_fFIRFreqs, in dB; the frequency list is reserved and empty.
    void GetBandResponse(uint32_t iBand, common_vector<float>& dBAmplitudes) const;

    // Interleaved input of uNumChannels channels, de-interleaved into the channel pointers,
    // then the three-band path.
    void Process(uint32_t uSampleFrames, uint32_t uNumChannels, const float* pInput, float* const* ppChannels);
    void ProcessChannels(uint32_t uSampleFrames, const float* const* ppChannels);
    // The general path for 1 to 3 bands, with the cross-fade between filter sets.
    void ProcessFaded(uint32_t uSampleFrames, const float* const* ppChannels);
    void ProcessFadedInterleaved(uint32_t uSampleFrames, const float* pInput);

    float* GetBandBuffer(uint32_t in_uChannel, uint32_t in_uBand)
    {
        return m_afBands.data() + (in_uChannel * MAX_CROSSOVER_BANDS + in_uBand) * MAX_PROCESS_SAMPLE_FRAMES;
    }
    uint32_t GetNumValidBands() const { return m_uNumValidBands; }
    uint32_t GetNumBands() const { return m_uNumBands; }
    uint32_t GetFadeLength() const { return m_uFadeLength; }
    float FadeIn(uint32_t i) const { return m_fFadeIn[i]; }

private:
    void Design(CrossoverFilterSet& io_set);
    void WriteFirst(CrossoverFilterSet& io_set, uint32_t in_uBand);
    void WriteSecond(CrossoverFilterSet& io_set, uint32_t in_uBand);
    void RunThreeBand(CrossoverFilterSet& io_set, uint32_t uSampleFrames, const float* const* ppInputs);
    void RunGeneral(CrossoverFilterSet& io_set, uint32_t uSampleFrames, const float* const* ppInputs, float* pBank,
                    const float* pWindow, uint32_t uOffset);
    bool CheckFaded(uint32_t uSampleFrames);
    float* Band(float* pBank, uint32_t in_uChannel, uint32_t in_uBand) const
    {
        return pBank + (in_uChannel * MAX_CROSSOVER_BANDS + in_uBand) * MAX_PROCESS_SAMPLE_FRAMES;
    }

    uint32_t m_uFadeLength;
    uint32_t m_uNumChannels;
    float m_fSampleRate;
    float m_Coeffs[4];
    uint32_t m_uMode = 0;
    uint32_t m_uNumBands;
    uint32_t m_uNumValidBands = 0;
    common_vector<float> m_fCutoffs;
    common_aligned_vector<float> m_afBands;
    common_aligned_vector<float> m_afFadingBands;
    common_smart_ptr<CrossoverFilterSet> m_FilterSets[2];
    common_vector<float> m_fFadeIn;
    common_vector<float> m_fFadeOut;
    uint32_t m_uActiveSet = 0;
    uint32_t m_uFadeRemaining = 0;
    common_vector<float> m_fFIRFreqs;
    common_aligned_vector<float> m_afScratch;
    common_aligned_vector<float> m_afDeinterleaved;
    common_vector<const float*> m_apDeinterleaved;
};
