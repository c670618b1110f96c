#include "kvreverbconsole/dsp/fdn/circulantmatrix.h"

CirculantMatrix::CirculantMatrix(uint32_t in_uSize) : m_uSize(in_uSize), m_uNumBins(in_uSize / 2 + 1)
{
    m_fRow.resize(m_uSize, 0.0f);
    if (IsOutOfMemory())
        return;
    m_fEigenvalues.resize(2 * m_uNumBins, 0.0f);
    if (IsOutOfMemory())
        return;
    m_fScratch.resize(2 * m_uNumBins, 0.0f);
    if (IsOutOfMemory())
        return;
    m_pFFT = common_smart_ptr<Fft>(QwNew<Fft>());
    if (IsOutOfMemory() || !m_pFFT)
        return;
    m_pFFT->InitReal(m_uSize);
}

void CirculantMatrix::SetEigenvalues(const std::complex<float>* in_pEigenvalues)
{
    if (!m_pFFT || m_fScratch.size() != 2 * m_uNumBins)
        return;
    float* pEig = m_fEigenvalues.data();
    for (uint32_t k = 0; k < m_uNumBins; ++k) {
        pEig[2 * k] = in_pEigenvalues[k].real();
        pEig[2 * k + 1] = in_pEigenvalues[k].imag();
    }
    // The inverse reads its input only; a copy keeps the stored spectrum as given.
    float* pScratch = m_fScratch.data();
    for (uint32_t i = 0; i < 2 * m_uNumBins; ++i)
        pScratch[i] = pEig[i];
    m_pFFT->InverseReal(pScratch, m_fRow.data());
}

void CirculantMatrix::SetRow(const float* in_pRow)
{
    if (!m_pFFT || m_fRow.size() != m_uSize)
        return;
    float* pRow = m_fRow.data();
    for (uint32_t i = 0; i < m_uSize; ++i)
        pRow[i] = in_pRow[i];
    m_pFFT->ForwardReal(pRow, m_fEigenvalues.data());
}

void CirculantMatrix::GetRow(float* out_pRow) const
{
    for (uint32_t i = 0; i < m_fRow.size(); ++i)
        out_pRow[i] = m_fRow.data()[i];
}

void CirculantMatrix::GetEigenvalues(std::complex<float>* out_pEigenvalues) const
{
    if (m_fEigenvalues.size() != 2 * m_uNumBins)
        return;
    const float* pEig = m_fEigenvalues.data();
    for (uint32_t k = 0; k < m_uNumBins; ++k)
        out_pEigenvalues[k] = std::complex<float>(pEig[2 * k], pEig[2 * k + 1]);
    for (uint32_t k = m_uNumBins; k < m_uSize; ++k)
        out_pEigenvalues[k] = std::conj(out_pEigenvalues[m_uSize - k]);
}

void CirculantMatrix::Multiply(const float* in_pInput, float* out_pOutput)
{
    if (!m_pFFT || m_fScratch.size() != 2 * m_uNumBins)
        return;
    float* pScratch = m_fScratch.data();
    const float* pEig = m_fEigenvalues.data();
    m_pFFT->ForwardReal(in_pInput, pScratch);
    for (uint32_t k = 0; k < m_uNumBins; ++k) {
        const float re = pScratch[2 * k] * pEig[2 * k] - pScratch[2 * k + 1] * pEig[2 * k + 1];
        const float im = pScratch[2 * k] * pEig[2 * k + 1] + pScratch[2 * k + 1] * pEig[2 * k];
        pScratch[2 * k] = re;
        pScratch[2 * k + 1] = im;
    }
    m_pFFT->InverseReal(pScratch, out_pOutput);
}
