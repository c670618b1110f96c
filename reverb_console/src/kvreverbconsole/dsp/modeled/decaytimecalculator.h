// The decay slope of an impulse response in one-third-octave bands: each band's smoothed energy
// in dB, fitted by a line down to where the band meets its noise floor.
#pragma once
#include <cstdint>
#include "kvbase/common/common_smart_ptr.h"
#include "kvbase/common/common_vector.h"
#include "kvreverbconsole/dsp/modeled/butterworthfilterbank.h"

class DecayTimeCalculator
{
public:
    // Reserves two arrays a band for responses of up to in_uMaxLength samples: memory is spent
    // freely here (tens of megabytes for seconds of signal). in_fHighestFreq is kept only.
    DecayTimeCalculator(float in_fSampleRate, uint32_t in_uMaxLength, float in_fLowestFreq, float in_fHighestFreq);

    // Replaces every result. The band filters keep their state from call to call.
    void Calculate(uint32_t in_uLength, const float* in_pfSamples);

    uint32_t GetNumBands() const { return m_uNumBands; }
    float GetLowestFreq() const { return m_fLowestFreq; }
    // Kept as given; no calculation uses it.
    float GetHighestFreq() const { return m_fHighestFreq; }
    // Upper edge of band in_iBand in Hz.
    float GetBandFreq(uint32_t in_iBand) const;
    // dB per sample, negative.
    const common_vector<float>& GetDecaySlopes() const { return m_afDecaySlope; }
    const common_vector<float>& GetDecayIntercepts() const { return m_afDecayIntercept; }
    const common_vector<float>& GetBandLevelDb(uint32_t in_iBand) const { return m_aafBandLevelDb[in_iBand]; }

private:
    void FitBand(uint32_t in_iBand, uint32_t in_uLength);
    void SmoothSlopeDifferences();

    float m_fSampleRate;
    float m_fLowestFreq;
    float m_fHighestFreq;
    float m_fBandRatio;
    common_smart_ptr<ButterworthFilterBank> m_pFilterBank;
    uint32_t m_uNumBands = 0;
    common_vector<common_vector<float>> m_aafBandSignal;
    common_vector<common_vector<float>> m_aafBandLevelDb;
    common_vector<float*> m_apfBandSignal;
    common_vector<float> m_afDecaySlope;
    common_vector<float> m_afDecayIntercept;
};
