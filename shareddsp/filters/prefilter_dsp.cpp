#include "shareddsp/filters/prefilter_dsp.h"
#include <cmath>
#include "host/qwassert.h"
#include "kvbase/common/common_cast.h"
#include "kvdspbase/dsp/iirfilter.h"
#include "shareddsp/filters/filterstatefactory.h"
#include "shareddsp/filters/filterstatenone.h"

namespace {

struct InitialSettings
{
    uint32_t uType;
    float afParams[NUM_FILTER_PARAMS]; // in SetParam index order
};

// A 40 Hz high-pass, a flat peak at 1 kHz and a 15 kHz low-pass.
const InitialSettings s_aInitial[PrefilterDsp::NUM_FILTERS] = {
    {FILTER_BIQUAD_HIGH_PASS, {40.0f, 0.0f, 0.5f, 0.2f, 1000.0f, 160.0f, 0.0f, 0.5f, 0.2f}},
    {FILTER_BIQUAD_PEAK, {1000.0f, 0.0f, 0.2f, 0.2f, 1000.0f, 3000.0f, 0.0f, 0.2f, 0.2f}},
    {FILTER_BIQUAD_LOW_PASS, {15000.0f, 0.0f, 0.5f, 0.2f, 1000.0f, 20000.0f, 0.0f, 0.5f, 0.2f}},
};

float* ParamField(FilterState& in_filter, uint32_t in_uIndex)
{
    switch (in_uIndex) {
    case FILTER_PARAM_FREQUENCY:
        return &in_filter.m_fFrequency;
    case FILTER_PARAM_GAIN:
        return &in_filter.m_fGainDb;
    case FILTER_PARAM_Q:
        return &in_filter.m_fQ;
    case FILTER_PARAM_RESONANCE:
        return &in_filter.m_fResonance;
    case FILTER_PARAM_LFO_PERIOD:
        return &in_filter.m_fLfoPeriodMs;
    case FILTER_PARAM_FREQUENCY2:
        return &in_filter.m_fFrequency2;
    case FILTER_PARAM_GAIN2:
        return &in_filter.m_fGainDb2;
    case FILTER_PARAM_Q2:
        return &in_filter.m_fQ2;
    case FILTER_PARAM_RESONANCE2:
        return &in_filter.m_fResonance2;
    default:
        return nullptr;
    }
}

inline float Morph(float in_fFrom, float in_fTo, float in_fValue) { return in_fFrom + (in_fTo - in_fFrom) * in_fValue; }

} // namespace

PrefilterDsp::PrefilterDsp(float in_fSampleRate) : m_fSampleRate(in_fSampleRate)
{
    m_filters.resize(NUM_FILTERS);
    if (m_filters.size() != NUM_FILTERS)
        return;
    const FilterStateNone defaults;
    for (uint32_t i = 0; i < NUM_FILTERS; ++i) {
        m_filters[i].reset(CreateFilterState(defaults.m_uType, &defaults));
        if (!m_filters[i])
            continue;
        for (uint32_t k = 0; k < NUM_FILTER_PARAMS; ++k)
            SetParam(i, k, s_aInitial[i].afParams[k]);
        SetType(i, s_aInitial[i].uType);
    }
}

FilterState* PrefilterDsp::Filter(uint32_t in_uFilter) const
{
    return in_uFilter < m_filters.size() ? m_filters[in_uFilter].raw() : nullptr;
}

const FilterState* PrefilterDsp::GetFilter(uint32_t in_uFilter) const { return Filter(in_uFilter); }

bool PrefilterDsp::SetType(uint32_t in_uFilter, uint32_t in_uType)
{
    QW_ASSERT(in_uType < NUM_FILTER_TYPES);
    if (in_uType >= NUM_FILTER_TYPES || in_uFilter >= m_filters.size())
        return false;
    FilterState* pFilter = Filter(in_uFilter);
    if (!pFilter || pFilter->m_uType != in_uType) {
        // A new object even within a class: a new type starts from silence.
        FilterState* pNew = CreateFilterState(in_uType, pFilter);
        m_filters[in_uFilter].reset(pNew);
        pFilter = Filter(in_uFilter);
        if (!pFilter)
            return false;
    }
    pFilter->m_uType = in_uType;
    pFilter->Configure(in_uType, m_fSampleRate);
    return true;
}

bool PrefilterDsp::SetParam(uint32_t in_uFilter, uint32_t in_uIndex, float in_fValue)
{
    QW_ASSERT(in_uIndex < NUM_FILTER_PARAMS);
    FilterState* pFilter = Filter(in_uFilter);
    if (in_uIndex >= NUM_FILTER_PARAMS || !pFilter)
        return false;
    *ParamField(*pFilter, in_uIndex) = in_fValue;
    return SetType(in_uFilter, pFilter->m_uType);
}

bool PrefilterDsp::SetMode(uint32_t in_uFilter, uint32_t in_uMode)
{
    FilterState* pFilter = Filter(in_uFilter);
    if (!pFilter || in_uMode >= 3)
        return false;
    pFilter->m_uMode = in_uMode;
    return true;
}

bool PrefilterDsp::SetLfoShape(uint32_t in_uFilter, uint32_t in_uShape)
{
    // Shape 5 is accepted although no shape computes it: it fails when the LFO runs.
    FilterState* pFilter = Filter(in_uFilter);
    if (!pFilter || in_uShape > NUM_LFO_SHAPES)
        return false;
    pFilter->m_uLfoShape = in_uShape;
    return true;
}

uint32_t PrefilterDsp::GetType(uint32_t in_uFilter) const
{
    const FilterState* pFilter = Filter(in_uFilter);
    return pFilter ? pFilter->m_uType : 0;
}

float PrefilterDsp::GetParam(uint32_t in_uFilter, uint32_t in_uIndex) const
{
    FilterState* pFilter = Filter(in_uFilter);
    float* pField = pFilter ? ParamField(*pFilter, in_uIndex) : nullptr;
    return pField ? *pField : 0.0f;
}

uint32_t PrefilterDsp::GetMode(uint32_t in_uFilter) const
{
    const FilterState* pFilter = Filter(in_uFilter);
    return pFilter ? pFilter->m_uMode : 0;
}

uint32_t PrefilterDsp::GetLfoShape(uint32_t in_uFilter) const
{
    const FilterState* pFilter = Filter(in_uFilter);
    return pFilter ? pFilter->m_uLfoShape : 0;
}

uint32_t PrefilterDsp::GetLfoPosition(uint32_t in_uFilter) const
{
    const FilterState* pFilter = Filter(in_uFilter);
    return pFilter ? pFilter->m_uLfoPosition : 0;
}

float PrefilterDsp::GetLfoValue(uint32_t in_uFilter) const
{
    const FilterState* pFilter = Filter(in_uFilter);
    return pFilter ? pFilter->m_fLfoValue : 0.0f;
}

void PrefilterDsp::Reset()
{
    for (uint32_t i = 0; i < m_filters.size(); ++i)
        if (FilterState* pFilter = Filter(i))
            pFilter->Reset();
}

bool PrefilterDsp::LfoValue(uint32_t in_uShape, float in_fPhase, float& out_fValue)
{
    const float t = in_fPhase;
    switch (in_uShape) {
    case LFO_SINE:
        out_fValue = (std::sin(6.2831855f * t) + 1.0f) / 2.0f;
        return true;
    case LFO_SQUARE:
        out_fValue = t >= 0.5f ? 1.0f : 0.0f;
        return true;
    case LFO_RAMP_UP:
        out_fValue = t;
        return true;
    case LFO_RAMP_DOWN:
        out_fValue = 1.0f - t;
        return true;
    case LFO_TRIANGLE:
        out_fValue = t < 0.5f ? 2.0f * t : 1.0f - (((t - 0.5f) + t) - 0.5f);
        return true;
    default:
        return false;
    }
}

void PrefilterDsp::ProcessModulated(FilterState& io_filter, uint32_t in_uFrames, float* io_pSamples)
{
    const uint32_t uPeriod = round_cast<uint32_t>(static_cast<double>(io_filter.m_fLfoPeriodMs) * 0.001 *
                                                  static_cast<double>(m_fSampleRate));
    QW_ASSERT(uPeriod > 0);
    if (uPeriod == 0)
        return;
    const float fInversePeriod = 1.0f / static_cast<float>(uPeriod);
    for (uint32_t uStart = 0; uStart < in_uFrames; uStart += LFO_CHUNK) {
        const uint32_t uCount = in_uFrames - uStart < LFO_CHUNK ? in_uFrames - uStart : LFO_CHUNK;
        const float t = static_cast<float>(io_filter.m_uLfoPosition) * fInversePeriod;
        float v = 0.0f;
        if (!LfoValue(io_filter.m_uLfoShape, t, v)) {
            QW_ASSERT(io_filter.m_uLfoShape < NUM_LFO_SHAPES);
            return;
        }
        io_filter.m_fLfoValue = v;
        io_filter.Update(m_fSampleRate, Morph(io_filter.m_fFrequency, io_filter.m_fFrequency2, v),
                         Morph(io_filter.m_fGainDb, io_filter.m_fGainDb2, v), Morph(io_filter.m_fQ, io_filter.m_fQ2, v),
                         Morph(io_filter.m_fResonance, io_filter.m_fResonance2, v));
        io_filter.Process(uCount, io_pSamples + uStart);
        io_filter.m_uLfoPosition = (io_filter.m_uLfoPosition + uCount) % uPeriod;
    }
}

bool PrefilterDsp::ProcessPair(PrefilterDsp& io_first, PrefilterDsp& io_second, uint32_t in_uFrames,
                               float* io_pFirst, float* io_pSecond)
{
    IirFilter* apChains[2][IirFilter::MAX_CHAIN];
    uint32_t auCount[2] = {0, 0};
    PrefilterDsp* apDsp[2] = {&io_first, &io_second};
    for (uint32_t c = 0; c < 2; ++c) {
        for (uint32_t i = 0; i < apDsp[c]->m_filters.size(); ++i) {
            FilterState* pFilter = apDsp[c]->Filter(i);
            if (!pFilter)
                continue;
            IirFilter* pBiquad = pFilter->m_uMode == FILTER_MODE_STATIC ? pFilter->StaticBiquad() : nullptr;
            if (!pBiquad || auCount[c] == IirFilter::MAX_CHAIN)
                return false;
            apChains[c][auCount[c]++] = pBiquad;
        }
    }
    if (auCount[0] != auCount[1] || auCount[0] == 0)
        return false;
    IirFilter::ProcessChainPair(in_uFrames, io_pFirst, io_pSecond, apChains[0], apChains[1], auCount[0]);
    return true;
}

void PrefilterDsp::Process(uint32_t in_uFrames, float* io_pSamples)
{
    // Consecutive static biquads run as one chain, sample by sample through all of them: the
    // same values as one after another, with their recursions overlapping.
    IirFilter* apChain[IirFilter::MAX_CHAIN];
    uint32_t uChain = 0;
    for (uint32_t i = 0; i < m_filters.size(); ++i) {
        FilterState* pFilter = Filter(i);
        if (!pFilter)
            continue;
        IirFilter* pBiquad = pFilter->m_uMode == FILTER_MODE_STATIC ? pFilter->StaticBiquad() : nullptr;
        if (pBiquad && uChain < IirFilter::MAX_CHAIN) {
            apChain[uChain++] = pBiquad;
            continue;
        }
        if (uChain)
            IirFilter::ProcessChain(in_uFrames, io_pSamples, apChain, uChain);
        uChain = 0;
        if (pBiquad)
            apChain[uChain++] = pBiquad;
        else if (pFilter->m_uMode == FILTER_MODE_STATIC)
            pFilter->Process(in_uFrames, io_pSamples);
        else if (pFilter->m_uMode == FILTER_MODE_MODULATED)
            ProcessModulated(*pFilter, in_uFrames, io_pSamples);
    }
    if (uChain)
        IirFilter::ProcessChain(in_uFrames, io_pSamples, apChain, uChain);
}
