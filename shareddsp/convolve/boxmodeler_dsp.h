// The box modeler's signal path: one impulse response (a speaker or cabinet), handed over as
// plug-in media, convolved with every channel at a fixed block length and mixed with the dry
// signal. SetMedia, LoadModel and a change of trim or length fraction may allocate.
#pragma once
#include <cstdint>
#include "kvbase/common/common_checked_types.h"
#include "kvbase/common/common_vector.h"
#include "kvdspbase/dsp/uniformpartconv.h"

class BoxModelerDsp
{
public:
    enum : uint32_t {
        MAX_CHANNELS = 8,
        MAX_MODEL_TAPS = 1000000,
        IMPULSE_CAPACITY = 4096,
        NUM_MODES = 3,
    };
    enum : uint32_t {
        PARAM_INPUT_GAIN = 0,
        PARAM_OUTPUT_GAIN = 1,
        PARAM_WET = 2,
        PARAM_TRIM_LEVEL = 3,
        PARAM_LENGTH_FRACTION = 4,
    };

    BoxModelerDsp(uint32_t in_uNumChannels, float in_fSampleRate, uint32_t in_uBlockFrames, const char* in_pszName);
    virtual void SetSampleRate(float in_fSampleRate);
    virtual ~BoxModelerDsp();

    // Keeps a copy of the blob: f32 gain in dB, u32 tap count, then the taps.
    bool SetMedia(uint32_t in_uSize, const uint8_t* in_pData);
    bool SetModel(uint32_t in_uIndex);
    void SetMode(uint32_t in_uMode);
    void SetParam(uint32_t in_uIndex, float in_fValue);
    float GetParam(uint32_t in_uIndex) const;

    // In place, every channel through the same kernel; always runs a whole block.
    void Process(uint32_t in_uFrames, float** io_ppChannels);
    // Clears the signal state, keeps the kernel.
    void Reset();

    bool IsModelValid() const { return m_uModelIndex.IsValid(); }
    uint32_t GetTapsUsed() const { return m_uTapsUsed; }
    float GetInputGain() const { return m_fInputGain; }
    uint32_t GetNumChannels() const { return m_uNumChannels; }
    uint32_t GetBlockFrames() const { return m_uBlockFrames; }
    float GetTrimThreshold() const { return m_fTrimThreshold; }
    uint32_t GetMode() const { return m_uMode; }
    // Set at construction and never cleared: nothing switches the engine off yet.
    bool IsActive() const { return m_bActive; }
    bool IsConvolving() const { return m_bConvolve; }
    // The anti-denormal counters live here so that a model load restarts them.
    uint8_t& DenormalCounterIn() { return m_uDenormalCounterIn; }
    uint8_t& DenormalCounterOut() { return m_uDenormalCounterOut; }

private:
    bool LoadModel(uint32_t in_uIndex, bool in_bForce);
    void TrimImpulse();
    void LoadKernel();
    uint32_t ReadBlobU32(uint32_t in_uOffset) const;

    float m_fSampleRate;
    uint32_t m_uNumChannels;
    uint32_t m_uBlockFrames;
    bool m_bActive = true;
    bool m_bConvolve = true;
    common_vector<common_aligned_vector<float>> m_wetChannels;
    common_vector<char> m_name;
    checked_value<uint32_t> m_uModelIndex;
    uint32_t m_uMode = 0;
    // Off the scale until the defaults go in, so that the first real value is always a change.
    float m_fInputGainDb = 11.0f;
    float m_fOutputGainDb = 11.0f;
    float m_fWetPercent = 101.0f;
    float m_fTrimLevel = 11.0f;
    float m_fLengthFraction = 11.0f;
    float m_fTrimThreshold = 0.0f;
    float m_fInputGain = 1.0f;
    float m_fOutputGain = 1.0f;
    float m_fWet = 1.0f;
    float m_fModelGain = 1.0f;
    uint32_t m_uTapsUsed = 0;
    common_vector<float> m_impulse;
    uint8_t m_uDenormalCounterIn = 0;
    uint8_t m_uDenormalCounterOut = 0;
    UniformPartConv m_conv;
    common_vector<uint8_t> m_modelBlob;
};
