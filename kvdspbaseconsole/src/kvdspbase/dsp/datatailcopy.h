// The copies that DataTail and DataTail1D share. They never touch memory outside the storage,
// whatever the counts: a count that an assertion has already reported is cut to what fits.
#pragma once
#include <cstdint>
#include <cstring>

// Writes source samples 0..n-1 to storage positions sPos..sPos+n-1, dropping those that fall
// outside [0, sSize).
inline void DataTailWrite(float* io_pData, int64_t sSize, int64_t sPos, const float* in_pSource, int64_t n)
{
    int64_t sFrom = 0;
    if (sPos < 0) {
        sFrom = -sPos;
        sPos = 0;
    }
    const int64_t sCount = sPos + (n - sFrom) > sSize ? sSize - sPos : n - sFrom;
    if (sCount > 0)
        std::memcpy(io_pData + sPos, in_pSource + sFrom, static_cast<size_t>(sCount) * sizeof(float));
}

// Reads n <= sSize samples of the ring from position sPos (already inside [0, sSize)).
inline void DataTailReadRing(const float* in_pData, int64_t sSize, int64_t sPos, float* out_pDest, int64_t n)
{
    const int64_t sFirst = sPos + n <= sSize ? n : sSize - sPos;
    std::memcpy(out_pDest, in_pData + sPos, static_cast<size_t>(sFirst) * sizeof(float));
    if (n > sFirst)
        std::memcpy(out_pDest + sFirst, in_pData, static_cast<size_t>(n - sFirst) * sizeof(float));
}

// A ring position: sTotal + sOffset, brought into [0, sSize) by whole turns.
inline int64_t DataTailRingPosition(int64_t sTotal, int64_t sOffset, int64_t sSize)
{
    int64_t p = (sTotal + sOffset) % sSize;
    return p < 0 ? p + sSize : p;
}
