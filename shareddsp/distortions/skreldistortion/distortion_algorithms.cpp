#include "shareddsp/distortions/skreldistortion/distortion_algorithms.h"
#include <cmath>
#include <cstring>
#include "host/qwassert.h"
#include "kvbase/common/common_cast.h"
#include "shareddsp/distortions/skreldistortion/distortion_lookup_tables.h"

using namespace KvSkrel;

namespace {

inline float SignOf(float w) { return w >= 0.0f ? 1.0f : -1.0f; }

// The common frame: dry taken after the input gain, before the drive; output gain after the mix.
template <class Shape>
inline void RunShaper(const DistortionSlot& in_slot, float in_fWet, uint32_t in_uSamples, float* io_p,
                      Shape in_shape)
{
    const float fIn = in_slot.m_fInputGain;
    const float fDrive = in_slot.m_fDriveGain;
    const float fDry = in_slot.m_fDryGain;
    const float fOut = in_slot.m_fOutputGain;
    for (uint32_t i = 0; i < in_uSamples; ++i) {
        const float v = io_p[i] * fIn;
        const float w = v * fDrive;
        io_p[i] = (in_shape(w) * in_fWet + v * fDry) * fOut;
    }
}

// The frame with the whole mixed sample negated. The wet shapes are built with the opposite
// sign, so it is the dry path that comes out inverted; this is deliberate and must stay.
template <class Shape>
inline void RunInverted(const DistortionSlot& in_slot, uint32_t in_uSamples, float* io_p, Shape in_shape)
{
    const float fIn = in_slot.m_fInputGain;
    const float fDrive = in_slot.m_fDriveGain;
    const float fWet = in_slot.m_fWetGain;
    const float fDry = in_slot.m_fDryGain;
    const float fOut = in_slot.m_fOutputGain;
    for (uint32_t i = 0; i < in_uSamples; ++i) {
        const float v = io_p[i] * fIn;
        const float w = v * fDrive;
        io_p[i] = -((in_shape(w) * fWet + v * fDry) * fOut);
    }
}

template <class Shape>
inline void Run(DistortionSlot& io_slot, uint32_t in_uSamples, float* io_p, Shape in_shape)
{
    RunShaper(io_slot, io_slot.m_fWetGain, in_uSamples, io_p, in_shape);
}

// Knee family: linear up to the knee, a parabola to the limit, flat beyond; zero has sign 0.
// Every piece is computed and one chosen, so that the loop has no jumps to mispredict on
// programme that moves between the pieces.
inline float Knee(float w, float in_fKnee, float in_fLimit)
{
    const float a = std::fabs(w);
    const float fSign = w > 0.0f ? 1.0f : (w < 0.0f ? -1.0f : 0.0f);
    const float t = 2.0f - 3.0f * a;
    const float fCurve = fSign * (3.0f - t * t) * 0.33333334f;
    return a < in_fKnee ? 2.0f * w : (a < in_fLimit ? fCurve : fSign);
}

inline float PushPullPositive(float w) { return 0.99f + 0.00999999f * std::tanh((w - 0.99f) * 100.0001f); }

template <int B10, int C10>
void Polynomial(DistortionDsp&, DistortionSlot& s, uint32_t n, float* p)
{
    const float b = B10 * 0.1f;
    const float c = C10 * 0.1f;
    Run(s, n, p, [b, c](float w) { return w * (b + c * std::fabs(w)); });
}

void ApplyInputGain(const DistortionSlot& in_slot, uint32_t in_uSamples, float* io_p)
{
    const float fIn = in_slot.m_fInputGain;
    for (uint32_t i = 0; i < in_uSamples; ++i)
        io_p[i] *= fIn;
}

// Bits kept by the digital algorithms: 16 at Character 0 down to 2 at Character 1.
uint32_t TruncationMask(float in_fCharacter)
{
    float fBits = 16.0f - 14.0f * in_fCharacter;
    fBits = fBits < 2.0f ? 2.0f : (fBits > 32.0f ? 32.0f : fBits);
    const uint32_t uBits = static_cast<uint32_t>(fBits + 0.5f);
    return 0xFFFFFFFFu << (32u - uBits);
}

// Moving-average length, 0 to 16; a change of length restarts the average from empty.
uint32_t AveragingLength(const DistortionSlot& in_slot)
{
    if (!in_slot.m_bSampleAveraging)
        return 0;
    float f = 16.0f * in_slot.m_fCharacter;
    f = f < 0.0f ? 0.0f : (f > 16.0f ? 16.0f : f);
    return static_cast<uint32_t>(f + 0.5f);
}

void RestartAverage(DistortionSlot& io_slot, uint32_t in_uLength)
{
    for (uint32_t i = 0; i < MAX_SAMPLE_AVERAGING; ++i)
        io_slot.m_fAverageBuffer[i] = 0.0f;
    io_slot.m_uBufferSamples = in_uLength;
    io_slot.m_fAverageSum = 0.0f;
    io_slot.m_uBufferPosition = 0;
}

// Running-sum moving average over the last in_uLength samples (in_uLength > 0).
inline float Average(DistortionSlot& io_slot, uint32_t in_uLength, float in_fValue)
{
    io_slot.m_fAverageSum += in_fValue;
    io_slot.m_fAverageSum -= io_slot.m_fAverageBuffer[io_slot.m_uBufferPosition];
    io_slot.m_fAverageBuffer[io_slot.m_uBufferPosition] = in_fValue;
    io_slot.m_uBufferPosition = (io_slot.m_uBufferPosition + 1) % in_uLength;
    return io_slot.m_fAverageSum / static_cast<float>(in_uLength);
}

// Square wave of +-1e-10 with a period of 256 samples, keeping the digital paths out of denormals.
inline bool GuardIsPositive(DistortionSlot& io_slot)
{
    const int8_t iCounter = io_slot.m_iDenormalCounter;
    io_slot.m_iDenormalCounter = static_cast<int8_t>(static_cast<uint8_t>(iCounter) + 1u);
    return iCounter < 0;
}

// in_bTest ? in_fTrue : in_fFalse on the bits, which compilers keep free of jumps.
inline float PickBits(bool in_bTest, float in_fTrue, float in_fFalse)
{
    uint32_t uTrue, uFalse;
    std::memcpy(&uTrue, &in_fTrue, sizeof uTrue);
    std::memcpy(&uFalse, &in_fFalse, sizeof uFalse);
    const uint32_t uMask = 0u - static_cast<uint32_t>(in_bTest);
    const uint32_t uPicked = (uTrue & uMask) | (uFalse & ~uMask);
    float f;
    std::memcpy(&f, &uPicked, sizeof f);
    return f;
}

// Column pick by sign, linear interpolation between positions, constant from magnitude 1 up.
// No jumps: driven programme crosses zero and magnitude 1 at random. Outside the table (and
// for NaN) the interpolation runs at the last position below 860 and is discarded.
inline float Lookup(const float* in_pTable, float u)
{
    const bool bPositive = u >= 0.0f;
    const uint32_t uColumn = bPositive ? 0u : 1u;
    const float fScaled = 860.0f * u;
    const float p = PickBits(bPositive, fScaled, -fScaled); // -(860 u) is -860 u exactly
    const float fBelow860 = 859.99994f;                      // the float just under 860
    const float q = PickBits(p < fBelow860, p, fBelow860);
    const uint32_t i = static_cast<uint32_t>(q);
    const float r = q - static_cast<float>(i);
    const float fInside = (1.0f - r) * in_pTable[2 * i + uColumn] + r * in_pTable[2 * i + 2 + uColumn];
    return PickBits(p < 860.0f, fInside, in_pTable[2 * LOOKUP_LAST_POSITION + uColumn]);
}

template <uint32_t ALGORITHM>
void LookupAlgorithm(DistortionDsp&, DistortionSlot& s, uint32_t n, float* p)
{
    const float* pTable = DistortionLookupTable(ALGORITHM);
    Run(s, n, p, [pTable](float w) { return Lookup(pTable, w) * LOOKUP_SCALE; });
}

// 0: touches nothing, not even the gains.
void None(DistortionDsp&, DistortionSlot&, uint32_t, float*) {}

void AmpDrainer(DistortionDsp&, DistortionSlot& s, uint32_t n, float* p)
{
    Run(s, n, p, [](float w) { return std::atan(3.31f * w); });
}

// 2 and 11 differ only in their table rows.
void Amperical(DistortionDsp&, DistortionSlot& s, uint32_t n, float* p)
{
    Run(s, n, p, [](float w) { return std::sin(2.15f * std::atan(3.31f * w)); });
}

void Distropia(DistortionDsp&, DistortionSlot& s, uint32_t n, float* p)
{
    Run(s, n, p, [](float w) {
        const float u = 0.03f * w;
        return SignOf(u) * (1.0f - 0.25f / (std::fabs(u) + 0.25f));
    });
}

void HarmonicControl(DistortionDsp&, DistortionSlot& s, uint32_t n, float* p)
{
    Run(s, n, p, [](float w) {
        const float u = 0.686306f * w;
        const float a = std::exp(u);
        const float b = std::exp(-0.75f * std::sqrt(std::fabs(u)));
        const float c = std::exp(-(b + 1.0f) * u);
        const float d = std::exp(-u);
        return (a - c) / (d + a);
    });
}

void MirrorOverdrive(DistortionDsp&, DistortionSlot& s, uint32_t n, float* p)
{
    Run(s, n, p, [](float w) { return Knee(w, 0.28840315f, 0.5768063f); });
}

void SmoothOverdrive(DistortionDsp&, DistortionSlot& s, uint32_t n, float* p)
{
    const float k = std::exp(3.4538777f * s.m_fCharacter);
    if (k == 1.0f) {
        Run(s, n, p, [](float w) { return w; });
        return;
    }
    Run(s, n, p, [k](float w) {
        const float u = k * w;
        return u <= 0.0f ? 1.0f / (1.0f - u) - 1.0f : 1.0f - 1.0f / (u + 1.0f);
    });
}

void StraightFuzz(DistortionDsp&, DistortionSlot& s, uint32_t n, float* p)
{
    const float c = s.m_fCharacter;
    const float t = std::exp(-48.0f * c * DB_TO_NEPER);
    const float m = std::exp(4.029524f * c);
    RunShaper(s, s.m_fWetGain * m, n, p, [t](float w) { return std::fabs(w) > t ? SignOf(w) * t : w; });
}

void TenInchSpike(DistortionDsp&, DistortionSlot& s, uint32_t n, float* p)
{
    Run(s, n, p, [](float w) {
        if (w < -1.0f)
            return -1.0f;
        if (w < 0.0f)
            return (w + 1.0f) * (w + 1.0f) - 1.0f;
        if (w <= 1.0f)
            return 1.0f - (w - 1.0f) * (w - 1.0f);
        return 1.0f;
    });
}

// Deliberately asymmetric, with a hard ceiling on the positive side. The region limits are
// double constants compared with w widened. All three regions are computed and one chosen,
// without a jump.
void TubeDrainer(DistortionDsp&, DistortionSlot& s, uint32_t n, float* p)
{
    Run(s, n, p, [](float w) {
        const double wd = w;
        float a = w + 0.967153f;
        a = a < -1.0f ? -1.0f : (a > 1.0f ? 1.0f : a);
        const float a2 = a * a;
        const float a4 = a2 * a2;
        const float a12 = a4 * a4 * a4;
        const float fLow = 0.2275f - ((1.0f - a12) * 0.75f - (0.25f * w + 0.00821175f));
        const float fMiddle = 3.9375f * w - 6.152f * w * w;
        return wd < -0.08905 ? fLow : (wd > 0.320018 ? 0.60035f : fMiddle);
    });
}

void SmoothFuzz(DistortionDsp&, DistortionSlot& s, uint32_t n, float* p)
{
    RunInverted(s, n, p, [](float w) {
        const float e = std::exp(-std::fabs(w));
        return w < 0.0f ? 1.0f - e : e - 1.0f;
    });
}

// Reads the second copy of Character.
void Wrecktifier(DistortionDsp&, DistortionSlot& s, uint32_t n, float* p)
{
    const float c = s.m_fCharacterCopy;
    Run(s, n, p, [c](float w) { return w >= 0.0f ? w : w - 2.0f * w * c; });
}

void HardLimits(DistortionDsp&, DistortionSlot& s, uint32_t n, float* p)
{
    Run(s, n, p, [](float w) { return Knee(w, 0.8128305f, 1.625661f); });
}

void PositiveFuzz(DistortionDsp&, DistortionSlot& s, uint32_t n, float* p)
{
    const float c = s.m_fCharacter;
    const float t = std::exp(-60.0f * c * DB_TO_NEPER);
    const float m = std::exp(0.34538776f * c);
    RunShaper(s, s.m_fWetGain * m, n, p, [t](float w) { return w > t ? t : w; });
}

void NegativeFuzz(DistortionDsp&, DistortionSlot& s, uint32_t n, float* p)
{
    const float c = s.m_fCharacter;
    const float t = std::exp(-60.0f * c * DB_TO_NEPER);
    const float m = std::exp(0.34538776f * c);
    RunShaper(s, s.m_fWetGain * m, n, p, [t](float w) { return w < -t ? -t : w; });
}

void CrungeyGrunch(DistortionDsp&, DistortionSlot& s, uint32_t n, float* p)
{
    Run(s, n, p, [](float w) { return 0.5f * std::atan(w); });
}

void CrunchyGrunge(DistortionDsp&, DistortionSlot& s, uint32_t n, float* p)
{
    Run(s, n, p, [](float w) { return std::tanh(w); });
}

// 18 and 19 share this transfer and differ only in their table rows.
void ClipControl(DistortionDsp&, DistortionSlot& s, uint32_t n, float* p)
{
    const float k = 9.0f * s.m_fCharacter + 1.0f;
    const float fInvK = 1.0f / k;
    RunInverted(s, n, p, [k, fInvK](float w) {
        const float fSign = w < 0.0f ? 1.0f : -1.0f;
        return fSign * std::pow(std::atan(std::pow(std::fabs(w), k)), fInvK);
    });
}

// One-sided on purpose: past the first zero of the sine it jumps to 1, while the negative
// half keeps folding.
void Squealer(DistortionDsp&, DistortionSlot& s, uint32_t n, float* p)
{
    Run(s, n, p, [](float w) {
        const float u = 0.03f * w;
        return u <= 0.04995005f ? 15.925292f * std::sin(62.894688f * u) : 1.0f;
    });
}

void HotTinRoof(DistortionDsp&, DistortionSlot& s, uint32_t n, float* p)
{
    Run(s, n, p, [](float w) { return w <= 0.38610038f ? 1.0413482f * std::sin(8.136725f * w) : 1.0f; });
}

void BluesDriver(DistortionDsp&, DistortionSlot& s, uint32_t n, float* p)
{
    Run(s, n, p, [](float w) { return (std::fabs(w) + 1.0f) * w / (w * w + 1.0f); });
}

void DoubleStages(DistortionDsp&, DistortionSlot& s, uint32_t n, float* p)
{
    const float fStage = 0.75f * s.m_fCharacter + 0.1f;
    const float m = 2.0f * fStage / (1.0f - fStage);
    Run(s, n, p, [m](float w) { return (m + 1.0f) * w / (m * std::fabs(w) + 1.0f); });
}

void ElasticSkrel(DistortionDsp&, DistortionSlot& s, uint32_t n, float* p)
{
    const float fSpeed = 4.9f * s.m_fCharacter + 0.1f;
    Run(s, n, p, [fSpeed](float w) { return std::sin(fSpeed * w); });
}

void TapeSaturation(DistortionDsp&, DistortionSlot& s, uint32_t n, float* p)
{
    Run(s, n, p, [](float w) { return 6.3924527f * std::sin(0.15707964f * w); });
}

// The small asymmetry between the two branches (99.0001 against 0.99 x 100.0001) is kept.
void PushPull(DistortionDsp&, DistortionSlot& s, uint32_t n, float* p)
{
    Run(s, n, p, [](float w) {
        if (w >= 0.99f)
            return PushPullPositive(w);
        if (w <= -0.99f)
            return -0.99f - 0.00999999f * std::tanh(-100.0001f * w - 99.0001f);
        return w;
    });
}

void MildExcitement(DistortionDsp&, DistortionSlot& s, uint32_t n, float* p)
{
    Run(s, n, p, [](float w) { return w >= 0.99f ? PushPullPositive(w) : w; });
}

void GarageFuzz(DistortionDsp&, DistortionSlot& s, uint32_t n, float* p)
{
    const float g = 9.0f * s.m_fCharacter + 1.0f;
    Run(s, n, p, [g](float w) {
        const double e = std::exp(-(static_cast<double>(w) * g));
        const double d = 1.0 / (e + 1.0);
        return static_cast<float>((d - 0.5) * 2.0);
    });
}

// Two's-complement truncation in double: rounds towards minus infinity, so it leaves a small
// negative offset, which is part of the sound.
void BitWrench(DistortionDsp&, DistortionSlot& s, uint32_t uSamples, float* p)
{
    QW_ASSERT(uSamples <= MAX_BUFFER_SIZE);
    ApplyInputGain(s, uSamples, p);
    const uint32_t uMask = TruncationMask(s.m_fCharacter);
    const double fDrive = s.m_fDriveGain;
    const double fWet = s.m_fWetGain;
    const double fDry = s.m_fDryGain;
    const double fOut = s.m_fOutputGain;
    // In runs of one guard sign (up to 128 samples: the counter's sign bit flips every 128), so
    // that each run is a plain loop the compiler vectorises.
    uint32_t uCount = static_cast<uint8_t>(s.m_iDenormalCounter);
    for (uint32_t uDone = 0; uDone < uSamples;) {
        const bool bPositive = uCount >= 128u; // the counter read as signed is negative
        const uint32_t uUntilFlip = (bPositive ? 256u : 128u) - uCount;
        const uint32_t uRun = uSamples - uDone < uUntilFlip ? uSamples - uDone : uUntilFlip;
        const double fGuard = bPositive ? 1e-10 : -1e-10;
        float* pRun = p + uDone;
        for (uint32_t i = 0; i < uRun; ++i) {
            const double v = pRun[i];
            double d = v * 2147483647.0 * fDrive;
            d = d < -2147483648.0 ? -2147483648.0 : (d > 2147483647.0 ? 2147483647.0 : d);
            const int32_t iSample = static_cast<int32_t>(d);
            const int32_t iMasked = static_cast<int32_t>(static_cast<uint32_t>(iSample) & uMask);
            double q = static_cast<double>(static_cast<float>(iMasked)) * 4.656612875245797e-10;
            q += fGuard;
            pRun[i] = static_cast<float>((fWet * q + fDry * v) * fOut);
        }
        uCount = (uCount + uRun) & 0xffu;
        uDone += uRun;
    }
    s.m_iDenormalCounter = static_cast<int8_t>(static_cast<uint8_t>(uCount));
}

// Sign-magnitude quantisation after a moving average of the driven signal. At full scale the
// conversion wraps to 0x80000000 and the sample comes out with its sign flipped: required, so
// the conversion must not saturate.
void CheapDigital(DistortionDsp&, DistortionSlot& s, uint32_t n, float* p)
{
    ApplyInputGain(s, n, p);
    const uint32_t uMask = TruncationMask(s.m_fCharacter);
    const uint32_t uBufferSamples = AveragingLength(s);
    if (uBufferSamples != s.m_uBufferSamples) {
        QW_ASSERT(uBufferSamples < MAX_SAMPLE_AVERAGING);
        RestartAverage(s, uBufferSamples);
    }
    const float fDrive = s.m_fDriveGain;
    const float fWet = s.m_fWetGain;
    const float fDry = s.m_fDryGain;
    const float fOut = s.m_fOutputGain;
    for (uint32_t i = 0; i < n; ++i) {
        const float v = p[i];
        float t = v * fDrive;
        if (uBufferSamples != 0)
            t = Average(s, uBufferSamples, t);
        t = t < -1.0f ? -1.0f : (t > 1.0f ? 1.0f : t);
        const int64_t iWide = static_cast<int64_t>(static_cast<double>(std::fabs(t)) * 2147483648.0);
        const int32_t iMagnitude = implicit_cast<int32_t>(iWide);
        const int32_t iMasked = static_cast<int32_t>(static_cast<uint32_t>(iMagnitude) & uMask);
        float q = static_cast<float>(iMasked) * (t >= 0.0f ? 4.656613e-10f : -4.656613e-10f);
        q += GuardIsPositive(s) ? 1e-10f : -1e-10f;
        p[i] = (v * fDry + q * fWet) * fOut;
    }
}

// Drive is not used here at all.
void BitAliasing(DistortionDsp&, DistortionSlot& s, uint32_t n, float* p)
{
    ApplyInputGain(s, n, p);
    const uint32_t uLength = AveragingLength(s);
    if (uLength != s.m_uBufferSamples)
        RestartAverage(s, uLength);
    const float fWet = s.m_fWetGain;
    const float fDry = s.m_fDryGain;
    const float fOut = s.m_fOutputGain;
    for (uint32_t i = 0; i < n; ++i) {
        const float v = p[i];
        float r = uLength != 0 ? Average(s, uLength, v) : v;
        r += GuardIsPositive(s) ? 1e-10f : -1e-10f;
        p[i] = (r * fWet + v * fDry) * fOut;
    }
}

} // namespace

const DistortionAlgorithmFn g_apfnDistortionAlgorithms[NUM_DISTORTION_ALGORITHMS] = {
    None,                    // 0
    AmpDrainer,              // 1
    Amperical,               // 2
    Distropia,               // 3
    HarmonicControl,         // 4
    MirrorOverdrive,         // 5
    SmoothOverdrive,         // 6
    StraightFuzz,            // 7
    TenInchSpike,            // 8
    TubeDrainer,             // 9
    SmoothFuzz,              // 10
    Amperical,               // 11 Nasty Boy
    Wrecktifier,             // 12
    HardLimits,              // 13
    PositiveFuzz,            // 14
    NegativeFuzz,            // 15
    CrungeyGrunch,           // 16
    CrunchyGrunge,           // 17
    ClipControl,             // 18
    ClipControl,             // 19 Delicate Harmonics
    Squealer,                // 20
    HotTinRoof,              // 21
    BluesDriver,             // 22
    DoubleStages,            // 23
    Polynomial<10, 4>,       // 24 Gentle Push
    Polynomial<10, 6>,       // 25 Slight Twist
    Polynomial<2, 4>,        // 26 Cold Solder
    Polynomial<10, 10>,      // 27 Little Popper
    Polynomial<0, 8>,        // 28 Radio Contact
    ElasticSkrel,            // 29
    TapeSaturation,          // 30
    PushPull,                // 31
    MildExcitement,          // 32
    GarageFuzz,              // 33
    BitWrench,               // 34
    CheapDigital,            // 35
    BitAliasing,             // 36
    LookupAlgorithm<37>,     // 37 Cracked Actor
    LookupAlgorithm<38>,     // 38 Cracked Actress
    LookupAlgorithm<39>,     // 39 Rubber Hammer
    LookupAlgorithm<40>,     // 40 Faulty Transistor
    LookupAlgorithm<41>,     // 41 Bad Breakup
    LookupAlgorithm<42>,     // 42 Citrus Pulp
    LookupAlgorithm<43>,     // 43 Acid Fuzz
    LookupAlgorithm<44>,     // 44 Uncontrolled Static
    LookupAlgorithm<45>,     // 45 Stomper
    LookupAlgorithm<46>,     // 46 Iron Fuzz
    LookupAlgorithm<47>,     // 47 Noise Art
};
