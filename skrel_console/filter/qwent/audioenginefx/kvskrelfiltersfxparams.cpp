#include "skrel_console/filter/qwent/audioenginefx/kvskrelfiltersfxparams.h"

namespace {

const uint32_t s_auFloatK[KvSkrelFiltersFXParams::FLOATS_PER_FILTER] = {1, 2, 3, 4, 7, 8, 9, 10, 11};
const uint32_t s_auIntK[KvSkrelFiltersFXParams::INTS_PER_FILTER] = {0, 5, 6};

// Slot of k within a filter's floats or ints; the high bit marks an integer.
const uint32_t INT_SLOT = 0x80u;
const uint32_t s_auSlotOfK[KvSkrelFiltersFXParams::PARAMS_PER_FILTER] = {
    INT_SLOT | 0, 0, 1, 2, 3, INT_SLOT | 1, INT_SLOT | 2, 4, 5, 6, 7, 8,
};

// By id: type, frequency, Q, resonance, gain, mode, LFO shape, LFO period, and the seconds.
const float s_aafDefaults[KvSkrelFiltersFXParams::NUM_FILTERS][KvSkrelFiltersFXParams::PARAMS_PER_FILTER] = {
    {2, 40.0f, 0.5f, 0.2f, 0.0f, 0, 0, 1000.0f, 160.0f, 0.0f, 0.5f, 0.2f},
    {6, 1000.0f, 0.2f, 0.2f, 0.0f, 0, 0, 1000.0f, 3000.0f, 0.0f, 0.2f, 0.2f},
    {1, 15000.0f, 0.5f, 0.2f, 0.0f, 0, 0, 1000.0f, 20000.0f, 0.0f, 0.5f, 0.2f},
};

} // namespace

uint32_t KvSkrelFiltersFXParams::FloatId(uint32_t in_uSlot)
{
    return (in_uSlot / FLOATS_PER_FILTER) * PARAMS_PER_FILTER + s_auFloatK[in_uSlot % FLOATS_PER_FILTER];
}

uint32_t KvSkrelFiltersFXParams::IntId(uint32_t in_uSlot)
{
    return (in_uSlot / INTS_PER_FILTER) * PARAMS_PER_FILTER + s_auIntK[in_uSlot % INTS_PER_FILTER];
}

QwResult KvSkrelFiltersFXParams::SetParam(uint16_t in_uParamId, const void* in_pValue, uint32_t)
{
    if (in_uParamId >= NUM_PARAMS)
        return QW_UnknownParam;
    const uint32_t uFilter = in_uParamId / PARAMS_PER_FILTER;
    const uint32_t uSlot = s_auSlotOfK[in_uParamId % PARAMS_PER_FILTER];
    if (uSlot & INT_SLOT) {
        QwStoreRaw(m_auInts[uFilter * INTS_PER_FILTER + (uSlot & ~INT_SLOT)], in_pValue);
        m_bIntsDirty = 1;
    } else {
        QwStoreRaw(m_afFloats[uFilter * FLOATS_PER_FILTER + uSlot], in_pValue);
        m_bFloatsDirty = 1;
    }
    return QW_Success;
}

void KvSkrelFiltersFXParams::SetDefaults()
{
    for (uint32_t f = 0; f < NUM_FILTERS; ++f)
        for (uint32_t k = 0; k < PARAMS_PER_FILTER; ++k) {
            const uint32_t uSlot = s_auSlotOfK[k];
            if (uSlot & INT_SLOT)
                m_auInts[f * INTS_PER_FILTER + (uSlot & ~INT_SLOT)] = static_cast<uint32_t>(s_aafDefaults[f][k]);
            else
                m_afFloats[f * FLOATS_PER_FILTER + uSlot] = s_aafDefaults[f][k];
        }
}

void KvSkrelFiltersFXParams::ReadBlock(QwParamBlockReader& io_reader)
{
    for (uint32_t f = 0; f < NUM_FILTERS; ++f)
        for (uint32_t k = 0; k < PARAMS_PER_FILTER; ++k) {
            const uint32_t uSlot = s_auSlotOfK[k];
            if (uSlot & INT_SLOT)
                m_auInts[f * INTS_PER_FILTER + (uSlot & ~INT_SLOT)] = io_reader.ReadU32();
            else
                m_afFloats[f * FLOATS_PER_FILTER + uSlot] = io_reader.ReadF32();
        }
}
