// A block delay line for the long lines of the feedback network: Read of n samples gives the
// oldest n entries, so a sample comes back length + 1 writes after it went in.
#pragma once
#include <cstdint>
#include "kvbase/common/common_vector.h"

class RingBuffer
{
public:
    // Allocates length + 1 entries, zeroed; a length of 0 is reported.
    explicit RingBuffer(uint64_t n);

    // Copies the oldest uLength entries out; leaves the head alone, so it must precede the Write
    // of the same samples. Counts above the length walk sample by sample past the newest entry.
    void Read(float* out_pDest, uint64_t uLength) const;
    void Write(const float* in_pSource, uint64_t uLength);
    // In-place access for a reader that overwrites what it reads, as Read then Write of the same
    // count would: the entries from the head (the oldest) to the end of the memory, their number
    // in out_uCount; then Advance moves the head on by the count handled, at most the length.
    float* HeadRun(uint64_t& out_uCount);
    void Advance(uint64_t uLength);
    // Changes the length, keeping what history it can. Allocates only above the reserved size, so
    // it belongs outside the audio path when growing.
    void SetLength(uint64_t n, float fFill);
    uint64_t GetLength() const { return m_uLength; }
    // All entries to 0, head to the start; lengths kept.
    void Reset();

private:
    common_vector<float> m_afBuffer;
    uint64_t m_uLength;
    uint64_t m_uTotalLength;
    uint64_t m_uHead;
    common_vector<float> m_afScratch;
};
