// The filters effect's parameters as the host sent them: three groups of 12 (id = 12 x filter
// + k), floats and integers under one dirty flag each.
#pragma once
#include <cstdint>
#include "host/qwparamsframe.h"

class KvSkrelFiltersFXParams : public QwParamsFrame<KvSkrelFiltersFXParams>
{
public:
    enum : uint32_t {
        NUM_FILTERS = 3,
        PARAMS_PER_FILTER = 12,
        NUM_PARAMS = NUM_FILTERS * PARAMS_PER_FILTER,
        FLOATS_PER_FILTER = 9,
        INTS_PER_FILTER = 3,
        NUM_FLOATS = NUM_FILTERS * FLOATS_PER_FILTER,
        NUM_INTS = NUM_FILTERS * INTS_PER_FILTER,
        BLOCK_BYTES = NUM_PARAMS * 4,
    };

    QwResult SetParam(uint16_t in_uParamId, const void* in_pValue, uint32_t in_uSize) override;

    // Frame hooks.
    void SetDefaults();
    void ReadBlock(QwParamBlockReader& io_reader);
    void SetAllDirty()
    {
        m_bFloatsDirty = 1;
        m_bIntsDirty = 1;
    }

    // The ids of the float and integer slots, in the order they are stored and pushed.
    static uint32_t FloatId(uint32_t in_uSlot);
    static uint32_t IntId(uint32_t in_uSlot);

    // Per filter: k = 1, 2, 3, 4, 7, 8, 9, 10, 11.
    float m_afFloats[NUM_FLOATS];
    uint8_t m_bFloatsDirty;
    // Per filter: k = 0, 5, 6.
    uint32_t m_auInts[NUM_INTS];
    uint8_t m_bIntsDirty;
};
