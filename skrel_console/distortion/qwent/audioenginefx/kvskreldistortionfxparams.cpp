#include "skrel_console/distortion/qwent/audioenginefx/kvskreldistortionfxparams.h"

QwResult KvSkrelDistortionFXParams::SetParam(uint16_t in_uParamId, const void* in_pValue, uint32_t)
{
    if (in_uParamId >= NUM_PARAMS)
        return QW_UnknownParam;
    Slot& slot = m_aSlots[in_uParamId / PARAMS_PER_SLOT];
    switch (in_uParamId % PARAMS_PER_SLOT) {
    case 0: QwStoreRaw(slot.fInputGainDb, in_pValue); break;
    case 1: QwStoreRaw(slot.fDrive, in_pValue); break;
    case 2: QwStoreRaw(slot.fCharacter, in_pValue); break;
    case 3: QwStoreRaw(slot.fMix, in_pValue); break;
    case 4: QwStoreRaw(slot.fOutputGainDb, in_pValue); break;
    default:
        QwStoreRaw(slot.uAlgorithm, in_pValue);
        m_bAlgorithmsChanged = 1;
        return QW_Success;
    }
    m_bGainsChanged = 1;
    return QW_Success;
}

void KvSkrelDistortionFXParams::SetDefaults()
{
    for (Slot& slot : m_aSlots)
        slot = Slot{0.0f, 5.0f, 0.5f, 100.0f, 0.0f, 0u};
}

void KvSkrelDistortionFXParams::ReadBlock(QwParamBlockReader& io_reader)
{
    for (Slot& slot : m_aSlots) {
        slot.fInputGainDb = io_reader.ReadF32();
        slot.fDrive = io_reader.ReadF32();
        slot.fCharacter = io_reader.ReadF32();
        slot.fMix = io_reader.ReadF32();
        slot.fOutputGainDb = io_reader.ReadF32();
        slot.uAlgorithm = io_reader.ReadU32();
    }
}
