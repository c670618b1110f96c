#include "kvdspbase/dsp/butterworthprototype.h"
#include <cmath>

ButterworthPrototype::ButterworthPrototype(uint32_t uOrder) : m_uOrder(uOrder)
{
    const double dPi = 3.14159265358979323846;
    const double dTwoN = 2.0 * static_cast<double>(uOrder);
    m_adSections.reserve(3 * ((uOrder + 1) / 2));
    for (uint32_t k = 1; k <= uOrder / 2; ++k) {
        const double dAngle = static_cast<double>(2 * k + uOrder - 1) * dPi / dTwoN;
        if (!AddSection(1.0, -2.0 * std::cos(dAngle), 1.0))
            return;
    }
    if (uOrder % 2 == 1)
        AddSection(1.0, 1.0, 0.0);
}
