// The late reverberation: a feedback delay network of 8 or 16 lines whose lengths are powers
// of distinct primes, a band gain filter per line and a Hadamard mix, run a sub-block at a time.
#pragma once
#include <complex>
#include <cstdint>
#include "kvbase/common/common_checked_types.h"
#include "kvbase/common/common_smart_ptr.h"
#include "kvbase/common/common_vector.h"
#include "kvdspbase/dsp/ringbuffer.h"
#include "kvreverbconsole/dsp/fdn/bandgainfilter.h"
#include "kvreverbconsole/dsp/fdn/circulantmatrix.h"
#include "kvreverbconsole/dsp/fdn/hadamard.h"

class StereoFDN
{
public:
    static constexpr uint32_t NUM_PRIMES = 32;
    static const float MIN_DELAY_MS;
    static const float MAX_DELAY_MS;
    static const float DECAY_BASE; // a fall of 15 dB as a linear gain

    struct Line
    {
        float fInputGain = 1.0f;
        float fOutputGain = 1.0f;
        common_smart_ptr<RingBuffer> pDelay;
    };

    StereoFDN(float in_fSampleRate, uint32_t in_uBlockHint, uint32_t in_uNumChannels, uint32_t in_uExtraDelaySets,
              uint32_t in_uOrder);

    // In place on m_uNumChannels channels; the output is the wet signal only.
    void Process(uint32_t in_uFrames, float* const* io_ppChannels);

    // The forms of Process, all with the same result to the bit: PORTABLE runs whole sub-blocks
    // a step at a time without vector kernels; SSE2 and AVX2 run every step on four or eight
    // frames before the next; BEST is the fastest the processor has. Tests compare them.
    enum class Kernel : uint32_t { PORTABLE, SSE2, AVX2, BEST };
    static bool HasKernel(Kernel in_eKernel);
    void ProcessWith(Kernel in_eKernel, uint32_t in_uFrames, float* const* io_ppChannels);
    void Reset();

    void SetDelayTime(uint32_t in_iLine, float in_fMs);
    float GetDelayTime(uint32_t in_iLine) const { return m_afDelayMs[in_iLine]; }
    void SetInputGain(uint32_t in_iLine, float in_fGain) { m_aLines[in_iLine].fInputGain = in_fGain; }
    float GetInputGain(uint32_t in_iLine) const { return m_aLines[in_iLine].fInputGain; }
    void SetOutputGain(uint32_t in_iLine, float in_fGain) { m_aLines[in_iLine].fOutputGain = in_fGain; }
    float GetOutputGain(uint32_t in_iLine) const { return m_aLines[in_iLine].fOutputGain; }
    void SetPhase(uint32_t in_uIndex, float in_fRadians);
    float GetPhase(uint32_t in_uIndex) const { return m_afPhases[in_uIndex]; }

    void SetDecayTime(float in_fSeconds);
    float GetDecayTime() const { return m_fDecayTime; }
    void SetLowCrossover(float in_fHz);
    float GetLowCrossover() const { return m_fLowCrossover; }
    void SetHighCrossover(float in_fHz);
    float GetHighCrossover() const { return m_fHighCrossover; }
    void SetLowMultiplier(float in_fRatio);
    float GetLowMultiplier() const { return m_fLowMultiplier; }
    void SetMidMultiplier(float in_fRatio);
    float GetMidMultiplier() const { return m_fMidMultiplier; }
    void SetHighMultiplier(float in_fRatio);
    float GetHighMultiplier() const { return m_fHighMultiplier; }
    void SetMatrixType(uint32_t in_eType);
    uint32_t GetMatrixType() const { return m_eMatrixType; }

    uint32_t GetOrder() const { return m_uOrder; }
    // Stored only; nothing in the processing path reads it.
    uint32_t GetBlockHint() const { return m_uBlockHint; }
    uint32_t GetNumChannels() const { return m_uNumChannels; }
    uint32_t GetMinDelay() const { return m_uMinDelay; }
    // Achieved length of a line in samples (the prime power), not the time asked for.
    uint32_t GetLineLength(uint32_t in_iLine) const;
    // The per-sample band gain the band filter was last given for a multiplier.
    float BandGain(float in_fMultiplier) const;
    const CirculantMatrix* GetCirculant() const { return m_pCirculant.raw(); }

private:
    // One sub-block on the line buffers, from their start; returns the frames it did.
    using FusedBlock = uint32_t (*)(uint32_t, float* const*, float* const*, const float*, const float*,
                                    const BandGainFilter::Arrays&, float, bool);
    static FusedBlock ChooseFusedBlock(Kernel in_eKernel, uint32_t in_uOrder, uint32_t in_uChannels);
    // b frames of the lines, in place, a step at a time over the whole stretch.
    void SubBlock(float* const* ppLines, uint32_t b, float* const* io_ppChannels, uint32_t uOffset);
    void UpdateBand(uint32_t in_uBand, float in_fMultiplier);
    uint32_t MaxSamples() const;

    float m_fSampleRate;
    uint32_t m_uBlockHint;
    uint32_t m_uNumChannels;
    common_vector<float> m_afDelayMs;
    common_vector<float> m_afPhases;
    uint32_t m_eMatrixType = 1;
    float m_fDecayTime = 0.0f;
    float m_fLowCrossover = 0.0f;
    float m_fHighCrossover = 0.0f;
    float m_fLowMultiplier = 1.0f;
    float m_fMidMultiplier = 1.0f;
    float m_fHighMultiplier = 1.0f;
    common_vector<Line> m_aLines;
    uint32_t m_uMinDelay = 0;
    common_smart_ptr<CirculantMatrix> m_pCirculant;
    common_smart_ptr<Hadamard> m_pHadamard;
    common_vector<std::complex<float>> m_aEigenvalues;
    common_smart_ptr<BandGainFilter> m_pBandGain;
    common_vector<common_vector<common_smart_ptr<RingBuffer>>> m_aExtraDelays;
    common_aligned_vector<float> m_afOutput;
    common_vector<common_aligned_vector<float>> m_aafLineBuffers;
    common_vector<float*> m_apfLineBuffers;
    common_aligned_vector<float> m_afInput;
    uint32_t m_uOrder = 0;
};
