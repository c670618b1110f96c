// A per-sample delay whose length can change while audio runs: a new delay is reached by a
// 127-sample linear blend from the old read position to the new one. Used as the pre-delay.
#pragma once
#include <cstdint>
#include "kvbase/common/common_checked_types.h"
#include "kvbase/common/common_vector.h"

class CrossfadeDelayLine
{
public:
    // Allocates the memory; delays up to capacity - 1 are accepted.
    explicit CrossfadeDelayLine(uint32_t in_uCapacity);

    // Before the line has run the delay takes effect at once; afterwards it waits for the next
    // cross-fade (a later call replaces a delay still waiting).
    void SetDelay(uint32_t in_uDelay);
    uint32_t GetDelay() const;
    // In place; allocates nothing.
    void Process(uint32_t in_uFrames, float* io_pSamples);
    // Clears the memory and keeps the delay; the line counts as not yet run.
    void Reset();

private:
    uint32_t Capacity() const { return m_fDelayLine.size(); }
    uint32_t Behind(uint32_t uPos, uint32_t uDelay) const
    {
        return uPos >= uDelay ? uPos - uDelay : uPos + Capacity() - uDelay;
    }

    common_vector<float> m_fDelayLine;
    float m_fCrossfade;
    float m_fCrossfadeStep;
    checked_value<uint32_t> m_uPendingDelay;
    bool m_bCrossfading;
    uint32_t m_iWrite;
    uint32_t m_iRead;
    uint32_t m_iReadOld;
};
