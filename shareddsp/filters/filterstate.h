// One filter of the filters effect: two sets of settings (the ends of its LFO morph) and one
// algorithm, chosen by a type number. The concrete classes hold all recursion state in double.
#pragma once
#include <cstdint>

enum FilterType : uint32_t {
    FILTER_NONE = 0,
    FILTER_BIQUAD_LOW_PASS = 1,
    FILTER_BIQUAD_HIGH_PASS = 2,
    FILTER_BIQUAD_BAND_PASS = 3,
    FILTER_BIQUAD_LOW_SHELF = 4,
    FILTER_BIQUAD_HIGH_SHELF = 5,
    FILTER_BIQUAD_PEAK = 6,
    FILTER_SVF_ONE_STAGE = 7,
    FILTER_SVF_AVERAGE = 8,
    FILTER_SVF_TWO_STAGE = 9,
    FILTER_LADDER_CLIPPED = 10,
    FILTER_LADDER_LOW = 11,
    FILTER_LADDER_HIGH = 12,
    FILTER_LADDER_BAND = 13,
    FILTER_LADDER_CASCADE = 14,
    FILTER_SVF_SCALED_LOW = 15,
    FILTER_SVF_SCALED_HIGH = 16,
    FILTER_SVF_SCALED_BAND = 17,
    FILTER_SVF_DRIVEN_LOW = 18,
    FILTER_SVF_DRIVEN_BAND = 19,
    FILTER_SVF_DRIVEN_HIGH = 20,
    FILTER_SVF_DRIVEN_PEAK = 21,
    // Vowel v, tap t (low, high, band) is type FILTER_FORMANT_LOW + 3 v + t.
    FILTER_FORMANT_LOW = 22,
    FILTER_FORMANT_HIGH = 23,
    FILTER_FORMANT_BAND = 24,
    FILTER_FORMANT_LAST = 36,
    NUM_FILTER_TYPES = 37,
};

enum : uint32_t {
    NUM_FORMANT_VOWELS = 5,
    FORMANT_TAPS_PER_VOWEL = 3,
};

class IirFilter;

class FilterState
{
public:
    FilterState() = default;
    // Takes every setting of in_pSource but the last LFO value; a null source gives the defaults.
    explicit FilterState(const FilterState* in_pSource);
    virtual ~FilterState() {}

    // Derives coefficients from the first set of settings.
    virtual void Configure(uint32_t in_uType, float in_fSampleRate) = 0;
    // Filters in place.
    virtual void Process(uint32_t in_uFrames, float* io_pSamples) = 0;
    // Clears the recursion's memory and nothing else.
    // The one second-order section a static filter of this kind runs, when it is exactly that;
    // a run of them is then processed as one chain.
    virtual IirFilter* StaticBiquad() { return nullptr; }
    virtual void Reset() = 0;
    // Derives coefficients from the values given; the stored settings stay as they are.
    virtual void Update(float in_fSampleRate, float in_fFrequency, float in_fGainDb, float in_fQ,
                        float in_fResonance) = 0;

    // The first four defaults lie one step beyond any value in use, so that the first real
    // setting always differs from them.
    uint32_t m_uType = FILTER_BIQUAD_LOW_PASS;
    float m_fFrequency = 20001.0f;
    float m_fGainDb = 31.0f;
    float m_fQ = 13.0f;
    float m_fResonance = 2.0f;
    uint32_t m_uMode = 0;
    uint32_t m_uLfoPosition = 0;
    uint32_t m_uLfoShape = 0;
    float m_fLfoPeriodMs = 1000.0f;
    float m_fLfoValue = 0.0f;
    float m_fFrequency2 = 160.0f;
    float m_fGainDb2 = 0.0f;
    float m_fQ2 = 0.5f;
    float m_fResonance2 = 0.2f;
};

inline double FilterClamp(double in_dValue, double in_dLow, double in_dHigh)
{
    return in_dValue < in_dLow ? in_dLow : (in_dValue > in_dHigh ? in_dHigh : in_dValue);
}

constexpr double FILTER_PI = 3.14159265358979323846;
