// A unitary circulant matrix held by its first row and that row's spectrum. The network keeps
// it current from its phases; no signal path multiplies by it.
#pragma once
#include <complex>
#include <cstdint>
#include "kvbase/common/common_smart_ptr.h"
#include "kvbase/common/common_vector.h"
#include "kvdspbase/dsp/fft.h"

class CirculantMatrix
{
public:
    explicit CirculantMatrix(uint32_t in_uSize);

    // m_uNumBins complex values; the row becomes their inverse real transform.
    void SetEigenvalues(const std::complex<float>* in_pEigenvalues);
    // N values; the eigenvalues become their forward real transform.
    void SetRow(const float* in_pRow);
    void GetRow(float* out_pRow) const;
    // All N bins: the stored ones, then the conjugate mirror above N / 2.
    void GetEigenvalues(std::complex<float>* out_pEigenvalues) const;
    // Circular convolution of the input with the row, through the transform.
    void Multiply(const float* in_pInput, float* out_pOutput);

    uint32_t GetSize() const { return m_uSize; }
    uint32_t GetNumBins() const { return m_uNumBins; }

private:
    uint32_t m_uSize;
    uint32_t m_uNumBins;
    common_aligned_vector<float> m_fRow;
    common_aligned_vector<float> m_fEigenvalues;
    common_aligned_vector<float> m_fScratch;
    common_smart_ptr<Fft> m_pFFT;
};
