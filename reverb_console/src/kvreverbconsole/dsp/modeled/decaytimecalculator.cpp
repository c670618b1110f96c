#include "kvreverbconsole/dsp/modeled/decaytimecalculator.h"
#include <cmath>
#include "host/qwassert.h"
#include "kvbase/common/common_cast.h"
#include "kvbase/ipp/ipp_vector_ref.h"
#include "kvreverbconsole/dsp/modeled/hannsmoother.h"

namespace {
uint32_t MsToSamples(double in_dMs, float in_fSampleRate)
{
    return round_cast<uint32_t>(in_dMs * 0.001 * static_cast<double>(in_fSampleRate));
}

// 10 log10(v), with the library's stand-in of -1e35 for the log of a vanishing value.
float LevelDb(float in_fValue)
{
    if (std::fabs(in_fValue) < 1e-36f)
        return 10.0f * -1e35f;
    return 10.0f * std::log10(in_fValue);
}
} // namespace

DecayTimeCalculator::DecayTimeCalculator(float in_fSampleRate, uint32_t in_uMaxLength, float in_fLowestFreq,
                                         float in_fHighestFreq)
    : m_fSampleRate(in_fSampleRate),
      m_fLowestFreq(in_fLowestFreq),
      m_fHighestFreq(in_fHighestFreq),
      m_fBandRatio(1.2599211f),
      m_pFilterBank(QwNew<ButterworthFilterBank>(in_fSampleRate, in_fLowestFreq, in_fHighestFreq, m_fBandRatio))
{
    if (IsOutOfMemory() || !m_pFilterBank)
        return;
    m_uNumBands = m_pFilterBank->GetNumBands();
    m_aafBandSignal.resize(m_uNumBands);
    m_aafBandLevelDb.resize(m_uNumBands);
    m_apfBandSignal.resize(m_uNumBands, nullptr);
    m_afDecaySlope.resize(m_uNumBands, 0.0f);
    m_afDecayIntercept.resize(m_uNumBands, 0.0f);
    if (IsOutOfMemory())
        return;
    for (uint32_t b = 0; b < m_uNumBands; ++b) {
        m_aafBandSignal[b].reserve(in_uMaxLength);
        m_aafBandLevelDb[b].reserve(in_uMaxLength);
    }
}

float DecayTimeCalculator::GetBandFreq(uint32_t in_iBand) const
{
    return m_fLowestFreq * std::pow(m_fBandRatio, static_cast<float>(in_iBand));
}

void DecayTimeCalculator::Calculate(uint32_t in_uLength, const float* in_pfSamples)
{
    if (!m_pFilterBank || m_aafBandSignal.size() != m_uNumBands || m_afDecaySlope.size() != m_uNumBands)
        return;
    for (uint32_t b = 0; b < m_uNumBands; ++b) {
        m_aafBandSignal[b].resize(in_uLength, 0.0f);
        m_aafBandLevelDb[b].resize(in_uLength, 0.0f);
        if (m_aafBandSignal[b].size() != in_uLength || m_aafBandLevelDb[b].size() != in_uLength)
            return;
        m_apfBandSignal[b] = m_aafBandSignal[b].data();
    }
    m_pFilterBank->Split(in_uLength, in_pfSamples, m_apfBandSignal.data());

    const uint32_t uSmooth = MsToSamples(30.0, m_fSampleRate);
    for (uint32_t b = 0; b < m_uNumBands; ++b) {
        float* pfSignal = m_aafBandSignal[b].data();
        float* pfDb = m_aafBandLevelDb[b].data();
        for (uint32_t i = 0; i < in_uLength; ++i)
            pfSignal[i] *= pfSignal[i];
        HannSmooth(in_uLength, pfSignal, uSmooth, pfDb);
        for (uint32_t i = 0; i < in_uLength; ++i)
            pfDb[i] = LevelDb(pfDb[i]);
    }
    for (uint32_t b = 0; b < m_uNumBands; ++b)
        FitBand(b, in_uLength);
    SmoothSlopeDifferences();
}

void DecayTimeCalculator::FitBand(uint32_t in_iBand, uint32_t in_uLength)
{
    // Overlapping windows of a quarter second step along the band until one no longer falls
    // by at least 3 dB a second: there the band has reached its noise floor.
    uint32_t uFit = MsToSamples(250.0, m_fSampleRate) & ~3u;
    if (uFit > in_uLength)
        uFit = in_uLength;
    uint32_t uStep = uFit / 4 > 0 ? uFit / 4 : 1;
    uint32_t uFrames = (in_uLength - uFit) / uStep;
    if (uFrames == 0) {
        uFrames = 1;
        uStep = in_uLength;
    }
    const float* pfDb = m_aafBandLevelDb[in_iBand].data();
    const double dFloorSlope = static_cast<double>(-0.34538776f / m_fSampleRate);
    uint32_t uUsable = uFrames * uStep;
    for (uint32_t k = 0; k < uFrames; ++k) {
        double dSlope = 0.0;
        double dIntercept = 0.0;
        LinearRegression(uFit, pfDb + k * uStep, 0.0, 1.0, dSlope, dIntercept);
        if (dSlope > dFloorSlope || !std::isfinite(dSlope)) {
            uUsable = (k + 1) * uStep;
            break;
        }
    }
    for (uint32_t i = 0; i < uUsable; ++i) {
        if (!std::isfinite(pfDb[i])) {
            uUsable = i;
            break;
        }
    }
    if (uUsable == 0 || (in_uLength > 0 && !std::isfinite(pfDb[0])))
        QW_ASSERT(false);

    double dSlope = 0.0;
    double dIntercept = 0.0;
    LinearRegression(uUsable, pfDb, 0.0, 1.0, dSlope, dIntercept);
    float fSlope = static_cast<float>(dSlope);
    if (!(fSlope < 0.0f) || !std::isfinite(fSlope))
        fSlope = -6907.755f / m_fSampleRate; // 60 dB in 8.69 ms
    m_afDecaySlope[in_iBand] = fSlope;
    m_afDecayIntercept[in_iBand] = static_cast<float>(dIntercept);
}

// The slopes' first and second differences across bands, smoothed. No result depends on them;
// they are kept so that a fit does the same work, and allocates the same, as it always has.
void DecayTimeCalculator::SmoothSlopeDifferences()
{
    if (m_uNumBands < 3)
        return;
    common_vector<float> afFirst;
    common_vector<float> afSecond;
    common_vector<float> afSmoothed;
    afFirst.resize(m_uNumBands - 1, 0.0f);
    afSecond.resize(m_uNumBands - 2, 0.0f);
    afSmoothed.resize(m_uNumBands - 1, 0.0f);
    if (afFirst.size() != m_uNumBands - 1 || afSecond.size() != m_uNumBands - 2 ||
        afSmoothed.size() != m_uNumBands - 1)
        return;
    for (uint32_t b = 0; b + 1 < m_uNumBands; ++b)
        afFirst[b] = m_afDecaySlope[b + 1] - m_afDecaySlope[b];
    for (uint32_t b = 0; b + 2 < m_uNumBands; ++b)
        afSecond[b] = afFirst[b + 1] - afFirst[b];
    HannSmooth(afFirst.size(), afFirst.data(), 2, afSmoothed.data());
    HannSmooth(afSecond.size(), afSecond.data(), 2, afSmoothed.data());
}
