// Raw values of the delay effect as the host sends them: nine floats and the mode.
#pragma once
#include <cstdint>
#include "host/qwparamsframe.h"

class KvSkrelDelayFXParams : public QwParamsFrame<KvSkrelDelayFXParams>
{
public:
    enum : uint16_t {
        PARAM_DRY_PERCENT = 0,
        PARAM_WET_PERCENT = 1,
        PARAM_LOW_CUT_HZ = 2,
        PARAM_LOW_CUT_Q = 3,
        PARAM_HIGH_CUT_HZ = 4,
        PARAM_HIGH_CUT_Q = 5,
        PARAM_DELAY_MS = 6,
        PARAM_FEEDBACK_PERCENT = 7,
        PARAM_AMOUNT = 8,
        PARAM_MODE = 9,
        NUM_FLOAT_PARAMS = 9,
    };
    static const uint32_t BLOCK_BYTES = 40;

    // Stores the four bytes as they are; no range check (the engine ignores what lies outside).
    QwResult SetParam(uint16_t in_uParamId, const void* in_pValue, uint32_t in_uSize) override;

    void SetDefaults();
    void ReadBlock(QwParamBlockReader& io_reader);
    void SetAllDirty();

    // Float item by identifier 0 to 8, in block order.
    float GetFloat(uint32_t in_uId) const;

    float m_fDryPercent;
    float m_fWetPercent;
    float m_fLowCutHz;
    float m_fLowCutQ;
    float m_fHighCutHz;
    float m_fHighCutQ;
    float m_fDelayMs;
    float m_fFeedbackPercent;
    float m_fAmount;
    uint8_t m_bFloatsDirty; // items 0 to 8
    uint32_t m_uMode;
    uint8_t m_bModeDirty;   // item 9
};
