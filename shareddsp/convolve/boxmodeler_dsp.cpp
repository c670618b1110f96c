#include "shareddsp/convolve/boxmodeler_dsp.h"
#include <cmath>
#include <cstring>
#include "host/qwassert.h"
#include "kvbase/common/common_allocator.h"

namespace {

const float DB_TO_LOG = 0.115129255f;

// N x fraction truncated towards zero; out-of-range products (negative, NaN, huge) stay in u32.
uint32_t TruncateToFrames(float in_fFrames)
{
    if (!(in_fFrames > 0.0f))
        return 0;
    if (in_fFrames >= 4294967040.0f)
        return 0xFFFFFFFFu;
    return static_cast<uint32_t>(in_fFrames);
}

} // namespace

BoxModelerDsp::BoxModelerDsp(uint32_t in_uNumChannels, float in_fSampleRate, uint32_t in_uBlockFrames,
                             const char* in_pszName)
    : m_fSampleRate(in_fSampleRate),
      m_uNumChannels(in_uNumChannels),
      m_uBlockFrames(in_uBlockFrames),
      m_conv(in_uNumChannels < MAX_CHANNELS ? in_uNumChannels : MAX_CHANNELS, in_uBlockFrames)
{
    m_wetChannels.resize(in_uNumChannels);
    for (uint32_t c = 0; c < m_wetChannels.size(); ++c)
        m_wetChannels[c].resize(in_uBlockFrames);
    const size_t uNameLength = in_pszName ? std::strlen(in_pszName) : 0;
    m_name.resize(static_cast<uint32_t>(uNameLength));
    if (m_name.size() == uNameLength && uNameLength != 0)
        std::memcpy(m_name.data(), in_pszName, uNameLength);
    m_impulse.reserve(IMPULSE_CAPACITY);

    SetParam(PARAM_INPUT_GAIN, 0.0f);
    SetParam(PARAM_OUTPUT_GAIN, 0.0f);
    SetParam(PARAM_WET, 100.0f);
    SetParam(PARAM_TRIM_LEVEL, 10.0f);
    SetParam(PARAM_LENGTH_FRACTION, 1.0f);
    LoadModel(0, false); // fails quietly: no blob yet
}

BoxModelerDsp::~BoxModelerDsp() {}

void BoxModelerDsp::SetSampleRate(float in_fSampleRate)
{
    if (in_fSampleRate == m_fSampleRate)
        return;
    m_fSampleRate = in_fSampleRate;
    LoadModel(m_uModelIndex.Unchecked(), true);
}

bool BoxModelerDsp::SetMedia(uint32_t in_uSize, const uint8_t* in_pData)
{
    m_modelBlob.resize(in_uSize);
    if (m_modelBlob.size() == in_uSize && in_uSize != 0)
        std::memcpy(m_modelBlob.data(), in_pData, in_uSize);
    return !m_modelBlob.empty();
}

bool BoxModelerDsp::SetModel(uint32_t in_uIndex)
{
    if (m_uModelIndex.IsValid() && m_uModelIndex.Unchecked() == in_uIndex)
        return true;
    return LoadModel(in_uIndex, false);
}

void BoxModelerDsp::SetMode(uint32_t in_uMode)
{
    if (in_uMode == m_uMode)
        return;
    QW_ASSERT(in_uMode < NUM_MODES);
    m_uMode = in_uMode < NUM_MODES ? in_uMode : 0;
    // The mode selects nothing yet; a change only reloads the model.
    LoadModel(m_uModelIndex.Unchecked(), true);
}

void BoxModelerDsp::SetParam(uint32_t in_uIndex, float in_fValue)
{
    switch (in_uIndex) {
    case PARAM_INPUT_GAIN:
        if (in_fValue == m_fInputGainDb)
            return;
        m_fInputGainDb = in_fValue;
        m_fInputGain = std::exp(in_fValue * DB_TO_LOG);
        break;
    case PARAM_OUTPUT_GAIN:
        if (in_fValue == m_fOutputGainDb)
            return;
        m_fOutputGainDb = in_fValue;
        m_fOutputGain = std::exp(in_fValue * DB_TO_LOG);
        break;
    case PARAM_WET:
        if (in_fValue == m_fWetPercent)
            return;
        m_fWetPercent = in_fValue;
        m_fWet = in_fValue * 0.01f;
        break;
    case PARAM_TRIM_LEVEL:
        if (in_fValue == m_fTrimLevel)
            return;
        m_fTrimLevel = in_fValue;
        TrimImpulse();
        LoadKernel();
        break;
    case PARAM_LENGTH_FRACTION:
        if (in_fValue == m_fLengthFraction)
            return;
        m_fLengthFraction = in_fValue;
        TrimImpulse();
        LoadKernel();
        break;
    default:
        break;
    }
}

float BoxModelerDsp::GetParam(uint32_t in_uIndex) const
{
    switch (in_uIndex) {
    case PARAM_INPUT_GAIN: return m_fInputGainDb;
    case PARAM_OUTPUT_GAIN: return m_fOutputGainDb;
    case PARAM_WET: return m_fWetPercent;
    case PARAM_TRIM_LEVEL: return m_fTrimLevel;
    case PARAM_LENGTH_FRACTION: return m_fLengthFraction;
    default: return -401.0f;
    }
}

// A read past the blob's end reports the vector's bounds assertion and yields zero bits
// rather than touching memory outside the copy.
uint32_t BoxModelerDsp::ReadBlobU32(uint32_t in_uOffset) const
{
    if (static_cast<uint64_t>(in_uOffset) + 4 > m_modelBlob.size()) {
        QW_ASSERT_TEXT(false, "i < size()");
        return 0;
    }
    const uint8_t* p = m_modelBlob.data() + in_uOffset;
    return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) | (static_cast<uint32_t>(p[2]) << 16) |
           (static_cast<uint32_t>(p[3]) << 24);
}

bool BoxModelerDsp::LoadModel(uint32_t in_uIndex, bool in_bForce)
{
    if (m_uModelIndex.IsValid() && m_uModelIndex.Unchecked() == in_uIndex && !in_bForce)
        return true;
    if (m_modelBlob.empty())
        return false;

    const uint32_t uGainBits = ReadBlobU32(0);
    float fGainDb;
    std::memcpy(&fGainDb, &uGainBits, sizeof fGainDb);
    m_fModelGain = std::exp(fGainDb * DB_TO_LOG);

    const uint32_t N = ReadBlobU32(4);
    if (N > MAX_MODEL_TAPS)
        QW_ASSERT(false);
    m_impulse.resize(N);
    // The tap count is trusted; what the blob lacks reads as zero, reported once.
    const uint32_t uTaps = m_impulse.size();
    const uint32_t uInBlob = m_modelBlob.size() >= 8 ? (m_modelBlob.size() - 8) / 4 : 0;
    const uint32_t uCopied = uTaps < uInBlob ? uTaps : uInBlob;
    if (uCopied != 0)
        std::memcpy(m_impulse.data(), m_modelBlob.data() + 8, static_cast<size_t>(uCopied) * sizeof(float));
    if (uCopied < uTaps) {
        QW_ASSERT_TEXT(false, "i < size()");
        for (uint32_t i = uCopied; i < uTaps; ++i)
            m_impulse[i] = 0.0f;
    }
    if (N == 0)
        return false;

    TrimImpulse();
    m_uModelIndex = in_uIndex;
    LoadKernel();
    if (IsOutOfMemory())
        return false;
    m_conv.Reset();
    m_uDenormalCounterIn = 0;
    m_uDenormalCounterOut = 0;
    return true;
}

void BoxModelerDsp::TrimImpulse()
{
    const uint32_t N = m_impulse.size();
    uint32_t n = N > 2 ? N : 2;
    if (m_fTrimLevel == 10.0f) {
        m_fTrimThreshold = 0.0f;
    } else {
        // -5 - 8.5 x level dB: level 0 cuts at -5 dB, 9.99 at about -90 dB.
        m_fTrimThreshold = std::exp(-0.5756463f - m_fTrimLevel * 0.97859865f);
        const float* pTaps = m_impulse.data();
        while (n > 2) {
            if (std::fabs(pTaps[n - 1]) > m_fTrimThreshold)
                break;
            n -= 1;
        }
    }
    const uint32_t uByFraction = TruncateToFrames(static_cast<float>(N) * m_fLengthFraction);
    m_uTapsUsed = n < uByFraction ? n : uByFraction;
}

void BoxModelerDsp::LoadKernel()
{
    if (m_impulse.empty())
        return;
    // A fraction above 1 asks for more taps than there are; the kernel holds what exists.
    const uint32_t uTaps = m_uTapsUsed < m_impulse.size() ? m_uTapsUsed : m_impulse.size();
    // The signal state stays, so that a new trim does not cut off what is already ringing.
    m_conv.SetImpulse(uTaps, m_impulse.data());
}

void BoxModelerDsp::Reset()
{
    m_conv.Reset();
    m_uDenormalCounterIn = 0;
    m_uDenormalCounterOut = 0;
}

void BoxModelerDsp::Process(uint32_t in_uFrames, float** io_ppChannels)
{
    if (in_uFrames == 0)
        return;
    const float g = m_fModelGain * m_fOutputGain;
    const float w = m_fWet * g;
    const float d = (1.0f - m_fWet) * g;
    if (m_impulse.empty()) {
        const float fScale = w + d;
        for (uint32_t c = 0; c < m_uNumChannels; ++c) {
            float* p = io_ppChannels[c];
            for (uint32_t i = 0; i < in_uFrames; ++i)
                p[i] *= fScale;
        }
        return;
    }
    QW_ASSERT(m_uNumChannels <= MAX_CHANNELS);
    const uint32_t uChannels = m_uNumChannels < MAX_CHANNELS ? m_uNumChannels : MAX_CHANNELS;
    const uint32_t uFrames = in_uFrames < m_uBlockFrames ? in_uFrames : m_uBlockFrames;
    float* apWet[MAX_CHANNELS];
    for (uint32_t c = 0; c < uChannels; ++c) {
        float* pWet = m_wetChannels[c].data();
        apWet[c] = pWet;
        if (uFrames < m_uBlockFrames)
            std::memset(pWet, 0, m_uBlockFrames * sizeof(float));
        std::memcpy(pWet, io_ppChannels[c], uFrames * sizeof(float));
    }
    m_conv.ProcessBlock(apWet);
    for (uint32_t c = 0; c < uChannels; ++c) {
        float* p = io_ppChannels[c];
        const float* pWet = apWet[c];
        for (uint32_t i = 0; i < uFrames; ++i)
            p[i] = w * pWet[i] + d * p[i];
    }
}
