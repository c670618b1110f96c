#include "kvbase/ipp/ipp_vector_ref.h"
#include <cmath>
#include <cstddef>
#include <cstring>

// Each call tests once whether destination and source are the same array, then runs a loop
// whose pointers the compiler may treat as unaliased, so that it vectorises without its own
// overlap checks.
#define QW_RESTRICT __restrict

void ippsCopy_32f(uint32_t n, const float* pSrc, float* pDst)
{
    if (n == 0 || pSrc == pDst)
        return;
    std::memcpy(pDst, pSrc, sizeof(float) * n);
}

void ippsCopy_64f(uint32_t n, const double* pSrc, double* pDst)
{
    if (n == 0 || pSrc == pDst)
        return;
    std::memcpy(pDst, pSrc, sizeof(double) * n);
}

void ippsZero_32f(uint32_t n, float* pDst)
{
    if (n == 0)
        return;
    std::memset(pDst, 0, sizeof(float) * n);
}

void ippsSet_32f(uint32_t n, float fValue, float* QW_RESTRICT pDst)
{
    for (uint32_t i = 0; i < n; ++i)
        pDst[i] = fValue;
}

static void AddInPlace(uint32_t n, float* pSrcDst)
{
    for (uint32_t i = 0; i < n; ++i)
        pSrcDst[i] += pSrcDst[i];
}

void ippsAdd_32f_I(uint32_t n, const float* pSrc, float* pSrcDst)
{
    if (n == 0)
        return;
    if (pSrc == pSrcDst) {
        AddInPlace(n, pSrcDst);
        return;
    }
    const float* QW_RESTRICT s = pSrc;
    float* QW_RESTRICT d = pSrcDst;
    for (uint32_t i = 0; i < n; ++i)
        d[i] += s[i];
}

void ippsAddProductC_32f(uint32_t n, const float* pSrc, float fConst, float* pSrcDst)
{
    if (n == 0)
        return;
    if (pSrc == pSrcDst) {
        for (uint32_t i = 0; i < n; ++i)
            pSrcDst[i] += pSrcDst[i] * fConst;
        return;
    }
    const float* QW_RESTRICT s = pSrc;
    float* QW_RESTRICT d = pSrcDst;
    for (uint32_t i = 0; i < n; ++i)
        d[i] += s[i] * fConst;
}

static void MulKernel(uint32_t n, const float* QW_RESTRICT a, const float* QW_RESTRICT b, float* QW_RESTRICT d)
{
    for (uint32_t i = 0; i < n; ++i)
        d[i] = a[i] * b[i];
}

// d[i] *= s[i] with s and d unaliased.
static void MulAccumKernel(uint32_t n, const float* QW_RESTRICT s, float* QW_RESTRICT d)
{
    for (uint32_t i = 0; i < n; ++i)
        d[i] *= s[i];
}

static void SquareInPlace(uint32_t n, float* d)
{
    for (uint32_t i = 0; i < n; ++i)
        d[i] *= d[i];
}

void ippsMul_32f(uint32_t n, const float* pSrc1, const float* pSrc2, float* pDst)
{
    if (n == 0)
        return;
    if (pSrc1 == pDst && pSrc2 == pDst)
        SquareInPlace(n, pDst);
    else if (pSrc1 == pDst)
        MulAccumKernel(n, pSrc2, pDst);
    else if (pSrc2 == pDst)
        MulAccumKernel(n, pSrc1, pDst);
    else
        MulKernel(n, pSrc1, pSrc2, pDst);
}

void ippsMul_32f_I(uint32_t n, const float* pSrc, float* pSrcDst)
{
    if (n == 0)
        return;
    if (pSrc == pSrcDst)
        SquareInPlace(n, pSrcDst);
    else
        MulAccumKernel(n, pSrc, pSrcDst);
}

void ippsMulC_32f(uint32_t n, const float* pSrc, float fConst, float* pDst)
{
    if (n == 0)
        return;
    if (pSrc == pDst) {
        ippsMulC_32f_I(n, fConst, pDst);
        return;
    }
    const float* QW_RESTRICT s = pSrc;
    float* QW_RESTRICT d = pDst;
    for (uint32_t i = 0; i < n; ++i)
        d[i] = s[i] * fConst;
}

void ippsMulC_32f_I(uint32_t n, float fConst, float* pSrcDst)
{
    for (uint32_t i = 0; i < n; ++i)
        pSrcDst[i] *= fConst;
}

void ippsMulC_64f_I(uint32_t n, double dConst, double* pSrcDst)
{
    for (uint32_t i = 0; i < n; ++i)
        pSrcDst[i] *= dConst;
}

// Complex products. Each element's parts are read before either is written, so the in-place
// kernels are exact; the distinct-array kernels let the compiler vectorise without checks.
static void CplxMulKernel(uint32_t n, const float* QW_RESTRICT a, const float* QW_RESTRICT b, float* QW_RESTRICT d)
{
    for (size_t i = 0; i < n; ++i) {
        const float ar = a[2 * i], ai = a[2 * i + 1];
        const float br = b[2 * i], bi = b[2 * i + 1];
        d[2 * i] = ar * br - ai * bi;
        d[2 * i + 1] = ar * bi + ai * br;
    }
}

// d = a * d
static void CplxMulInPlaceKernel(uint32_t n, const float* QW_RESTRICT a, float* QW_RESTRICT d)
{
    for (size_t i = 0; i < n; ++i) {
        const float ar = a[2 * i], ai = a[2 * i + 1];
        const float br = d[2 * i], bi = d[2 * i + 1];
        d[2 * i] = ar * br - ai * bi;
        d[2 * i + 1] = ar * bi + ai * br;
    }
}

static void CplxSquareKernel(uint32_t n, float* d)
{
    for (size_t i = 0; i < n; ++i) {
        const float ar = d[2 * i], ai = d[2 * i + 1];
        d[2 * i] = ar * ar - ai * ai;
        d[2 * i + 1] = ar * ai + ai * ar;
    }
}

void ippsMul_32fc(uint32_t n, const float* pSrc1, const float* pSrc2, float* pDst)
{
    if (n == 0)
        return;
    if (pSrc1 == pDst && pSrc2 == pDst)
        CplxSquareKernel(n, pDst);
    else if (pSrc2 == pDst)
        CplxMulInPlaceKernel(n, pSrc1, pDst);
    else if (pSrc1 == pDst)
        CplxMulInPlaceKernel(n, pSrc2, pDst); // the product commutes, bit for bit
    else
        CplxMulKernel(n, pSrc1, pSrc2, pDst);
}

void ippsMul_32fc_I(uint32_t n, const float* pSrc, float* pSrcDst) { ippsMul_32fc(n, pSrc, pSrcDst, pSrcDst); }

static void CplxMacKernel(uint32_t n, const float* QW_RESTRICT a, const float* QW_RESTRICT b, float* QW_RESTRICT d)
{
    for (size_t i = 0; i < n; ++i) {
        const float ar = a[2 * i], ai = a[2 * i + 1];
        const float br = b[2 * i], bi = b[2 * i + 1];
        d[2 * i] += ar * br - ai * bi;
        d[2 * i + 1] += ar * bi + ai * br;
    }
}

void ippsAddProduct_32fc(uint32_t n, const float* pSrc1, const float* pSrc2, float* pSrcDst)
{
    if (n == 0)
        return;
    if (pSrc1 != pSrcDst && pSrc2 != pSrcDst) {
        CplxMacKernel(n, pSrc1, pSrc2, pSrcDst);
        return;
    }
    for (size_t i = 0; i < n; ++i) {
        const float ar = pSrc1[2 * i], ai = pSrc1[2 * i + 1];
        const float br = pSrc2[2 * i], bi = pSrc2[2 * i + 1];
        pSrcDst[2 * i] += ar * br - ai * bi;
        pSrcDst[2 * i + 1] += ar * bi + ai * br;
    }
}

float DotProdEightLaneReference(uint32_t n, const float* pSrc1, const float* pSrc2)
{
    float afLane[8] = {0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f};
    uint32_t i = 0;
    for (; i + 8 <= n; i += 8)
        for (uint32_t j = 0; j < 8; ++j)
            afLane[j] += pSrc1[i + j] * pSrc2[i + j];
    float fSum = ((afLane[0] + afLane[1]) + (afLane[2] + afLane[3])) +
                 ((afLane[4] + afLane[5]) + (afLane[6] + afLane[7]));
    for (; i < n; ++i)
        fSum += pSrc1[i] * pSrc2[i];
    return fSum;
}

// The eight lanes held in two four-float registers. Left to itself the compiler vectorises the
// loop above across iterations with shuffles, several times slower; this form does lane for lane
// the same arithmetic, so its results equal the reference bit for bit.
typedef float QwFloat4 __attribute__((vector_size(16)));

static inline QwFloat4 LoadFloat4(const float* p)
{
    QwFloat4 v;
    std::memcpy(&v, p, sizeof(v));
    return v;
}

float ippsDotProd_32f(uint32_t n, const float* pSrc1, const float* pSrc2)
{
    QwFloat4 lo = {0.0f, 0.0f, 0.0f, 0.0f};
    QwFloat4 hi = {0.0f, 0.0f, 0.0f, 0.0f};
    size_t i = 0;
    const size_t uN = n;
    for (; i + 8 <= uN; i += 8) {
        lo += LoadFloat4(pSrc1 + i) * LoadFloat4(pSrc2 + i);
        hi += LoadFloat4(pSrc1 + i + 4) * LoadFloat4(pSrc2 + i + 4);
    }
    float fSum = ((lo[0] + lo[1]) + (lo[2] + lo[3])) + ((hi[0] + hi[1]) + (hi[2] + hi[3]));
    for (; i < uN; ++i)
        fSum += pSrc1[i] * pSrc2[i];
    return fSum;
}

double ippsDotProd_64f(uint32_t n, const double* pSrc1, const double* pSrc2)
{
    double adLane[8] = {0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0};
    uint32_t i = 0;
    for (; i + 8 <= n; i += 8)
        for (uint32_t j = 0; j < 8; ++j)
            adLane[j] += pSrc1[i + j] * pSrc2[i + j];
    double dSum = ((adLane[0] + adLane[1]) + (adLane[2] + adLane[3])) +
                  ((adLane[4] + adLane[5]) + (adLane[6] + adLane[7]));
    for (; i < n; ++i)
        dSum += pSrc1[i] * pSrc2[i];
    return dSum;
}

float ippsNorm_L2_32f(uint32_t n, const float* pSrc)
{
    if (n == 0)
        return 0.0f;
    double dSum = 0.0;
    for (uint32_t i = 0; i < n; ++i)
        dSum += static_cast<double>(pSrc[i]) * pSrc[i];
    return static_cast<float>(std::sqrt(dSum));
}

void ippsAbs_32f(uint32_t n, const float* pSrc, float* pDst)
{
    if (pSrc == pDst) {
        ippsAbs_32f_I(n, pDst);
        return;
    }
    const float* QW_RESTRICT s = pSrc;
    float* QW_RESTRICT d = pDst;
    for (uint32_t i = 0; i < n; ++i)
        d[i] = std::fabs(s[i]);
}

void ippsAbs_64f(uint32_t n, const double* pSrc, double* pDst)
{
    if (pSrc == pDst) {
        ippsAbs_64f_I(n, pDst);
        return;
    }
    const double* QW_RESTRICT s = pSrc;
    double* QW_RESTRICT d = pDst;
    for (uint32_t i = 0; i < n; ++i)
        d[i] = std::fabs(s[i]);
}

void ippsAbs_32f_I(uint32_t n, float* pSrcDst)
{
    for (uint32_t i = 0; i < n; ++i)
        pSrcDst[i] = std::fabs(pSrcDst[i]);
}

void ippsAbs_64f_I(uint32_t n, double* pSrcDst)
{
    for (uint32_t i = 0; i < n; ++i)
        pSrcDst[i] = std::fabs(pSrcDst[i]);
}

void ippsMagnitude_32f(uint32_t n, const float* pRe, const float* pIm, float* pDst)
{
    for (uint32_t i = 0; i < n; ++i)
        pDst[i] = std::sqrt(pRe[i] * pRe[i] + pIm[i] * pIm[i]);
}

void ippsMagnitude_32fc(uint32_t n, const float* QW_RESTRICT pSrc, float* QW_RESTRICT pDst)
{
    for (size_t i = 0; i < n; ++i) {
        const float re = pSrc[2 * i], im = pSrc[2 * i + 1];
        pDst[i] = std::sqrt(re * re + im * im);
    }
}

void ippsPowerSpectr_32fc(uint32_t n, const float* QW_RESTRICT pSrc, float* QW_RESTRICT pDst)
{
    for (size_t i = 0; i < n; ++i) {
        const float re = pSrc[2 * i], im = pSrc[2 * i + 1];
        pDst[i] = re * re + im * im;
    }
}

static inline float CleanTiny(float x)
{
    const float fBound = 1e-10f;
    return (x > -fBound && x < fBound) ? 0.0f : x;
}

void ippsThreshold_LTAbs_32f(uint32_t n, const float* pSrc, float* pDst)
{
    if (pSrc == pDst) {
        ippsThreshold_LTAbs_32f_I(n, pDst);
        return;
    }
    const float* QW_RESTRICT s = pSrc;
    float* QW_RESTRICT d = pDst;
    for (uint32_t i = 0; i < n; ++i)
        d[i] = CleanTiny(s[i]);
}

void ippsThreshold_LTAbs_32f_I(uint32_t n, float* pSrcDst)
{
    for (uint32_t i = 0; i < n; ++i)
        pSrcDst[i] = CleanTiny(pSrcDst[i]);
}

void ippsFlip_32f(uint32_t n, const float* pSrc, float* pDst)
{
    if (pSrc == pDst) {
        ippsFlip_32f_I(n, pDst);
        return;
    }
    const float* QW_RESTRICT s = pSrc;
    float* QW_RESTRICT d = pDst;
    for (size_t i = 0; i < n; ++i)
        d[i] = s[n - 1 - i];
}

template <class T>
static void FlipInPlace(uint32_t n, T* p)
{
    for (uint32_t i = 0, j = n; i + 1 < j; ++i) {
        --j;
        const T t = p[i];
        p[i] = p[j];
        p[j] = t;
    }
}

void ippsFlip_32f_I(uint32_t n, float* pSrcDst) { FlipInPlace(n, pSrcDst); }
void ippsFlip_64f_I(uint32_t n, double* pSrcDst) { FlipInPlace(n, pSrcDst); }

void ippsClip_32f_I(uint32_t n, const float_range& range, float* pSrcDst)
{
    const float fLower = range.Lower();
    const float fUpper = range.Upper();
    for (uint32_t i = 0; i < n; ++i) {
        const float x = pSrcDst[i];
        const float y = x < fLower ? fLower : x;
        pSrcDst[i] = y > fUpper ? fUpper : y;
    }
}

void ippsConv_32f(uint32_t nA, const float* pSrcA, uint32_t nB, const float* pSrcB, float* pDst)
{
    if (nA == 0 || nB == 0)
        return;
    float* QW_RESTRICT d = pDst;
    const float* QW_RESTRICT b = pSrcB;
    std::memset(d, 0, sizeof(float) * (nA + nB - 1));
    for (uint32_t i = 0; i < nA; ++i) {
        const float a = pSrcA[i];
        float* QW_RESTRICT dRow = d + i;
        for (uint32_t j = 0; j < nB; ++j)
            dRow[j] += a * b[j];
    }
}

void ippsRealToCplx_32f(uint32_t n, const float* QW_RESTRICT pRe, const float* QW_RESTRICT pIm, float* QW_RESTRICT pDst)
{
    for (size_t i = 0; i < n; ++i) {
        pDst[2 * i] = pRe[i];
        pDst[2 * i + 1] = pIm[i];
    }
}

void ippsCplxToReal_32f(uint32_t n, const float* QW_RESTRICT pSrc, float* QW_RESTRICT pRe, float* QW_RESTRICT pIm)
{
    for (size_t i = 0; i < n; ++i) {
        pRe[i] = pSrc[2 * i];
        pIm[i] = pSrc[2 * i + 1];
    }
}

void ippsRealToCplx_16s(uint32_t n, const int16_t* pRe, const int16_t* pIm, int16_t* pDst)
{
    for (size_t i = 0; i < n; ++i) {
        pDst[2 * i] = pRe[i];
        pDst[2 * i + 1] = pIm[i];
    }
}

void ippsCplxToReal_16s(uint32_t n, const int16_t* pSrc, int16_t* pRe, int16_t* pIm)
{
    for (size_t i = 0; i < n; ++i) {
        pRe[i] = pSrc[2 * i];
        pIm[i] = pSrc[2 * i + 1];
    }
}

void InterleaveChannels(uint32_t uFrames, uint32_t uChannels, const float* const* ppSrc, float* pDst)
{
    if (uFrames == 0 || uChannels == 0)
        return;
    if (uChannels == 2) {
        ippsRealToCplx_32f(uFrames, ppSrc[0], ppSrc[1], pDst);
        return;
    }
    for (uint32_t c = 0; c < uChannels; ++c) {
        const float* pSrc = ppSrc[c];
        for (size_t i = 0; i < uFrames; ++i)
            pDst[i * uChannels + c] = pSrc[i];
    }
}

void DeinterleaveChannels(uint32_t uFrames, uint32_t uChannels, const float* pSrc, float* const* ppDst)
{
    if (uFrames == 0 || uChannels == 0)
        return;
    if (uChannels == 2) {
        ippsCplxToReal_32f(uFrames, pSrc, ppDst[0], ppDst[1]);
        return;
    }
    for (uint32_t c = 0; c < uChannels; ++c) {
        float* pDst = ppDst[c];
        for (size_t i = 0; i < uFrames; ++i)
            pDst[i] = pSrc[i * uChannels + c];
    }
}

void LinearRegression(uint32_t n, const float* pY, double dStart, double dStep, double& out_dSlope,
                      double& out_dIntercept)
{
    if (n == 0)
        return;
    // Centred sums: x is measured from the mean index, which keeps the fit stable over long runs.
    const double dMeanI = 0.5 * static_cast<double>(n - 1);
    double dMeanY = 0.0;
    for (uint32_t i = 0; i < n; ++i)
        dMeanY += pY[i];
    dMeanY /= static_cast<double>(n);
    double dSxy = 0.0;
    double dSxx = 0.0;
    for (uint32_t i = 0; i < n; ++i) {
        const double dx = (static_cast<double>(i) - dMeanI) * dStep;
        dSxy += dx * (static_cast<double>(pY[i]) - dMeanY);
        dSxx += dx * dx;
    }
    out_dSlope = dSxy / dSxx;
    out_dIntercept = dMeanY - out_dSlope * (dStart + dMeanI * dStep);
}
