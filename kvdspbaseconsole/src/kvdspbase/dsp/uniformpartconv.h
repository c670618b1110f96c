// Uniformly partitioned FFT convolution driven with exactly one partition of samples a call,
// for all channels at once. It adds no latency of its own; the caller's block gathering is the
// only delay.
#pragma once
#include <cstdint>
#include "kvbase/common/common_vector.h"
#include "kvdspbase/dsp/fft.h"
#include "kvdspbase/dsp/spectrumring.h"

class UniformPartConv
{
public:
    // Sets up the transform at twice the block size (allocates). A block size of 0 leaves the
    // object unable to load an impulse.
    UniformPartConv(uint32_t uNumChannels, uint32_t uBlockSize);

    // Loads the impulse over the old one. Allocates, so it belongs to initialisation. Returns
    // false when an allocation failed (the object then outputs silence).
    bool SetImpulse(uint32_t uNumTaps, const float* pTaps);
    // In place, one array per channel of exactly the block size. Allocates nothing.
    void ProcessBlock(float* const* ppChannels);
    // Clears the signal state, keeps the kernel.
    void Reset();

    uint32_t NumPartitions() const { return m_uNumPartitions; }
    uint32_t BlockSize() const { return m_uBlockSize; }
    // Tests compare the vector kernels with the portable ones through this switch.
    void UseSimd(bool bAllow)
    {
        m_FFT.UseSimd(bAllow);
        m_pfnMac = SelectSpectrumRingMac(bAllow);
    }

private:
    uint32_t Stride() const { return 2 * m_uBlockSize + 2; }

    uint32_t m_uNumChannels;
    uint32_t m_uNumPartitions;
    uint32_t m_uBlockSize;
    Fft m_FFT;
    common_aligned_vector<float> m_afWork;
    common_aligned_vector<float> m_afSpectrumSum;
    common_vector<common_aligned_vector<float>> m_aafOverlap;
    // Per channel, the P slots of the frequency-domain delay line, one after another.
    common_vector<common_aligned_vector<float>> m_aaafDelayLine;
    // The partition spectra, one after another (2B + 2 floats each).
    common_aligned_vector<float> m_aafKernel;
    uint32_t m_uSlot;
    bool m_bReady;
    SpectrumRingMacFn m_pfnMac;
};
