#include "shareddsp/distortions/skreldistortion/distortion_dsp.h"
#include "host/qwassert.h"
#include "shareddsp/distortions/skreldistortion/distortion_algorithm_info.h"

using namespace KvSkrel;

DistortionDsp::DistortionDsp(float)
{
    for (uint32_t i = 0; i < NUM_DISTORTION_ALGORITHMS; ++i)
        m_apfnAlgorithms[i] = g_apfnDistortionAlgorithms[i];
}

DistortionSlot* DistortionDsp::CheckedSlot(uint32_t iBand, uint32_t iEffectSlot)
{
    QW_ASSERT(iBand < NUM_BANDS);
    QW_ASSERT(iEffectSlot < NUM_DISTORTION_SLOTS);
    if (iBand >= NUM_BANDS || iEffectSlot >= NUM_DISTORTION_SLOTS)
        return nullptr;
    return &m_aSlots[iBand + iEffectSlot * NUM_BANDS];
}

uint32_t DistortionDsp::GetAlgorithm(uint32_t iBand, uint32_t iEffectSlot) const
{
    QW_ASSERT(iBand < NUM_BANDS);
    QW_ASSERT(iEffectSlot < NUM_DISTORTION_SLOTS);
    if (iBand >= NUM_BANDS || iEffectSlot >= NUM_DISTORTION_SLOTS)
        return 0;
    return m_aSlots[iBand + iEffectSlot * NUM_BANDS].m_uAlgorithm;
}

void DistortionDsp::SetAlgorithm(uint32_t iBand, uint32_t iAlgorithm, uint32_t iEffectSlot)
{
    DistortionSlot* pSlot = CheckedSlot(iBand, iEffectSlot);
    QW_ASSERT(iAlgorithm < NUM_DISTORTION_ALGORITHMS);
    if (!pSlot)
        return;
    pSlot->m_uAlgorithm = iAlgorithm;
    // An out-of-range number is kept (Reset heals it) but has no row to derive gains from.
    if (iAlgorithm >= NUM_DISTORTION_ALGORITHMS)
        return;
    UpdateDriveGain(*pSlot);
    UpdateMix(*pSlot);
}

float DistortionDsp::GetParameter(uint32_t iBand, uint32_t in_uIndex, uint32_t iEffectSlot) const
{
    QW_ASSERT(iBand < NUM_BANDS);
    QW_ASSERT(iEffectSlot < NUM_DISTORTION_SLOTS);
    if (iBand >= NUM_BANDS || iEffectSlot >= NUM_DISTORTION_SLOTS)
        return -401.0f;
    const DistortionSlot& slot = m_aSlots[iBand + iEffectSlot * NUM_BANDS];
    switch (in_uIndex) {
    case 0:
        return slot.m_fInputGainDb;
    case 1:
        return slot.m_fDrive;
    case 2:
        return slot.m_fCharacter;
    case 3:
        return slot.m_fMix;
    case 4:
        return slot.m_fOutputGainDb;
    default:
        QW_ASSERT(false);
        return -401.0f;
    }
}

void DistortionDsp::SetParameter(uint32_t iBand, uint32_t in_uIndex, float in_fValue, uint32_t iEffectSlot)
{
    DistortionSlot* pSlot = CheckedSlot(iBand, iEffectSlot);
    if (!pSlot)
        return;
    switch (in_uIndex) {
    case 0:
        pSlot->m_fInputGainDb = in_fValue;
        pSlot->m_fInputGain = DbToLinear(in_fValue);
        break;
    case 1:
        pSlot->m_fDrive = in_fValue;
        if (pSlot->m_uAlgorithm < NUM_DISTORTION_ALGORITHMS)
            UpdateDriveGain(*pSlot);
        break;
    case 2:
        pSlot->m_fCharacter = in_fValue;
        pSlot->m_fCharacterCopy = in_fValue;
        break;
    case 3:
        pSlot->m_fMix = in_fValue;
        if (pSlot->m_uAlgorithm < NUM_DISTORTION_ALGORITHMS)
            UpdateMix(*pSlot);
        break;
    case 4:
        pSlot->m_fOutputGainDb = in_fValue;
        pSlot->m_fOutputGain = DbToLinear(in_fValue);
        break;
    default:
        QW_ASSERT(false);
        break;
    }
}

void DistortionDsp::UpdateDriveGain(DistortionSlot& io_slot)
{
    const float fMaxDb = g_aDistortionAlgorithms[io_slot.m_uAlgorithm].fMaxDriveDb;
    io_slot.m_fDriveGain = DbToLinear(LinearMap(io_slot.m_fDrive, 0.0f, 10.0f, 0.0f, fMaxDb));
}

// The trim makes algorithms comparable in level and touches only the wet path.
void DistortionDsp::UpdateMix(DistortionSlot& io_slot)
{
    const float fMix = io_slot.m_fMix * 0.01f;
    io_slot.m_fDryGain = 1.0f - fMix;
    io_slot.m_fWetGain = fMix * DbToLinear(g_aDistortionAlgorithms[io_slot.m_uAlgorithm].fOutputTrimDb);
}

void DistortionDsp::SetSampleAveraging(bool in_bEnable)
{
    for (DistortionSlot& slot : m_aSlots)
        slot.m_bSampleAveraging = in_bEnable;
    Reset();
}

// Position and denormal counter are left where they are.
void DistortionDsp::Reset()
{
    for (DistortionSlot& slot : m_aSlots) {
        if (slot.m_uAlgorithm >= NUM_DISTORTION_ALGORITHMS) {
            QW_ASSERT(false);
            slot.m_uAlgorithm = 0;
        }
        for (float& f : slot.m_fAverageBuffer)
            f = 0.0f;
        slot.m_fAverageSum = 0.0f;
        slot.m_uBufferSamples = 0;
    }
}
