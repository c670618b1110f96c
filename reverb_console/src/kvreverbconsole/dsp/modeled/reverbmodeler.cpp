#include "kvreverbconsole/dsp/modeled/reverbmodeler.h"
#include <cmath>
#include "host/qwassert.h"
#include "kvbase/common/common_cast.h"
#include "kvbase/ipp/ipp_vector_ref.h"
#include "kvdspbase/dsp/fft.h"
#include "kvdspbase/dsp/firfilter.h"
#include "kvreverbconsole/dsp/modeled/decaytimecalculator.h"
#include "kvreverbconsole/dsp/modeled/echodensitycalculator.h"
#include "kvreverbconsole/dsp/modeled/hannsmoother.h"

namespace {
const uint32_t MAX_CHANNELS = 4;           // the most a StereoFDN carries
const uint32_t CEPSTRUM_SIZE = 1u << 18;    // fixed, whatever the filter length
const float DB_PER_NEPER = 8.685889f;       // 20 / ln 10
const float NEPER_PER_DB = 0.115129255f;    // ln 10 / 20

uint32_t MsToSamples(double in_dMs, float in_fSampleRate)
{
    return round_cast<uint32_t>(in_dMs * 0.001 * static_cast<double>(in_fSampleRate));
}

// Modified Bessel function of the first kind, order 0, by its power series.
double BesselI0(double in_dX)
{
    const double dHalf = 0.5 * in_dX;
    double dTerm = 1.0;
    double dSum = 1.0;
    for (int k = 1; k < 200 && dTerm > 1e-17 * dSum; ++k) {
        dTerm *= (dHalf / k) * (dHalf / k);
        dSum += dTerm;
    }
    return dSum;
}

bool Resize(common_vector<float>& io_vector, uint32_t in_uSize)
{
    io_vector.resize(in_uSize, 0.0f);
    return io_vector.size() == in_uSize;
}
} // namespace

ReverbModeler::ReverbModeler(float in_fSampleRate, uint32_t in_uMaxLength, uint32_t in_uExtraDelaySets,
                             uint32_t in_uOrder)
    : m_fSampleRate(in_fSampleRate)
{
    m_pEchoDensityCalc.reset(QwNew<EchoDensityCalculator>(in_fSampleRate, in_uMaxLength));
    if (IsOutOfMemory())
        return;
    m_pDecayTimeCalc.reset(QwNew<DecayTimeCalculator>(in_fSampleRate, in_uMaxLength, 40.0f, 16000.0f));
    if (IsOutOfMemory())
        return;
    m_afBandScratch.resize(m_pDecayTimeCalc->GetNumBands(), 0.0f);
    m_pFDN.reset(QwNew<StereoFDN>(in_fSampleRate, MsToSamples(300.0, in_fSampleRate), 2u, in_uExtraDelaySets,
                                  in_uOrder));
    if (IsOutOfMemory())
        return;

    // The shortest power of two covering 1.4 ms: 64 taps at 44100 Hz, 128 at 48000 Hz.
    m_sFilterLength = 8;
    while (static_cast<float>(m_sFilterLength) < 0.0014000001f * in_fSampleRate)
        m_sFilterLength *= 2;
    m_pFFT.reset(QwNew<Fft>());
    if (IsOutOfMemory())
        return;
    m_pFFT->InitReal(m_sFilterLength);

    m_afTargetMono.reserve(in_uMaxLength);
    m_afTargetEnergy.reserve(in_uMaxLength);
    m_afTargetEnvelope.reserve(in_uMaxLength);
    const uint32_t uWindow = m_pEchoDensityCalc->GetWindowLength();
    const uint32_t uHop = m_pEchoDensityCalc->GetHop();
    m_afDensitySmoothed.reserve(in_uMaxLength > uWindow && uHop > 0 ? (in_uMaxLength - uWindow) / uHop : 0);
    const uint32_t uChannels = m_pFDN->GetNumChannels();
    m_aafFDNImpulse.reserve(uChannels);
    m_aafFilteredFDN.reserve(uChannels);
    m_apfEqFilter.reserve(uChannels);
    m_apfEarlyResponse.reserve(uChannels);
    m_aafEarlyResponse.resize(uChannels);
}

ReverbModeler::~ReverbModeler() = default;

float ReverbModeler::GetDecayTime() const
{
    return m_pFDN->GetDecayTime();
}
float ReverbModeler::GetLowCrossover() const
{
    return m_pFDN->GetLowCrossover();
}
float ReverbModeler::GetHighCrossover() const
{
    return m_pFDN->GetHighCrossover();
}
float ReverbModeler::GetLowMultiplier() const
{
    return m_pFDN->GetLowMultiplier();
}
float ReverbModeler::GetMidMultiplier() const
{
    return m_pFDN->GetMidMultiplier();
}
float ReverbModeler::GetHighMultiplier() const
{
    return m_pFDN->GetHighMultiplier();
}

void ReverbModeler::CopyFDNParametersTo(StereoFDN& out_fdn) const
{
    const StereoFDN& fdn = *m_pFDN;
    const uint32_t uLines = fdn.GetOrder() < out_fdn.GetOrder() ? fdn.GetOrder() : out_fdn.GetOrder();
    for (uint32_t i = 0; i < uLines; ++i)
        out_fdn.SetDelayTime(i, fdn.GetDelayTime(i));
    for (uint32_t i = 0; i < uLines; ++i)
        out_fdn.SetInputGain(i, fdn.GetInputGain(i));
    for (uint32_t i = 0; i < uLines; ++i)
        out_fdn.SetOutputGain(i, fdn.GetOutputGain(i));
    const uint32_t uPhases = uLines / 2 > 0 ? uLines / 2 - 1 : 0;
    for (uint32_t i = 0; i < uPhases; ++i)
        out_fdn.SetPhase(i, fdn.GetPhase(i));
    out_fdn.SetDecayTime(fdn.GetDecayTime());
    out_fdn.SetLowCrossover(fdn.GetLowCrossover());
    out_fdn.SetHighCrossover(fdn.GetHighCrossover());
    out_fdn.SetLowMultiplier(fdn.GetLowMultiplier());
    out_fdn.SetMidMultiplier(fdn.GetMidMultiplier());
    out_fdn.SetHighMultiplier(fdn.GetHighMultiplier());
}

void ReverbModeler::Model(uint32_t in_uLength, const float* const* in_ppfImpulse, bool in_bReuseAnalysis)
{
    m_pFFT.reset(QwNew<Fft>());
    if (IsOutOfMemory() || !m_pFFT || !m_pFDN || !m_pEchoDensityCalc || !m_pDecayTimeCalc)
        return;
    m_pFFT->InitReal(m_sFilterLength);

    const uint32_t uMaxTransition = MsToSamples(300.0, m_fSampleRate);
    const uint32_t uMinTransition = MsToSamples(100.0, m_fSampleRate);
    const uint32_t uCrossfade = MsToSamples(50.0, m_fSampleRate);
    const uint32_t uChannels = m_pFDN->GetNumChannels();

    if (!in_bReuseAnalysis) {
        if (!Resize(m_afTargetMono, in_uLength))
            return;
        float* pfMono = m_afTargetMono.data();
        ippsZero_32f(in_uLength, pfMono);
        for (uint32_t c = 0; c < uChannels; ++c)
            ippsAdd_32f_I(in_uLength, in_ppfImpulse[c], pfMono);
        ippsMulC_32f_I(in_uLength, 1.0f / static_cast<float>(uChannels), pfMono);

        if (!Resize(m_afTargetEnvelope, in_uLength) || !Resize(m_afTargetEnergy, in_uLength))
            return;
        ippsMul_32f(in_uLength, pfMono, pfMono, m_afTargetEnergy.data());
        // The envelope over the whole response; the onset search below overwrites it unread.
        HannSmooth(in_uLength, m_afTargetEnergy.data(), static_cast<uint32_t>(0.05f * m_fSampleRate),
                   m_afTargetEnvelope.data());

        uint32_t uTransition = FindTransition(in_uLength);
        if (uTransition < uCrossfade + uMinTransition)
            uTransition = uCrossfade + uMinTransition;
        if (uTransition >= uMaxTransition + uCrossfade)
            uTransition = uMaxTransition + uCrossfade;
        if (uTransition >= in_uLength) {
            QW_ASSERT(false);
            uTransition = in_uLength;
        }
        m_uTransition = uTransition;

        m_uOnset = 0;
        if (!Resize(m_afTargetEnvelope, m_uTransition))
            return;
        HannSmooth(m_uTransition, m_afTargetEnergy.data(), static_cast<uint32_t>(0.010000001f * m_fSampleRate),
                   m_afTargetEnvelope.data());
        const float* pfEnvelope = m_afTargetEnvelope.data();
        for (uint32_t i = 0; i < m_uTransition; ++i) {
            if (!(5e-05f >= pfEnvelope[i])) {
                m_uOnset = i;
                break;
            }
        }

        FitDecay(in_uLength - m_uTransition, m_afTargetMono.data() + m_uTransition);
    }
    if (IsOutOfMemory() || m_afTargetMono.size() < m_uTransition || m_uTransition < uCrossfade)
        return;

    RunFDNImpulse(m_uTransition + uCrossfade);
    if (IsOutOfMemory())
        return;
    // The last 50 ms ahead of the transition, target against network.
    const uint32_t uSegment = m_uTransition - uCrossfade;
    DesignEqualiser(m_sFilterLength, uCrossfade, m_afTargetMono.data() + uSegment, m_afFDNMono.data() + uSegment);
    if (IsOutOfMemory())
        return;

    m_aafFilteredFDN.resize(uChannels);
    if (m_aafFilteredFDN.size() != uChannels)
        return;
    {
        FirFilter fir(m_afEqFilter.data(), m_afEqFilter.size());
        for (uint32_t c = 0; c < uChannels; ++c) {
            if (!Resize(m_aafFilteredFDN[c], m_uTransition))
                return;
            fir.Process(m_uTransition, m_aafFDNImpulse[c].data(), m_aafFilteredFDN[c].data());
            fir.Reset();
        }
    }
    if (IsOutOfMemory())
        return;

    ComputeEarly(uCrossfade, in_ppfImpulse);
    if (IsOutOfMemory())
        return;

    // Over the whole response, not from the onset.
    const uint32_t uNormLength = in_uLength < m_afTargetMono.size() ? in_uLength : m_afTargetMono.size();
    const float norml2 = ippsNorm_L2_32f(uNormLength, m_afTargetMono.data());
    QW_ASSERT(norml2 != 0.0f);
    m_fNormGain = 1.0f / norml2;

    m_apfEqFilter.resize(uChannels, nullptr);
    m_apfEarlyResponse.resize(uChannels, nullptr);
    if (m_apfEqFilter.size() != uChannels || m_apfEarlyResponse.size() != uChannels)
        return;
    for (uint32_t c = 0; c < uChannels; ++c) {
        m_apfEqFilter[c] = m_afEqFilter.data();
        m_apfEarlyResponse[c] = m_aafEarlyResponse[c].data();
    }
}

uint32_t ReverbModeler::FindTransition(uint32_t in_uLength)
{
    m_pEchoDensityCalc->Calculate(in_uLength, m_afTargetMono.data());
    const common_vector<float>& afProfile = m_pEchoDensityCalc->GetProfile();
    const uint32_t uHop = m_pEchoDensityCalc->GetHop();
    const uint32_t uFrames = afProfile.size();
    if (!Resize(m_afDensitySmoothed, uFrames))
        return in_uLength - 1;
    if (uFrames == 0) {
        QW_ASSERT(false);
        return in_uLength - 1;
    }
    HannSmooth(uFrames, afProfile.data(), static_cast<uint32_t>(0.05f / static_cast<float>(uHop) * m_fSampleRate),
               m_afDensitySmoothed.data());
    const float* pfDensity = m_afDensitySmoothed.data();
    uint32_t iLargest = 0;
    for (uint32_t f = 0; f < uFrames; ++f) {
        if (pfDensity[f] >= 1.0f)
            return uHop * f;
        if (pfDensity[f] > pfDensity[iLargest])
            iLargest = f;
    }
    // A frame number, not a sample: the transition clamp lifts it to the minimum.
    return iLargest;
}

void ReverbModeler::FitDecay(uint32_t in_uTail, const float* in_pfTail)
{
    StereoFDN& fdn = *m_pFDN;
    if (in_uTail == 0) {
        fdn.SetLowCrossover(800.0f);
        fdn.SetHighCrossover(8000.0f);
        fdn.SetDecayTime(0.15f);
        fdn.SetLowMultiplier(1.0f);
        fdn.SetMidMultiplier(1.0f);
        fdn.SetHighMultiplier(0.5f);
        return;
    }
    m_pDecayTimeCalc->Calculate(in_uTail, in_pfTail);
    fdn.SetLowCrossover(800.0f);
    fdn.SetHighCrossover(8000.0f);
    const float fLowBandFreq = fdn.GetLowCrossover();
    const float fHighBandFreq = fdn.GetHighCrossover();

    const uint32_t uBands = m_pDecayTimeCalc->GetNumBands();
    const common_vector<float>& afSlopes = m_pDecayTimeCalc->GetDecaySlopes();
    if (afSlopes.size() != uBands)
        return;
    uint32_t iLowBand = 0;
    while (iLowBand < uBands && !(m_pDecayTimeCalc->GetBandFreq(iLowBand) > fLowBandFreq))
        ++iLowBand;
    if (iLowBand == uBands)
        iLowBand = 0;
    QW_ASSERT_TEXT(iLowBand + 1 != m_pDecayTimeCalc->GetNumBands(), "iLowBand+1 != m_pDecayTimeCalc->GetNumBands()");
    QW_ASSERT_TEXT(fHighBandFreq > fLowBandFreq, "fHighBandFreq > fLowBandFreq");
    uint32_t iHighBand = iLowBand;
    while (iHighBand < uBands && !(m_pDecayTimeCalc->GetBandFreq(iHighBand) > fHighBandFreq))
        ++iHighBand;
    if (iHighBand == uBands)
        iHighBand = iLowBand;
    QW_ASSERT_TEXT(iHighBand != iLowBand, "iHighBand != iLowBand");
    QW_ASSERT_TEXT(iHighBand != m_pDecayTimeCalc->GetNumBands(), "iHighBand != m_pDecayTimeCalc->GetNumBands()");

    // The time each band takes to fall 15 dB, the network's unit of decay.
    float afSums[3] = {0.0f, 0.0f, 0.0f};
    uint32_t auCounts[3] = {0, 0, 0};
    for (uint32_t b = 0; b < uBands; ++b) {
        const float fTime = -15.0f / (afSlopes[b] * m_fSampleRate);
        const uint32_t iGroup = b < iLowBand ? 0 : (b < iHighBand ? 1 : 2);
        afSums[iGroup] += fTime;
        ++auCounts[iGroup];
    }
    const float fLowDecayTime = afSums[0] / static_cast<float>(auCounts[0]);
    const float fMidDecayTime = afSums[1] / static_cast<float>(auCounts[1]);
    const float fHighDecayTime = afSums[2] / static_cast<float>(auCounts[2]);
    QW_ASSERT_TEXT(fLowDecayTime >= 0 && fMidDecayTime >= 0 && fHighDecayTime >= 0,
                   "fLowDecayTime >= 0 && fMidDecayTime >= 0 && fHighDecayTime >= 0");
    const float fMean = (fLowDecayTime + fMidDecayTime + fHighDecayTime) * 0.33333334f;
    const float fInvMean = 1.0f / fMean;
    fdn.SetDecayTime(fMean);
    fdn.SetLowMultiplier(fLowDecayTime * fInvMean);
    fdn.SetMidMultiplier(fMidDecayTime * fInvMean);
    fdn.SetHighMultiplier(fHighDecayTime * fInvMean);
}

void ReverbModeler::RunFDNImpulse(uint32_t in_uCount)
{
    if (!Resize(m_afFDNMono, in_uCount))
        return;
    ippsZero_32f(in_uCount, m_afFDNMono.data());
    const uint32_t uChannels = m_pFDN->GetNumChannels();
    m_aafFDNImpulse.resize(uChannels);
    if (m_aafFDNImpulse.size() != uChannels || uChannels > MAX_CHANNELS)
        return;
    float* apfChannels[MAX_CHANNELS] = {};
    for (uint32_t c = 0; c < uChannels; ++c) {
        if (!Resize(m_aafFDNImpulse[c], in_uCount))
            return;
        apfChannels[c] = m_aafFDNImpulse[c].data();
        ippsZero_32f(in_uCount, apfChannels[c]);
        if (in_uCount > 0)
            apfChannels[c][0] = 1.0f; // into both channels at once
    }
    m_pFDN->Reset();
    m_pFDN->Process(in_uCount, apfChannels);
    for (uint32_t c = 0; c < uChannels; ++c)
        ippsAdd_32f_I(in_uCount, apfChannels[c], m_afFDNMono.data());
}

void ReverbModeler::DesignEqualiser(uint32_t in_uFilter, uint32_t in_uWindow, const float* in_pfTarget,
                                    const float* in_pfFDN)
{
    uint32_t uFFT = 1;
    while (uFFT < in_uWindow)
        uFFT *= 2;
    if (!m_pFFT->InitReal(uFFT))
        return;
    const uint32_t uBins = uFFT / 2 + 1;
    if (!Resize(m_afFFTBuffer, uFFT + 2) || !Resize(m_afTargetMagnitude, uBins) || !Resize(m_afFDNMagnitude, uBins) ||
        !Resize(m_afBinFrequencies, uBins))
        return;
    float* pfBuffer = m_afFFTBuffer.data();
    // Neither segment is windowed.
    ippsZero_32f(uFFT + 2, pfBuffer);
    ippsCopy_32f(in_uWindow, in_pfTarget, pfBuffer);
    m_pFFT->ForwardReal(pfBuffer, pfBuffer);
    ippsMagnitude_32fc(uBins, pfBuffer, m_afTargetMagnitude.data());
    ippsZero_32f(uFFT + 2, pfBuffer);
    ippsCopy_32f(in_uWindow, in_pfFDN, pfBuffer);
    m_pFFT->ForwardReal(pfBuffer, pfBuffer);
    ippsMagnitude_32fc(uBins, pfBuffer, m_afFDNMagnitude.data());
    const float fBinWidth = m_fSampleRate * (1.0f / static_cast<float>(uFFT));
    for (uint32_t k = 0; k < uBins; ++k)
        m_afBinFrequencies[k] = static_cast<float>(k) * fBinWidth;

    const uint32_t uGains = in_uFilter / 2 + 1;
    if (!Resize(m_afCorrectionDb, uGains) || !Resize(m_afSmoothingCoeffs, uGains))
        return;
    float* d = m_afCorrectionDb.data();
    float* pfCoeff = m_afSmoothingCoeffs.data();
    const float fBandWidth = m_fSampleRate / static_cast<float>(in_uFilter);
    for (uint32_t k = 0; k < uGains; ++k) {
        const float fLo = (static_cast<float>(k) - 0.5f) * m_fSampleRate / static_cast<float>(in_uFilter);
        const float fHi = (static_cast<float>(k) + 0.5f) * m_fSampleRate / static_cast<float>(in_uFilter);
        const float a = BandLevel(m_afBinFrequencies, m_afTargetMagnitude, fLo, fHi);
        const float b = BandLevel(m_afBinFrequencies, m_afFDNMagnitude, fLo, fHi);
        float fDb;
        if (b <= 0.0f) {
            fDb = std::log(a <= 0.0f ? 1.0f : 1000000.0f) * DB_PER_NEPER;
        } else {
            const float r = a / b;
            fDb = r < 1e-20f ? -400.0f : std::log(r) * DB_PER_NEPER;
        }
        d[k] = fDb < -60.0f ? -60.0f : (fDb > 60.0f ? 60.0f : fDb);

        // Smoothing grows with frequency: hard at the top, hardly any at the bottom.
        float c = k == 0 ? 1.0f - 0.29643762f
                         : 1.0f - 0.29643762f / std::sqrt(static_cast<float>(k) * fBandWidth * 0.001f);
        c = c < 0.0f ? 0.0f : (c > 0.99f ? 0.99f : c);
        // Rescaled from the bin spacing of a 1024-point transform at 44100 Hz.
        pfCoeff[k] = std::pow(c, fBandWidth * 0.023219954f);
    }
    for (uint32_t k = 1; k < uGains; ++k)
        d[k] += (d[k - 1] - d[k]) * pfCoeff[k];
    for (uint32_t k = uGains - 1; k-- > 0;)
        d[k] += (d[k + 1] - d[k]) * pfCoeff[k];
    for (uint32_t k = 0; k < uGains; ++k)
        d[k] = std::exp(d[k] * NEPER_PER_DB);

    if (!Resize(m_afEqFilter, in_uFilter))
        return;
    DesignKernel(d, in_uFilter, m_afEqFilter.data(), 9.0f);
}

float ReverbModeler::BandLevel(const common_vector<float>& in_afFrequencies,
                               const common_vector<float>& in_afMagnitudes, float in_fLo, float in_fHi)
{
    if (in_afFrequencies.size() != in_afMagnitudes.size()) {
        QW_ASSERT(false);
        return 1.0f;
    }
    const uint32_t uCount = in_afFrequencies.size();
    const float* f = in_afFrequencies.data();
    const float* m = in_afMagnitudes.data();
    uint32_t i = 0;
    while (i < uCount && f[i] <= in_fLo)
        ++i;
    const uint32_t iLo = i > 0 ? i - 1 : 0;
    while (i < uCount && f[i] <= in_fHi)
        ++i;
    const uint32_t iHi = i > 0 ? i - 1 : 0;
    if (iHi > iLo) {
        float fSum = 0.0f;
        for (uint32_t k = iLo; k <= iHi; ++k)
            fSum += m[k] * m[k];
        return std::sqrt(fSum / static_cast<float>(iHi - iLo + 1));
    }
    if (uCount < 2)
        return uCount == 1 ? m[0] : 1.0f;
    const uint32_t j = iLo < uCount - 2 ? iLo : uCount - 2;
    if (f[j] >= f[j + 1])
        return f[j + 1]; // a frequency, not a level: reachable only with a degenerate axis
    const float fMid = (in_fLo + in_fHi) * 0.5f;
    const float t = (fMid - f[j]) / (f[j + 1] - f[j]);
    return m[j] + t * (m[j + 1] - m[j]);
}

void ReverbModeler::DesignKernel(const float* in_pfGains, uint32_t in_uLength, float* out_pfTaps, float in_fBeta)
{
    const uint32_t L = in_uLength;
    if (L < 4 || !m_pFFT->InitReal(L) || !Resize(m_afFFTBuffer, 2 * L + 2))
        return;
    // Zero phase: a real, even spectrum.
    float* pfSpectrum = m_afFFTBuffer.data();
    float* y = pfSpectrum + L + 2;
    for (uint32_t k = 0; k <= L / 2; ++k) {
        pfSpectrum[2 * k] = in_pfGains[k];
        pfSpectrum[2 * k + 1] = 0.0f;
    }
    m_pFFT->InverseReal(pfSpectrum, y);

    // Centred: taps 0 .. L - 2 form a symmetric, odd-length kernel, L / 2 - 1 samples of delay.
    float* h = out_pfTaps;
    for (uint32_t i = 0; i + 1 < L / 2; ++i)
        h[i] = y[L / 2 + 1 + i];
    for (uint32_t i = 0; i < L / 2; ++i)
        h[L / 2 - 1 + i] = y[i];
    h[L - 1] = 0.0f;

    const uint32_t M = L - 1;
    const double dNorm = 1.0 / BesselI0(static_cast<double>(in_fBeta));
    for (uint32_t i = 0; i < M; ++i) {
        const double dR = 2.0 * static_cast<double>(i) / static_cast<double>(M - 1) - 1.0;
        const double dArg = 1.0 - dR * dR;
        h[i] *= static_cast<float>(BesselI0(in_fBeta * std::sqrt(dArg > 0.0 ? dArg : 0.0)) * dNorm);
    }
    common_vector<float> afLinearPhase;
    if (!Resize(afLinearPhase, M))
        return;
    for (uint32_t i = 0; i < M; ++i)
        afLinearPhase[i] = (h[i] > -1e-10f && h[i] < 1e-10f) ? 0.0f : h[i];

    // A minimum-phase version by the folded cepstrum, at a fixed size. Its result is replaced by
    // the linear-phase kernel below: every model is built with that kernel, and the stage is kept
    // so that fitting costs and allocates what it always has.
    {
        common_vector<float> afRe, afIm, afOutRe, afOutIm, afMagnitude;
        Fft fft;
        if (Resize(afRe, CEPSTRUM_SIZE) && Resize(afIm, CEPSTRUM_SIZE) && Resize(afOutRe, CEPSTRUM_SIZE) &&
            Resize(afOutIm, CEPSTRUM_SIZE) && Resize(afMagnitude, CEPSTRUM_SIZE) && fft.InitComplex(CEPSTRUM_SIZE)) {
            float* pfRe = afRe.data();
            float* pfIm = afIm.data();
            float* pfOutRe = afOutRe.data();
            float* pfOutIm = afOutIm.data();
            float* pfMag = afMagnitude.data();
            ippsCopy_32f(L, h, pfRe);
            fft.ForwardComplex(pfRe, pfIm, pfOutRe, pfOutIm);
            ippsMagnitude_32f(CEPSTRUM_SIZE, pfOutRe, pfOutIm, pfMag);
            for (uint32_t i = 0; i < CEPSTRUM_SIZE; ++i) {
                if (pfMag[i] < 1e-20f)
                    pfMag[i] = 1e-20f;
                pfRe[i] = std::log(pfMag[i]);
            }
            ippsZero_32f(CEPSTRUM_SIZE, pfIm);
            fft.InverseComplex(pfRe, pfIm, pfOutRe, pfOutIm);
            for (uint32_t i = CEPSTRUM_SIZE / 2; i < CEPSTRUM_SIZE; ++i)
                pfOutRe[i] = -pfOutRe[i];
            fft.ForwardComplex(pfOutRe, pfIm, pfRe, pfOutIm);
            for (uint32_t i = 0; i < CEPSTRUM_SIZE; ++i) {
                pfRe[i] = pfMag[i] * std::cos(pfOutIm[i]);
                pfIm[i] = pfMag[i] * std::sin(pfOutIm[i]);
            }
            fft.InverseComplex(pfRe, pfIm, pfOutRe, pfOutIm);
            ippsCopy_32f(M, pfOutRe, h);
        }
    }
    ippsCopy_32f(M, afLinearPhase.data(), h);
}

void ReverbModeler::ComputeEarly(uint32_t in_uCrossfade, const float* const* in_ppfImpulse)
{
    const uint32_t uEarly = m_uTransition > m_uOnset ? m_uTransition - m_uOnset : 0;
    uint32_t uFade = in_uCrossfade;
    if (uEarly < uFade) {
        QW_ASSERT(false);
        uFade = uEarly;
    }
    const uint32_t uFlat = uEarly - uFade;
    const uint32_t uChannels = m_pFDN->GetNumChannels();
    const float g = 1.0f / static_cast<float>(uChannels);
    m_aafEarlyResponse.resize(uChannels);
    if (m_aafEarlyResponse.size() != uChannels || m_aafFilteredFDN.size() != uChannels)
        return;
    for (uint32_t c = 0; c < uChannels; ++c) {
        if (!Resize(m_aafEarlyResponse[c], uEarly))
            return;
        float* pfEarly = m_aafEarlyResponse[c].data();
        const float* pfInput = in_ppfImpulse[c] + m_uOnset;
        const float* pfFiltered = m_aafFilteredFDN[c].data() + m_uOnset;
        for (uint32_t i = 0; i < uFlat; ++i)
            pfEarly[i] = g * pfInput[i] - pfFiltered[i];
        // A quarter cosine down to nothing over the last 50 ms, where the network takes over.
        for (uint32_t i = 0; i < uFade; ++i) {
            const float w = std::cos(static_cast<float>(i) * 1.5707964f / static_cast<float>(uFade));
            pfEarly[uFlat + i] = w * g * pfInput[uFlat + i] - w * pfFiltered[uFlat + i];
        }
    }
}
