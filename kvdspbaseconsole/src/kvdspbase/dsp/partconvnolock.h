// Zero-latency uniformly partitioned FFT convolution for any call length: the first partition
// runs directly on whatever samples arrive, the later ones once a whole partition has gathered,
// landing in the overlap buffer just as their first output sample falls due.
#pragma once
#include <cstdint>
#include "kvbase/common/common_vector.h"
#include "kvdspbase/dsp/fft.h"
#include "kvdspbase/dsp/spectrumring.h"

// Later partitions of all channels share one spectrum sum that is cleared only after the last
// channel, so objects with more than one channel are only correct while the impulse fits one
// partition. Callers build one object a channel (ProcessMono asserts it).
class PartConvNoLock
{
public:
    // Allocates everything for up to uMaxTaps taps; loads of at most that many allocate nothing.
    PartConvNoLock(uint32_t uMaxTaps, uint32_t uNumChannels, uint32_t uBlockOrder);

    // Loads taps over the old ones in place. A different tap count re-plans the partitions
    // (allocating if it exceeds the construction size). bKeepState false ends with Reset.
    bool SetTaps(uint32_t uNumTaps, const float* pTaps, bool bKeepState);
    // As SetTaps with in_pOwner's taps, without a copy: reads in_pOwner's kernel, which must stay
    // loaded as it is while this object runs (a multichannel owner loads both together). Channels
    // on one response thus keep one kernel in the cache. Null, or an owner of another partition
    // length or without a kernel of its own, goes back to this object's kernel (silent until
    // loaded again) and gives false. Ends with Reset.
    bool ShareTaps(const PartConvNoLock* in_pOwner);
    // In place, one array per channel; any sample count. Allocates nothing.
    void Process(uint32_t uNumSamples, float* const* ppChannels);
    void ProcessMono(uint32_t uNumSamples, float* pSamples);
    // ProcessMono of this object and of io_twin, another one-channel object of the same partition
    // length, on the same input: pSamples and pTwinSamples hold equal samples on entry. Each input
    // transform is made once and serves both, with the same bits as two separate runs. Objects
    // out of step (another partition length or position) simply run one after the other.
    // With bDeferLater set, the later partitions of a partition that a chunk completes wait for
    // FinishLater, which must come before the next call (callers stop calls at ChunkLeft).
    void ProcessMonoBeside(uint32_t uNumSamples, float* pSamples, PartConvNoLock& io_twin, float* pTwinSamples,
                           bool bDeferLater = false);
    // The pending later partitions of this object and of io_pOther (may be null): in one pass over
    // the kernel when both read the same kernel at the same ring position. Same bits either way.
    void FinishLater(PartConvNoLock* io_pOther);
    // Samples up to the next partition boundary.
    uint32_t ChunkLeft() const { return static_cast<uint32_t>(m_sBlockSize) - m_uInputPos; }
    // Clears the signal state, keeps the kernel.
    void Reset();

    uint32_t NumPartitions() const { return m_uNumPartitions; }
    uint32_t BlockOrder() const { return m_uBlockOrder; }
    // Tests compare the vector kernels with the portable ones through this switch.
    void UseSimd(bool bAllow)
    {
        m_FFT.UseSimd(bAllow);
        m_pfnMac = SelectSpectrumRingMac(bAllow);
        m_pfnMacTwo = SelectSpectrumRingMacTwo(bAllow);
        m_pfnMul = SelectSpectrumMul(bAllow);
    }

private:
    void Plan(uint32_t uNumTaps);
    // Copies n samples to the start of the transform input and zeroes what is left of older ones.
    void PlaceInput(uint32_t n, const float* pSrc);
    // One chunk of a one-channel object whose input transforms are given: pNew of the n new
    // samples, pBlock of the whole partition they complete (read only if they complete one).
    // The samples must already be gathered into m_aafInputBlock.
    void MonoChunk(uint32_t n, float* pIo, const float* pNew, const float* pBlock, bool bDeferLater);
    // The later partitions' sum, already in m_afSpectrumSum, into the overlap; the ring moves on.
    void LandLater(bool bShift);
    // The inverse transform of the direct partition's product, added to the overlap from the
    // output position on.
    void AddInverse(const float* pSpectrum, float* pOverlap);
    uint32_t Stride() const { return static_cast<uint32_t>(2 * m_sBlockSize + 2); }
    const float* Kernel(uint32_t p) const { return (m_pSharedKernel ? m_pSharedKernel : m_aafKernel.data()) + p * Stride(); }
    float* Slot(uint32_t c, uint32_t s) { return m_aaafDelayLine[c].data() + s * Stride(); }

    Fft m_FFT;
    int32_t m_sFFTSize;
    int32_t m_sNumTaps;
    uint32_t m_uNumChannels;
    uint32_t m_uBlockOrder;
    int32_t m_sBlockSize;
    uint32_t m_uNumPartitions;
    // Input of the forward transforms only: floats from m_uTimeDirty on are zero, so that padding
    // a chunk costs nothing once the chunk lengths settle.
    common_aligned_vector<float> m_afTimeScratch;
    uint32_t m_uTimeDirty;
    // Output of the inverse transforms, 2B floats.
    common_aligned_vector<float> m_afInverseOut;
    common_vector<common_aligned_vector<float>> m_aafInputBlock;
    common_vector<common_aligned_vector<float>> m_aafOverlap;
    uint32_t m_uInputPos;
    common_aligned_vector<float> m_afSpectrumScratch;
    // The partition spectra, one after another (2B + 2 floats each).
    common_aligned_vector<float> m_aafKernel;
    // Another object's kernel read in place of m_aafKernel, see ShareTaps; null when unused.
    const float* m_pSharedKernel;
    // Per channel, the P - 1 slots of the frequency-domain delay line, one after another.
    common_vector<common_aligned_vector<float>> m_aaafDelayLine;
    common_aligned_vector<float> m_afSpectrumSum;
    uint32_t m_uNumSlots;
    uint32_t m_uOutputPos;
    uint32_t m_uSlot;
    // False while any vector is short after a failed allocation: Process then does nothing.
    bool m_bReady;
    // A partition is complete but its later partitions wait for FinishLater; bShift of its chunk.
    bool m_bLaterPending;
    bool m_bLaterShift;
    SpectrumRingMacFn m_pfnMac;
    SpectrumRingMacTwoFn m_pfnMacTwo;
    SpectrumMulFn m_pfnMul;
};
