#include "kvreverbconsole/dsp/modeled/kvmuconvolution.h"
#include <cstdint>
#include "host/qwassert.h"
#include "kvbase/ipp/ipp_vector_ref.h"

typedef uintptr_t QwUIntPtr;

KvMuConvolution::KvMuConvolution(uint32_t in_uMaxTaps, uint32_t in_uNumChannels, uint32_t, uint32_t in_uBlockOrder)
    : m_uNumChannels(in_uNumChannels)
{
    m_apConvolvers.resize(in_uNumChannels);
    if (IsOutOfMemory())
        return;
    for (uint32_t c = 0; c < in_uNumChannels; ++c) {
        PartConvNoLock* pConvolver = QwNew<PartConvNoLock>(in_uMaxTaps, 1u, in_uBlockOrder);
        if (!pConvolver)
            return;
        common_smart_ptr<PartConvNoLock> p(pConvolver);
        if (!p)
            return; // the count block failed: the entry stays as it was
        m_apConvolvers[c] = p;
        if (IsOutOfMemory())
            return;
    }
}

void KvMuConvolution::SetTaps(uint32_t in_uNumTapArrays, uint32_t in_uNumTaps, const float* const* in_ppTaps)
{
    // Channels past the arrays read the kernel of the first channel on their array, which the
    // loads below may move: they let go of it first, so a load cut short leaves none behind.
    for (uint32_t c = in_uNumTapArrays; c < m_uNumChannels; ++c)
        m_apConvolvers[c]->ShareTaps(nullptr);
    m_pTaps.resize(in_uNumTaps, 0.0f);
    if (IsOutOfMemory())
        return;
    for (uint32_t c = 0; c < m_uNumChannels; ++c) {
        if (c >= in_uNumTapArrays) {
            m_apConvolvers[c]->ShareTaps(m_apConvolvers[c % in_uNumTapArrays].get());
            continue;
        }
        // A staging copy: the convolver wants 16-byte aligned taps, the record cannot promise them.
        ippsCopy_32f(in_uNumTaps, in_ppTaps[c % in_uNumTapArrays], m_pTaps.data());
        QW_ASSERT_TEXT((reinterpret_cast<QwUIntPtr>(m_pTaps.data()) & 0xf) == 0,
                       "(reinterpret_cast<QwUIntPtr>(&m_pTaps[0]) & 0xf) == 0");
        m_apConvolvers[c]->SetTaps(in_uNumTaps, m_pTaps.data(), false);
        if (IsOutOfMemory())
            return;
    }
    m_pTaps.resize(0);
    m_uNumTapArrays = in_uNumTapArrays;
    m_bTapsLoaded = true;
}

void KvMuConvolution::Process(uint32_t in_uSamples, float* const* io_ppChannels)
{
    if (!m_bTapsLoaded || m_uNumChannels == 0)
        return;
    for (uint32_t c = 0; c < m_uNumChannels; ++c)
        m_apConvolvers[c]->ProcessMono(in_uSamples, io_ppChannels[c]);
}

void KvMuConvolution::ProcessBeside(uint32_t in_uSamples, float* const* io_ppChannels, KvMuConvolution& io_twin,
                                    float* const* io_ppTwinChannels)
{
    if (!m_bTapsLoaded || !io_twin.m_bTapsLoaded || m_uNumChannels != io_twin.m_uNumChannels || &io_twin == this) {
        Process(in_uSamples, io_ppChannels);
        io_twin.Process(in_uSamples, io_ppTwinChannels);
        return;
    }
    // All channels a chunk at a time, up to each partition boundary, so that the later partitions
    // of two channels on one kernel (c and c + arrays) run in one pass over it.
    const uint32_t uArrays = m_uNumTapArrays < io_twin.m_uNumTapArrays ? m_uNumTapArrays : io_twin.m_uNumTapArrays;
    for (uint32_t uDone = 0; uDone < in_uSamples;) {
        const uint32_t uLeft = m_apConvolvers[0]->ChunkLeft();
        const uint32_t n = in_uSamples - uDone < uLeft ? in_uSamples - uDone : uLeft;
        for (uint32_t c = 0; c < m_uNumChannels; ++c)
            m_apConvolvers[c]->ProcessMonoBeside(n, io_ppChannels[c] + uDone, *io_twin.m_apConvolvers[c],
                                                 io_ppTwinChannels[c] + uDone, true);
        for (uint32_t c = 0; c < m_uNumChannels; ++c) {
            const bool bPair = uArrays != 0 && c < uArrays && c + uArrays < m_uNumChannels;
            m_apConvolvers[c]->FinishLater(bPair ? m_apConvolvers[c + uArrays].get() : nullptr);
            io_twin.m_apConvolvers[c]->FinishLater(bPair ? io_twin.m_apConvolvers[c + uArrays].get() : nullptr);
        }
        uDone += n;
    }
}

void KvMuConvolution::Reset()
{
    for (uint32_t c = 0; c < m_apConvolvers.size(); ++c)
        if (m_apConvolvers[c])
            m_apConvolvers[c]->Reset();
}
