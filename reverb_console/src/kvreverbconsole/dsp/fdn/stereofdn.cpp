#include "kvreverbconsole/dsp/fdn/stereofdn.h"
#include <cmath>
#include "host/qwassert.h"
#include "kvbase/common/common_cast.h"

namespace {
const uint32_t s_auPrimes[StereoFDN::NUM_PRIMES] = {2,  3,  5,  7,  11, 13, 17, 19, 23, 29,  31,  37,  41,  43,  47,  53,
                                                    59, 61, 67, 71, 73, 79, 83, 89, 97, 101, 103, 107, 109, 113, 127, 131};

// Natural logarithm in single precision, with the module's stand-in for the log of ~0.
float LogOrFloor(float x)
{
    return std::fabs(x) < 1e-36f ? -1e35f : std::log(x);
}
} // namespace

const float StereoFDN::MIN_DELAY_MS = 80.0f;
const float StereoFDN::MAX_DELAY_MS = 150.0f;
const float StereoFDN::DECAY_BASE = 0.177827939f;

StereoFDN::StereoFDN(float in_fSampleRate, uint32_t in_uBlockHint, uint32_t in_uNumChannels,
                     uint32_t in_uExtraDelaySets, uint32_t in_uOrder)
    : m_fSampleRate(in_fSampleRate), m_uBlockHint(in_uBlockHint), m_uNumChannels(in_uNumChannels)
{
    m_afDelayMs.resize(in_uOrder, 0.0f);
    m_afPhases.resize(in_uOrder / 2 > 0 ? in_uOrder / 2 - 1 : 0, 0.0f);
    m_aLines.resize(in_uOrder);
    if (IsOutOfMemory())
        return;
    m_pCirculant = common_smart_ptr<CirculantMatrix>(QwNew<CirculantMatrix>(in_uOrder));
    m_pHadamard = common_smart_ptr<Hadamard>(QwNew<Hadamard>());
    m_aEigenvalues.resize(in_uOrder / 2 + 1, std::complex<float>(0.0f, 0.0f));
    m_pBandGain = common_smart_ptr<BandGainFilter>(QwNew<BandGainFilter>(static_cast<double>(in_fSampleRate), in_uOrder));
    m_aExtraDelays.resize(in_uExtraDelaySets);
    m_uOrder = in_uOrder;
    if (IsOutOfMemory())
        return;

    QW_ASSERT(m_uOrder % m_uNumChannels == 0);
    QW_ASSERT(m_uOrder <= NUM_PRIMES);
    uint32_t uOrderPow2Exponent = 1;
    for (uint32_t v = 2; v < m_uOrder && uOrderPow2Exponent < 31; v *= 2)
        ++uOrderPow2Exponent;
    QW_ASSERT((1u << uOrderPow2Exponent) == m_uOrder);
    m_pHadamard->SetDepth(uOrderPow2Exponent);

    m_aEigenvalues[0] = std::complex<float>(1.0f, 0.0f);
    m_aEigenvalues[m_uOrder / 2] = std::complex<float>(-1.0f, 0.0f);

    // All delay memory at the longest length, so no later delay change has to grow it.
    const uint32_t uMaxSamples = MaxSamples();
    for (uint32_t i = 0; i < m_uOrder; ++i) {
        m_aLines[i].pDelay = common_smart_ptr<RingBuffer>(QwNew<RingBuffer>(uMaxSamples));
        if (IsOutOfMemory())
            return;
    }
    for (uint32_t s = 0; s < in_uExtraDelaySets; ++s) {
        m_aExtraDelays[s].resize(m_uOrder);
        for (uint32_t i = 0; i < m_uOrder && !IsOutOfMemory(); ++i)
            m_aExtraDelays[s][i] = common_smart_ptr<RingBuffer>(QwNew<RingBuffer>(uMaxSamples));
        if (IsOutOfMemory())
            return;
    }

    const float fN = static_cast<float>(m_uOrder);
    float fOutputGain = 0.0625f;
    if (m_uOrder == 0)
        QW_ASSERT(false);
    else
        fOutputGain = 1.0f / std::sqrt(fN);
    for (uint32_t i = 0; i < m_uOrder; ++i) {
        SetDelayTime(i, MIN_DELAY_MS + static_cast<float>(i) / fN * (MAX_DELAY_MS - MIN_DELAY_MS));
        m_aLines[i].fInputGain = 1.0f;
        m_aLines[i].fOutputGain = fOutputGain;
    }

    // Phases fall towards 0 and climb again, always within 0 to pi/2.
    const uint32_t q = m_uOrder / 4;
    const uint32_t h = m_uOrder / 2;
    const float fHalfPi = 1.57079632679f;
    for (uint32_t k = 0; k + 2 <= h; ++k) {
        const float fPhase = k < q ? (1.0f - static_cast<float>(k + 1) / static_cast<float>(q + 1)) * fHalfPi
                                   : (static_cast<float>(k + 1 - q) / static_cast<float>(h - q)) * fHalfPi;
        SetPhase(k, fPhase);
    }

    SetDecayTime(0.5f);
    SetLowCrossover(400.0f);
    SetHighCrossover(10000.0f);
    SetLowMultiplier(1.0f);
    SetMidMultiplier(1.0f);
    SetHighMultiplier(1.0f);
    m_eMatrixType = 1;

    m_afOutput.reserve(2 * uMaxSamples);
    m_aafLineBuffers.resize(m_uOrder);
    if (IsOutOfMemory())
        return;
    for (uint32_t i = 0; i < m_uOrder; ++i)
        m_aafLineBuffers[i].reserve(uMaxSamples);
    m_afInput.reserve(uMaxSamples);
    m_apfLineBuffers.resize(m_uOrder, nullptr);
}

uint32_t StereoFDN::MaxSamples() const
{
    return round_cast<uint32_t>(static_cast<double>(MAX_DELAY_MS) * 0.001 * static_cast<double>(m_fSampleRate));
}

void StereoFDN::SetDelayTime(uint32_t in_iLine, float in_fMs)
{
    m_afDelayMs[in_iLine] = in_fMs;
    const uint32_t uSamples = round_cast<uint32_t>(static_cast<double>(in_fMs) * 0.001 * static_cast<double>(m_fSampleRate));
    const uint32_t uMax = MaxSamples();
    const float fLogPrime = LogOrFloor(static_cast<float>(s_auPrimes[in_iLine % NUM_PRIMES]));
    const uint32_t uCeiling = static_cast<uint32_t>(LogOrFloor(static_cast<float>(uMax)) / fLogPrime);
    const uint32_t uPower = round_cast<uint32_t>(LogOrFloor(static_cast<float>(uSamples)) / fLogPrime);
    const uint32_t uExponent = uPower < uCeiling ? uPower : uCeiling;
    const uint32_t uLength =
        static_cast<uint32_t>(std::pow(static_cast<double>(s_auPrimes[in_iLine % NUM_PRIMES]), uExponent));

    Line& line = m_aLines[in_iLine];
    if (!line.pDelay)
        return;
    line.pDelay->SetLength(uLength, 0.0f);
    m_pBandGain->SetDelay(in_iLine, static_cast<double>(uLength));

    checked_value<uint32_t> uMin;
    for (uint32_t i = 0; i < m_aLines.size(); ++i) {
        if (!m_aLines[i].pDelay)
            continue;
        const uint32_t uLen = static_cast<uint32_t>(m_aLines[i].pDelay->GetLength());
        if (!uMin.IsValid() || uLen < uMin.Unchecked())
            uMin = uLen;
    }
    m_uMinDelay = uMin.Get();
    for (uint32_t s = 0; s < m_aExtraDelays.size(); ++s)
        for (uint32_t j = 0; j < m_aExtraDelays[s].size() && j < m_aLines.size(); ++j)
            if (m_aExtraDelays[s][j] && m_aLines[j].pDelay)
                m_aExtraDelays[s][j]->SetLength(m_aLines[j].pDelay->GetLength() - m_uMinDelay + 1, 0.0f);
}

uint32_t StereoFDN::GetLineLength(uint32_t in_iLine) const
{
    return static_cast<uint32_t>(m_aLines[in_iLine].pDelay->GetLength());
}

void StereoFDN::SetPhase(uint32_t in_uIndex, float in_fRadians)
{
    if (m_afPhases.empty())
        return;
    m_afPhases[in_uIndex] = in_fRadians;
    m_aEigenvalues[in_uIndex + 1] = std::polar(1.0f, in_fRadians);
    if (m_pCirculant)
        m_pCirculant->SetEigenvalues(m_aEigenvalues.data());
}

float StereoFDN::BandGain(float in_fMultiplier) const
{
    // Exactly 5.0 means the band never decays.
    if (m_fDecayTime == 5.0f)
        return 1.0f;
    return std::pow(DECAY_BASE, 1.0f / (m_fDecayTime * in_fMultiplier * m_fSampleRate));
}

void StereoFDN::UpdateBand(uint32_t in_uBand, float in_fMultiplier)
{
    if (!m_pBandGain)
        return;
    const double fGain = static_cast<double>(BandGain(in_fMultiplier));
    if (in_uBand == 0)
        m_pBandGain->SetLowGain(fGain);
    else if (in_uBand == 1)
        m_pBandGain->SetMidGain(fGain);
    else
        m_pBandGain->SetHighGain(fGain);
}

void StereoFDN::SetDecayTime(float in_fSeconds)
{
    m_fDecayTime = in_fSeconds;
    UpdateBand(0, m_fLowMultiplier);
    UpdateBand(1, m_fMidMultiplier);
    UpdateBand(2, m_fHighMultiplier);
}

void StereoFDN::SetLowCrossover(float in_fHz)
{
    m_fLowCrossover = in_fHz;
    if (m_pBandGain)
        m_pBandGain->SetLowCrossover(static_cast<double>(in_fHz));
}

void StereoFDN::SetHighCrossover(float in_fHz)
{
    m_fHighCrossover = in_fHz;
    if (m_pBandGain)
        m_pBandGain->SetHighCrossover(static_cast<double>(in_fHz));
}

void StereoFDN::SetLowMultiplier(float in_fRatio)
{
    m_fLowMultiplier = in_fRatio;
    UpdateBand(0, in_fRatio);
}

void StereoFDN::SetMidMultiplier(float in_fRatio)
{
    m_fMidMultiplier = in_fRatio;
    UpdateBand(1, in_fRatio);
}

void StereoFDN::SetHighMultiplier(float in_fRatio)
{
    m_fHighMultiplier = in_fRatio;
    UpdateBand(2, in_fRatio);
}

void StereoFDN::SetMatrixType(uint32_t in_eType)
{
    if (in_eType >= 3) {
        QW_ASSERT(false);
        return;
    }
    m_eMatrixType = in_eType;
}

void StereoFDN::Process(uint32_t in_uFrames, float* const* io_ppChannels)
{
    const uint32_t uMin = m_uMinDelay;
    const uint32_t uChannels = m_uNumChannels;
    m_afOutput.resize(uChannels * uMin, 0.0f);
    m_afInput.resize(uMin, 0.0f);
    for (uint32_t i = 0; i < m_aafLineBuffers.size(); ++i) {
        m_aafLineBuffers[i].resize(uMin, 0.0f);
        m_apfLineBuffers[i] = m_aafLineBuffers[i].data();
    }
    if (m_afOutput.size() != uChannels * uMin || m_afInput.size() != uMin)
        return;
    float* pOutput = m_afOutput.data();
    float* pInput = m_afInput.data();
    float* const* ppLines = m_apfLineBuffers.data();

    uint32_t uOffset = 0;
    uint32_t n = in_uFrames;
    while (n > 0) {
        const uint32_t b = n < uMin ? n : uMin;
        for (uint32_t c = 0; c < uChannels; ++c)
            for (uint32_t t = 0; t < b; ++t)
                pOutput[c * uMin + t] = 0.0f;
        // Reading precedes writing, so a line of length d delays by d + 1 samples.
        for (uint32_t i = 0; i < m_uOrder; ++i)
            m_aLines[i].pDelay->Read(ppLines[i], b);
        QW_ASSERT(m_uOrder % 4 == 0);
        for (uint32_t g = 0; g < m_uOrder / 4; ++g)
            m_pBandGain->ProcessFour(g, b, ppLines + 4 * g);
        // Taps after the filter, ahead of the mix.
        for (uint32_t i = 0; i < m_uOrder; ++i) {
            float* pOut = pOutput + (i % uChannels) * uMin;
            const float* pLine = ppLines[i];
            const float fGain = m_aLines[i].fOutputGain;
            for (uint32_t t = 0; t < b; ++t)
                pOut[t] += pLine[t] * fGain;
        }
        if (m_eMatrixType == 1)
            m_pHadamard->Transform(ppLines, b);
        for (uint32_t i = 0; i < m_uOrder; ++i) {
            const float* pX = io_ppChannels[i % uChannels] + uOffset;
            for (uint32_t t = 0; t < b; ++t)
                pInput[t] = pX[t];
            float* pLine = ppLines[i];
            const float fGain = m_aLines[i].fInputGain;
            for (uint32_t t = 0; t < b; ++t)
                pLine[t] += pInput[t] * fGain;
            m_aLines[i].pDelay->Write(pLine, b);
        }
        for (uint32_t c = 0; c < uChannels; ++c) {
            float* pX = io_ppChannels[c] + uOffset;
            const float* pOut = pOutput + c * uMin;
            for (uint32_t t = 0; t < b; ++t)
                pX[t] = pOut[t];
        }
        uOffset += b;
        n -= b;
    }
}

void StereoFDN::Reset()
{
    for (uint32_t i = 0; i < m_aLines.size(); ++i)
        if (m_aLines[i].pDelay)
            m_aLines[i].pDelay->Reset();
    if (m_pBandGain)
        m_pBandGain->Reset();
}
