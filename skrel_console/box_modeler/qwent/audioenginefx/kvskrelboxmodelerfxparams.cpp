#include "skrel_console/box_modeler/qwent/audioenginefx/kvskrelboxmodelerfxparams.h"

QwResult KvSkrelBoxModelerFXParams::SetParam(uint16_t in_uParamId, const void* in_pValue, uint32_t)
{
    switch (in_uParamId) {
    case ID_MODEL: QwStoreRaw(m_uModel, in_pValue); m_bIntsDirty = 1; return QW_Success;
    case ID_MODE: QwStoreRaw(m_uMode, in_pValue); m_bIntsDirty = 1; return QW_Success;
    case ID_INPUT_GAIN: QwStoreRaw(m_fInputGain, in_pValue); break;
    case ID_OUTPUT_GAIN: QwStoreRaw(m_fOutputGain, in_pValue); break;
    case ID_WET: QwStoreRaw(m_fWetLevel, in_pValue); break;
    case ID_TRIM_LEVEL: QwStoreRaw(m_fTrimLevel, in_pValue); break;
    case ID_LENGTH_FRACTION: QwStoreRaw(m_fLengthFraction, in_pValue); break;
    default: return QW_UnknownParam;
    }
    m_bFloatsDirty = 1;
    return QW_Success;
}

void KvSkrelBoxModelerFXParams::SetDefaults()
{
    m_uModel = 0;
    m_uMode = 0;
    m_fInputGain = 0.0f;
    m_fOutputGain = 0.0f;
    m_fWetLevel = 100.0f;
    m_fTrimLevel = 10.0f;
    m_fLengthFraction = 1.0f;
}

void KvSkrelBoxModelerFXParams::ReadBlock(QwParamBlockReader& io_reader)
{
    m_uModel = io_reader.ReadU32();
    m_uMode = io_reader.ReadU32();
    m_fInputGain = io_reader.ReadF32();
    m_fOutputGain = io_reader.ReadF32();
    m_fWetLevel = io_reader.ReadF32();
    m_fTrimLevel = io_reader.ReadF32();
    m_fLengthFraction = io_reader.ReadF32();
}

void KvSkrelBoxModelerFXParams::SetAllDirty()
{
    m_bFloatsDirty = 1;
    m_bIntsDirty = 1;
}
