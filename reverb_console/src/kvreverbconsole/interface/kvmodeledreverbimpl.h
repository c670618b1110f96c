// The reverb's signal path: folds the stream to at most four reverb channels, runs the early
// convolution and the equalised feedback network, pre-delays the wet sum and adds it to the
// scaled dry signal. It knows nothing of the host.
#pragma once
#include <cstdint>
#include "kvbase/common/common_smart_ptr.h"
#include "kvbase/common/common_vector.h"
#include "kvdspbase/dsp/crossfadedelayline.h"
#include "kvreverbconsole/dsp/fdn/stereofdn.h"
#include "kvreverbconsole/dsp/modeled/kvmuconvolution.h"

class KvModeledReverbImpl
{
public:
    static constexpr uint32_t FRONT_SPEAKER_STEREO_PAIR = 0;
    static constexpr uint32_t REAR_SPEAKER_STEREO_PAIR = 1;
    static constexpr uint32_t NUM_SLOTS = 8;
    static const float WET_OUT_MIN;
    static const float WET_OUT_MAX;
    static const float DRY_OUT_MIN;
    static const float DRY_OUT_MAX;

    struct Gains
    {
        float fWet;
        float fDry;
    };

    // The maximum frames lead, as for every implementation built by the effect frame.
    KvModeledReverbImpl(uint16_t in_uMaxFrames, uint32_t in_uSampleRate, uint32_t in_uNumChannels, uint32_t in_uOrder,
                        uint32_t in_uEditLock, uint32_t in_bInterleaved);

    // False on a record of the wrong size (nothing changed) or on memory failure.
    bool LoadModel(uint32_t in_uSize, const uint8_t* in_pRecord);
    // Slots: 0, 1 front pair, 2, 3 rear pair, 4 centre, 5 low frequency, 6, 7 second rear pair.
    void Process(uint32_t in_uFrames, float* const* in_ppSlots);
    void ProcessInterleaved(uint32_t in_uTotalSamples, float* io_pInterleaved);
    void Reset();

    void SetPreDelay(uint32_t uSpeakerPair, float in_fMs);
    float GetPreDelay(uint32_t uSpeakerPair) const;

    bool SetDecayTime(float in_f);
    bool SetLowCrossover(float in_f);
    bool SetHighCrossover(float in_f);
    bool SetLowMultiplier(float in_f);
    bool SetMidMultiplier(float in_f);
    bool SetHighMultiplier(float in_f);
    float GetDecayTime() const { return m_pFDN.raw() ? m_pFDN.raw()->GetDecayTime() : 0.0f; }
    float GetLowCrossover() const { return m_pFDN.raw() ? m_pFDN.raw()->GetLowCrossover() : 0.0f; }
    float GetHighCrossover() const { return m_pFDN.raw() ? m_pFDN.raw()->GetHighCrossover() : 0.0f; }
    float GetLowMultiplier() const { return m_pFDN.raw() ? m_pFDN.raw()->GetLowMultiplier() : 0.0f; }
    float GetMidMultiplier() const { return m_pFDN.raw() ? m_pFDN.raw()->GetMidMultiplier() : 0.0f; }
    float GetHighMultiplier() const { return m_pFDN.raw() ? m_pFDN.raw()->GetHighMultiplier() : 0.0f; }

    // dB in; the limits are checked, and a value outside them is still used.
    void SetWetOut(uint32_t uSpeakerPair, float fWetOut);
    void SetDryOut(uint32_t uSpeakerPair, float fDryOut);
    void SetEarlyGain(float in_fLinear) { m_fEarlyGain = in_fLinear; }
    void SetLateGain(float in_fLinear) { m_fLateGain = in_fLinear; }

    uint32_t GetNumReverbChannels() const { return m_uNumReverbChannels; }
    float GetModelGain() const { return m_fModelGain; }
    const Gains& GetGains(uint32_t uSpeakerPair) const { return m_fGains[uSpeakerPair]; }
    StereoFDN* GetFDN() const { return m_pFDN.raw(); }

private:
    uint32_t m_uNumChannels;
    uint32_t m_uNumReverbChannels;
    uint32_t m_uSampleRate;
    uint32_t m_uMaxFrames;
    common_vector<common_aligned_vector<float>> m_aafEarly;
    common_vector<common_aligned_vector<float>> m_aafLate;
    common_vector<float*> m_apfLate;
    common_vector<float*> m_apfEarly;
    Gains m_fGains[2];
    common_smart_ptr<StereoFDN> m_pFDN;
    common_smart_ptr<KvMuConvolution> m_pLateConvolution;
    common_smart_ptr<KvMuConvolution> m_pEarlyConvolution;
    float m_fModelGain = 1.0f;
    common_vector<common_smart_ptr<CrossfadeDelayLine>> m_apPreDelay;
    float m_fEarlyGain = 1.0f;
    float m_fLateGain = 1.0f;
    bool m_bEditable = true;
    bool m_bInterleaved = false;
    common_vector<common_aligned_vector<float>> m_aafInterleaved;
    common_vector<float*> m_apfInterleaved;
};
