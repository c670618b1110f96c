// Raw parameter values of the single-band distortion: two slots of five gains and an algorithm.
#pragma once
#include <cstdint>
#include "host/qwparamsframe.h"
#include "shareddsp/distortions/skreldistortion/distortion_constants.h"

class KvSkrelDistortionFXParams : public QwParamsFrame<KvSkrelDistortionFXParams>
{
public:
    // Host identifiers: 0-4 and 5 for slot 0, 6-10 and 11 for slot 1.
    enum : uint16_t { PARAMS_PER_SLOT = 6, ALGORITHM_OFFSET = 5, NUM_PARAMS = 12 };
    static constexpr uint32_t BLOCK_BYTES = 48;

    struct Slot
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
        m_bGainsChanged = 1;
        m_bAlgorithmsChanged = 1;
    }

    Slot m_aSlots[KvSkrel::NUM_DISTORTION_SLOTS];
    uint8_t m_bGainsChanged;      // the ten float values
    uint8_t m_bAlgorithmsChanged; // the two algorithm numbers
};
