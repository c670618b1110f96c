#include "kvdspbase/dsp/fft.h"
#include "host/qwassert.h"

Fft::Fft() : m_sFFT(0), m_uOrder(0) {}

bool Fft::InitReal(uint32_t in_uSize)
{
    return Init(FFT_REAL, in_uSize);
}

bool Fft::InitComplex(uint32_t in_uSize)
{
    return Init(FFT_COMPLEX, in_uSize);
}

bool Fft::Init(int32_t iMode, uint32_t in_uSize)
{
    m_uOrder = 1;
    while (m_uOrder < 31 && (1U << m_uOrder) < in_uSize)
        ++m_uOrder;
    m_sFFT = static_cast<int32_t>(in_uSize);
    QW_ASSERT((1<<m_uOrder)==m_sFFT);
    const bool bAllocSuccess = m_Reference.Init(iMode, in_uSize);
    QW_ASSERT(bAllocSuccess);
    return bAllocSuccess;
}
