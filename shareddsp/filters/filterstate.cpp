#include "shareddsp/filters/filterstate.h"
#include "host/qwassert.h"

FilterState::FilterState(const FilterState* in_pSource)
{
    QW_ASSERT(in_pSource);
    if (!in_pSource)
        return;
    m_uType = in_pSource->m_uType;
    m_fFrequency = in_pSource->m_fFrequency;
    m_fGainDb = in_pSource->m_fGainDb;
    m_fQ = in_pSource->m_fQ;
    m_fResonance = in_pSource->m_fResonance;
    m_uMode = in_pSource->m_uMode;
    m_uLfoPosition = in_pSource->m_uLfoPosition;
    m_uLfoShape = in_pSource->m_uLfoShape;
    m_fLfoPeriodMs = in_pSource->m_fLfoPeriodMs;
    m_fFrequency2 = in_pSource->m_fFrequency2;
    m_fGainDb2 = in_pSource->m_fGainDb2;
    m_fQ2 = in_pSource->m_fQ2;
    m_fResonance2 = in_pSource->m_fResonance2;
}
