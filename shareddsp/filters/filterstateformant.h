// Types 22 to 36: a ladder tap followed by a tenth-order all-pole section that shapes one of
// five vowels. The vowel sections do not follow the sample rate; only the ladder follows fc.
#pragma once
#include "kvbase/common/common_vector.h"
#include "shareddsp/filters/filterstateladder.h"

class FilterStateFormant : public FilterStateLadder
{
public:
    enum : uint32_t { ORDER = 10 };

    // Allocates the history; HasHistory() tells whether that succeeded.
    explicit FilterStateFormant(const FilterState* in_pSource);
    void Configure(uint32_t in_uType, float in_fSampleRate) override;
    void Process(uint32_t in_uFrames, float* io_pSamples) override;
    void Reset() override;

    bool HasHistory() const { return m_history.size() == ORDER; }
    // c0 (input gain) to c10 of a vowel.
    static const double* VowelCoefficients(uint32_t in_uVowel);

private:
    common_vector<double> m_history;
};
