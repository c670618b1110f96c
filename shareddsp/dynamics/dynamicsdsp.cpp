#include "shareddsp/dynamics/dynamicsdsp.h"
#include <cfloat>
#include <cmath>
#include "shareddsp/dynamics/dynamicspow.h"
#if defined(__x86_64__)
#include <xmmintrin.h>
#endif

namespace {

const float DB_TO_LOG = 0.115129255f;  // ln(10) / 20
const float GUARD = 1e-10f;
const uint32_t GUARD_POSITIVE_SAMPLES = 128;
const float EXPANDER_FLOOR = 1e-08f;

float DbToLinear(float in_fDb) { return std::exp(in_fDb * DB_TO_LOG); }

// A one-pole smoother with this coefficient covers two time constants within in_fMs.
void TimeConstant(float in_fMs, float in_fSampleRate, float& out_fCoeff, float& out_fGain)
{
    out_fCoeff = in_fMs > 0.0f ? std::exp((-2000.0f / in_fSampleRate) / in_fMs) : 0.0f;
    out_fGain = 1.0f - out_fCoeff;
}

// Alternating-sign offset that keeps the smoothers out of denormals. The counter is a plain
// 32-bit count, so after the first 128 samples the offset stays negative; that is intended.
void AddGuard(uint32_t in_uSamples, float* io_pSamples, uint32_t& io_uCount)
{
    // In runs of one sign, so that each run is a plain vector loop: positive while the count is
    // under 128, negative until it wraps round to 0.
    uint32_t uCount = io_uCount;
    for (uint32_t uDone = 0; uDone < in_uSamples;) {
        const uint32_t uLeft = in_uSamples - uDone;
        const bool bPositive = uCount < GUARD_POSITIVE_SAMPLES;
        const uint32_t uUntilFlip = bPositive ? GUARD_POSITIVE_SAMPLES - uCount : 0u - uCount;
        const uint32_t uRun = uLeft < uUntilFlip ? uLeft : uUntilFlip;
        const float fGuard = bPositive ? GUARD : -GUARD;
        float* p = io_pSamples + uDone;
        for (uint32_t i = 0; i < uRun; ++i)
            p[i] += fGuard;
        uCount += uRun;
        uDone += uRun;
    }
    io_uCount = uCount;
}

// Samples per pass of Process: the targets of one pass stand in two arrays on the stack.
const uint32_t CHUNK = 64;

// r^1 is r, exactly (powf returns it too): the expander's usual ratio of 2 needs no power.
void PowTargets(uint32_t in_uSamples, const float* in_pRatio, float in_fExponent, DynamicsPowFn in_pfnPow,
                float* out_pTargets)
{
    if (in_fExponent == 1.0f) {
        for (uint32_t i = 0; i < in_uSamples; ++i)
            out_pTargets[i] = in_pRatio[i];
    } else {
        in_pfnPow(in_uSamples, in_pRatio, in_fExponent, out_pTargets);
    }
}

// The static targets are computed in passes of their own, ahead of the smoothing loop: the
// ratios, then r^e for the whole pass in one vector kernel (the float results of powf), then
// the choice of the samples where the target applies, as a vector select. Inside the loop the
// pow calls would queue behind the gains' dependency chain.
void CompressorTargets(uint32_t in_uSamples, const float* in_pSamples, float in_fThreshold, float in_fExponent,
                       DynamicsPowFn in_pfnPow, float* out_pTargets)
{
    float afRatio[CHUNK];
    for (uint32_t i = 0; i < in_uSamples; ++i)
        afRatio[i] = std::fabs(in_pSamples[i]) / in_fThreshold;
    PowTargets(in_uSamples, afRatio, in_fExponent, in_pfnPow, out_pTargets);
    uint32_t uBeyond = 0;
    for (uint32_t i = 0; i < in_uSamples; ++i) {
        const float x = std::fabs(in_pSamples[i]);
        uBeyond |= afRatio[i] <= FLT_MAX ? 0u : 1u;
        out_pTargets[i] = x > in_fThreshold ? out_pTargets[i] : 1.0f;
    }
    // Beyond the largest float (an infinite sample or NaN) the kernel's domain ends: powf itself.
    // Rare, so it stays out of the vector pass.
    if (uBeyond != 0) {
        for (uint32_t i = 0; i < in_uSamples; ++i)
            if (!(afRatio[i] <= FLT_MAX) && std::fabs(in_pSamples[i]) > in_fThreshold)
                out_pTargets[i] = std::pow(afRatio[i], in_fExponent);
    }
}

// Below the floor the target stays 1: silence is not pushed down any further.
void ExpanderTargets(uint32_t in_uSamples, const float* in_pSamples, float in_fThreshold, float in_fExponent,
                     DynamicsPowFn in_pfnPow, float* out_pTargets)
{
    float afRatio[CHUNK];
    for (uint32_t i = 0; i < in_uSamples; ++i)
        afRatio[i] = std::fabs(in_pSamples[i]) / in_fThreshold;
    PowTargets(in_uSamples, afRatio, in_fExponent, in_pfnPow, out_pTargets);
    for (uint32_t i = 0; i < in_uSamples; ++i) {
        const float x = std::fabs(in_pSamples[i]);
        out_pTargets[i] = x < in_fThreshold && x >= EXPANDER_FLOOR ? out_pTargets[i] : 1.0f;
    }
}

void Fill(uint32_t in_uSamples, float in_fValue, float* out_p)
{
    for (uint32_t i = 0; i < in_uSamples; ++i)
        out_p[i] = in_fValue;
}

// Both targets of one pass: 1 wherever a side is off (ratio exactly 1).
void Targets(const DynamicsStage& in_stage, uint32_t in_uSamples, const float* in_pSamples, DynamicsPowFn in_pfnPow,
             float* out_pComp, float* out_pExp)
{
    if (in_stage.m_fCompSlope != 1.0f)
        CompressorTargets(in_uSamples, in_pSamples, in_stage.m_fCompThreshold, in_stage.m_fCompSlope - 1.0f,
                          in_pfnPow, out_pComp);
    else
        Fill(in_uSamples, 1.0f, out_pComp);
    if (in_stage.m_fExpSlope != 1.0f)
        ExpanderTargets(in_uSamples, in_pSamples, in_stage.m_fExpThreshold, in_stage.m_fExpSlope - 1.0f, in_pfnPow,
                        out_pExp);
    else
        Fill(in_uSamples, 1.0f, out_pExp);
}

#if defined(__x86_64__)
// The smoothing step of Process on four engines at once, one per lane: the same operations in
// the same order, so each lane's floats are those of the scalar loop.
struct LaneSmoother
{
    __m128 fCompAttackCoeff, fCompAttackGain, fCompReleaseCoeff, fCompReleaseGain;
    __m128 fExpThreshold, fExpAttackCoeff, fExpAttackGain, fExpReleaseCoeff, fExpReleaseGain;
    __m128 fOutputGain;
    __m128 fPeak, fCompGain, fExpGain, fCompGainMin, fExpGainMin;

    // in_mask ? in_true : in_false, lane by lane.
    static __m128 Select(__m128 in_mask, __m128 in_true, __m128 in_false)
    {
        return _mm_or_ps(_mm_and_ps(in_mask, in_true), _mm_andnot_ps(in_mask, in_false));
    }

    // One sample of each lane and its two targets; returns the processed samples.
    __m128 Step(__m128 in_sample, __m128 c, __m128 e)
    {
        const __m128 x = _mm_andnot_ps(_mm_set1_ps(-0.0f), in_sample);
        // max and min return their second operand unless the first is beyond it: the scalar
        // "if (x > peak) peak = x", NaN included.
        fPeak = _mm_max_ps(x, fPeak);
        const __m128 fExpClosing = _mm_add_ps(_mm_mul_ps(fExpGain, fExpReleaseCoeff), _mm_mul_ps(e, fExpReleaseGain));
        // != is true for NaN, as cmpneq is.
        const __m128 fExpOpening = Select(_mm_cmpneq_ps(fExpGain, _mm_set1_ps(1.0f)),
                                          _mm_add_ps(_mm_mul_ps(fExpGain, fExpAttackCoeff), fExpAttackGain), fExpGain);
        fExpGain = Select(_mm_cmple_ps(x, fExpThreshold), fExpClosing, fExpOpening);
        const __m128 fCompRising = _mm_add_ps(_mm_mul_ps(fCompGain, fCompReleaseCoeff), fCompReleaseGain);
        const __m128 fCompFalling = _mm_add_ps(_mm_mul_ps(fCompGain, fCompAttackCoeff), _mm_mul_ps(c, fCompAttackGain));
        fCompGain = Select(_mm_cmple_ps(fCompGain, c), fCompRising, fCompFalling);
        fCompGainMin = _mm_min_ps(fCompGain, fCompGainMin);
        fExpGainMin = _mm_min_ps(fExpGain, fExpGainMin);
        return _mm_mul_ps(_mm_mul_ps(_mm_mul_ps(fExpGain, fCompGain), fOutputGain), in_sample);
    }
};

// Four lanes of one field; lanes past the engines in use repeat the first.
__m128 Gather(DynamicsStage* const* in_ppStage, float DynamicsStage::*in_pField)
{
    return _mm_setr_ps(in_ppStage[0]->*in_pField, in_ppStage[1]->*in_pField, in_ppStage[2]->*in_pField,
                       in_ppStage[3]->*in_pField);
}

void Scatter(__m128 in_value, uint32_t in_uLanes, DynamicsStage* const* in_ppStage, float DynamicsStage::*in_pField)
{
    float af[4];
    _mm_storeu_ps(af, in_value);
    for (uint32_t l = 0; l < in_uLanes; ++l)
        in_ppStage[l]->*in_pField = af[l];
}
#endif

} // namespace

DynamicsDsp::DynamicsDsp(float in_fSampleRate) : m_fSampleRate(in_fSampleRate)
{
    m_stages.resize(NUM_STAGES);
    if (m_stages.size() != NUM_STAGES)
        return;
    for (uint32_t s = 0; s < NUM_STAGES; ++s)
        for (uint32_t i = 0; i < NUM_PARAMETERS; ++i)
            SetParameter(s, i, GetParameter(s, i));
}

void DynamicsDsp::SetParameter(uint32_t in_uStage, uint32_t in_uIndex, float in_fValue)
{
    DynamicsStage& stage = m_stages[in_uStage];
    switch (in_uIndex) {
    case COMP_THRESHOLD_DB:
        stage.m_fCompThresholdDb = in_fValue;
        stage.m_fCompThreshold = DbToLinear(in_fValue);
        break;
    case COMP_RATIO:
        stage.m_fCompRatio = in_fValue;
        stage.m_fCompSlope = 1.0f / in_fValue;
        break;
    case COMP_ATTACK_MS:
        stage.m_fCompAttackMs = in_fValue;
        TimeConstant(in_fValue, m_fSampleRate, stage.m_fCompAttackCoeff, stage.m_fCompAttackGain);
        break;
    case COMP_RELEASE_MS:
        stage.m_fCompReleaseMs = in_fValue;
        TimeConstant(in_fValue, m_fSampleRate, stage.m_fCompReleaseCoeff, stage.m_fCompReleaseGain);
        break;
    case EXP_THRESHOLD_DB:
        stage.m_fExpThresholdDb = in_fValue;
        stage.m_fExpThreshold = DbToLinear(in_fValue);
        break;
    case EXP_RATIO:
        // The expander's ratio is its slope as it stands: 1 is off, 2 doubles the distance below.
        stage.m_fExpRatio = in_fValue;
        stage.m_fExpSlope = in_fValue;
        break;
    case EXP_ATTACK_MS:
        stage.m_fExpAttackMs = in_fValue;
        TimeConstant(in_fValue, m_fSampleRate, stage.m_fExpAttackCoeff, stage.m_fExpAttackGain);
        break;
    case EXP_RELEASE_MS:
        stage.m_fExpReleaseMs = in_fValue;
        TimeConstant(in_fValue, m_fSampleRate, stage.m_fExpReleaseCoeff, stage.m_fExpReleaseGain);
        break;
    case OUTPUT_GAIN_DB:
        stage.m_fOutputGainDb = in_fValue;
        stage.m_fOutputGain = DbToLinear(in_fValue);
        break;
    default:
        break;
    }
}

float DynamicsDsp::GetParameter(uint32_t in_uStage, uint32_t in_uIndex) const
{
    const DynamicsStage& stage = m_stages[in_uStage];
    switch (in_uIndex) {
    case COMP_THRESHOLD_DB: return stage.m_fCompThresholdDb;
    case COMP_RATIO: return stage.m_fCompRatio;
    case COMP_ATTACK_MS: return stage.m_fCompAttackMs;
    case COMP_RELEASE_MS: return stage.m_fCompReleaseMs;
    case EXP_THRESHOLD_DB: return stage.m_fExpThresholdDb;
    case EXP_RATIO: return stage.m_fExpRatio;
    case EXP_ATTACK_MS: return stage.m_fExpAttackMs;
    case EXP_RELEASE_MS: return stage.m_fExpReleaseMs;
    case OUTPUT_GAIN_DB: return stage.m_fOutputGainDb;
    default: return -401.0f;
    }
}

void DynamicsDsp::Process(uint32_t in_uStage, uint32_t in_uSamples, float* io_pSamples)
{
    DynamicsStage& stage = m_stages[in_uStage];
    AddGuard(in_uSamples, io_pSamples, stage.m_uInputGuardCount);

    // Locals for the hot loop; the state goes back to the record at the end.
    const float fCompAttackCoeff = stage.m_fCompAttackCoeff;
    const float fCompAttackGain = stage.m_fCompAttackGain;
    const float fCompReleaseCoeff = stage.m_fCompReleaseCoeff;
    const float fCompReleaseGain = stage.m_fCompReleaseGain;
    const float fExpThreshold = stage.m_fExpThreshold;
    const float fExpAttackCoeff = stage.m_fExpAttackCoeff;
    const float fExpAttackGain = stage.m_fExpAttackGain;
    const float fExpReleaseCoeff = stage.m_fExpReleaseCoeff;
    const float fExpReleaseGain = stage.m_fExpReleaseGain;
    const float fOutputGain = stage.m_fOutputGain;
    float fPeak = stage.m_fPeak;
    float fCompGain = stage.m_fCompGain;
    float fExpGain = stage.m_fExpGain;
    float fCompGainMin = stage.m_fCompGainMin;
    float fExpGainMin = stage.m_fExpGainMin;

    // Exact comparisons: a ratio of 1 skips pow altogether.
    const DynamicsPowFn pfnPow =
        stage.m_fCompSlope != 1.0f || stage.m_fExpSlope != 1.0f ? DynamicsPowKernel() : nullptr;
    float afComp[CHUNK];
    float afExp[CHUNK];
    for (uint32_t uDone = 0; uDone < in_uSamples; uDone += CHUNK) {
        const uint32_t uCount = in_uSamples - uDone < CHUNK ? in_uSamples - uDone : CHUNK;
        float* pSamples = io_pSamples + uDone;
        Targets(stage, uCount, pSamples, pfnPow, afComp, afExp);

        for (uint32_t i = 0; i < uCount; ++i) {
            const float fSample = pSamples[i];
            const float x = std::fabs(fSample);
            if (x > fPeak)
                fPeak = x;
            const float c = afComp[i];
            const float e = afExp[i];

            // Both branches of each smoother are computed and one is selected: on noisy material
            // the comparisons flip from sample to sample and a jump would be mispredicted.
            // The release closes the expander towards its target, the attack opens it towards 1.
            const float fExpClosing = fExpGain * fExpReleaseCoeff + e * fExpReleaseGain;
            const float fExpOpening = fExpGain != 1.0f ? fExpGain * fExpAttackCoeff + fExpAttackGain : fExpGain;
            fExpGain = x <= fExpThreshold ? fExpClosing : fExpOpening;

            // The release runs towards 1, not towards the target, so a gain under its target
            // rises past it and the attack pulls it back: the gain hunts around the target.
            // Intended.
            const float fCompRising = fCompGain * fCompReleaseCoeff + fCompReleaseGain;
            const float fCompFalling = fCompGain * fCompAttackCoeff + c * fCompAttackGain;
            fCompGain = fCompGain <= c ? fCompRising : fCompFalling;

            if (fCompGain < fCompGainMin)
                fCompGainMin = fCompGain;
            if (fExpGain < fExpGainMin)
                fExpGainMin = fExpGain;

            pSamples[i] = fExpGain * fCompGain * fOutputGain * fSample;
        }
    }

    stage.m_fPeak = fPeak;
    stage.m_fCompGain = fCompGain;
    stage.m_fExpGain = fExpGain;
    stage.m_fCompGainMin = fCompGainMin;
    stage.m_fExpGainMin = fExpGainMin;

    AddGuard(in_uSamples, io_pSamples, stage.m_uOutputGuardCount);
}

void DynamicsDsp::ProcessLanes(uint32_t in_uStage, uint32_t in_uLanes, DynamicsDsp* const* in_ppDsp,
                               uint32_t in_uSamples, float* const* io_ppSamples)
{
#if defined(__x86_64__)
    if (in_uLanes >= 2 && in_uLanes <= MAX_LANES) {
        ProcessFourLanes(in_uStage, in_uLanes, in_ppDsp, in_uSamples, io_ppSamples);
        return;
    }
#endif
    for (uint32_t l = 0; l < in_uLanes; ++l)
        in_ppDsp[l]->Process(in_uStage, in_uSamples, io_ppSamples[l]);
}

#if defined(__x86_64__)
void DynamicsDsp::ProcessFourLanes(uint32_t in_uStage, uint32_t in_uLanes, DynamicsDsp* const* in_ppDsp,
                                   uint32_t in_uSamples, float* const* io_ppSamples)
{
    // Lanes past in_uLanes run a copy of lane 0, read-only, and are never written back.
    DynamicsStage* apStage[MAX_LANES];
    float* apSamples[MAX_LANES];
    for (uint32_t l = 0; l < MAX_LANES; ++l) {
        const uint32_t uFrom = l < in_uLanes ? l : 0;
        apStage[l] = &in_ppDsp[uFrom]->m_stages[in_uStage];
        apSamples[l] = io_ppSamples[uFrom];
    }
    for (uint32_t l = 0; l < in_uLanes; ++l)
        AddGuard(in_uSamples, apSamples[l], apStage[l]->m_uInputGuardCount);

    LaneSmoother lanes;
    lanes.fCompAttackCoeff = Gather(apStage, &DynamicsStage::m_fCompAttackCoeff);
    lanes.fCompAttackGain = Gather(apStage, &DynamicsStage::m_fCompAttackGain);
    lanes.fCompReleaseCoeff = Gather(apStage, &DynamicsStage::m_fCompReleaseCoeff);
    lanes.fCompReleaseGain = Gather(apStage, &DynamicsStage::m_fCompReleaseGain);
    lanes.fExpThreshold = Gather(apStage, &DynamicsStage::m_fExpThreshold);
    lanes.fExpAttackCoeff = Gather(apStage, &DynamicsStage::m_fExpAttackCoeff);
    lanes.fExpAttackGain = Gather(apStage, &DynamicsStage::m_fExpAttackGain);
    lanes.fExpReleaseCoeff = Gather(apStage, &DynamicsStage::m_fExpReleaseCoeff);
    lanes.fExpReleaseGain = Gather(apStage, &DynamicsStage::m_fExpReleaseGain);
    lanes.fOutputGain = Gather(apStage, &DynamicsStage::m_fOutputGain);
    lanes.fPeak = Gather(apStage, &DynamicsStage::m_fPeak);
    lanes.fCompGain = Gather(apStage, &DynamicsStage::m_fCompGain);
    lanes.fExpGain = Gather(apStage, &DynamicsStage::m_fExpGain);
    lanes.fCompGainMin = Gather(apStage, &DynamicsStage::m_fCompGainMin);
    lanes.fExpGainMin = Gather(apStage, &DynamicsStage::m_fExpGainMin);

    bool bAnyActive = false;
    for (uint32_t l = 0; l < in_uLanes; ++l)
        bAnyActive = bAnyActive || apStage[l]->m_fCompSlope != 1.0f || apStage[l]->m_fExpSlope != 1.0f;
    const DynamicsPowFn pfnPow = bAnyActive ? DynamicsPowKernel() : nullptr;
    float aafComp[MAX_LANES][CHUNK];
    float aafExp[MAX_LANES][CHUNK];
    for (uint32_t uDone = 0; uDone < in_uSamples; uDone += CHUNK) {
        const uint32_t uCount = in_uSamples - uDone < CHUNK ? in_uSamples - uDone : CHUNK;
        const float* apComp[MAX_LANES];
        const float* apExp[MAX_LANES];
        float* apIo[MAX_LANES];
        for (uint32_t l = 0; l < MAX_LANES; ++l) {
            const uint32_t uFrom = l < in_uLanes ? l : 0;
            if (l == uFrom)
                Targets(*apStage[l], uCount, apSamples[l] + uDone, pfnPow, aafComp[l], aafExp[l]);
            apComp[l] = aafComp[uFrom];
            apExp[l] = aafExp[uFrom];
            apIo[l] = apSamples[l] + uDone;
        }

        // Four samples of four lanes at a time, turned so that each vector holds one instant.
        uint32_t i = 0;
        for (; i + 4 <= uCount; i += 4) {
            __m128 s0 = _mm_loadu_ps(apIo[0] + i), s1 = _mm_loadu_ps(apIo[1] + i);
            __m128 s2 = _mm_loadu_ps(apIo[2] + i), s3 = _mm_loadu_ps(apIo[3] + i);
            _MM_TRANSPOSE4_PS(s0, s1, s2, s3);
            __m128 c0 = _mm_loadu_ps(apComp[0] + i), c1 = _mm_loadu_ps(apComp[1] + i);
            __m128 c2 = _mm_loadu_ps(apComp[2] + i), c3 = _mm_loadu_ps(apComp[3] + i);
            _MM_TRANSPOSE4_PS(c0, c1, c2, c3);
            __m128 e0 = _mm_loadu_ps(apExp[0] + i), e1 = _mm_loadu_ps(apExp[1] + i);
            __m128 e2 = _mm_loadu_ps(apExp[2] + i), e3 = _mm_loadu_ps(apExp[3] + i);
            _MM_TRANSPOSE4_PS(e0, e1, e2, e3);
            __m128 y0 = lanes.Step(s0, c0, e0);
            __m128 y1 = lanes.Step(s1, c1, e1);
            __m128 y2 = lanes.Step(s2, c2, e2);
            __m128 y3 = lanes.Step(s3, c3, e3);
            _MM_TRANSPOSE4_PS(y0, y1, y2, y3);
            const __m128 ay[MAX_LANES] = {y0, y1, y2, y3};
            for (uint32_t l = 0; l < in_uLanes; ++l)
                _mm_storeu_ps(apIo[l] + i, ay[l]);
        }
        for (; i < uCount; ++i) {
            const __m128 s = _mm_setr_ps(apIo[0][i], apIo[1][i], apIo[2][i], apIo[3][i]);
            const __m128 c = _mm_setr_ps(apComp[0][i], apComp[1][i], apComp[2][i], apComp[3][i]);
            const __m128 e = _mm_setr_ps(apExp[0][i], apExp[1][i], apExp[2][i], apExp[3][i]);
            float ay[MAX_LANES];
            _mm_storeu_ps(ay, lanes.Step(s, c, e));
            for (uint32_t l = 0; l < in_uLanes; ++l)
                apIo[l][i] = ay[l];
        }
    }

    Scatter(lanes.fPeak, in_uLanes, apStage, &DynamicsStage::m_fPeak);
    Scatter(lanes.fCompGain, in_uLanes, apStage, &DynamicsStage::m_fCompGain);
    Scatter(lanes.fExpGain, in_uLanes, apStage, &DynamicsStage::m_fExpGain);
    Scatter(lanes.fCompGainMin, in_uLanes, apStage, &DynamicsStage::m_fCompGainMin);
    Scatter(lanes.fExpGainMin, in_uLanes, apStage, &DynamicsStage::m_fExpGainMin);
    for (uint32_t l = 0; l < in_uLanes; ++l)
        AddGuard(in_uSamples, apSamples[l], apStage[l]->m_uOutputGuardCount);
}
#endif

void DynamicsDsp::SetSampleRate(float in_fSampleRate)
{
    if (in_fSampleRate == m_fSampleRate)
        return;
    m_fSampleRate = in_fSampleRate;
    for (DynamicsStage& stage : m_stages) {
        TimeConstant(stage.m_fCompAttackMs, m_fSampleRate, stage.m_fCompAttackCoeff, stage.m_fCompAttackGain);
        TimeConstant(stage.m_fCompReleaseMs, m_fSampleRate, stage.m_fCompReleaseCoeff, stage.m_fCompReleaseGain);
    }
}

float DynamicsDsp::GetPeak(uint32_t in_uStage)
{
    DynamicsStage& stage = m_stages[in_uStage];
    const float fPeak = stage.m_fPeak;
    stage.m_fPeak = 0.0f;
    return fPeak;
}

float DynamicsDsp::GetGainReduction(uint32_t in_uStage)
{
    DynamicsStage& stage = m_stages[in_uStage];
    const float fGain = stage.m_fCompGainMin * stage.m_fExpGainMin;
    stage.m_fCompGainMin = 1.0f;
    stage.m_fExpGainMin = 1.0f;
    return fGain;
}

void DynamicsDsp::Reset()
{
    for (DynamicsStage& stage : m_stages) {
        stage.m_fPeak = 0.0f;
        stage.m_fCompGain = 1.0f;
        stage.m_fExpGain = 1.0f;
        stage.m_fCompGainMin = 1.0f;
        stage.m_fExpGainMin = 1.0f;
        stage.m_uInputGuardCount = 0;
        stage.m_uOutputGuardCount = 0;
    }
}
