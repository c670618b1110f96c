// Raw parameter values of the multiband distortion: six groups (band x slot) of five gains and
// an algorithm, then the two cut-offs.
#pragma once
#include <cstdint>
#include "host/qwparamsframe.h"
#include "shareddsp/distortions/skreldistortion/distortion_constants.h"

class KvSkrelMultibandDistortionFXParams : public QwParamsFrame<KvSkrelMultibandDistortionFXParams>
{
public:
    enum : uint16_t { NUM_GROUPS = 6, PARAMS_PER_GROUP = 6, CUTOFF_0 = 36, CUTOFF_1 = 37 };
    static constexpr uint32_t BLOCK_BYTES = 152;

    struct Group
    {
        float fInputGainDb;
        float fDrive;
        float fCharacter;
        float fMix;
        float fOutputGainDb;
        uint32_t uAlgorithm;
    };

    QwResult SetParam(uint16_t in_uParamId, const void* in_pValue, uint32_t in_uSize) override;
    void SetDefaults();
    void ReadBlock(QwParamBlockReader& io_reader);
    void SetAllDirty()
    {
        m_bFloatsChanged = 1;
        m_bAlgorithmsChanged = 1;
    }

    Group m_aGroups[NUM_GROUPS]; // group g = 2 x band + slot
    float m_afCutoffs[KvSkrel::NUM_CUTOFFS];
    uint8_t m_bFloatsChanged;     // thirty floats and the cut-offs
    uint8_t m_bAlgorithmsChanged; // six algorithm numbers
};
