#include "kvdspbase/dsp/lpc.h"
#include <cmath>
#include <cstring>
#include "host/qwassert.h"
#include "kvbase/common/common_cast.h"
#include "kvbase/ipp/ipp_vector_ref.h"
#include "kvdspbase/dsp/pivotedqr.h"

namespace {

// Frames and hops beyond this many samples (about six minutes at 48 kHz) are cut to it, so
// that the buffer positions stay well inside 32 bits.
const float MAX_FRAME_SAMPLES = 16777216.0f;

uint32_t SamplesAtLeast(float fSamples, uint32_t uMinimum)
{
    if (!(fSamples >= static_cast<float>(uMinimum)))
        return uMinimum;
    return round_cast<uint32_t>(fSamples < MAX_FRAME_SAMPLES ? fSamples : MAX_FRAME_SAMPLES);
}

uint32_t StoredCoefficients(uint32_t uLpcOrder)
{
    return (uLpcOrder > 2 ? uLpcOrder : 2) + 1;
}

} // namespace

void LpcFit(const float* in_pfSignal, uint32_t sLen, float* out_pfCoeffs, uint32_t uLpcOrder)
{
    QW_ASSERT_TEXT(uLpcOrder * 2 <= sLen, "uLpcOrder*2 <= sLen");
    out_pfCoeffs[0] = 1.0f;
    if (uLpcOrder == 0)
        return;
    for (uint32_t i = 0; i < uLpcOrder; ++i)
        out_pfCoeffs[1 + i] = 0.0f;
    const uint32_t uRows = sLen > uLpcOrder ? sLen - uLpcOrder : 0;
    if (uRows == 0)
        return;
    common_vector<double> adA, adB, adP, adWork;
    common_vector<uint32_t> auPivots;
    adA.resize(uRows * uLpcOrder, 0.0);
    adB.resize(uRows, 0.0);
    adP.resize(uLpcOrder, 0.0);
    adWork.resize(uLpcOrder, 0.0);
    auPivots.resize(uLpcOrder, 0);
    if (adA.size() != uRows * uLpcOrder || adB.size() != uRows || adP.size() != uLpcOrder ||
        adWork.size() != uLpcOrder || auPivots.size() != uLpcOrder)
        return; // out of memory: no predictor
    double* pA = adA.data();
    for (uint32_t r = 0; r < uRows; ++r) {
        for (uint32_t c = 0; c < uLpcOrder; ++c)
            pA[static_cast<size_t>(r) * uLpcOrder + c] = in_pfSignal[r + c];
        adB[r] = in_pfSignal[r + uLpcOrder];
    }
    SolveLeastSquaresPivotedQr(uRows, uLpcOrder, pA, adB.data(), adP.data(), auPivots.data(), adWork.data());
    for (uint32_t i = 0; i < uLpcOrder; ++i)
        out_pfCoeffs[1 + i] = static_cast<float>(-adP[i]);
}

uint32_t LpcStableFit(LevinsonDurbin& io_levinson, const float* in_pfLags, uint32_t uLpcOrder, float* io_pfCoeffs)
{
    uint32_t m = uLpcOrder;
    for (;;) {
        io_levinson.Solve(in_pfLags, m > 2 ? m : 2, io_pfCoeffs);
        io_pfCoeffs[0] = -1.0f;
        // Written so that a coefficient that is not a number counts as too large.
        bool bStable = true;
        for (uint32_t k = 0; k <= m; ++k)
            bStable = bStable && std::fabs(io_pfCoeffs[k]) <= 10.0f;
        if (bStable)
            return m;
        std::memset(io_pfCoeffs, 0, (m + 1) * sizeof(float));
        m = m - (m >> 3) - 1;
        if (static_cast<int32_t>(m) <= 3)
            return 0;
    }
}

void LpcResidualAnalyzer::Configure(uint32_t uNumChannels, int32_t sDelay, float fSampleRate)
{
    QW_ASSERT(sDelay >= 0);
    m_uNumChannels = uNumChannels;
    m_sDelay = sDelay > 0 ? sDelay : 0;
    m_fSamplingRate = fSampleRate;
    Reset();
}

void LpcResidualAnalyzer::Init(float fFrameSeconds, uint32_t uLpcOrder, float fHopSeconds)
{
    QW_ASSERT(m_fSamplingRate != 0);
    m_sFrame = SamplesAtLeast(fFrameSeconds * m_fSamplingRate, 8);
    m_sHop = SamplesAtLeast(fHopSeconds * m_fSamplingRate, 1);
    m_uLpcOrder = uLpcOrder;
    const int32_t sTail = static_cast<int32_t>(m_sFrame / 2 > uLpcOrder ? m_sFrame / 2 : uLpcOrder);
    const uint32_t uLookAhead = m_sFrame > uLpcOrder ? m_sFrame : uLpcOrder;
    const int32_t sBlock = static_cast<int32_t>(uLookAhead) + m_sDelay;
    const int32_t sChannels = static_cast<int32_t>(m_uNumChannels);
    const uint32_t uStored = StoredCoefficients(uLpcOrder);
    m_Input.Init(sChannels, sTail + sBlock, sBlock, sTail, true);
    m_Coeffs.Init(sChannels, static_cast<int32_t>(uStored), static_cast<int32_t>(uStored), 0, true);
    m_ReversedCoeffs.Init(sChannels, static_cast<int32_t>(uStored), static_cast<int32_t>(uStored), 0, true);
    m_Autocorrelation.Init(m_sFrame, uStored);
    m_Levinson.Init(uStored - 1);
    m_afLags.resize(uStored, 0.0f);
    Reset();
}

void LpcResidualAnalyzer::Reset()
{
    if (m_Input.GetTotalSize() > 0) {
        m_Input.Prime();
        // A silent look-ahead as long as the latency, so that the first sample analysed is the
        // first one given.
        const int32_t sTotal = m_Input.GetTail() - m_sDelay + m_Input.GetMaxBlockSize();
        m_Input.SetTotal(sTotal > 0 ? sTotal : 0);
    }
    m_iLastUpdate = -1000000;
}

uint32_t LpcResidualAnalyzer::GetLatency() const
{
    if (m_Input.GetTotalSize() == 0)
        return m_sFrame > m_uLpcOrder ? m_sFrame : m_uLpcOrder;
    const int32_t sLatency = m_Input.GetMaxBlockSize() - m_sDelay;
    return sLatency > 0 ? static_cast<uint32_t>(sLatency) : 0;
}

bool LpcResidualAnalyzer::HasStorage() const
{
    const uint32_t uStored = StoredCoefficients(m_uLpcOrder);
    const uint32_t uLast = m_uNumChannels - 1;
    return m_uNumChannels > 0 && m_Input.GetNumChannels() == static_cast<int32_t>(m_uNumChannels) &&
           m_Input.GetChannel(uLast) && m_Coeffs.GetChannel(uLast) && m_ReversedCoeffs.GetChannel(uLast) &&
           m_Coeffs.GetTotalSize() == uStored && m_ReversedCoeffs.GetTotalSize() == uStored &&
           m_afLags.size() == uStored && m_Autocorrelation.GetFrame() == m_sFrame &&
           m_Levinson.GetMaxOrder() == uStored - 1;
}

void LpcResidualAnalyzer::UpdateCoefficients(int32_t t)
{
    const uint32_t uCount = m_uLpcOrder + 1;
    for (uint32_t c = 0; c < m_uNumChannels; ++c) {
        const float* pFrame = m_Input.GetChannel(c) + (t - static_cast<int32_t>(m_sFrame / 2));
        m_Autocorrelation.Compute(pFrame, m_afLags.data());
        float* pCoeffs = m_Coeffs.GetChannel(c);
        LpcStableFit(m_Levinson, m_afLags.data(), m_uLpcOrder, pCoeffs);
        ippsFlip_32f(uCount, pCoeffs, m_ReversedCoeffs.GetChannel(c));
    }
}

void LpcResidualAnalyzer::Analyze(uint32_t uCount, const float* const* in_ppInput, float* const* out_ppMeasure,
                                  float* const* out_ppForward, float* const* out_ppBackward,
                                  float* const* out_ppDelayed, uint32_t uOutOffset)
{
    if (uCount == 0)
        return;
    uint32_t uDone = 0;
    const int32_t sTail = m_Input.GetTail();
    if (HasStorage()) {
        m_Input.Append(in_ppInput, uCount, 0);
        // Positions whose frame and backward prediction lie inside what arrived: all of them,
        // unless the append overran and was reported.
        const uint32_t uOrder = m_uLpcOrder;
        const int32_t sReach = static_cast<int32_t>(
            m_sFrame - m_sFrame / 2 - 1 > uOrder ? m_sFrame - m_sFrame / 2 - 1 : uOrder);
        const int32_t sAnalysable = m_Input.GetTotal() - sReach - sTail;
        uDone = sAnalysable <= 0 ? 0 : (static_cast<uint32_t>(sAnalysable) < uCount ? sAnalysable : uCount);

        const uint32_t uTaps = uOrder + 1;
        const int32_t sHop = static_cast<int32_t>(m_sHop);
        const int32_t sEnd = sTail + static_cast<int32_t>(uDone);
        for (int32_t t = sTail; t < sEnd;) {
            if (t >= m_iLastUpdate + sHop) {
                UpdateCoefficients(t);
                m_iLastUpdate = t;
            }
            // Up to the next update the predictors stand: run each channel over the stretch.
            const int32_t sStop = m_iLastUpdate + sHop < sEnd ? m_iLastUpdate + sHop : sEnd;
            for (uint32_t c = 0; c < m_uNumChannels; ++c) {
                const float* pX = m_Input.GetChannel(c);
                const float* pCoeffs = m_Coeffs.GetChannel(c);
                const float* pReversed = m_ReversedCoeffs.GetChannel(c);
                float* pMeasure = out_ppMeasure[c] + uOutOffset;
                float* pForward = out_ppForward ? out_ppForward[c] + uOutOffset : nullptr;
                float* pBackward = out_ppBackward ? out_ppBackward[c] + uOutOffset : nullptr;
                for (int32_t s = t; s < sStop; ++s) {
                    const int32_t i = s - sTail;
                    const float f = ippsDotProd_32f(uTaps, pReversed, pX + (s - static_cast<int32_t>(uOrder)));
                    const float b = ippsDotProd_32f(uTaps, pCoeffs, pX + s);
                    const float fAbsF = std::fabs(f);
                    const float fAbsB = std::fabs(b);
                    // The harmonic mean: large only where both directions fail.
                    pMeasure[i] = 2.0f * fAbsF * fAbsB / (fAbsB + fAbsF + 1e-09f);
                    if (pForward)
                        pForward[i] = f;
                    if (pBackward)
                        pBackward[i] = b;
                }
            }
            t = sStop;
        }
        if (out_ppDelayed)
            for (uint32_t c = 0; c < m_uNumChannels; ++c)
                ippsCopy_32f(uDone, m_Input.GetChannel(c) + sTail, out_ppDelayed[c] + uOutOffset);
        m_Input.Consume(uCount);
        m_iLastUpdate -= static_cast<int32_t>(uCount);
    }
    // Whatever could not be analysed reads as silence.
    for (uint32_t c = 0; c < m_uNumChannels; ++c) {
        for (float* const* pp : {out_ppMeasure, out_ppForward, out_ppBackward, out_ppDelayed})
            if (pp)
                ippsZero_32f(uCount - uDone, pp[c] + uOutOffset + uDone);
    }
}
