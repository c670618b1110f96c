// A linear buffer for block-wise analysis of one channel: new samples go behind a retained tail
// of older ones, a reader gets a plain pointer across the join, and each cut moves the data down.
// Init and SetMaxBlockSize allocate; Append, Consume and Advance do not.
#pragma once
#include <cstdint>
#include "kvbase/common/common_vector.h"

class DataTail1D
{
public:
    DataTail1D() = default;
    // Deep copies: the same Init values, then the valid samples appended.
    DataTail1D(const DataTail1D& in_other);
    DataTail1D& operator=(const DataTail1D& in_other);

    // Zero-fills GetTotalSize() samples; bPrime also starts the buffer with a silent tail.
    // Without bPrime the valid count is left as it was.
    void Init(int32_t sMaxBlockSize, int32_t sTailSize, bool bPrime);
    void Prime();

    // Counts below 0 do nothing, like 0.
    // Copies nSamples from in_pSource + sSourceOffset behind the valid samples.
    void Append(const float* in_pSource, int32_t nSamples, int32_t sSourceOffset);
    // Writes into the storage as a ring from the valid count on; afterwards GetTotal() is the
    // ring's write position, no longer a count.
    void AppendWrapping(const float* in_pSource, int32_t nSamples, int32_t sSourceOffset);
    // Reads nSamples from the ring position GetTotal() + sOffset into out_pDest + sDestOffset.
    void ReadWrapped(float* out_pDest, int32_t nSamples, int32_t sOffset, int32_t sDestOffset) const;
    // Drops nSamples from the front, keeping everything behind them.
    void Consume(int32_t nSamples);
    // Drops nSamples from the front and keeps at most the tail: the cut at the end of a block.
    void Advance(int32_t nSamples);

    int32_t GetTotal() const;
    uint32_t GetTotalSize() const { return static_cast<uint32_t>(m_sMaxBlockSize + m_sTail); }
    int32_t GetTail() const { return m_sTail; }
    int32_t GetMaxBlockSize() const { return m_sMaxBlockSize; }
    // Allocates; the newest valid samples are kept.
    void SetMaxBlockSize(int32_t sNewMaxBlockSize);

    float* GetData() { return m_afData.data(); }
    const float* GetData() const { return m_afData.data(); }

private:
    void CheckRange() const;
    // What the storage really holds: GetTotalSize() unless memory ran out.
    int32_t Capacity() const { return static_cast<int32_t>(m_afData.size()); }

    common_aligned_vector<float> m_afData;
    int32_t m_sTail = 0;
    int32_t m_sTotal = 0;
    int32_t m_sMaxBlockSize = 0;
};
