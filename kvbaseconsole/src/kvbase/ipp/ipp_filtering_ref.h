// FIR, IIR and multirate FIR state objects and the calls that run them, in the naming of the
// public signal-processing library. States draw their memory from the layer's own binding
// (ipp_allocator.h); while its failure flag is set, every set-up call hands out a null state.
// Block calls take the count first, then source, destination and state. Calls on a null
// state report "false" and return.
#pragma once
#include <cmath>
#include <cstdint>
#include "kvbase/ipp/ipp_allocator.h"

struct QwIppFirState
{
    QwIppVector<float> m_afTaps;  // natural order: tap 0 meets the newest sample
    QwIppVector<float> m_afDelay; // circular line
    uint32_t m_uDelayIndex = 0;   // slot of the next input; runs downward
};

// One type for both precisions: T = double (double coefficients and delay) or float.
template <class T>
class QwIppIirState
{
public:
    QwIppIirState(uint32_t uOrder_, uint32_t uNumCascades_);

    uint32_t m_uOrder;
    uint32_t m_uNumCascades;
    // Per section b0..bN, a0..aN, all divided by a0.
    QwIppVector<T> m_adCoeffs;
    // Per section N values of transposed direct form II state.
    QwIppVector<T> m_adDelay;
};

typedef QwIppIirState<double> QwIppIirState64f;
typedef QwIppIirState<float> QwIppIirState32f;

struct QwIppFirMrState
{
    int32_t m_iUpFactor = 1;
    int32_t m_iDownFactor = 1;
    // m_iUpFactor phases of m_uPhaseLength taps each, phase p at p * m_uPhaseLength.
    QwIppVector<float> m_aafPhases;
    uint32_t m_uPhaseLength = 0;
    // The last (taps + 1 + up) / up inputs, oldest first.
    QwIppVector<float> m_afHistory;
    int32_t m_iPhase = 0;
    int32_t m_iInputPos = 0;
    QwIppVector<float> m_afInPlaceCopy;
};

// FIR. Init copies the taps and the delay line if one is given (zeros otherwise). A null
// state pointer, a null tap array or a count of 0 reports "false" and leaves *ppState unset.
bool ippsFIRInit_32f(QwIppFirState** ppState, const float* pTaps, uint32_t uNumTaps, const float* pDlyLine);
void ippsFIR_32f(uint32_t n, const float* pSrc, float* pDst, QwIppFirState* pState);
void ippsFIR_32f_I(uint32_t n, float* pSrcDst, QwIppFirState* pState);
bool ippsFIRSetTaps_32f(const float* pTaps, QwIppFirState* pState);
// The line as it is stored (circular, index not applied); a null source clears it.
void ippsFIRGetDlyLine_32f(const QwIppFirState* pState, float* pDlyLine);
void ippsFIRSetDlyLine_32f(QwIppFirState* pState, const float* pDlyLine);
void ippsFIRFree_32f(QwIppFirState* pState);

// IIR, direct form of order uOrder_ in one section: taps b0..bN, a0..aN, scaled by 1 / a0.
bool ippsIIRInit64f_32f(QwIppIirState64f** ppState, const double* pTaps, uint32_t uOrder_, const double* pDlyLine);
bool ippsIIRInit_32f(QwIppIirState32f** ppState, const float* pTaps, uint32_t uOrder_, const float* pDlyLine);
// IIR, cascade of uNumBq biquads, six taps a section (b0, b1, b2, a0, a1, a2); every section
// is scaled by 1 / the first section's a0.
bool ippsIIRInit_BiQuad_32f(QwIppIirState64f** ppState, const double* pTaps, uint32_t uNumBq, const double* pDlyLine);
bool ippsIIRInit_BiQuad_32f(QwIppIirState32f** ppState, const float* pTaps, uint32_t uNumBq, const float* pDlyLine);

double ippsIIROne64f_32f(double x, QwIppIirState64f* pState);
float ippsIIROne_32f(float x, QwIppIirState32f* pState);
void ippsIIR64f_32f(uint32_t n, const double* pSrc, double* pDst, QwIppIirState64f* pState);
// One sample through a state that is one biquad (order 2, one section), inline for loops that
// feed each output back: ippsIIROne64f_32f's arithmetic, anti-denormal offset included.
inline double ippsIIROneBiquad64f_32f(double x, QwIppIirState64f& rState)
{
    const double* c = rState.m_adCoeffs.data();
    double* z = rState.m_adDelay.data();
    const double y = c[0] * x + z[0];
    z[0] = (c[1] * x + z[1]) - c[4] * y;
    double z1 = ((c[2] * x) - c[5] * y) + 1e-10;
    z[1] = (z1 > -1e-10 && z1 < 1e-10) ? 0.0 : z1;
    return y;
}

// A first-order float section copied into locals, for loops that run several recursions side by
// side: Run is the primitive's arithmetic for order 1 (anti-denormal offset included), and the
// state goes back with ippsIIRSetFirstOrderDelay_32f.
struct QwIppFirstOrder32f
{
    float b0, b1, a1, z0;
    float Run(float x)
    {
        const float y = b0 * x + z0;
        const float z = ((b1 * x) - a1 * y) + 1e-10f;
        // |z| < 1e-10 is -1e-10 < z < 1e-10 (NaN fails both) in one test that is nearly never
        // true; the two-sided test branched on the sign of z, a coin toss on audio.
        z0 = std::fabs(z) < 1e-10f ? 0.0f : z;
        return y;
    }
};
// False (and nothing copied) unless the state is one first-order section.
bool ippsIIRGetFirstOrder_32f(const QwIppIirState32f* pState, QwIppFirstOrder32f& out_section);
void ippsIIRSetFirstOrderDelay_32f(QwIppIirState32f* pState, const QwIppFirstOrder32f& in_section);

// n float samples in place through uCount (1 to 4) states that are each one biquad, in turn
// sample by sample: the values of uCount calls of ippsIIR64f_32f with float in between, while
// the sections' recursions overlap in the pipeline instead of running one after another.
void ippsIIRBiquadChain64f_32f(uint32_t n, float* pInOut, QwIppIirState64f* const* ppStates, uint32_t uCount);
// Two such chains at once (two channels, uCount sections each), one per lane of an SSE2 pair of
// doubles on x86-64: the values of ippsIIRBiquadChain64f_32f on each, with the two channels'
// recursions side by side. Elsewhere it runs the two chains in turn.
void ippsIIRBiquadChainPair64f_32f(uint32_t n, float* pInOut0, float* pInOut1, QwIppIirState64f* const* ppStates0,
                                   QwIppIirState64f* const* ppStates1, uint32_t uCount);
void ippsIIR_32f(uint32_t n, const float* pSrc, float* pDst, QwIppIirState32f* pState);

// Copies all coefficients in as they stand (no scaling).
template <class T>
bool ippsIIRSetTaps(const T* pTaps, QwIppIirState<T>* pState);
template <class T>
void ippsIIRGetDlyLine(const QwIppIirState<T>* pState, T* pDlyLine);
// A null source clears the line.
template <class T>
void ippsIIRSetDlyLine(QwIppIirState<T>* pState, const T* pDlyLine);
template <class T>
void ippsIIRFree(QwIppIirState<T>* pState);

// Multirate FIR: upsample by iUpFactor, filter, downsample by iDownFactor, starting at phase
// iPhase (0 to up - 1). One call of n iterations reads n * down inputs and writes n * up
// outputs. Nothing in the effects uses it.
bool ippsFIRMRInit_32f(QwIppFirMrState** ppState, int32_t iUpFactor, int32_t iDownFactor, const float* pTaps,
                       uint32_t uNumTaps, int32_t iPhase);
// The in-place form stages its output and may grow that staging on its first use.
void ippsFIRMR_32f(uint32_t n, const float* pSrc, float* pDst, QwIppFirMrState* pState);
void ippsFIRMRFree_32f(QwIppFirMrState* pState);
