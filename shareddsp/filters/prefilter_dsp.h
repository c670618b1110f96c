// One channel of the filters effect: three filters in series, each static, morphing between
// its two sets of settings under an LFO of its own, or off.
// SetType (and so SetParam) may allocate: a change of type builds a new filter object.
#pragma once
#include <cstdint>
#include "kvbase/common/common_smart_ptr.h"
#include "kvbase/common/common_vector.h"
#include "shareddsp/filters/filterstate.h"

enum LfoShape : uint32_t {
    LFO_SINE = 0,
    LFO_SQUARE = 1,
    LFO_RAMP_UP = 2,
    LFO_RAMP_DOWN = 3,
    LFO_TRIANGLE = 4,
    NUM_LFO_SHAPES = 5,
};

enum FilterMode : uint32_t {
    FILTER_MODE_STATIC = 0,
    FILTER_MODE_MODULATED = 1,
    FILTER_MODE_OFF = 2,
};

// SetParam indices.
enum FilterParam : uint32_t {
    FILTER_PARAM_FREQUENCY = 0,
    FILTER_PARAM_GAIN = 1,
    FILTER_PARAM_Q = 2,
    FILTER_PARAM_RESONANCE = 3,
    FILTER_PARAM_LFO_PERIOD = 4,
    FILTER_PARAM_FREQUENCY2 = 5,
    FILTER_PARAM_GAIN2 = 6,
    FILTER_PARAM_Q2 = 7,
    FILTER_PARAM_RESONANCE2 = 8,
    NUM_FILTER_PARAMS = 9,
};

class PrefilterDsp
{
public:
    enum : uint32_t {
        NUM_FILTERS = 3,
        // Modulated filters take new coefficients once per chunk: the trade between the cost
        // of recomputing and the step size of the sweep.
        LFO_CHUNK = 50,
    };

    explicit PrefilterDsp(float in_fSampleRate);

    // Builds a new filter object unless the type is the present one, then configures it.
    // False when the type is above 36 (the old filter stays) or memory ran out (the slot is
    // then empty). May allocate.
    bool SetType(uint32_t in_uFilter, uint32_t in_uType);
    // Stores a setting and reconfigures through SetType. May allocate.
    bool SetParam(uint32_t in_uFilter, uint32_t in_uIndex, float in_fValue);
    bool SetMode(uint32_t in_uFilter, uint32_t in_uMode);
    bool SetLfoShape(uint32_t in_uFilter, uint32_t in_uShape);

    uint32_t GetType(uint32_t in_uFilter) const;
    float GetParam(uint32_t in_uFilter, uint32_t in_uIndex) const;
    uint32_t GetMode(uint32_t in_uFilter) const;
    uint32_t GetLfoShape(uint32_t in_uFilter) const;
    uint32_t GetLfoPosition(uint32_t in_uFilter) const;
    float GetLfoValue(uint32_t in_uFilter) const;
    // The filter object itself, or null; for inspection.
    const FilterState* GetFilter(uint32_t in_uFilter) const;

    // Clears every filter's memory; the LFO positions stay.
    void Reset();
    void Process(uint32_t in_uFrames, float* io_pSamples);
    // Two channels at once when every filter of both is a static biquad (at most four each):
    // the values of Process on each. False, with nothing processed, otherwise.
    static bool ProcessPair(PrefilterDsp& io_first, PrefilterDsp& io_second, uint32_t in_uFrames,
                            float* io_pFirst, float* io_pSecond);

    // The LFO's value in 0..1 at phase in_fPhase; false for an unknown shape.
    static bool LfoValue(uint32_t in_uShape, float in_fPhase, float& out_fValue);

private:
    FilterState* Filter(uint32_t in_uFilter) const;
    void ProcessModulated(FilterState& io_filter, uint32_t in_uFrames, float* io_pSamples);

    float m_fSampleRate;
    common_vector<common_smart_ptr<FilterState>> m_filters;
};
