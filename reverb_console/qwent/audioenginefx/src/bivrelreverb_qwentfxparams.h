// Raw parameter values of the reverb, as the host sends them, with the real-time and model flags.
#pragma once
#include <cstdint>
#include "host/qwparamsframe.h"

class BivrelReverbFXParams : public QwParamsFrame<BivrelReverbFXParams>
{
public:
    static constexpr uint32_t BLOCK_SIZE = 60;

    enum ParamId : uint16_t {
        DECAY_TIME = 0,
        LOW_CROSSOVER = 1,
        HIGH_CROSSOVER = 2,
        LOW_MULTIPLIER = 3,
        MID_MULTIPLIER = 4,
        HIGH_MULTIPLIER = 5,
        EARLY_GAIN = 6,
        LATE_GAIN = 7,
        FRONT_PRE_DELAY = 8,
        REAR_PRE_DELAY = 9,
        FRONT_WET_OUT = 10,
        FRONT_DRY_OUT = 11,
        REAR_WET_OUT = 12,
        REAR_DRY_OUT = 13,
        ORDER = 14,
    };

    QwResult SetParam(uint16_t in_uParamId, const void* in_pValue, uint32_t in_uSize) override;
    void SetDefaults();
    // Positions differ from identifiers: the order sits seventh, among the model group.
    void ReadBlock(QwParamBlockReader& io_reader);
    void SetAllDirty() { m_bRtDirty = m_bModelDirty = 1; }

    float fDecayTime;
    float fLowCrossover;
    float fHighCrossover;
    float fLowMultiplier;
    float fMidMultiplier;
    float fHighMultiplier;
    uint32_t m_uOrder;
    float fEarlyGain;
    float fLateGain;
    float fFrontPreDelay;
    float fRearPreDelay;
    float fFrontWetOut;
    float fFrontDryOut;
    float fRearWetOut;
    float fRearDryOut;
    uint8_t m_bRtDirty;
    uint8_t m_bModelDirty;
};
