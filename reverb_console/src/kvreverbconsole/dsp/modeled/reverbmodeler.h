// Fits a measured multichannel impulse response to the stereo feedback network: the network's
// decay settings, one shared equalising FIR and a per-channel early-response FIR. Authoring only:
// it allocates megabytes and runs for a while, so no effect constructs or calls it.
#pragma once
#include <cstdint>
#include "kvbase/common/common_smart_ptr.h"
#include "kvbase/common/common_vector.h"
#include "kvreverbconsole/dsp/fdn/stereofdn.h"

class DecayTimeCalculator;
class EchoDensityCalculator;
class Fft;

class ReverbModeler
{
public:
    // in_uExtraDelaySets and in_uOrder go untouched to the StereoFDN (2 channels, block hint
    // round(0.3 x rate)). Allocates.
    ReverbModeler(float in_fSampleRate, uint32_t in_uMaxLength, uint32_t in_uExtraDelaySets, uint32_t in_uOrder);
    ~ReverbModeler();
    ReverbModeler(const ReverbModeler&) = delete;
    ReverbModeler& operator=(const ReverbModeler&) = delete;

    // in_ppfImpulse holds one array of in_uLength samples per network channel. With
    // in_bReuseAnalysis the retained target, transition, onset and the network as it now stands
    // are used, and only the equalising and early filters are derived again.
    void Model(uint32_t in_uLength, const float* const* in_ppfImpulse, bool in_bReuseAnalysis);

    float GetDecayTime() const;
    float GetLowCrossover() const;
    float GetHighCrossover() const;
    float GetLowMultiplier() const;
    float GetMidMultiplier() const;
    float GetHighMultiplier() const;
    void CopyFDNParametersTo(StereoFDN& out_fdn) const;

    // m_sFilterLength taps, shared by every channel.
    const common_vector<float>& GetEqFilter() const { return m_afEqFilter; }
    // m_uTransition - m_uOnset taps.
    const common_vector<float>& GetEarlyResponse(uint32_t in_iChannel) const
    {
        return m_aafEarlyResponse[in_iChannel];
    }
    // One entry a channel; every entry points at the shared equalising filter.
    const common_vector<float*>& GetEqFilterPointers() const { return m_apfEqFilter; }
    const common_vector<float*>& GetEarlyResponsePointers() const { return m_apfEarlyResponse; }
    float GetNormGain() const { return m_fNormGain; }
    uint32_t GetFilterLength() const { return m_sFilterLength; }
    uint32_t GetTransition() const { return m_uTransition; }
    uint32_t GetOnset() const { return m_uOnset; }
    uint32_t GetNumChannels() const { return m_aafEarlyResponse.size(); }
    float GetSampleRate() const { return m_fSampleRate; }
    // To change the network before a Model(..., true).
    StereoFDN* GetFDN() { return m_pFDN.raw(); }
    const StereoFDN* GetFDN() const { return m_pFDN.raw(); }

    // Intermediate results, for inspection.
    const common_vector<float>& GetDensitySmoothed() const { return m_afDensitySmoothed; }
    const common_vector<float>& GetFDNImpulse(uint32_t in_iChannel) const { return m_aafFDNImpulse[in_iChannel]; }
    const common_vector<float>& GetFilteredFDN(uint32_t in_iChannel) const { return m_aafFilteredFDN[in_iChannel]; }

private:
    uint32_t FindTransition(uint32_t in_uLength);
    void FitDecay(uint32_t in_uTail, const float* in_pfTail);
    void RunFDNImpulse(uint32_t in_uCount);
    void DesignEqualiser(uint32_t in_uFilter, uint32_t in_uWindow, const float* in_pfTarget, const float* in_pfFDN);
    void DesignKernel(const float* in_pfGains, uint32_t in_uLength, float* out_pfTaps, float in_fBeta);
    void ComputeEarly(uint32_t in_uCrossfade, const float* const* in_ppfImpulse);
    static float BandLevel(const common_vector<float>& in_afFrequencies, const common_vector<float>& in_afMagnitudes,
                           float in_fLo, float in_fHi);

    float m_fSampleRate;
    common_vector<float> m_afTargetMono;
    common_vector<float> m_afTargetEnergy;
    common_vector<float> m_afTargetEnvelope;
    common_smart_ptr<EchoDensityCalculator> m_pEchoDensityCalc;
    uint32_t m_uTransition = 0;
    common_vector<float> m_afDensitySmoothed;
    common_smart_ptr<DecayTimeCalculator> m_pDecayTimeCalc;
    common_vector<float> m_afBandScratch;
    common_smart_ptr<StereoFDN> m_pFDN;
    common_vector<common_vector<float>> m_aafFDNImpulse;
    common_vector<float> m_afFDNMono;
    uint32_t m_sFilterLength = 8;
    common_smart_ptr<Fft> m_pFFT;
    common_vector<float> m_afFFTBuffer;
    common_vector<float> m_afTargetMagnitude;
    common_vector<float> m_afFDNMagnitude;
    common_vector<float> m_afBinFrequencies;
    common_vector<float> m_afSmoothingCoeffs;
    common_vector<float> m_afCorrectionDb;
    common_vector<float> m_afEqFilter;
    common_vector<common_vector<float>> m_aafFilteredFDN;
    common_vector<float*> m_apfEqFilter;
    common_vector<float*> m_apfEarlyResponse;
    common_vector<common_vector<float>> m_aafEarlyResponse;
    float m_fNormGain = 1.0f;
    uint32_t m_uOnset = 0;
};
