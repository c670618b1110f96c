// A normalised analogue filter as a list of second-order sections p0 + p1 s + p2 s^2, cut-off
// at 1 rad/s; the design functions scale it to a cut-off and map it to the digital domain.
#pragma once
#include <cstdint>
#include "kvbase/common/common_vector.h"

class AnalogPrototype
{
public:
    AnalogPrototype() = default;
    AnalogPrototype(const AnalogPrototype&) = delete;
    AnalogPrototype& operator=(const AnalogPrototype&) = delete;
    virtual ~AnalogPrototype();

    uint32_t NumSections() const { return m_adSections.size() / 3; }
    // p0, p1, p2 of section i.
    const double* Section(uint32_t i) const { return &m_adSections[3 * i]; }

protected:
    // Appends one section; false when memory ran out.
    bool AddSection(double p0, double p1, double p2);

    common_vector<double> m_adSections;
};
