// Splits a signal into bands a fixed ratio apart (one third of an octave for the decay analysis):
// a chain of fourth-order Linkwitz-Riley crossovers, each band taken off the low side of what is
// left above the previous crossover.
#pragma once
#include <cstdint>
#include "kvbase/common/common_smart_ptr.h"
#include "kvbase/common/common_vector.h"
#include "kvdspbase/dsp/analogprototype.h"
#include "kvdspbase/dsp/iirfilter.h"

class ButterworthFilterBank
{
public:
    // Crossovers at in_fFirstCrossover times powers of in_fRatio below half the rate. The third
    // frequency is not used. Allocates.
    ButterworthFilterBank(float in_fSampleRate, float in_fFirstCrossover, float in_fUnused, float in_fRatio);

    // out_ppBands holds one array of in_uLength samples a band, lowest band first. The filters
    // keep their state from call to call. Allocates when in_uLength grows beyond earlier calls.
    void Split(uint32_t in_uLength, const float* in_pfInput, float* const* out_ppBands);

    uint32_t GetNumBands() const { return m_uNumBands; }

private:
    common_smart_ptr<AnalogPrototype> m_pPrototype;
    common_vector<common_smart_ptr<IirFilter>> m_aLowPass1;
    common_vector<common_smart_ptr<IirFilter>> m_aLowPass2;
    common_vector<common_smart_ptr<IirFilter>> m_aHighPass1;
    common_vector<common_smart_ptr<IirFilter>> m_aHighPass2;
    uint32_t m_uNumBands = 1;
    common_vector<float> m_afRemainder;
};
