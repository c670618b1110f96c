// The Butterworth prototype of a given order: maximally flat, -3 dB at the cut-off.
#pragma once
#include <cstdint>
#include "kvdspbase/dsp/analogprototype.h"

class ButterworthPrototype : public AnalogPrototype
{
public:
    // Sections (1, -2 cos((2k + n - 1) pi / (2n)), 1) for k = 1 .. n / 2, and (1, 1, 0) for odd n.
    // Allocates; the owner tests the allocator flag.
    explicit ButterworthPrototype(uint32_t uOrder);

    uint32_t Order() const { return m_uOrder; }

private:
    uint32_t m_uOrder;
};
