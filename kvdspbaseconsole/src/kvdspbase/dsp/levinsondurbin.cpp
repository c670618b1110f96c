#include "kvdspbase/dsp/levinsondurbin.h"
#include "host/qwassert.h"

void LevinsonDurbin::Init(uint32_t uMaxOrder)
{
    m_uMaxOrder = 0;
    m_adA.resize(uMaxOrder + 1, 0.0);
    m_adPrevious.resize(uMaxOrder + 1, 0.0);
    if (m_adA.size() == uMaxOrder + 1 && m_adPrevious.size() == uMaxOrder + 1)
        m_uMaxOrder = uMaxOrder;
}

double LevinsonDurbin::Solve(const float* in_pfLags, uint32_t uOrder, float* out_pfCoeffs)
{
    QW_ASSERT(uOrder <= m_uMaxOrder);
    if (uOrder > m_uMaxOrder)
        uOrder = m_uMaxOrder;
    if (m_adA.size() < uOrder + 1)
        return 0.0;
    double* a = m_adA.data();
    double* aPrev = m_adPrevious.data();
    for (uint32_t k = 0; k <= uOrder; ++k)
        a[k] = 0.0;
    a[0] = 1.0;
    double dError = in_pfLags[0];
    for (uint32_t i = 1; i <= uOrder && dError > 0.0; ++i) {
        double dAcc = in_pfLags[i];
        for (uint32_t j = 1; j < i; ++j)
            dAcc -= a[j] * in_pfLags[i - j];
        const double dReflection = dAcc / dError;
        for (uint32_t j = 1; j < i; ++j)
            aPrev[j] = a[j];
        for (uint32_t j = 1; j < i; ++j)
            a[j] = aPrev[j] - dReflection * aPrev[i - j];
        a[i] = dReflection;
        dError *= 1.0 - dReflection * dReflection;
    }
    for (uint32_t k = 0; k <= uOrder; ++k)
        out_pfCoeffs[k] = static_cast<float>(a[k]);
    return dError;
}
