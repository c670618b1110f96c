#include "kvdspbase/dsp/fftreference.h"
#include <cmath>
#include <cstring>
#include "host/qwassert.h"

namespace {

const double PI = 3.14159265358979323846;

// Sizes a table and reports whether it got all of it.
bool SizeTo(common_aligned_vector<float>& io_v, uint32_t n)
{
    io_v.clear();
    io_v.resize(n, 0.0f);
    return io_v.size() == n;
}

} // namespace

FftReference::FftReference()
    : m_sFFT(0), m_uOrder(0), m_iMode(FFT_REAL), m_pKernels(&FftSelectKernels(true)), m_bReady(false)
{
}

void FftReference::UseSimd(bool bAllow)
{
    m_pKernels = &FftSelectKernels(bAllow);
    if (m_pHalfFFT)
        m_pHalfFFT->UseSimd(bAllow);
}

bool FftReference::Init(int32_t iMode, uint32_t FftSize)
{
    m_bReady = false;
    m_afTwiddle.clear();
    m_afRealTwiddle.clear();
    m_afRealWork.clear();
    m_afComplexWork.clear();
    m_pHalfFFT.reset();
    QW_ASSERT((iMode == FFT_COMPLEX && FftSize >= 1) || (iMode == FFT_REAL && FftSize >= 1));
    if ((iMode != FFT_COMPLEX && iMode != FFT_REAL) || FftSize < 1 || FftSize > (1U << 30))
        return false;
    m_iMode = iMode;
    m_sFFT = static_cast<int32_t>(FftSize);
    m_uOrder = 0;
    while ((1U << m_uOrder) < FftSize)
        ++m_uOrder;
    QW_ASSERT_TEXT((1U << m_uOrder) == FftSize, "(1U<<m_uOrder) == m_sFFT");
    // Only powers of two are supported; any other size leaves the object unsized (this is not a
    // memory failure, so the result stays true).
    if ((1U << m_uOrder) != FftSize)
        return true;
    m_bReady = iMode == FFT_COMPLEX ? InitComplexTables() : InitRealTables();
    return m_bReady;
}

bool FftReference::InitComplexTables()
{
    const uint32_t N = static_cast<uint32_t>(m_sFFT);
    if (N == 1)
        return true;
    uint32_t uTable = 0;
    for (uint32_t n = N; n >= 4; n >>= 2)
        uTable += 6 * (n / 4);
    if (!SizeTo(m_afTwiddle, uTable) || !SizeTo(m_afComplexWork, 2 * N))
        return false;
    // Direct double-precision angles: every entry is the correctly rounded float.
    float* pTw = m_afTwiddle.data();
    for (uint32_t n = N; n >= 4; n >>= 2) {
        const uint32_t n1 = n / 4;
        for (uint32_t j = 1; j <= 3; ++j) {
            for (uint32_t p = 0; p < n1; ++p) {
                const double a = -2.0 * PI * static_cast<double>((j * p) % n) / static_cast<double>(n);
                pTw[(2 * j - 2) * n1 + p] = static_cast<float>(std::cos(a));
                pTw[(2 * j - 1) * n1 + p] = static_cast<float>(std::sin(a));
            }
        }
        pTw += 6 * n1;
    }
    return true;
}

bool FftReference::InitRealTables()
{
    const uint32_t N = static_cast<uint32_t>(m_sFFT);
    if (N < 2)
        return true;
    m_pHalfFFT.reset(QwNew<FftReference>());
    if (!m_pHalfFFT)
        return false;
    m_pHalfFFT->m_pKernels = m_pKernels;
    if (!m_pHalfFFT->Init(FFT_COMPLEX, N / 2))
        return false;
    if (N == 2)
        return true;
    const uint32_t uQuarter = N / 4;
    if (!SizeTo(m_afRealTwiddle, 2 * uQuarter) || !SizeTo(m_afRealWork, N))
        return false;
    float* pTw = m_afRealTwiddle.data();
    for (uint32_t k = 0; k < uQuarter; ++k) {
        const double a = -2.0 * PI * static_cast<double>(k) / static_cast<double>(N);
        pTw[k] = static_cast<float>(std::cos(a));
        pTw[uQuarter + k] = static_cast<float>(std::sin(a));
    }
    return true;
}

void FftReference::RunComplex(const float* xr, const float* xi, float* out_r, float* out_i, float* tr,
                              float* ti) const
{
    const uint32_t N = static_cast<uint32_t>(m_sFFT);
    const uint32_t uStages = (m_uOrder + 1) / 2;
    // Stages alternate between the two buffers so that the last one writes the output.
    float* dr = (uStages & 1) ? out_r : tr;
    float* di = (uStages & 1) ? out_i : ti;
    float* er = (uStages & 1) ? tr : out_r;
    float* ei = (uStages & 1) ? ti : out_i;
    if (xr == dr || xi == di) {
        std::memcpy(er, xr, N * sizeof(float));
        std::memcpy(ei, xi, N * sizeof(float));
        xr = er;
        xi = ei;
    }
    const float* tw = m_afTwiddle.data();
    uint32_t n = N;
    while (n >= 4) {
        m_pKernels->Radix4(n, N / n, tw, xr, xi, dr, di);
        tw += 6 * (n / 4);
        n >>= 2;
        xr = dr;
        xi = di;
        dr = er;
        di = ei;
        er = const_cast<float*>(xr);
        ei = const_cast<float*>(xi);
    }
    if (n == 2)
        m_pKernels->Radix2(N / 2, xr, xi, dr, di);
}

void FftReference::ForwardComplex(const float* in_pRe, const float* in_pIm, float* out_pRe, float* out_pIm)
{
    if (!m_bReady || m_iMode != FFT_COMPLEX)
        return;
    const uint32_t N = static_cast<uint32_t>(m_sFFT);
    if (N == 1) {
        out_pRe[0] = in_pRe[0];
        out_pIm[0] = in_pIm[0];
        return;
    }
    float* pWork = m_afComplexWork.data();
    RunComplex(in_pRe, in_pIm, out_pRe, out_pIm, pWork, pWork + N);
}

void FftReference::InverseComplex(const float* in_pRe, const float* in_pIm, float* out_pRe, float* out_pIm)
{
    if (!m_bReady || m_iMode != FFT_COMPLEX)
        return;
    const uint32_t N = static_cast<uint32_t>(m_sFFT);
    if (N == 1) {
        out_pRe[0] = in_pRe[0];
        out_pIm[0] = in_pIm[0];
        return;
    }
    // The inverse is the forward transform with real and imaginary parts exchanged.
    float* pWork = m_afComplexWork.data();
    RunComplex(in_pIm, in_pRe, out_pIm, out_pRe, pWork, pWork + N);
    const float fScale = 1.0f / static_cast<float>(N);
    for (uint32_t i = 0; i < N; ++i) {
        out_pRe[i] *= fScale;
        out_pIm[i] *= fScale;
    }
}

void FftReference::ForwardReal(const float* in_pIn, float* out_pOut)
{
    if (!m_bReady || m_iMode != FFT_REAL)
        return;
    const uint32_t N = static_cast<uint32_t>(m_sFFT);
    if (N == 1) {
        out_pOut[0] = in_pIn[0];
        out_pOut[1] = 0.0f;
        return;
    }
    if (N == 2) {
        const float x0 = in_pIn[0], x1 = in_pIn[1];
        out_pOut[0] = x0 + x1;
        out_pOut[1] = 0.0f;
        out_pOut[2] = x0 - x1;
        out_pOut[3] = 0.0f;
        return;
    }
    const uint32_t H = N / 2;
    float* zr = m_afRealWork.data();
    float* zi = zr + H;
    float* tr = m_pHalfFFT->m_afComplexWork.data();
    if (N >= 8) {
        // The split pairs bin k with H - k, H + k and N - k; k = 1 reaches the widest of them.
        const int32_t im = static_cast<int32_t>(H) - 1, ipm = static_cast<int32_t>(H) + 1, ip2 = m_sFFT - 1;
        QW_ASSERT(im>=0 && im<m_sFFT && ipm>=0 && ipm<m_sFFT && ip2>=0 && ip2<m_sFFT);
    }
    // With an odd number of stages the first one reads the scratch (the stages alternate and the
    // last writes the result), so the input goes there and RunComplex copies nothing.
    const bool bViaScratch = ((m_pHalfFFT->m_uOrder + 1) / 2) & 1;
    float* xr = bViaScratch ? tr : zr;
    float* xi = bViaScratch ? tr + H : zi;
    m_pKernels->Deinterleave(H, in_pIn, xr, xi);
    m_pHalfFFT->RunComplex(xr, xi, zr, zi, tr, tr + H);
    m_pKernels->RealPost(H, m_afRealTwiddle.data(), zr, zi, out_pOut);
}

void FftReference::InverseReal(const float* in_pIn, float* out_pOut)
{
    if (!m_bReady || m_iMode != FFT_REAL)
        return;
    const uint32_t N = static_cast<uint32_t>(m_sFFT);
    if (N == 1) {
        out_pOut[0] = in_pIn[0];
        return;
    }
    if (N == 2) {
        const float r0 = in_pIn[0], r1 = in_pIn[2];
        out_pOut[0] = (r0 + r1) * 0.5f;
        out_pOut[1] = (r0 - r1) * 0.5f;
        return;
    }
    const uint32_t H = N / 2;
    const float* ar = InverseSplit(in_pIn);
    m_pKernels->Interleave(H, ar + H, ar, out_pOut);
}

void FftReference::InverseRealAdd(const float* in_pIn, const float* in_pAdd, uint32_t in_uAddCount, float* out_pOut)
{
    if (!m_bReady || m_iMode != FFT_REAL)
        return;
    const uint32_t N = static_cast<uint32_t>(m_sFFT);
    const uint32_t uPairs = (in_uAddCount < N ? in_uAddCount : N) / 2;
    if (N <= 2) {
        float out[2];
        InverseReal(in_pIn, out);
        for (uint32_t i = 0; i < N; ++i)
            out_pOut[i] = i < 2 * uPairs ? in_pAdd[i] + out[i] : out[i];
        return;
    }
    const uint32_t H = N / 2;
    const float* ar = InverseSplit(in_pIn);
    m_pKernels->InterleaveAdd(uPairs, ar + H, ar, in_pAdd, out_pOut);
    m_pKernels->Interleave(H - uPairs, ar + H + uPairs, ar + uPairs, out_pOut + 2 * uPairs);
}

const float* FftReference::InverseSplit(const float* in_pIn)
{
    const uint32_t H = static_cast<uint32_t>(m_sFFT) / 2;
    float* ar = m_afRealWork.data();
    float* ai = ar + H;
    float* tr = m_pHalfFFT->m_afComplexWork.data();
    // As in ForwardReal: an odd number of stages starts from the scratch.
    const bool bViaScratch = ((m_pHalfFFT->m_uOrder + 1) / 2) & 1;
    float* xr = bViaScratch ? tr : ar;
    float* xi = bViaScratch ? tr + H : ai;
    m_pKernels->RealPre(H, m_afRealTwiddle.data(), in_pIn, xr, xi);
    m_pHalfFFT->RunComplex(xr, xi, ar, ai, tr, tr + H);
    // (ar, ar + H) now holds (odd, even) samples.
    return ar;
}
