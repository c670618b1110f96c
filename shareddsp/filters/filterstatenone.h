// Type 0: the filter that is there but does nothing, not even check its type.
#pragma once
#include "shareddsp/filters/filterstate.h"

class FilterStateNone : public FilterState
{
public:
    // The default settings, with no source to copy.
    FilterStateNone() = default;
    explicit FilterStateNone(const FilterState* in_pSource) : FilterState(in_pSource) {}
    void Configure(uint32_t, float) override {}
    void Process(uint32_t, float*) override {}
    void Reset() override {}
    void Update(float, float, float, float, float) override {}
};
