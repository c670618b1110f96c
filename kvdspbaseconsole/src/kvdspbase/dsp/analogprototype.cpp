#include "kvdspbase/dsp/analogprototype.h"

AnalogPrototype::~AnalogPrototype() = default;

bool AnalogPrototype::AddSection(double p0, double p1, double p2)
{
    return m_adSections.push_back(p0) && m_adSections.push_back(p1) && m_adSections.push_back(p2);
}
