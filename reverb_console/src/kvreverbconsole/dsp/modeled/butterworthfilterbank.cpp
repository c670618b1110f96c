#include "kvreverbconsole/dsp/modeled/butterworthfilterbank.h"
#include "kvbase/ipp/ipp_vector_ref.h"
#include "kvdspbase/dsp/butterworthprototype.h"
#include "kvdspbase/dsp/filtercoeffs.h"

namespace {
bool AddFilter(common_vector<common_smart_ptr<IirFilter>>& io_list, const double* in_pTaps)
{
    common_smart_ptr<IirFilter> pFilter(QwNew<IirFilter>(2u, in_pTaps, 1u));
    return !IsOutOfMemory() && pFilter && io_list.push_back(pFilter);
}
} // namespace

ButterworthFilterBank::ButterworthFilterBank(float in_fSampleRate, float in_fFirstCrossover, float /*in_fUnused*/,
                                             float in_fRatio)
    : m_pPrototype(QwNew<ButterworthPrototype>(2u))
{
    m_afRemainder.reserve(8192);
    if (IsOutOfMemory() || !m_pPrototype)
        return;
    const float fNyquist = in_fSampleRate * 0.5f;
    uint32_t uCrossovers = 0;
    for (float f = in_fFirstCrossover; f < fNyquist; f *= in_fRatio) {
        double adTaps[6];
        DesignPrototypeLowPass(adTaps, static_cast<double>(in_fSampleRate), static_cast<double>(f), *m_pPrototype);
        if (!AddFilter(m_aLowPass1, adTaps) || !AddFilter(m_aLowPass2, adTaps))
            return;
        DesignPrototypeHighPass(adTaps, static_cast<double>(in_fSampleRate), static_cast<double>(f), *m_pPrototype);
        if (!AddFilter(m_aHighPass1, adTaps) || !AddFilter(m_aHighPass2, adTaps))
            return;
        m_uNumBands = ++uCrossovers + 1;
    }
}

void ButterworthFilterBank::Split(uint32_t in_uLength, const float* in_pfInput, float* const* out_ppBands)
{
    m_afRemainder.resize(in_uLength, 0.0f);
    if (m_afRemainder.size() != in_uLength)
        return;
    float* pfRemainder = m_afRemainder.data();
    ippsCopy_32f(in_uLength, in_pfInput, pfRemainder);
    const uint32_t uCrossovers = m_uNumBands - 1;
    for (uint32_t k = 0; k < uCrossovers; ++k) {
        m_aLowPass1[k]->Process(in_uLength, pfRemainder, out_ppBands[k]);
        m_aLowPass2[k]->Process(in_uLength, out_ppBands[k]);
        m_aHighPass1[k]->Process(in_uLength, pfRemainder);
        m_aHighPass2[k]->Process(in_uLength, pfRemainder);
    }
    ippsCopy_32f(in_uLength, pfRemainder, out_ppBands[uCrossovers]);
}
