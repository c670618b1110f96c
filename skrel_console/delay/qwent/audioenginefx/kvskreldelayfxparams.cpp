#include "skrel_console/delay/qwent/audioenginefx/kvskreldelayfxparams.h"

QwResult KvSkrelDelayFXParams::SetParam(uint16_t in_uParamId, const void* in_pValue, uint32_t)
{
    switch (in_uParamId) {
    case PARAM_DRY_PERCENT:
        QwStoreRaw(m_fDryPercent, in_pValue);
        break;
    case PARAM_WET_PERCENT:
        QwStoreRaw(m_fWetPercent, in_pValue);
        break;
    case PARAM_LOW_CUT_HZ:
        QwStoreRaw(m_fLowCutHz, in_pValue);
        break;
    case PARAM_LOW_CUT_Q:
        QwStoreRaw(m_fLowCutQ, in_pValue);
        break;
    case PARAM_HIGH_CUT_HZ:
        QwStoreRaw(m_fHighCutHz, in_pValue);
        break;
    case PARAM_HIGH_CUT_Q:
        QwStoreRaw(m_fHighCutQ, in_pValue);
        break;
    case PARAM_DELAY_MS:
        QwStoreRaw(m_fDelayMs, in_pValue);
        break;
    case PARAM_FEEDBACK_PERCENT:
        QwStoreRaw(m_fFeedbackPercent, in_pValue);
        break;
    case PARAM_AMOUNT:
        QwStoreRaw(m_fAmount, in_pValue);
        break;
    case PARAM_MODE:
        QwStoreRaw(m_uMode, in_pValue);
        m_bModeDirty = 1;
        return QW_Success;
    default:
        return QW_UnknownParam;
    }
    m_bFloatsDirty = 1;
    return QW_Success;
}

void KvSkrelDelayFXParams::SetDefaults()
{
    m_fDryPercent = 100.0f;
    m_fWetPercent = 0.0f;
    m_fLowCutHz = 80.0f;
    m_fLowCutQ = 0.2f;
    m_fHighCutHz = 10000.0f;
    m_fHighCutQ = 0.2f;
    m_fDelayMs = 200.0f;
    m_fFeedbackPercent = 20.0f;
    m_fAmount = 0.25f;
    m_uMode = 0;
}

void KvSkrelDelayFXParams::ReadBlock(QwParamBlockReader& io_reader)
{
    m_fDryPercent = io_reader.ReadF32();
    m_fWetPercent = io_reader.ReadF32();
    m_fLowCutHz = io_reader.ReadF32();
    m_fLowCutQ = io_reader.ReadF32();
    m_fHighCutHz = io_reader.ReadF32();
    m_fHighCutQ = io_reader.ReadF32();
    m_fDelayMs = io_reader.ReadF32();
    m_fFeedbackPercent = io_reader.ReadF32();
    m_fAmount = io_reader.ReadF32();
    m_uMode = io_reader.ReadU32();
}

void KvSkrelDelayFXParams::SetAllDirty()
{
    m_bFloatsDirty = 1;
    m_bModeDirty = 1;
}

float KvSkrelDelayFXParams::GetFloat(uint32_t in_uId) const
{
    switch (in_uId) {
    case PARAM_DRY_PERCENT:
        return m_fDryPercent;
    case PARAM_WET_PERCENT:
        return m_fWetPercent;
    case PARAM_LOW_CUT_HZ:
        return m_fLowCutHz;
    case PARAM_LOW_CUT_Q:
        return m_fLowCutQ;
    case PARAM_HIGH_CUT_HZ:
        return m_fHighCutHz;
    case PARAM_HIGH_CUT_Q:
        return m_fHighCutQ;
    case PARAM_DELAY_MS:
        return m_fDelayMs;
    case PARAM_FEEDBACK_PERCENT:
        return m_fFeedbackPercent;
    case PARAM_AMOUNT:
        return m_fAmount;
    default:
        return 0.0f;
    }
}
