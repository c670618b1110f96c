// The library's own power-of-two FFT in single precision. Complex transforms run radix-4
// Stockham stages on split arrays (with one radix-2 stage for odd orders), so no bit-reversal
// pass is needed; real transforms run a half-size complex transform and a split pass.
#pragma once
#include <cstdint>
#include "kvbase/common/common_smart_ptr.h"
#include "kvbase/common/common_vector.h"
#include "kvdspbase/dsp/fftkernels.h"

enum FftMode : int32_t
{
    FFT_REAL = 0,
    FFT_COMPLEX = 1
};

// Allocates only in Init; transforms use the object's work space, so one object serves one
// thread at a time.
class FftReference
{
public:
    FftReference();
    FftReference(const FftReference&) = delete;
    FftReference& operator=(const FftReference&) = delete;

    // Sizes the object, replacing all tables. Returns false when memory ran out or the arguments
    // were invalid. After a failure, or a size that is not a power of two (asserted), the
    // transforms return without writing.
    bool Init(int32_t iMode, uint32_t FftSize);

    // N floats in, N + 2 out (bins 0 to N / 2, interleaved); out may equal in.
    void ForwardReal(const float* in_pIn, float* out_pOut);
    // N + 2 floats in, N floats out, scaled by 1 / N. out must not overlap in.
    void InverseReal(const float* in_pIn, float* out_pOut);
    // out = InverseReal + pAdd over the first uAddCount floats (even, at most N), InverseReal
    // alone over the rest; the same bits as the two steps. out may be pAdd.
    void InverseRealAdd(const float* in_pIn, const float* in_pAdd, uint32_t in_uAddCount, float* out_pOut);
    // Unscaled, kernel exp(-2 pi i k n / N); outputs may equal the inputs.
    void ForwardComplex(const float* in_pRe, const float* in_pIm, float* out_pRe, float* out_pIm);
    // Scaled by 1 / N.
    void InverseComplex(const float* in_pRe, const float* in_pIm, float* out_pRe, float* out_pIm);

    int32_t Size() const { return m_sFFT; }
    int32_t Mode() const { return m_iMode; }
    // Tests compare the vector kernels with the portable ones through this switch.
    void UseSimd(bool bAllow);

private:
    bool InitComplexTables();
    bool InitRealTables();
    // Runs the complex stages from (xr, xi); the result lands in (out_r, out_i). (tr, ti) is
    // scratch of the same size. (xr, xi) may be (out_r, out_i) but not the scratch.
    void RunComplex(const float* xr, const float* xi, float* out_r, float* out_i, float* tr, float* ti) const;
    // The real inverse (N >= 4) up to its last pass: returns the odd samples, followed by the even
    // ones (N / 2 each), in the work space.
    const float* InverseSplit(const float* in_pIn);

    int32_t m_sFFT;
    uint32_t m_uOrder;
    int32_t m_iMode;
    const FftKernels* m_pKernels;
    // Complex mode: for each radix-4 stage, six split tables (w, w^2, w^3; re then im).
    common_aligned_vector<float> m_afTwiddle;
    // Real mode: re then im of exp(-2 pi i k / N) for k < N / 4.
    common_aligned_vector<float> m_afRealTwiddle;
    common_smart_ptr<FftReference> m_pHalfFFT;
    // Real mode: the half-size sequence, split (N floats); the half-size object's work space
    // serves as its stage scratch.
    common_aligned_vector<float> m_afRealWork;
    // Complex mode: stage scratch, split (2N floats).
    common_aligned_vector<float> m_afComplexWork;
    bool m_bReady;
};
