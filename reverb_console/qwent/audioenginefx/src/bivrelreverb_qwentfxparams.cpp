#include "reverb_console/qwent/audioenginefx/src/bivrelreverb_qwentfxparams.h"

QwResult BivrelReverbFXParams::SetParam(uint16_t in_uParamId, const void* in_pValue, uint32_t)
{
    float* const apModel[6] = {&fDecayTime,     &fLowCrossover,  &fHighCrossover,
                               &fLowMultiplier, &fMidMultiplier, &fHighMultiplier};
    float* const apRealTime[8] = {&fEarlyGain,   &fLateGain,    &fFrontPreDelay, &fRearPreDelay,
                                  &fFrontWetOut, &fFrontDryOut, &fRearWetOut,    &fRearDryOut};
    if (in_uParamId <= HIGH_MULTIPLIER) {
        QwStoreRaw(*apModel[in_uParamId], in_pValue);
        m_bModelDirty = 1;
    } else if (in_uParamId <= REAR_DRY_OUT) {
        QwStoreRaw(*apRealTime[in_uParamId - EARLY_GAIN], in_pValue);
        m_bRtDirty = 1;
    } else if (in_uParamId == ORDER) {
        QwStoreRaw(m_uOrder, in_pValue);
        m_bModelDirty = 1;
    } else {
        return QW_UnknownParam;
    }
    return QW_Success;
}

void BivrelReverbFXParams::SetDefaults()
{
    fDecayTime = 0.5f;
    fLowCrossover = 400.0f;
    fHighCrossover = 10000.0f;
    fLowMultiplier = 1.0f;
    fMidMultiplier = 1.0f;
    fHighMultiplier = 1.0f;
    m_uOrder = 16;
    fEarlyGain = 0.0f;
    fLateGain = 0.0f;
    fFrontPreDelay = 0.0f;
    fRearPreDelay = 0.0f;
    fFrontWetOut = 0.0f;
    // Fully wet unless the game asks otherwise.
    fFrontDryOut = -96.0f;
    fRearWetOut = 0.0f;
    fRearDryOut = -96.0f;
}

void BivrelReverbFXParams::ReadBlock(QwParamBlockReader& io_reader)
{
    fDecayTime = io_reader.ReadF32();
    fLowCrossover = io_reader.ReadF32();
    fHighCrossover = io_reader.ReadF32();
    fLowMultiplier = io_reader.ReadF32();
    fMidMultiplier = io_reader.ReadF32();
    fHighMultiplier = io_reader.ReadF32();
    m_uOrder = io_reader.ReadU32();
    fEarlyGain = io_reader.ReadF32();
    fLateGain = io_reader.ReadF32();
    fFrontPreDelay = io_reader.ReadF32();
    fRearPreDelay = io_reader.ReadF32();
    fFrontWetOut = io_reader.ReadF32();
    fFrontDryOut = io_reader.ReadF32();
    fRearWetOut = io_reader.ReadF32();
    fRearDryOut = io_reader.ReadF32();
}
