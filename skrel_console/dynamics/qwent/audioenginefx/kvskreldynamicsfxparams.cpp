#include "skrel_console/dynamics/qwent/audioenginefx/kvskreldynamicsfxparams.h"

QwResult KvSkrelDynamicsFXParams::SetParam(uint16_t in_uParamId, const void* in_pValue, uint32_t)
{
    switch (in_uParamId) {
    case ID_BYPASS: QwStoreRaw(m_uBypass, in_pValue); break;
    case ID_COMP_THRESHOLD: QwStoreRaw(m_fCompThreshold, in_pValue); break;
    case ID_COMP_RATIO: QwStoreRaw(m_fCompRatio, in_pValue); break;
    case ID_COMP_ATTACK: QwStoreRaw(m_fCompAttack, in_pValue); break;
    case ID_COMP_RELEASE: QwStoreRaw(m_fCompRelease, in_pValue); break;
    case ID_EXP_THRESHOLD: QwStoreRaw(m_fExpThreshold, in_pValue); break;
    case ID_EXP_RATIO: QwStoreRaw(m_fExpRatio, in_pValue); break;
    case ID_EXP_ATTACK: QwStoreRaw(m_fExpAttack, in_pValue); break;
    case ID_EXP_RELEASE: QwStoreRaw(m_fExpRelease, in_pValue); break;
    case ID_OUTPUT_GAIN: QwStoreRaw(m_fOutputGain, in_pValue); break;
    default: return QW_UnknownParam;
    }
    m_bParamsDirty = 1;
    return QW_Success;
}

void KvSkrelDynamicsFXParams::SetDefaults()
{
    m_uBypass = 0;
    m_fCompThreshold = 0.0f;
    m_fCompRatio = 1.0f;
    m_fCompAttack = 10.0f;
    m_fCompRelease = 200.0f;
    m_fExpThreshold = 0.0f;
    m_fExpRatio = 1.0f;
    m_fExpAttack = 10.0f;
    m_fExpRelease = 200.0f;
    m_fOutputGain = 0.0f;
}

void KvSkrelDynamicsFXParams::ReadBlock(QwParamBlockReader& io_reader)
{
    m_uBypass = io_reader.ReadU32();
    m_fCompThreshold = io_reader.ReadF32();
    m_fCompRatio = io_reader.ReadF32();
    m_fCompAttack = io_reader.ReadF32();
    m_fCompRelease = io_reader.ReadF32();
    m_fExpThreshold = io_reader.ReadF32();
    m_fExpRatio = io_reader.ReadF32();
    m_fExpAttack = io_reader.ReadF32();
    m_fExpRelease = io_reader.ReadF32();
    m_fOutputGain = io_reader.ReadF32();
}

void KvSkrelDynamicsFXParams::SetAllDirty()
{
    m_bParamsDirty = 1;
    m_bAlgorithmDirty = 1;
}
