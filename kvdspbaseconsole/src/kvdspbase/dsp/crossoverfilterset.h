// One complete bank of crossover filters for all channels: three first-stage sections per
// channel, and a second stage for the middle band.
#pragma once
#include <cstdint>
#include "kvbase/common/common_smart_ptr.h"
#include "kvbase/common/common_vector.h"
#include "kvdspbase/dsp/iirfilterfast.h"

class CrossoverFilterSet
{
public:
    static constexpr uint32_t MAX_BANDS = 3;

    // Order-1 pass-through filters throughout; allocates.
    explicit CrossoverFilterSet(uint32_t in_uNumChannels);

    IirFilterFast* First(uint32_t in_uChannel, uint32_t in_uBand) const
    {
        return m_apFirst[in_uChannel * MAX_BANDS + in_uBand].raw();
    }
    // Null except for the middle band.
    IirFilterFast* Second(uint32_t in_uChannel, uint32_t in_uBand) const
    {
        return m_apSecond[in_uChannel * MAX_BANDS + in_uBand].raw();
    }
    float StageGain(uint32_t in_uChannel, uint32_t in_uBand) const
    {
        return m_afStageGains[in_uChannel * MAX_BANDS + in_uBand];
    }
    float ResponseGain(uint32_t in_uChannel, uint32_t in_uBand) const
    {
        return m_afResponseGains[in_uChannel * MAX_BANDS + in_uBand];
    }

private:
    common_vector<common_smart_ptr<IirFilterFast>> m_apFirst;
    common_vector<common_smart_ptr<IirFilterFast>> m_apSecond;
    common_vector<float> m_afStageGains;
    common_vector<float> m_afResponseGains;
};
