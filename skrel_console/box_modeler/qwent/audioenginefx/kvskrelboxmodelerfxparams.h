// The box modeler's parameter object: seven raw values as the host sends them and the two
// dirty flags. The model and mode are read at Init only.
#pragma once
#include <cstdint>
#include "host/qwparamsframe.h"

class KvSkrelBoxModelerFXParams : public QwParamsFrame<KvSkrelBoxModelerFXParams>
{
public:
    // Host parameter identifiers; value n stands at byte 4n of the parameter block.
    enum : uint16_t {
        ID_MODEL = 0,
        ID_MODE = 1,
        ID_INPUT_GAIN = 2,
        ID_OUTPUT_GAIN = 3,
        ID_WET = 4,
        ID_TRIM_LEVEL = 5,
        ID_LENGTH_FRACTION = 6,
        NUM_PARAMS = 7,
    };
    enum : uint32_t { BLOCK_BYTES = 28 };

    QwResult SetParam(uint16_t in_uParamId, const void* in_pValue, uint32_t in_uSize) override;

    void SetDefaults();
    void ReadBlock(QwParamBlockReader& io_reader);
    void SetAllDirty();

    float m_fInputGain;        // dB
    float m_fOutputGain;       // dB
    float m_fWetLevel;         // percent
    float m_fTrimLevel;        // 0 to 10, 10 is off
    float m_fLengthFraction;   // 0 to 1
    uint8_t m_bFloatsDirty;
    uint32_t m_uModel;
    uint32_t m_uMode;          // 0 to 2
    uint8_t m_bIntsDirty;
};
