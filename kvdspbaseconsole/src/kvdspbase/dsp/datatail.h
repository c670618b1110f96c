// The multi-channel data tail: every channel a linear buffer of the same size, with one valid
// count for all, so that a frame-based analysis reads across the join of tail and new block
// through plain pointers. Init and SetTail allocate; Append, Consume and Advance do not.
#pragma once
#include <cstdint>
#include "kvbase/common/common_vector.h"

class DataTail
{
public:
    DataTail() = default;
    // Deep copies: the same Init values, then the valid samples appended.
    DataTail(const DataTail& in_other);
    DataTail& operator=(const DataTail& in_other);

    // Zero-fills GetTotalSize() samples a channel; bPrime also starts the buffer with a silent
    // tail. Without bPrime the valid count is left as it was. The stride is only kept and
    // handed on when SetTail re-sizes.
    void Init(int32_t sNumChannels, int32_t sChannelStride, int32_t sMaxBlock, int32_t sTailSize, bool bPrime);
    void Prime();

    // Copies nSamples from each in_ppSources[c] + uSourceOffset behind the valid samples.
    void Append(const float* const* in_ppSources, uint32_t nSamples, uint32_t uSourceOffset);
    // Writes into the storage as a ring from the valid count on; afterwards GetTotal() is the
    // ring's write position, no longer a count.
    void AppendWrapping(const float* const* in_ppSources, uint32_t nSamples, uint32_t uSourceOffset);
    // Reads nSamples from the ring position GetTotal() + sOffset. sChannel -1 reads every channel
    // c into out_ppDest[c]; any other channel goes to out_ppDest[0]. Each at + uDestOffset.
    void ReadWrapped(float* const* out_ppDest, uint32_t nSamples, int32_t sOffset, int32_t sChannel,
                     uint32_t uDestOffset) const;
    // Drops nSamples from the front, keeping everything behind them.
    void Consume(uint32_t nSamples);
    // Drops nSamples from the front and keeps at most the tail: the cut at the end of a block.
    void Advance(uint32_t nSamples);

    int32_t GetTotal() const;
    // Declares the first sTotal samples valid, as they stand: how an analysis starts with a
    // silent look-ahead behind a primed tail. Cut to the storage after the report.
    void SetTotal(int32_t sTotal);
    uint32_t GetTotalSize() const { return static_cast<uint32_t>(m_sMaxBlockSize + m_sTail); }
    // Allocates; the newest valid samples are kept.
    void SetTail(int32_t sNewTail);

    int32_t GetNumChannels() const { return m_sNumChannels; }
    int32_t GetTail() const { return m_sTail; }
    int32_t GetMaxBlockSize() const { return m_sMaxBlockSize; }
    int32_t GetChannelStride() const { return m_sChannelStride; }
    // Null when memory ran out in Init.
    float* GetChannel(uint32_t in_uChannel) { return in_uChannel < m_apfChannel.size() ? m_apfChannel[in_uChannel] : nullptr; }
    const float* GetChannel(uint32_t in_uChannel) const
    {
        return in_uChannel < m_apfChannel.size() ? m_apfChannel[in_uChannel] : nullptr;
    }

private:
    void CheckRange() const;
    // Channels that have storage: all of them, or none when memory ran out.
    uint32_t StoredChannels() const { return m_apfChannel.size(); }
    int32_t Size() const { return m_sMaxBlockSize + m_sTail; }

    common_vector<float*> m_apfChannel;
    common_vector<common_aligned_vector<float>> m_aafData;
    common_vector<float*> m_apfScratch;
    int32_t m_sTail = 0;
    int32_t m_sTotal = 0;
    int32_t m_sMaxBlockSize = 0;
    int32_t m_sNumChannels = 0;
    int32_t m_sChannelStride = 0;
};
