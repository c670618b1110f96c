#include "shareddsp/dynamics/dynamicsdsp.h"
#include <cfloat>
#include <cmath>
#include "shareddsp/dynamics/dynamicspow.h"

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
// the choice of the samples where the target applies. Inside the loop the pow calls would
// queue behind the gains' dependency chain.
void CompressorTargets(uint32_t in_uSamples, const float* in_pSamples, float in_fThreshold, float in_fExponent,
                       DynamicsPowFn in_pfnPow, float* out_pTargets)
{
    float afRatio[CHUNK];
    for (uint32_t i = 0; i < in_uSamples; ++i)
        afRatio[i] = std::fabs(in_pSamples[i]) / in_fThreshold;
    PowTargets(in_uSamples, afRatio, in_fExponent, in_pfnPow, out_pTargets);
    for (uint32_t i = 0; i < in_uSamples; ++i) {
        const float x = std::fabs(in_pSamples[i]);
        // Beyond the largest float (an infinite sample) the kernel's domain ends: powf itself.
        const float fPow = afRatio[i] <= FLT_MAX ? out_pTargets[i] : std::pow(afRatio[i], in_fExponent);
        out_pTargets[i] = x > in_fThreshold ? fPow : 1.0f;
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
    const float fCompThreshold = stage.m_fCompThreshold;
    const float fCompExponent = stage.m_fCompSlope - 1.0f;
    // Exact comparisons: a ratio of 1 skips pow altogether.
    const bool bCompActive = stage.m_fCompSlope != 1.0f;
    const float fCompAttackCoeff = stage.m_fCompAttackCoeff;
    const float fCompAttackGain = stage.m_fCompAttackGain;
    const float fCompReleaseCoeff = stage.m_fCompReleaseCoeff;
    const float fCompReleaseGain = stage.m_fCompReleaseGain;
    const float fExpThreshold = stage.m_fExpThreshold;
    const float fExpExponent = stage.m_fExpSlope - 1.0f;
    const bool bExpActive = stage.m_fExpSlope != 1.0f;
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

    const DynamicsPowFn pfnPow = bCompActive || bExpActive ? DynamicsPowKernel() : nullptr;
    float afComp[CHUNK];
    float afExp[CHUNK];
    for (uint32_t uDone = 0; uDone < in_uSamples; uDone += CHUNK) {
        const uint32_t uCount = in_uSamples - uDone < CHUNK ? in_uSamples - uDone : CHUNK;
        float* pSamples = io_pSamples + uDone;
        if (bCompActive)
            CompressorTargets(uCount, pSamples, fCompThreshold, fCompExponent, pfnPow, afComp);
        else
            Fill(uCount, 1.0f, afComp);
        if (bExpActive)
            ExpanderTargets(uCount, pSamples, fExpThreshold, fExpExponent, pfnPow, afExp);
        else
            Fill(uCount, 1.0f, afExp);

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
