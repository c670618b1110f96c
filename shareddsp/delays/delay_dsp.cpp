#include "shareddsp/delays/delay_dsp.h"
#include <cfloat>
#include <cmath>
#include "host/qwassert.h"
#include "kvbase/common/common_allocator.h"
#include "kvbase/common/common_cast.h"
#include "kvdspbase/dsp/filtercoeffs.h"
#include "shareddsp/dynamics/dynamicspow.h"

const float SkrelDelayDsp::DELAY_MIN_MS = 40.0f;
const float SkrelDelayDsp::DELAY_MAX_MS = 1000.0f;

namespace {

struct ParamRange
{
    float fMin;
    float fMax;
};

const ParamRange PARAM_RANGES[SkrelDelayDsp::NUM_PARAMS] = {
    {0.0f, 100.0f},    // dry percent
    {0.0f, 100.0f},    // wet percent
    {20.0f, 20000.0f}, // low-cut Hz
    {0.2f, 12.0f},     // low-cut Q
    {20.0f, 20000.0f}, // high-cut Hz
    {0.2f, 12.0f},     // high-cut Q
    {10.0f, 1000.0f},  // delay ms, acted on from DELAY_MIN_MS
    {0.0f, 200.0f},    // feedback percent
    {0.0f, 1.0f},      // amount
};

struct ModeSettings
{
    float fLfoPeriodMs;
    float fLfoDepthMs;
    float fFilterHz; // 0: no character filter
    float fFilterQ;  // single precision on purpose: the widened value is what the design sees
};

const ModeSettings MODE_SETTINGS[SkrelDelayDsp::NUM_DELAY_MODES] = {
    {500.0f, 0.1f, 5500.0f, 0.38f}, {333.0f, 0.1f, 4000.0f, 0.59f}, {750.0f, 0.1f, 1500.0f, 0.9f},
    {500.0f, 0.0f, 1865.0f, 0.53f}, {500.0f, 0.0f, 1865.0f, 0.53f}, {500.0f, 0.0f, 0.0f, 0.0f},
};

const float HALF_PI = 1.57079637f;
const float DB_TO_LN = 0.115129255f; // ln(10) / 20
const double FULL_SCALE = 2147483647.0;
const float FROM_FULL_SCALE = 4.65661287e-10f;
const float ANTI_DENORMAL = 1e-10f;
const uint32_t MAX_AVERAGE_LENGTH = 8;

inline float Lin(float in_fA, float in_fB, float in_fAmount) { return in_fA + (in_fB - in_fA) * in_fAmount; }

inline float Clamp(float in_fValue, float in_fLow, float in_fHigh)
{
    return in_fValue < in_fLow ? in_fLow : (in_fValue > in_fHigh ? in_fHigh : in_fValue);
}

// Milliseconds to whole samples, in double, halves away from zero.
inline uint32_t MsToSamples(float in_fMs, uint32_t in_uSampleRate)
{
    return round_cast<uint32_t>(static_cast<double>(in_fMs) * 0.001 * static_cast<double>(in_uSampleRate));
}

} // namespace

SkrelDelayDsp::SkrelDelayDsp(uint32_t in_uSampleRate)
    : m_uSampleRate(in_uSampleRate), m_fMsPerSample(1000.0f / static_cast<float>(in_uSampleRate))
{
    m_pLowCut = common_smart_ptr<IirFilter>(QwNew<IirFilter>(2u, nullptr, 1u));
    m_pHighCut = common_smart_ptr<IirFilter>(QwNew<IirFilter>(2u, nullptr, 1u));
    m_pCharacterFilter = common_smart_ptr<IirFilter>(QwNew<IirFilter>(2u, nullptr, 1u));
    // The ring never outgrows eight slots; reserving them keeps a change of amount or mode
    // inside Execute free of allocation.
    m_averageRing.reserve(MAX_AVERAGE_LENGTH);
    const double fLineSize = static_cast<double>(DELAY_MAX_MS) * 0.002 * static_cast<double>(m_uSampleRate);
    m_delayBuffer.resize(round_cast<uint32_t>(fLineSize) + 1u, 0.0f);
    if (IsOutOfMemory() || !m_pLowCut || !m_pHighCut || !m_pCharacterFilter)
        return;

    SetMode(DELAY_MODE_SINE);
    SetAmount(0.25f);
    DesignLowCut();
    DesignHighCut();
    Reset();
}

SkrelDelayDsp::~SkrelDelayDsp() {}

bool SkrelDelayDsp::IsActive() const { return !m_bFlagA && !m_bFlagB; }

float SkrelDelayDsp::ClampedDelayMs() const { return Clamp(m_fDelayMs, DELAY_MIN_MS, DELAY_MAX_MS); }

void SkrelDelayDsp::SetSampleRate(uint32_t in_uSampleRate)
{
    if (in_uSampleRate == m_uSampleRate)
        return;
    m_uSampleRate = in_uSampleRate;
    m_fMsPerSample = 1000.0f / static_cast<float>(in_uSampleRate);
    const double fLineSize = static_cast<double>(DELAY_MAX_MS) * 0.002 * static_cast<double>(m_uSampleRate);
    m_delayBuffer.resize(round_cast<uint32_t>(fLineSize) + 1u, 0.0f);
    DesignCharacterFilter();
    DesignLowCut();
    DesignHighCut();
    UpdateLfoTerms();
    Reset();
}

void SkrelDelayDsp::Reset()
{
    float* pLine = m_delayBuffer.data();
    const uint32_t uSize = m_delayBuffer.size();
    for (uint32_t i = 0; i < uSize; ++i)
        pLine[i] = 0.0f;
    m_uLfoPhase = 0;
    m_fTargetDelayMs = ClampedDelayMs();
    m_fCurrentDelayMs = m_fTargetDelayMs;
    m_fDelayStepMs = 0.0f;
    m_fRead = 0.0f;
    m_iWrite = MsToSamples(m_fCurrentDelayMs, m_uSampleRate) + 1u;
    QW_ASSERT(m_iWrite < m_delayBuffer.size());
    RebuildAverageRing();
    if (m_pLowCut)
        m_pLowCut->Reset();
    if (m_pHighCut)
        m_pHighCut->Reset();
    if (m_pCharacterFilter)
        m_pCharacterFilter->Reset();
}

void SkrelDelayDsp::SetParam(uint32_t in_uIndex, float in_fValue)
{
    if (in_uIndex >= NUM_PARAMS)
        return;
    // Written so that NaN fails the range test as well.
    if (!(in_fValue >= PARAM_RANGES[in_uIndex].fMin && in_fValue <= PARAM_RANGES[in_uIndex].fMax))
        return;
    if (in_fValue == GetParam(in_uIndex))
        return;
    switch (in_uIndex) {
    case PARAM_DRY_PERCENT:
        m_fDryPercent = in_fValue;
        m_fDryGain = in_fValue * 0.01f;
        break;
    case PARAM_WET_PERCENT:
        m_fWetPercent = in_fValue;
        m_fWetGain = in_fValue * 0.01f;
        break;
    case PARAM_LOW_CUT_HZ:
        m_fLowCutHz = in_fValue;
        DesignLowCut();
        break;
    case PARAM_LOW_CUT_Q:
        m_fLowCutQ = in_fValue;
        DesignLowCut();
        break;
    case PARAM_HIGH_CUT_HZ:
        m_fHighCutHz = in_fValue;
        DesignHighCut();
        break;
    case PARAM_HIGH_CUT_Q:
        m_fHighCutQ = in_fValue;
        DesignHighCut();
        break;
    case PARAM_DELAY_MS:
        m_fDelayMs = in_fValue; // the glide in Process picks it up
        break;
    case PARAM_FEEDBACK_PERCENT:
        m_fFeedbackPercent = in_fValue;
        m_fFeedbackGain = in_fValue * 0.01f;
        break;
    case PARAM_AMOUNT:
        SetAmount(in_fValue);
        break;
    default:
        break;
    }
}

float SkrelDelayDsp::GetParam(uint32_t in_uIndex) const
{
    switch (in_uIndex) {
    case PARAM_DRY_PERCENT:
        return m_fDryPercent;
    case PARAM_WET_PERCENT:
        return m_fWetPercent;
    case PARAM_LOW_CUT_HZ:
        return m_fLowCutHz;
    case PARAM_LOW_CUT_Q:
        return m_fLowCutQ;
    case PARAM_HIGH_CUT_HZ:
        return m_fHighCutHz;
    case PARAM_HIGH_CUT_Q:
        return m_fHighCutQ;
    case PARAM_DELAY_MS:
        return m_fDelayMs;
    case PARAM_FEEDBACK_PERCENT:
        return m_fFeedbackPercent;
    case PARAM_AMOUNT:
        return m_fAmount;
    default:
        return 0.0f;
    }
}

void SkrelDelayDsp::SetMode(uint32_t in_uMode)
{
    if (in_uMode == m_uMode)
        return;
    QW_ASSERT(in_uMode < NUM_DELAY_MODES);
    if (in_uMode >= NUM_DELAY_MODES)
        return;
    m_uMode = in_uMode;
    m_fLfoPeriodMs = MODE_SETTINGS[in_uMode].fLfoPeriodMs;
    m_fLfoDepthMs = MODE_SETTINGS[in_uMode].fLfoDepthMs;
    UpdateLfoTerms();
    DesignCharacterFilter();
    UpdateModeGains();
    RebuildAverageRing();
}

void SkrelDelayDsp::SetAmount(float in_fAmount)
{
    const float a = in_fAmount;
    m_fAmount = a;
    m_fSineDrive = Lin(0.1f, 1.24f, a);
    m_fSineNorm = std::sin(m_fSineDrive * HALF_PI);
    m_fSoftDrive = Lin(0.01f, 0.62f, a);
    // Made from the sine mode's drive on purpose: the soft mode comes out below unity at low amounts.
    m_fSoftNorm = std::sin(m_fSineDrive * HALF_PI);
    m_fSoftGain = std::exp(Lin(0.0f, 1.8f, a) * DB_TO_LN);
    int32_t sBits = round_cast<int32_t>(Lin(16.0f, 6.0f, a));
    sBits = sBits < 6 ? 6 : (sBits > 24 ? 24 : sBits);
    m_uBitMask = 0xFFFFFFFFu << (32 - sBits);
    m_fKneeExponent = Lin(1.0f, 7.5f, a);
    UpdateModeGains();
    RebuildAverageRing();
}

void SkrelDelayDsp::UpdateModeGains()
{
    if (m_uMode == DELAY_MODE_KNEE) {
        m_fInputGain = std::exp(Lin(0.0f, 20.0f, m_fAmount) * DB_TO_LN);
        m_fWetTrim = Lin(1.0f, 0.5f, m_fAmount);
    } else {
        m_fInputGain = 1.0f;
        m_fWetTrim = 1.0f;
    }
}

void SkrelDelayDsp::RebuildAverageRing()
{
    uint32_t uLength = 0;
    if (m_uMode == DELAY_MODE_BITS_MAGNITUDE || m_uMode == DELAY_MODE_BITS_TWOS)
        uLength = round_cast<uint32_t>(Lin(0.0f, 8.0f, m_fAmount));
    m_averageRing.resize(uLength);
    float* pRing = m_averageRing.data();
    for (uint32_t i = 0; i < m_averageRing.size(); ++i)
        pRing[i] = 0.0f;
    m_fAverageSum = 0.0f;
    m_uAverageIndex = 0;
}

void SkrelDelayDsp::UpdateLfoTerms()
{
    const float fRate = static_cast<float>(m_uSampleRate);
    m_fLfoPhaseInc = 6.2831855f / (m_fLfoPeriodMs * 0.001f * fRate);
    const float fDepthMs = Clamp(m_fLfoDepthMs, 0.0f, m_fCurrentDelayMs);
    m_fLfoDepthSamples = fRate * fDepthMs * 0.001f;
}

void SkrelDelayDsp::DesignLowCut()
{
    if (!m_pLowCut)
        return;
    double adCoeffs[6];
    DesignHighPass(adCoeffs, static_cast<double>(m_uSampleRate), static_cast<double>(m_fLowCutHz),
                   static_cast<double>(m_fLowCutQ));
    m_pLowCut->SetTaps(adCoeffs, false);
}

void SkrelDelayDsp::DesignHighCut()
{
    if (!m_pHighCut)
        return;
    double adCoeffs[6];
    DesignLowPass(adCoeffs, static_cast<double>(m_uSampleRate), static_cast<double>(m_fHighCutHz),
                  static_cast<double>(m_fHighCutQ));
    m_pHighCut->SetTaps(adCoeffs, false);
}

void SkrelDelayDsp::DesignCharacterFilter()
{
    if (!m_pCharacterFilter || m_uMode >= NUM_DELAY_MODES)
        return;
    const ModeSettings& mode = MODE_SETTINGS[m_uMode];
    double adCoeffs[6] = {1.0, 0.0, 0.0, 1.0, 0.0, 0.0};
    if (mode.fFilterHz > 0.0f)
        DesignLowPass(adCoeffs, static_cast<double>(m_uSampleRate), static_cast<double>(mode.fFilterHz),
                      static_cast<double>(mode.fFilterQ));
    m_pCharacterFilter->SetTaps(adCoeffs, false);
}

template <uint32_t MODE>
inline float SkrelDelayDsp::Character(float in_fValue)
{
    float v = in_fValue;
    if (MODE == DELAY_MODE_SINE) {
        // Unclamped: a hot signal folds over.
        return std::sin(v * HALF_PI * m_fSineDrive) / m_fSineNorm;
    }
    if (MODE == DELAY_MODE_SOFT_SINE) {
        v = std::sin(v * HALF_PI * m_fSoftDrive) / m_fSoftNorm;
        if (m_fSoftGain != 1.0f) {
            const double u = static_cast<double>(m_fSoftGain * v);
            v = static_cast<float>(u > 0.0 ? 1.0 - 1.0 / (1.0 + u) : 1.0 / (1.0 - u) - 1.0);
        }
        return v;
    }
    if (MODE == DELAY_MODE_KNEE) {
        // The polarity flips on every pass, even at the gentlest setting; this is deliberate.
        const float s = v >= 0.0f ? -1.0f : 1.0f;
        const float n = m_fKneeExponent;
        return s * std::pow(std::atan(std::pow(std::fabs(v), n)), 1.0f / n);
    }
    if (MODE == DELAY_MODE_BITS_MAGNITUDE || MODE == DELAY_MODE_BITS_TWOS) {
        const uint32_t uLength = m_averageRing.size();
        if (uLength != 0) {
            float* pRing = m_averageRing.data();
            m_fAverageSum += v;
            m_fAverageSum -= pRing[m_uAverageIndex];
            pRing[m_uAverageIndex] = v;
            m_uAverageIndex = (m_uAverageIndex + 1) % uLength;
            v = m_fAverageSum / static_cast<float>(uLength);
        }
        v = Clamp(v, -1.0f, 1.0f);
        if (MODE == DELAY_MODE_BITS_MAGNITUDE) {
            const bool bNegative = v < 0.0f;
            uint32_t q = static_cast<uint32_t>(static_cast<int32_t>(static_cast<double>(std::fabs(v)) * FULL_SCALE));
            q &= m_uBitMask;
            v = static_cast<float>(q) * FROM_FULL_SCALE;
            if (bNegative)
                v = -v;
        } else {
            // On the two's complement bits: negative values move away from zero.
            const int32_t q = static_cast<int32_t>(static_cast<double>(v) * FULL_SCALE);
            const int32_t qMasked = static_cast<int32_t>(static_cast<uint32_t>(q) & m_uBitMask);
            v = static_cast<float>(qMasked) * FROM_FULL_SCALE;
        }
        const uint8_t c = m_uDenormalCounter++;
        if (static_cast<int8_t>(c) < 0)
            v += ANTI_DENORMAL;
        else
            v -= ANTI_DENORMAL;
        return v;
    }
    return v;
}

float SkrelDelayDsp::ApplyCharacter(float in_fValue)
{
    switch (m_uMode) {
    case DELAY_MODE_SINE: return Character<DELAY_MODE_SINE>(in_fValue);
    case DELAY_MODE_SOFT_SINE: return Character<DELAY_MODE_SOFT_SINE>(in_fValue);
    case DELAY_MODE_KNEE: return Character<DELAY_MODE_KNEE>(in_fValue);
    case DELAY_MODE_BITS_MAGNITUDE: return Character<DELAY_MODE_BITS_MAGNITUDE>(in_fValue);
    case DELAY_MODE_BITS_TWOS: return Character<DELAY_MODE_BITS_TWOS>(in_fValue);
    default: return in_fValue;
    }
}

inline float SkrelDelayDsp::ReadCubic(float in_fPos, const float* in_pLine, uint32_t in_uSize) const
{
    const uint32_t i = static_cast<uint32_t>(in_fPos);
    const float t = in_fPos - static_cast<float>(i);
    float y0, y1, y2, y3;
    if (i >= 1 && i + 2 < in_uSize) {
        y0 = in_pLine[i - 1];
        y1 = in_pLine[i];
        y2 = in_pLine[i + 1];
        y3 = in_pLine[i + 2];
    } else {
        // Near either end every index is taken modulo the size, a negative one raised first.
        y0 = in_pLine[(i + in_uSize - 1) % in_uSize];
        y1 = in_pLine[i % in_uSize];
        y2 = in_pLine[(i + 1) % in_uSize];
        y3 = in_pLine[(i + 2) % in_uSize];
    }
    const float a = y3 - y2 - y0 + y1;
    return ((y0 - y1 - a) + a * t) * (t * t) + (y2 - y0) * t + y1;
}

float SkrelDelayDsp::LimitOutput(float in_fValue) const
{
    const float y = in_fValue;
    if (y >= 0.95f && y <= 1.0f) {
        const float d = y - 0.95f;
        return 0.95f + d / (400.0f * d * d + 1.0f);
    }
    if (y > 1.0f)
        return 0.975f;
    if (y <= -0.95f && y >= -1.0f) {
        const float d = -y - 0.95f;
        return -0.95f - d / (400.0f * d * d + 1.0f);
    }
    if (y < -1.0f)
        return -0.975f;
    return y;
}

// One sample of the glide towards in_fTarget, the read head placed behind in_uWrite (the
// next write index); both loops share it so their delays move alike.
inline void SkrelDelayDsp::Glide(uint32_t in_uWrite, float in_fTarget, float in_fRate, float in_fSize)
{
    m_fTargetDelayMs = in_fTarget;
    if (m_fCurrentDelayMs == in_fTarget)
        return;
    float d = in_fTarget - m_fCurrentDelayMs;
    if (std::fabs(in_fRate * d * 0.001f) > 1.0f)
        d = d >= 0.0f ? m_fMsPerSample : -m_fMsPerSample;
    m_fDelayStepMs = d;
    m_fCurrentDelayMs += d;
    m_fRead = static_cast<float>(in_uWrite) - static_cast<float>(MsToSamples(m_fCurrentDelayMs, m_uSampleRate) + 1u);
    if (m_fRead < 0.0f)
        m_fRead += in_fSize;
    QW_ASSERT(m_fRead >= 0.0f && m_fRead <= m_delayBuffer.size()-1.0f);
    UpdateLfoTerms();
}

// The loop for one mode, its character stage inlined; MODE = NUM_DELAY_MODES is the loop for
// a mode known only at run time (and the guard against a bad one).
template <uint32_t MODE>
uint32_t SkrelDelayDsp::Run(uint32_t in_uFrames, float* io_pSamples)
{
    float* pLine = m_delayBuffer.data();
    const uint32_t uSize = m_delayBuffer.size();
    if (uSize == 0 || !m_pLowCut || !m_pHighCut || !m_pCharacterFilter)
        return in_uFrames;
    IirFilter& lowCut = *m_pLowCut.raw();
    IirFilter& highCut = *m_pHighCut.raw();
    IirFilter& characterFilter = *m_pCharacterFilter.raw();
    const float fSize = static_cast<float>(uSize);
    const float fLastIndex = static_cast<float>(uSize) - 1.0f;
    const float fRate = static_cast<float>(m_uSampleRate);
    const float fWetScale = m_fWetGain * m_fWetTrim;
    const bool bLimit = m_fFeedbackPercent > 100.0f;
    const bool bCharacterFilter = MODE == NUM_DELAY_MODES ? m_uMode != DELAY_MODE_CLEAN : MODE != DELAY_MODE_CLEAN;
    // The designs are single biquads; their inline form is taken when all three are.
    const bool bInline = lowCut.IsSingleBiquad() && highCut.IsSingleBiquad() && characterFilter.IsSingleBiquad();
    const float fTarget = ClampedDelayMs();

    for (uint32_t n = 0; n < in_uFrames; ++n) {
        const float x = io_pSamples[n];

        // Read head, moved by the LFO where the mode has depth.
        const uint32_t uPhase = m_uLfoPhase++;
        float fPos = m_fRead;
        if (m_fLfoDepthSamples != 0.0f)
            fPos = std::sin(static_cast<float>(uPhase) * m_fLfoPhaseInc) * m_fLfoDepthSamples + m_fRead;
        if (fPos < 0.0f) {
            fPos += fSize;
            QW_ASSERT(fPos >= 0.0f);
            if (fPos < 0.0f)
                fPos = 0.0f;
        }
        float y = ReadCubic(fPos, pLine, uSize);

        // The write index wraps by the size and the read head by size - 1; the head therefore
        // skips index 0 and the gap closes by a sample a pass until the next glide step.
        m_fRead += 1.0f;
        if (m_fRead > fLastIndex)
            m_fRead -= fLastIndex;

        float v = y * m_fFeedbackGain + x * m_fInputGain;
        if (MODE == NUM_DELAY_MODES && m_uMode >= NUM_DELAY_MODES) {
            QW_ASSERT(m_uMode < NUM_DELAY_MODES);
            break;
        }
        v = MODE == NUM_DELAY_MODES ? ApplyCharacter(v) : Character<MODE>(v);
        if (bInline) {
            if (bCharacterFilter)
                v = characterFilter.ProcessSampleBiquad(v);
            v = highCut.ProcessSampleBiquad(lowCut.ProcessSampleBiquad(v));
        } else {
            if (bCharacterFilter)
                v = characterFilter.ProcessSample(v);
            v = highCut.ProcessSample(lowCut.ProcessSample(v));
        }
        QW_ASSERT(m_iWrite < uSize);
        pLine[m_iWrite] = v;
        m_iWrite = (m_iWrite + 1) % uSize;

        // The limit shapes what is heard only; the loop itself is left to grow.
        if (bLimit)
            y = LimitOutput(y);
        io_pSamples[n] = fWetScale * y + m_fDryGain * x;

        // Glide: at most one sample of delay per sample, like a tape changing speed.
        Glide(m_iWrite, fTarget, fRate, fSize);
    }
    return in_uFrames;
}

// The loop in passes over chunks whose reads all lie behind the chunk's writes: the read head
// and its glide first, then the character stage, the filters and the writes. Each pass keeps
// the per-sample order of its own state, and no value read in a chunk is written in it, so the
// results are those of the sample-by-sample loop; the libm calls of the character stage no
// longer wait on the filters' feedback and overlap one another.
template <uint32_t MODE>
uint32_t SkrelDelayDsp::RunChunked(uint32_t in_uFrames, float* io_pSamples)
{
    float* pLine = m_delayBuffer.data();
    const uint32_t uSize = m_delayBuffer.size();
    if (uSize == 0 || !m_pLowCut || !m_pHighCut || !m_pCharacterFilter)
        return in_uFrames;
    IirFilter& lowCut = *m_pLowCut.raw();
    IirFilter& highCut = *m_pHighCut.raw();
    IirFilter& characterFilter = *m_pCharacterFilter.raw();
    if (!lowCut.IsSingleBiquad() || !highCut.IsSingleBiquad() || !characterFilter.IsSingleBiquad())
        return Run<MODE>(in_uFrames, io_pSamples);
    const float fSize = static_cast<float>(uSize);
    const float fLastIndex = static_cast<float>(uSize) - 1.0f;
    const float fRate = static_cast<float>(m_uSampleRate);
    const float fWetScale = m_fWetGain * m_fWetTrim;
    const bool bLimit = m_fFeedbackPercent > 100.0f;
    const float fTarget = ClampedDelayMs();
    const float fFeedbackGain = m_fFeedbackGain;
    const float fInputGain = m_fInputGain;
    const float fDryGain = m_fDryGain;
    const DynamicsPowFn pfnPow = MODE == DELAY_MODE_KNEE ? DynamicsPowKernel() : nullptr;

    float afY[RUN_CHUNK];
    float afV[RUN_CHUNK];
    uint32_t auWrite[RUN_CHUNK];
    for (uint32_t uDone = 0; uDone < in_uFrames;) {
        // Write minus read, round the ring: the chunk's reads (LFO swing, cubic taps and a
        // glide of at most a sample a sample included) stay clear of its writes on both sides.
        const uint32_t uRead = static_cast<uint32_t>(m_fRead);
        const uint32_t uGap = (m_iWrite + uSize - uRead % uSize) % uSize;
        const uint32_t uMargin = static_cast<uint32_t>(std::fabs(m_fLfoDepthSamples)) + 8u;
        uint32_t uChunk = in_uFrames - uDone < RUN_CHUNK ? in_uFrames - uDone : RUN_CHUNK;
        while (uChunk > 1 && !(uGap > 2 * uChunk + uMargin && uGap + 2 * uChunk + uMargin < uSize))
            uChunk /= 2;
        float* pIo = io_pSamples + uDone;

        uint32_t uWrite = m_iWrite;
        for (uint32_t n = 0; n < uChunk; ++n) {
            const uint32_t uPhase = m_uLfoPhase++;
            float fPos = m_fRead;
            if (m_fLfoDepthSamples != 0.0f)
                fPos = std::sin(static_cast<float>(uPhase) * m_fLfoPhaseInc) * m_fLfoDepthSamples + m_fRead;
            if (fPos < 0.0f) {
                fPos += fSize;
                QW_ASSERT(fPos >= 0.0f);
                if (fPos < 0.0f)
                    fPos = 0.0f;
            }
            afY[n] = ReadCubic(fPos, pLine, uSize);
            m_fRead += 1.0f;
            if (m_fRead > fLastIndex)
                m_fRead -= fLastIndex;
            QW_ASSERT(uWrite < uSize);
            auWrite[n] = uWrite;
            uWrite = (uWrite + 1) % uSize;
            Glide(uWrite, fTarget, fRate, fSize);
        }
        if (MODE == DELAY_MODE_KNEE && pfnPow) {
            // The knee's two powers through the block kernel (the float results of powf, but
            // for a last-bit rounding now and then; powf itself where no vector unit serves);
            // zero, denormal and non-finite values keep powf.
            const float fExponent = m_fKneeExponent;
            const float fInverse = 1.0f / fExponent;
            float afA[RUN_CHUNK];
            float afP[RUN_CHUNK];
            for (uint32_t n = 0; n < uChunk; ++n) {
                afV[n] = afY[n] * fFeedbackGain + pIo[n] * fInputGain;
                afA[n] = std::fabs(afV[n]);
            }
            pfnPow(uChunk, afA, fExponent, afP);
            for (uint32_t n = 0; n < uChunk; ++n) {
                const float a = afA[n];
                afA[n] = std::atan(a >= FLT_MIN && a <= FLT_MAX ? afP[n] : std::pow(a, fExponent));
            }
            pfnPow(uChunk, afA, fInverse, afP);
            for (uint32_t n = 0; n < uChunk; ++n) {
                const float t = afA[n];
                const float fPow = t >= FLT_MIN && t <= FLT_MAX ? afP[n] : std::pow(t, fInverse);
                // The polarity flips on every pass, as in the sample-by-sample stage.
                afV[n] = (afV[n] >= 0.0f ? -1.0f : 1.0f) * fPow;
            }
        } else {
            for (uint32_t n = 0; n < uChunk; ++n)
                afV[n] = Character<MODE>(afY[n] * fFeedbackGain + pIo[n] * fInputGain);
        }
        for (uint32_t n = 0; n < uChunk; ++n) {
            float v = afV[n];
            if (MODE != DELAY_MODE_CLEAN)
                v = characterFilter.ProcessSampleBiquad(v);
            v = highCut.ProcessSampleBiquad(lowCut.ProcessSampleBiquad(v));
            pLine[auWrite[n]] = v;
        }
        for (uint32_t n = 0; n < uChunk; ++n) {
            // The limit shapes what is heard only; the loop itself is left to grow.
            const float y = bLimit ? LimitOutput(afY[n]) : afY[n];
            pIo[n] = fWetScale * y + fDryGain * pIo[n];
        }
        m_iWrite = uWrite;
        uDone += uChunk;
    }
    return in_uFrames;
}

uint32_t SkrelDelayDsp::Process(uint32_t in_uFrames, float* io_pSamples)
{
    switch (m_uMode) {
    case DELAY_MODE_SINE: return RunChunked<DELAY_MODE_SINE>(in_uFrames, io_pSamples);
    case DELAY_MODE_SOFT_SINE: return RunChunked<DELAY_MODE_SOFT_SINE>(in_uFrames, io_pSamples);
    case DELAY_MODE_KNEE: return RunChunked<DELAY_MODE_KNEE>(in_uFrames, io_pSamples);
    case DELAY_MODE_BITS_MAGNITUDE: return RunChunked<DELAY_MODE_BITS_MAGNITUDE>(in_uFrames, io_pSamples);
    case DELAY_MODE_BITS_TWOS: return RunChunked<DELAY_MODE_BITS_TWOS>(in_uFrames, io_pSamples);
    case DELAY_MODE_CLEAN: return RunChunked<DELAY_MODE_CLEAN>(in_uFrames, io_pSamples);
    default: return Run<NUM_DELAY_MODES>(in_uFrames, io_pSamples);
    }
}
