// The dynamics effect's parameter object: the ten raw values as the host sends them (no range
// check, no conversion) and the dirty flags that tell Execute to pass them on.
#pragma once
#include <cstdint>
#include "host/qwparamsframe.h"

class KvSkrelDynamicsFXParams : public QwParamsFrame<KvSkrelDynamicsFXParams>
{
public:
    // Host parameter identifiers; value n stands at byte 4n of the parameter block.
    enum : uint16_t {
        ID_BYPASS = 0,
        ID_COMP_THRESHOLD = 1,
        ID_COMP_RATIO = 2,
        ID_COMP_ATTACK = 3,
        ID_COMP_RELEASE = 4,
        ID_EXP_THRESHOLD = 5,
        ID_EXP_RATIO = 6,
        ID_EXP_ATTACK = 7,
        ID_EXP_RELEASE = 8,
        ID_OUTPUT_GAIN = 9,
        NUM_PARAMS = 10,
    };
    enum : uint32_t { BLOCK_BYTES = 40 };

    QwResult SetParam(uint16_t in_uParamId, const void* in_pValue, uint32_t in_uSize) override;

    // Used by the frame (Init, SetParamsBlock, Clone) and by the effect's Init.
    void SetDefaults();
    void ReadBlock(QwParamBlockReader& io_reader);
    void SetAllDirty();

    uint32_t m_uBypass;          // zero or not
    float m_fCompThreshold;      // dB
    float m_fCompRatio;
    float m_fCompAttack;         // ms
    float m_fCompRelease;        // ms
    float m_fExpThreshold;       // dB
    float m_fExpRatio;
    float m_fExpAttack;          // ms
    float m_fExpRelease;         // ms
    float m_fOutputGain;         // dB

    uint8_t m_bParamsDirty;      // all ten values
    uint8_t m_bAlgorithmDirty;   // set and cleared like the other effects' algorithm flag; guards nothing
};
