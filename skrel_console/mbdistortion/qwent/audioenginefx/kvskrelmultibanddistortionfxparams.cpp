#include "skrel_console/mbdistortion/qwent/audioenginefx/kvskrelmultibanddistortionfxparams.h"

QwResult KvSkrelMultibandDistortionFXParams::SetParam(uint16_t in_uParamId, const void* in_pValue, uint32_t)
{
    if (in_uParamId == CUTOFF_0 || in_uParamId == CUTOFF_1) {
        QwStoreRaw(m_afCutoffs[in_uParamId - CUTOFF_0], in_pValue);
        m_bFloatsChanged = 1;
        return QW_Success;
    }
    if (in_uParamId >= NUM_GROUPS * PARAMS_PER_GROUP)
        return QW_UnknownParam;
    Group& group = m_aGroups[in_uParamId / PARAMS_PER_GROUP];
    switch (in_uParamId % PARAMS_PER_GROUP) {
    case 0: QwStoreRaw(group.fInputGainDb, in_pValue); break;
    case 1: QwStoreRaw(group.fDrive, in_pValue); break;
    case 2: QwStoreRaw(group.fCharacter, in_pValue); break;
    case 3: QwStoreRaw(group.fMix, in_pValue); break;
    case 4: QwStoreRaw(group.fOutputGainDb, in_pValue); break;
    default:
        QwStoreRaw(group.uAlgorithm, in_pValue);
        m_bAlgorithmsChanged = 1;
        return QW_Success;
    }
    m_bFloatsChanged = 1;
    return QW_Success;
}

void KvSkrelMultibandDistortionFXParams::SetDefaults()
{
    for (Group& group : m_aGroups)
        group = Group{0.0f, 5.0f, 0.5f, 100.0f, 0.0f, 0u};
    m_afCutoffs[0] = 5000.0f;
    m_afCutoffs[1] = 10000.0f;
}

void KvSkrelMultibandDistortionFXParams::ReadBlock(QwParamBlockReader& io_reader)
{
    for (Group& group : m_aGroups) {
        group.fInputGainDb = io_reader.ReadF32();
        group.fDrive = io_reader.ReadF32();
        group.fCharacter = io_reader.ReadF32();
        group.fMix = io_reader.ReadF32();
        group.fOutputGainDb = io_reader.ReadF32();
        group.uAlgorithm = io_reader.ReadU32();
    }
    m_afCutoffs[0] = io_reader.ReadF32();
    m_afCutoffs[1] = io_reader.ReadF32();
}
