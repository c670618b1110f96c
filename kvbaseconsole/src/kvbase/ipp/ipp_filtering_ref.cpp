#include "kvbase/ipp/ipp_filtering_ref.h"
#include <cstring>
#include "kvbase/ipp/ipp_vector_ref.h"
#if defined(__x86_64__)
#include <emmintrin.h>
#endif

// ---- FIR ----

bool ippsFIRInit_32f(QwIppFirState** ppState, const float* pTaps, uint32_t uNumTaps, const float* pDlyLine)
{
    QW_ASSERT(uNumTaps > 0);
    if (!ppState || !pTaps || uNumTaps == 0) {
        QW_ASSERT(false);
        return false;
    }
    *ppState = nullptr;
    if (IppAllocatorFailed())
        return false;
    QwIppFirState* pState = IppNew<QwIppFirState>();
    if (!pState)
        return false;
    if (!pState->m_afTaps.Allocate(uNumTaps) || !pState->m_afDelay.Allocate(uNumTaps)) {
        IppDelete(pState);
        return false;
    }
    ippsCopy_32f(uNumTaps, pTaps, pState->m_afTaps.data());
    if (pDlyLine)
        ippsCopy_32f(uNumTaps, pDlyLine, pState->m_afDelay.data());
    pState->m_uDelayIndex = 0;
    *ppState = pState;
    return true;
}

void ippsFIR_32f(uint32_t n, const float* pSrc, float* pDst, QwIppFirState* pState)
{
    if (!pState) {
        QW_ASSERT(false);
        return;
    }
    const uint32_t uNumTaps = pState->m_afTaps.size();
    const float* pTaps = pState->m_afTaps.data();
    float* pDelay = pState->m_afDelay.data();
    uint32_t uIndex = pState->m_uDelayIndex;
    for (uint32_t k = 0; k < n; ++k) {
        pDelay[uIndex] = pSrc[k];
        const uint32_t i = uIndex;
        uIndex = i == 0 ? uNumTaps - 1 : i - 1;
        // Tap 0 meets the newest sample at slot i; the line wraps once, so two stretches.
        const float fHead = ippsDotProd_32f(uNumTaps - i, pTaps, pDelay + i);
        const float fTail = i != 0 ? ippsDotProd_32f(i, pTaps + (uNumTaps - i), pDelay) : 0.0f;
        pDst[k] = fHead + fTail;
    }
    pState->m_uDelayIndex = uIndex;
}

void ippsFIR_32f_I(uint32_t n, float* pSrcDst, QwIppFirState* pState) { ippsFIR_32f(n, pSrcDst, pSrcDst, pState); }

bool ippsFIRSetTaps_32f(const float* pTaps, QwIppFirState* pState)
{
    if (!pState || !pTaps) {
        QW_ASSERT(false);
        return false;
    }
    ippsCopy_32f(pState->m_afTaps.size(), pTaps, pState->m_afTaps.data());
    return true;
}

void ippsFIRGetDlyLine_32f(const QwIppFirState* pState, float* pDlyLine)
{
    if (!pState || !pDlyLine) {
        QW_ASSERT(false);
        return;
    }
    ippsCopy_32f(pState->m_afDelay.size(), pState->m_afDelay.data(), pDlyLine);
}

void ippsFIRSetDlyLine_32f(QwIppFirState* pState, const float* pDlyLine)
{
    if (!pState) {
        QW_ASSERT(false);
        return;
    }
    if (pDlyLine)
        ippsCopy_32f(pState->m_afDelay.size(), pDlyLine, pState->m_afDelay.data());
    else
        ippsZero_32f(pState->m_afDelay.size(), pState->m_afDelay.data());
}

void ippsFIRFree_32f(QwIppFirState* pState) { IppDelete(pState); }

// ---- IIR ----

template <class T>
QwIppIirState<T>::QwIppIirState(uint32_t uOrder_, uint32_t uNumCascades_)
    : m_uOrder(uOrder_), m_uNumCascades(uNumCascades_)
{
    QW_ASSERT(uOrder_ > 0 && uNumCascades_ > 0);
}

template class QwIppIirState<double>;
template class QwIppIirState<float>;

namespace
{
// The offset that keeps a decaying recursion out of the denormal range; a last delay value
// that lands strictly inside (-offset, offset) is held at 0.
template <class T>
inline T AntiDenormal(T z)
{
    const T tOffset = static_cast<T>(1e-10);
    z = z + tOffset;
    return (z > -tOffset && z < tOffset) ? T(0) : z;
}

// One sample through one section of order N (transposed direct form II).
template <class T>
inline T RunSection(T x, const T* b, const T* a, T* z, uint32_t N)
{
    const T y = b[0] * x + z[0];
    for (uint32_t i = 0; i + 1 < N; ++i)
        z[i] = (b[i + 1] * x + z[i + 1]) - a[i + 1] * y;
    z[N - 1] = AntiDenormal((b[N] * x) - a[N] * y);
    return y;
}

// A whole block through one biquad, with coefficients and state held in registers. Each
// section depends only on its own input, so running the cascade section by section gives the
// same values as running it sample by sample.
template <class T>
void RunBiquadBlock(uint32_t n, const T* pSrc, T* pDst, const T* c, T* z)
{
    const T b0 = c[0], b1 = c[1], b2 = c[2], a1 = c[4], a2 = c[5];
    T z0 = z[0], z1 = z[1];
    for (uint32_t k = 0; k < n; ++k) {
        const T x = pSrc[k];
        const T y = b0 * x + z0;
        z0 = (b1 * x + z1) - a1 * y;
        z1 = AntiDenormal((b2 * x) - a2 * y);
        pDst[k] = y;
    }
    z[0] = z0;
    z[1] = z1;
}

// A whole block through one first-order section, coefficients and state in registers: the
// same arithmetic as RunSection with N = 1, without its loop and memory round trips.
template <class T>
void RunFirstOrderBlock(uint32_t n, const T* pSrc, T* pDst, const T* c, T* z)
{
    const T b0 = c[0], b1 = c[1], a1 = c[3];
    T z0 = z[0];
    for (uint32_t k = 0; k < n; ++k) {
        const T x = pSrc[k];
        const T y = b0 * x + z0;
        z0 = AntiDenormal((b1 * x) - a1 * y);
        pDst[k] = y;
    }
    z[0] = z0;
}

template <class T>
bool IirInit(QwIppIirState<T>** ppState, const T* pTaps, uint32_t uOrder, uint32_t uNumCascades, const T* pDlyLine)
{
    if (!ppState || !pTaps) {
        QW_ASSERT(false);
        return false;
    }
    *ppState = nullptr;
    if (IppAllocatorFailed())
        return false;
    QwIppIirState<T>* pState = IppNew<QwIppIirState<T>>(uOrder, uNumCascades);
    if (!pState)
        return false;
    if (uOrder == 0 || uNumCascades == 0) {
        IppDelete(pState);
        return false;
    }
    const uint32_t uNumCoeffs = (uOrder + 1) * 2 * uNumCascades;
    const uint32_t uNumDelay = uOrder * uNumCascades;
    if (!pState->m_adCoeffs.Allocate(uNumCoeffs) || !pState->m_adDelay.Allocate(uNumDelay)) {
        IppDelete(pState);
        return false;
    }
    // The direct form's a0, and in a cascade the first section's a0, scales every value.
    const T tScale = T(1) / pTaps[uOrder + 1];
    T* pCoeffs = pState->m_adCoeffs.data();
    for (uint32_t i = 0; i < uNumCoeffs; ++i)
        pCoeffs[i] = pTaps[i] * tScale;
    if (pDlyLine)
        std::memcpy(pState->m_adDelay.data(), pDlyLine, sizeof(T) * uNumDelay);
    *ppState = pState;
    return true;
}

// Out of line, so that the single biquad below, the case run sample by sample in the effects'
// feedback loops, stays a small leaf function.
template <class T>
__attribute__((noinline)) T IirOne(T x, QwIppIirState<T>* pState)
{
    if (!pState) {
        QW_ASSERT(false);
        return x;
    }
    const uint32_t N = pState->m_uOrder;
    const T* pCoeffs = pState->m_adCoeffs.data();
    T* pDelay = pState->m_adDelay.data();
    if (pState->m_uNumCascades == 1)
        return RunSection(x, pCoeffs, pCoeffs + (N + 1), pDelay, N);
    for (uint32_t s = 0; s < pState->m_uNumCascades; ++s) {
        const T* b = pCoeffs + (N + 1) * 2 * s;
        x = RunSection(x, b, b + (N + 1), pDelay + N * s, N);
    }
    return x;
}

template <class T>
void IirBlock(uint32_t n, const T* pSrc, T* pDst, QwIppIirState<T>* pState)
{
    if (!pState) {
        QW_ASSERT(false);
        return;
    }
    if (n == 0)
        return;
    const uint32_t N = pState->m_uOrder;
    const uint32_t uSections = pState->m_uNumCascades;
    const T* pCoeffs = pState->m_adCoeffs.data();
    T* pDelay = pState->m_adDelay.data();
    if (N == 2) {
        for (uint32_t s = 0; s < uSections; ++s)
            RunBiquadBlock(n, s == 0 ? pSrc : pDst, pDst, pCoeffs + 6 * s, pDelay + 2 * s);
        return;
    }
    if (N == 1 && uSections == 1) {
        RunFirstOrderBlock(n, pSrc, pDst, pCoeffs, pDelay);
        return;
    }
    for (uint32_t k = 0; k < n; ++k) {
        T x = pSrc[k];
        for (uint32_t s = 0; s < uSections; ++s) {
            const T* b = pCoeffs + (N + 1) * 2 * s;
            x = RunSection(x, b, b + (N + 1), pDelay + N * s, N);
        }
        pDst[k] = x;
    }
}
} // namespace

bool ippsIIRInit64f_32f(QwIppIirState64f** ppState, const double* pTaps, uint32_t uOrder_, const double* pDlyLine)
{
    return IirInit(ppState, pTaps, uOrder_, 1u, pDlyLine);
}

bool ippsIIRInit_32f(QwIppIirState32f** ppState, const float* pTaps, uint32_t uOrder_, const float* pDlyLine)
{
    return IirInit(ppState, pTaps, uOrder_, 1u, pDlyLine);
}

bool ippsIIRInit_BiQuad_32f(QwIppIirState64f** ppState, const double* pTaps, uint32_t uNumBq, const double* pDlyLine)
{
    return IirInit(ppState, pTaps, 2u, uNumBq, pDlyLine);
}

bool ippsIIRInit_BiQuad_32f(QwIppIirState32f** ppState, const float* pTaps, uint32_t uNumBq, const float* pDlyLine)
{
    return IirInit(ppState, pTaps, 2u, uNumBq, pDlyLine);
}

// One biquad, one sample: RunSection's arithmetic with N = 2, written out (the double version
// is the header's ippsIIROneBiquad64f_32f; a test holds the two to the same values).
template <class T>
inline T IirOneBiquad(T x, QwIppIirState<T>& rState)
{
    const T* c = rState.m_adCoeffs.data();
    T* z = rState.m_adDelay.data();
    const T y = c[0] * x + z[0];
    z[0] = (c[1] * x + z[1]) - c[4] * y;
    z[1] = AntiDenormal((c[2] * x) - c[5] * y);
    return y;
}

double ippsIIROne64f_32f(double x, QwIppIirState64f* pState)
{
    if (pState && pState->m_uOrder == 2 && pState->m_uNumCascades == 1)
        return IirOneBiquad(x, *pState);
    return IirOne(x, pState);
}

float ippsIIROne_32f(float x, QwIppIirState32f* pState)
{
    if (pState && pState->m_uOrder == 2 && pState->m_uNumCascades == 1)
        return IirOneBiquad(x, *pState);
    return IirOne(x, pState);
}

void ippsIIR64f_32f(uint32_t n, const double* pSrc, double* pDst, QwIppIirState64f* pState)
{
    IirBlock(n, pSrc, pDst, pState);
}

namespace {

template <uint32_t K>
void RunBiquadChain(uint32_t n, float* pInOut, QwIppIirState64f* const* ppStates)
{
    double b0[K], b1[K], b2[K], a1[K], a2[K], z0[K], z1[K];
    for (uint32_t s = 0; s < K; ++s) {
        const double* c = ppStates[s]->m_adCoeffs.data();
        const double* z = ppStates[s]->m_adDelay.data();
        b0[s] = c[0], b1[s] = c[1], b2[s] = c[2], a1[s] = c[4], a2[s] = c[5];
        z0[s] = z[0], z1[s] = z[1];
    }
    for (uint32_t k = 0; k < n; ++k) {
        float v = pInOut[k];
        for (uint32_t s = 0; s < K; ++s) {
            // RunBiquadBlock's arithmetic, and the float each separate call would hand on.
            const double x = v;
            const double y = b0[s] * x + z0[s];
            z0[s] = (b1[s] * x + z1[s]) - a1[s] * y;
            z1[s] = AntiDenormal((b2[s] * x) - a2[s] * y);
            v = static_cast<float>(y);
        }
        pInOut[k] = v;
    }
    for (uint32_t s = 0; s < K; ++s) {
        double* z = ppStates[s]->m_adDelay.data();
        z[0] = z0[s], z[1] = z1[s];
    }
}

} // namespace

void ippsIIRBiquadChain64f_32f(uint32_t n, float* pInOut, QwIppIirState64f* const* ppStates, uint32_t uCount)
{
    for (uint32_t s = 0; s < uCount; ++s) {
        if (!ppStates[s] || ppStates[s]->m_uOrder != 2 || ppStates[s]->m_uNumCascades != 1) {
            QW_ASSERT(false);
            return;
        }
    }
    switch (uCount) {
    case 1: RunBiquadChain<1>(n, pInOut, ppStates); break;
    case 2: RunBiquadChain<2>(n, pInOut, ppStates); break;
    case 3: RunBiquadChain<3>(n, pInOut, ppStates); break;
    case 4: RunBiquadChain<4>(n, pInOut, ppStates); break;
    default: QW_ASSERT(false); break;
    }
}

bool ippsIIRGetFirstOrder_32f(const QwIppIirState32f* pState, QwIppFirstOrder32f& out_section)
{
    if (!pState || pState->m_uOrder != 1 || pState->m_uNumCascades != 1)
        return false;
    const float* c = pState->m_adCoeffs.data();
    out_section = QwIppFirstOrder32f{c[0], c[1], c[3], pState->m_adDelay.data()[0]};
    return true;
}

void ippsIIRSetFirstOrderDelay_32f(QwIppIirState32f* pState, const QwIppFirstOrder32f& in_section)
{
    if (!pState || pState->m_uOrder != 1 || pState->m_uNumCascades != 1) {
        QW_ASSERT(false);
        return;
    }
    pState->m_adDelay.data()[0] = in_section.z0;
}

#if defined(__x86_64__)
namespace {

// Lane 0 carries channel 0, lane 1 channel 1; every step is the scalar chain's, lane by lane.
template <uint32_t K>
void RunBiquadChainPair(uint32_t n, float* p0, float* p1, QwIppIirState64f* const* s0, QwIppIirState64f* const* s1)
{
    __m128d b0[K], b1[K], b2[K], a1[K], a2[K], z0[K], z1[K];
    for (uint32_t s = 0; s < K; ++s) {
        const double* c0 = s0[s]->m_adCoeffs.data();
        const double* c1 = s1[s]->m_adCoeffs.data();
        b0[s] = _mm_set_pd(c1[0], c0[0]), b1[s] = _mm_set_pd(c1[1], c0[1]), b2[s] = _mm_set_pd(c1[2], c0[2]);
        a1[s] = _mm_set_pd(c1[4], c0[4]), a2[s] = _mm_set_pd(c1[5], c0[5]);
        z0[s] = _mm_set_pd(s1[s]->m_adDelay.data()[0], s0[s]->m_adDelay.data()[0]);
        z1[s] = _mm_set_pd(s1[s]->m_adDelay.data()[1], s0[s]->m_adDelay.data()[1]);
    }
    const __m128d offset = _mm_set1_pd(1e-10), minusOffset = _mm_set1_pd(-1e-10);
    for (uint32_t k = 0; k < n; ++k) {
        __m128 v = _mm_unpacklo_ps(_mm_load_ss(p0 + k), _mm_load_ss(p1 + k));
        for (uint32_t s = 0; s < K; ++s) {
            const __m128d x = _mm_cvtps_pd(v);
            const __m128d y = _mm_add_pd(_mm_mul_pd(b0[s], x), z0[s]);
            z0[s] = _mm_sub_pd(_mm_add_pd(_mm_mul_pd(b1[s], x), z1[s]), _mm_mul_pd(a1[s], y));
            const __m128d z = _mm_add_pd(_mm_sub_pd(_mm_mul_pd(b2[s], x), _mm_mul_pd(a2[s], y)), offset);
            const __m128d tiny = _mm_and_pd(_mm_cmpgt_pd(z, minusOffset), _mm_cmplt_pd(z, offset));
            z1[s] = _mm_andnot_pd(tiny, z);
            v = _mm_cvtpd_ps(y);
        }
        _mm_store_ss(p0 + k, v);
        _mm_store_ss(p1 + k, _mm_shuffle_ps(v, v, 1));
    }
    for (uint32_t s = 0; s < K; ++s) {
        _mm_storel_pd(s0[s]->m_adDelay.data(), z0[s]);
        _mm_storeh_pd(s1[s]->m_adDelay.data(), z0[s]);
        _mm_storel_pd(s0[s]->m_adDelay.data() + 1, z1[s]);
        _mm_storeh_pd(s1[s]->m_adDelay.data() + 1, z1[s]);
    }
}

} // namespace
#endif

void ippsIIRBiquadChainPair64f_32f(uint32_t n, float* pInOut0, float* pInOut1, QwIppIirState64f* const* ppStates0,
                                   QwIppIirState64f* const* ppStates1, uint32_t uCount)
{
    for (uint32_t s = 0; s < uCount; ++s) {
        for (QwIppIirState64f* pState : {ppStates0[s], ppStates1[s]}) {
            if (!pState || pState->m_uOrder != 2 || pState->m_uNumCascades != 1) {
                QW_ASSERT(false);
                return;
            }
        }
    }
#if defined(__x86_64__)
    switch (uCount) {
    case 1: RunBiquadChainPair<1>(n, pInOut0, pInOut1, ppStates0, ppStates1); return;
    case 2: RunBiquadChainPair<2>(n, pInOut0, pInOut1, ppStates0, ppStates1); return;
    case 3: RunBiquadChainPair<3>(n, pInOut0, pInOut1, ppStates0, ppStates1); return;
    case 4: RunBiquadChainPair<4>(n, pInOut0, pInOut1, ppStates0, ppStates1); return;
    default: break;
    }
#endif
    ippsIIRBiquadChain64f_32f(n, pInOut0, ppStates0, uCount);
    ippsIIRBiquadChain64f_32f(n, pInOut1, ppStates1, uCount);
}

void ippsIIR_32f(uint32_t n, const float* pSrc, float* pDst, QwIppIirState32f* pState)
{
    IirBlock(n, pSrc, pDst, pState);
}

template <class T>
bool ippsIIRSetTaps(const T* pTaps, QwIppIirState<T>* pState)
{
    if (!pState || !pTaps) {
        QW_ASSERT(false);
        return false;
    }
    std::memcpy(pState->m_adCoeffs.data(), pTaps, sizeof(T) * pState->m_adCoeffs.size());
    return true;
}

template <class T>
void ippsIIRGetDlyLine(const QwIppIirState<T>* pState, T* pDlyLine)
{
    if (!pState || !pDlyLine) {
        QW_ASSERT(false);
        return;
    }
    std::memcpy(pDlyLine, pState->m_adDelay.data(), sizeof(T) * pState->m_adDelay.size());
}

template <class T>
void ippsIIRSetDlyLine(QwIppIirState<T>* pState, const T* pDlyLine)
{
    if (!pState) {
        QW_ASSERT(false);
        return;
    }
    const size_t uBytes = sizeof(T) * pState->m_adDelay.size();
    if (pDlyLine)
        std::memcpy(pState->m_adDelay.data(), pDlyLine, uBytes);
    else if (uBytes)
        std::memset(pState->m_adDelay.data(), 0, uBytes);
}

template <class T>
void ippsIIRFree(QwIppIirState<T>* pState)
{
    IppDelete(pState);
}

template bool ippsIIRSetTaps(const double*, QwIppIirState<double>*);
template bool ippsIIRSetTaps(const float*, QwIppIirState<float>*);
template void ippsIIRGetDlyLine(const QwIppIirState<double>*, double*);
template void ippsIIRGetDlyLine(const QwIppIirState<float>*, float*);
template void ippsIIRSetDlyLine(QwIppIirState<double>*, const double*);
template void ippsIIRSetDlyLine(QwIppIirState<float>*, const float*);
template void ippsIIRFree(QwIppIirState<double>*);
template void ippsIIRFree(QwIppIirState<float>*);

// ---- Multirate FIR ----

bool ippsFIRMRInit_32f(QwIppFirMrState** ppState, int32_t iUpFactor, int32_t iDownFactor, const float* pTaps,
                       uint32_t uNumTaps, int32_t iPhase)
{
    if (!ppState || !pTaps || uNumTaps == 0 || iUpFactor <= 0 || iDownFactor <= 0 || iPhase < 0 ||
        iPhase >= iDownFactor) {
        QW_ASSERT(false);
        return false;
    }
    *ppState = nullptr;
    if (IppAllocatorFailed())
        return false;
    QwIppFirMrState* pState = IppNew<QwIppFirMrState>();
    if (!pState)
        return false;
    const uint32_t uUp = static_cast<uint32_t>(iUpFactor);
    const uint32_t uPhaseLength = (uNumTaps + uUp - 1) / uUp;
    const uint32_t uHistory = (uNumTaps + 1 + uUp) / uUp;
    if (!pState->m_aafPhases.Allocate(uPhaseLength * uUp) || !pState->m_afHistory.Allocate(uHistory)) {
        IppDelete(pState);
        return false;
    }
    pState->m_iUpFactor = iUpFactor;
    pState->m_iDownFactor = iDownFactor;
    pState->m_uPhaseLength = uPhaseLength;
    // Phase p holds taps p, p + up, p + 2 up, ...; missing taps stay 0.
    float* pPhases = pState->m_aafPhases.data();
    for (uint32_t j = 0; j < uNumTaps; ++j)
        pPhases[(j % uUp) * uPhaseLength + j / uUp] = pTaps[j];
    // The first output sits iPhase up-sampled steps after the first input of the first block.
    pState->m_iPhase = iPhase % iUpFactor;
    pState->m_iInputPos = iPhase / iUpFactor;
    *ppState = pState;
    return true;
}

void ippsFIRMR_32f(uint32_t n, const float* pSrc, float* pDst, QwIppFirMrState* pState)
{
    if (!pState) {
        QW_ASSERT(false);
        return;
    }
    if (n == 0)
        return;
    const int32_t iUp = pState->m_iUpFactor;
    const int32_t iDown = pState->m_iDownFactor;
    const uint32_t uOut = n * static_cast<uint32_t>(iUp);
    const uint32_t uIn = n * static_cast<uint32_t>(iDown);
    float* pOut = pDst;
    if (pSrc == pDst) {
        if (pState->m_afInPlaceCopy.size() < uOut && !pState->m_afInPlaceCopy.Allocate(uOut))
            return;
        pOut = pState->m_afInPlaceCopy.data();
    }
    const uint32_t L = pState->m_uPhaseLength;
    const int32_t iHistory = static_cast<int32_t>(pState->m_afHistory.size());
    const float* pHistory = pState->m_afHistory.data();
    int32_t iPhase = pState->m_iPhase;
    int32_t iPos = pState->m_iInputPos;
    for (uint32_t m = 0; m < uOut; ++m) {
        const float* h = pState->m_aafPhases.data() + static_cast<uint32_t>(iPhase) * L;
        float fSum = 0.0f;
        for (uint32_t k = 0; k < L; ++k) {
            const int32_t iAt = iPos - static_cast<int32_t>(k);
            fSum += h[k] * (iAt >= 0 ? pSrc[iAt] : pHistory[iHistory + iAt]);
        }
        pOut[m] = fSum;
        iPhase += iDown;
        while (iPhase >= iUp) {
            iPhase -= iUp;
            ++iPos;
        }
    }
    pState->m_iPhase = iPhase;
    pState->m_iInputPos = iPos - static_cast<int32_t>(uIn);
    // Keep the newest inputs, oldest first.
    float* pKeep = pState->m_afHistory.data();
    const uint32_t uHistory = static_cast<uint32_t>(iHistory);
    if (uIn >= uHistory) {
        ippsCopy_32f(uHistory, pSrc + (uIn - uHistory), pKeep);
    } else {
        std::memmove(pKeep, pKeep + uIn, sizeof(float) * (uHistory - uIn));
        ippsCopy_32f(uIn, pSrc, pKeep + (uHistory - uIn));
    }
    if (pOut != pDst)
        ippsCopy_32f(uOut, pOut, pDst);
}

void ippsFIRMRFree_32f(QwIppFirMrState* pState) { IppDelete(pState); }
