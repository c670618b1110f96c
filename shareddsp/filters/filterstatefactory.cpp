#include "shareddsp/filters/filterstatefactory.h"
#include "kvbase/common/common_allocator.h"
#include "shareddsp/filters/filterstatebiquad.h"
#include "shareddsp/filters/filterstateformant.h"
#include "shareddsp/filters/filterstateladder.h"
#include "shareddsp/filters/filterstateladdercascade.h"
#include "shareddsp/filters/filterstateladderclipped.h"
#include "shareddsp/filters/filterstatenone.h"
#include "shareddsp/filters/filterstatesvfchain.h"
#include "shareddsp/filters/filterstatesvfdriven.h"
#include "shareddsp/filters/filterstatesvfscaled.h"

FilterState* CreateFilterState(uint32_t in_uType, const FilterState* in_pSource)
{
    if (in_uType == FILTER_NONE)
        return QwNew<FilterStateNone>(in_pSource);
    if (in_uType <= FILTER_BIQUAD_PEAK) {
        FilterStateBiquad* pBiquad = QwNew<FilterStateBiquad>(in_pSource);
        if (pBiquad && !pBiquad->HasFilter()) {
            QwDelete(pBiquad);
            return nullptr;
        }
        return pBiquad;
    }
    if (in_uType <= FILTER_SVF_TWO_STAGE)
        return QwNew<FilterStateSvfChain>(in_pSource);
    if (in_uType == FILTER_LADDER_CLIPPED)
        return QwNew<FilterStateLadderClipped>(in_pSource);
    if (in_uType <= FILTER_LADDER_BAND)
        return QwNew<FilterStateLadder>(in_pSource);
    if (in_uType == FILTER_LADDER_CASCADE)
        return QwNew<FilterStateLadderCascade>(in_pSource);
    if (in_uType <= FILTER_SVF_SCALED_BAND)
        return QwNew<FilterStateSvfScaled>(in_pSource);
    if (in_uType <= FILTER_SVF_DRIVEN_PEAK)
        return QwNew<FilterStateSvfDriven>(in_pSource);
    if (in_uType <= FILTER_FORMANT_LAST) {
        FilterStateFormant* pFormant = QwNew<FilterStateFormant>(in_pSource);
        if (pFormant && !pFormant->HasHistory()) {
            QwDelete(pFormant);
            return nullptr;
        }
        return pFormant;
    }
    return nullptr;
}
