#include "kvdspbase/dsp/partconvnolock.h"
#include "host/qwassert.h"
#include "kvbase/ipp/ipp_vector_ref.h"

namespace {

// Resizes and clears; false when the vector could not grow.
bool SizeZeroed(common_aligned_vector<float>& io_v, uint32_t n)
{
    io_v.resize(n, 0.0f);
    if (io_v.size() != n)
        return false;
    ippsZero_32f(n, io_v.data());
    return true;
}

} // namespace

PartConvNoLock::PartConvNoLock(uint32_t uMaxTaps, uint32_t uNumChannels, uint32_t uBlockOrder)
    : m_sFFTSize(1 << (uBlockOrder + 1)),
      m_sNumTaps(0),
      m_uNumChannels(uNumChannels),
      m_uBlockOrder(uBlockOrder),
      m_sBlockSize(1 << uBlockOrder),
      m_uNumPartitions(0),
      m_uTimeDirty(0),
      m_uInputPos(0),
      m_pSharedKernel(nullptr),
      m_uNumSlots(0),
      m_uOutputPos(0),
      m_uSlot(0),
      m_bReady(false),
      m_bLaterPending(false),
      m_bLaterShift(false),
      m_pfnMac(SelectSpectrumRingMac(true)),
      m_pfnMacTwo(SelectSpectrumRingMacTwo(true)),
      m_pfnMul(SelectSpectrumMul(true))
{
    m_FFT.InitReal(static_cast<uint32_t>(m_sFFTSize));
    m_aafInputBlock.resize(uNumChannels);
    m_aafOverlap.resize(uNumChannels);
    m_aaafDelayLine.resize(uNumChannels);
    Plan(uMaxTaps);
}

void PartConvNoLock::Plan(uint32_t uNumTaps)
{
    const uint32_t B = static_cast<uint32_t>(m_sBlockSize);
    // The number of times B must be added to B before the sum reaches the tap count.
    uint32_t uSlots = 0;
    for (uint64_t uSum = B; uSum < uNumTaps; uSum += B)
        ++uSlots;
    m_uNumSlots = uSlots;
    m_uNumPartitions = uSlots + 1;
    const uint32_t uSpectrum = Stride();
    bool bOk = SizeZeroed(m_afTimeScratch, 2 * B) && SizeZeroed(m_afInverseOut, 2 * B) &&
               SizeZeroed(m_afSpectrumScratch, uSpectrum) &&
               SizeZeroed(m_afSpectrumSum, uSpectrum) && SizeZeroed(m_aafKernel, m_uNumPartitions * uSpectrum);
    bOk = bOk && m_aafInputBlock.size() == m_uNumChannels && m_aafOverlap.size() == m_uNumChannels &&
          m_aaafDelayLine.size() == m_uNumChannels;
    for (uint32_t c = 0; bOk && c < m_uNumChannels; ++c) {
        bOk = SizeZeroed(m_aafInputBlock[c], B) && SizeZeroed(m_aafOverlap[c], 2 * B) &&
              SizeZeroed(m_aaafDelayLine[c], m_uNumSlots * uSpectrum);
    }
    m_bReady = bOk;
    m_uTimeDirty = 0;
    m_uSlot = 0;
}

bool PartConvNoLock::SetTaps(uint32_t uNumTaps, const float* pTaps, bool bKeepState)
{
    if (static_cast<int32_t>(uNumTaps) != m_sNumTaps) {
        Plan(uNumTaps);
        m_sNumTaps = static_cast<int32_t>(uNumTaps);
    }
    m_pSharedKernel = nullptr;
    const uint32_t B = static_cast<uint32_t>(m_sBlockSize);
    if (m_bReady) {
        float* pTime = m_afTimeScratch.data();
        uint32_t uLeft = uNumTaps;
        for (uint32_t p = 0; p < m_uNumPartitions; ++p) {
            const uint32_t n = uLeft < B ? uLeft : B;
            ippsZero_32f(2 * B, pTime);
            // Partitions past the last tap are silence; an empty response may come as a null pointer.
            if (n != 0)
                ippsCopy_32f(n, pTaps + p * B, pTime);
            // No gain: the forward and inverse transforms already cancel.
            m_FFT.ForwardReal(pTime, m_aafKernel.data() + p * Stride());
            uLeft -= n;
        }
        m_uTimeDirty = B; // each partition above cleared the whole array and wrote at most B taps
    }
    if (!bKeepState)
        Reset();
    return true;
}

bool PartConvNoLock::ShareTaps(const PartConvNoLock* in_pOwner)
{
    m_pSharedKernel = nullptr;
    const bool bOk = in_pOwner && in_pOwner != this && in_pOwner->m_bReady && !in_pOwner->m_pSharedKernel &&
                     in_pOwner->m_sBlockSize == m_sBlockSize;
    if (bOk) {
        if (in_pOwner->m_sNumTaps != m_sNumTaps) {
            Plan(static_cast<uint32_t>(in_pOwner->m_sNumTaps));
            m_sNumTaps = in_pOwner->m_sNumTaps;
        }
        // Only the plan's own sizes matter here: the kernel read is the owner's.
        if (m_bReady)
            m_pSharedKernel = in_pOwner->m_aafKernel.data();
    } else if (m_bReady) {
        ippsZero_32f(m_aafKernel.size(), m_aafKernel.data());
    }
    Reset();
    return m_pSharedKernel != nullptr;
}

void PartConvNoLock::AddInverse(const float* pSpectrum, float* pOverlap)
{
    // From the start of the overlap the whole transform adds in its last pass; further on, only
    // the part that fits.
    if (m_uOutputPos == 0) {
        m_FFT.InverseRealAdd(pSpectrum, pOverlap, static_cast<uint32_t>(m_sFFTSize), pOverlap);
        return;
    }
    float* pInverse = m_afInverseOut.data();
    m_FFT.InverseReal(pSpectrum, pInverse);
    ippsAdd_32f_I(static_cast<uint32_t>(m_sFFTSize) - m_uOutputPos, pInverse, pOverlap + m_uOutputPos);
}

void PartConvNoLock::PlaceInput(uint32_t n, const float* pSrc)
{
    float* pTime = m_afTimeScratch.data();
    ippsCopy_32f(n, pSrc, pTime);
    if (m_uTimeDirty > n)
        ippsZero_32f(m_uTimeDirty - n, pTime + n);
    m_uTimeDirty = n;
}

void PartConvNoLock::ProcessMono(uint32_t uNumSamples, float* pSamples)
{
    QW_ASSERT(m_uNumChannels == 1);
    // One pointer cannot serve more channels without reading past it.
    if (m_uNumChannels != 1)
        return;
    Process(uNumSamples, &pSamples);
}

void PartConvNoLock::ProcessMonoBeside(uint32_t uNumSamples, float* pSamples, PartConvNoLock& io_twin,
                                       float* pTwinSamples, bool bDeferLater)
{
    PartConvNoLock& twin = io_twin;
    FinishLater(&twin == this ? nullptr : &twin);
    if (&twin == this || m_uNumChannels != 1 || twin.m_uNumChannels != 1 || !m_bReady || !twin.m_bReady ||
        twin.m_sBlockSize != m_sBlockSize || twin.m_uInputPos != m_uInputPos || twin.m_uOutputPos != m_uOutputPos) {
        ProcessMono(uNumSamples, pSamples);
        twin.ProcessMono(uNumSamples, pTwinSamples);
        return;
    }
    const uint32_t B = static_cast<uint32_t>(m_sBlockSize);
    // The twin runs first: the shared transforms stand in this object's scratch, which its own
    // chunk then overwrites.
    PartConvNoLock* const apConv[2] = {&twin, this};
    float* const apIo[2] = {pTwinSamples, pSamples};
    float* pNew = m_afSpectrumScratch.data();
    uint32_t uDone = 0;
    while (uDone < uNumSamples) {
        uint32_t n = uNumSamples - uDone;
        if (n > B - m_uInputPos)
            n = B - m_uInputPos;
        const float* pGathered = nullptr;
        for (PartConvNoLock* pConv : apConv) {
            if (pConv->m_uNumPartitions > 1) {
                ippsCopy_32f(n, pSamples + uDone, pConv->m_aafInputBlock[0].data() + m_uInputPos);
                pGathered = pConv->m_aafInputBlock[0].data();
            }
        }
        PlaceInput(n, pSamples + uDone);
        m_FFT.ForwardReal(m_afTimeScratch.data(), pNew);
        // A chunk that is a whole partition from its start is the block itself.
        const float* pBlock = pNew;
        if (pGathered && n < B && m_uInputPos + n >= B) {
            PlaceInput(B, pGathered);
            m_FFT.ForwardReal(m_afTimeScratch.data(), m_afSpectrumSum.data());
            pBlock = m_afSpectrumSum.data();
        }
        for (uint32_t k = 0; k < 2; ++k)
            apConv[k]->MonoChunk(n, apIo[k] + uDone, pNew, pBlock, bDeferLater && uDone + n == uNumSamples);
        uDone += n;
    }
}

void PartConvNoLock::MonoChunk(uint32_t n, float* pIo, const float* pNew, const float* pBlock, bool bDeferLater)
{
    const uint32_t B = static_cast<uint32_t>(m_sBlockSize);
    const uint32_t uBins = B + 1;
    const bool bLater = m_uNumPartitions > 1;
    m_uInputPos += n;
    const bool bFull = bLater && m_uInputPos >= B;
    // Into the delay line before the product below may overwrite pBlock (it can be this object's
    // scratch).
    if (bFull)
        ippsCopy_32f(Stride(), pBlock, Slot(0, m_uSlot));
    float* pSpectrum = m_afSpectrumScratch.data();
    float* pOverlap = m_aafOverlap[0].data();
    m_pfnMul(uBins, Kernel(0), pNew, pSpectrum);
    AddInverse(pSpectrum, pOverlap);
    ippsCopy_32f(n, pOverlap + m_uOutputPos, pIo);
    m_uOutputPos += n;
    const bool bShift = m_uOutputPos >= B;
    if (bShift && !bFull) {
        ippsCopy_32f(B, pOverlap + B, pOverlap);
        ippsZero_32f(B, pOverlap + B);
    }
    if (bShift)
        m_uOutputPos -= B;
    if (bFull) {
        m_bLaterPending = true;
        m_bLaterShift = bShift;
        if (!bDeferLater)
            FinishLater(nullptr);
    }
    if (m_uInputPos >= B)
        m_uInputPos -= B;
}

void PartConvNoLock::FinishLater(PartConvNoLock* io_pOther)
{
    const uint32_t uBins = static_cast<uint32_t>(m_sBlockSize) + 1;
    PartConvNoLock* pOther = io_pOther != this && io_pOther && io_pOther->m_bLaterPending ? io_pOther : nullptr;
    if (m_bLaterPending && pOther && pOther->Kernel(1) == Kernel(1) && pOther->m_sBlockSize == m_sBlockSize &&
        pOther->m_uNumSlots == m_uNumSlots && pOther->m_uSlot == m_uSlot && pOther->m_pfnMacTwo == m_pfnMacTwo) {
        m_pfnMacTwo(uBins, Stride(), Slot(0, 0), pOther->Slot(0, 0), m_uNumSlots, m_uSlot, Kernel(1),
                    m_afSpectrumSum.data(), pOther->m_afSpectrumSum.data(), false);
        LandLater(m_bLaterShift);
        pOther->LandLater(pOther->m_bLaterShift);
        return;
    }
    if (m_bLaterPending) {
        m_pfnMac(uBins, Stride(), Slot(0, 0), m_uNumSlots, m_uSlot, Kernel(1), m_afSpectrumSum.data(), false);
        LandLater(m_bLaterShift);
    }
    if (pOther)
        pOther->FinishLater(nullptr);
}

void PartConvNoLock::LandLater(bool bShift)
{
    const uint32_t B = static_cast<uint32_t>(m_sBlockSize);
    float* pOverlap = m_aafOverlap[0].data();
    // With the move down, the upper half of the overlap was silence: it takes the inverse alone.
    if (bShift)
        m_FFT.InverseRealAdd(m_afSpectrumSum.data(), pOverlap + B, B, pOverlap);
    else
        m_FFT.InverseRealAdd(m_afSpectrumSum.data(), pOverlap, 2 * B, pOverlap);
    if (++m_uSlot >= m_uNumSlots)
        m_uSlot = 0;
    m_bLaterPending = false;
}

void PartConvNoLock::Process(uint32_t uNumSamples, float* const* ppChannels)
{
    FinishLater(nullptr);
    const uint32_t B = static_cast<uint32_t>(m_sBlockSize);
    const uint32_t uBins = B + 1;
    const uint32_t uSpectrum = Stride();
    if (!m_bReady)
        return;
    const float* pTime = m_afTimeScratch.data();
    float* pInverse = m_afInverseOut.data();
    float* pSpectrum = m_afSpectrumScratch.data();
    float* pSum = m_afSpectrumSum.data();
    const bool bLater = m_uNumPartitions > 1;
    uint32_t uDone = 0;
    while (uDone < uNumSamples) {
        uint32_t n = uNumSamples - uDone;
        if (n > B - m_uInputPos)
            n = B - m_uInputPos;
        // A chunk that is a whole partition from its start is the very block the later
        // partitions transform next: one forward transform serves both, and the chunk needs no
        // gathering.
        const bool bWhole = bLater && n == B;
        if (bLater && !bWhole) {
            for (uint32_t c = 0; c < m_uNumChannels; ++c)
                ippsCopy_32f(n, ppChannels[c] + uDone, m_aafInputBlock[c].data() + m_uInputPos);
        }
        m_uInputPos += n;
        // The direct partition: the first B taps on the new samples, at once.
        for (uint32_t c = 0; c < m_uNumChannels; ++c) {
            float* pIo = ppChannels[c] + uDone;
            float* pOverlap = m_aafOverlap[c].data();
            PlaceInput(n, pIo);
            if (bWhole) {
                float* pSlot = Slot(c, m_uSlot);
                m_FFT.ForwardReal(pTime, pSlot);
                m_pfnMul(uBins, Kernel(0), pSlot, pSpectrum);
            } else {
                m_FFT.ForwardReal(pTime, pSpectrum);
                m_pfnMul(uBins, Kernel(0), pSpectrum, pSpectrum);
            }
            AddInverse(pSpectrum, pOverlap);
            ippsCopy_32f(n, pOverlap + m_uOutputPos, pIo);
        }
        m_uOutputPos += n;
        // Input and output positions move together, so a full partition and a full output
        // block come at once; the later partitions then land in the moved-down overlap.
        const bool bFull = bLater && m_uInputPos >= B;
        const bool bShift = m_uOutputPos >= B;
        if (bShift && !bFull) {
            for (uint32_t c = 0; c < m_uNumChannels; ++c) {
                float* pOverlap = m_aafOverlap[c].data();
                ippsCopy_32f(B, pOverlap + B, pOverlap);
                ippsZero_32f(B, pOverlap + B);
            }
        }
        if (bShift)
            m_uOutputPos -= B;
        if (bFull) {
            // The later partitions land in the overlap from index 0, where their first output
            // sample falls due.
            for (uint32_t c = 0; c < m_uNumChannels; ++c) {
                if (!bWhole) {
                    PlaceInput(B, m_aafInputBlock[c].data());
                    m_FFT.ForwardReal(pTime, Slot(c, m_uSlot));
                }
                // The newest slot meets kernel 1, the oldest the last kernel. The first channel
                // stores its sum and later channels add to it: the sum is in effect cleared
                // only before the first channel, deliberately, see the class comment.
                m_pfnMac(uBins, uSpectrum, Slot(c, 0), m_uNumSlots, m_uSlot, Kernel(1), pSum, c != 0);
                m_FFT.InverseReal(pSum, pInverse);
                float* __restrict pOverlap = m_aafOverlap[c].data();
                const float* __restrict pLate = pInverse;
                if (bShift) {
                    // The move down and the addition in one pass; the upper half was silence.
                    for (uint32_t i = 0; i < B; ++i)
                        pOverlap[i] = pOverlap[B + i] + pLate[i];
                    ippsCopy_32f(B, pLate + B, pOverlap + B);
                } else {
                    ippsAdd_32f_I(2 * B, pLate, pOverlap);
                }
            }
            if (++m_uSlot >= m_uNumSlots)
                m_uSlot = 0;
        }
        if (m_uInputPos >= B)
            m_uInputPos -= B;
        uDone += n;
    }
}

void PartConvNoLock::Reset()
{
    for (uint32_t c = 0; m_bReady && c < m_uNumChannels; ++c) {
        ippsZero_32f(m_aafInputBlock[c].size(), m_aafInputBlock[c].data());
        ippsZero_32f(m_aafOverlap[c].size(), m_aafOverlap[c].data());
        if (m_uNumSlots != 0)
            ippsZero_32f(m_aaafDelayLine[c].size(), m_aaafDelayLine[c].data());
    }
    if (m_bReady && m_uNumSlots != 0)
        ippsZero_32f(m_afSpectrumSum.size(), m_afSpectrumSum.data());
    m_uInputPos = 0;
    m_uOutputPos = 0;
    m_uSlot = 0;
    m_bLaterPending = false;
}
