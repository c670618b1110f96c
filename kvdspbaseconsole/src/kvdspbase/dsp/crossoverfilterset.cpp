#include "kvdspbase/dsp/crossoverfilterset.h"

CrossoverFilterSet::CrossoverFilterSet(uint32_t in_uNumChannels)
{
    const uint32_t uCount = in_uNumChannels * MAX_BANDS;
    m_apFirst.resize(uCount);
    m_apSecond.resize(uCount);
    m_afStageGains.resize(uCount, 1.0f);
    m_afResponseGains.resize(uCount, 1.0f);
    if (IsOutOfMemory())
        return;
    for (uint32_t i = 0; i < uCount; ++i) {
        m_apFirst[i] = common_smart_ptr<IirFilterFast>(QwNew<IirFilterFast>(1u, nullptr, 1u));
        if (IsOutOfMemory())
            return;
        if (i % MAX_BANDS == 1) {
            m_apSecond[i] = common_smart_ptr<IirFilterFast>(QwNew<IirFilterFast>(1u, nullptr, 1u));
            if (IsOutOfMemory())
                return;
        }
    }
}
