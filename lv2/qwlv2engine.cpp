#include "lv2/qwlv2engine.h"
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include "lv2/qwlv2names.h"
#include "qwfx/lib/qwresultcodes.h"

std::atomic<uint64_t> g_qwLv2AssertCount{0};

void QwLv2AssertHook(const char*, const char*, int) { g_qwLv2AssertCount.fetch_add(1, std::memory_order_relaxed); }

void* QwLv2Allocator::Malloc(size_t in_uSize, const char*, int32_t) { return std::malloc(in_uSize ? in_uSize : 1); }

void* QwLv2Allocator::MallocAligned(size_t in_uSize, uint32_t in_uAlignment, const char*, int32_t)
{
    void* p = nullptr;
    const size_t uAlign = std::max<size_t>(in_uAlignment, sizeof(void*));
    return posix_memalign(&p, uAlign, in_uSize ? in_uSize : 1) == 0 ? p : nullptr;
}

void QwLv2Allocator::Free(void* in_pMemory) { std::free(in_pMemory); }

QwLv2Allocator& QwLv2SharedAllocator()
{
    static QwLv2Allocator s_allocator;
    return s_allocator;
}

uint32_t QwLv2ProcessFrames(uint32_t in_uHostBlockFrames)
{
    uint32_t uFrames = 64;
    while (uFrames < in_uHostBlockFrames && uFrames < 1024)
        uFrames *= 2;
    return uFrames;
}

uint32_t QwLv2AdapterFrames(uint32_t in_uProcessFrames) { return (2 * in_uProcessFrames - 1 + 2) / 3; }

uint32_t QwLv2ValueBits(const QwParamMeta& in_param, float in_fValue)
{
    if (in_param.eType == QwParamType::F32) {
        uint32_t uBits;
        std::memcpy(&uBits, &in_fValue, sizeof uBits);
        return uBits;
    }
    const double fHeld = std::min(std::max(static_cast<double>(in_fValue), in_param.fMin), in_param.fMax);
    return static_cast<uint32_t>(std::lround(std::isnan(fHeld) ? in_param.fDefault : fHeld));
}

QwLv2Engine* QwLv2Engine::Create(const QwPluginRegistration& in_record, const QwEffectMeta& in_meta,
                                 uint32_t in_uChannelConfig, uint32_t in_uSampleRate,
                                 uint32_t in_uProcessFrames, bool in_bWholeRuns,
                                 const std::vector<uint32_t>& in_values, std::vector<uint8_t> in_media,
                                 std::string& out_sError)
{
    QwLv2Engine* pEngine = new QwLv2Engine();
    const std::string sName = in_meta.pszShortName;
    QwResult eResult = pEngine->m_instance.CreateParams(in_record, {}, in_meta.uBlockBytes);
    for (uint32_t i = 0; eResult == QW_Success && i < in_meta.uParamCount; ++i)
        eResult = pEngine->m_instance.SetParam(in_meta.pParams[i].uId, &in_values[i], sizeof(uint32_t));
    if (eResult != QW_Success) {
        out_sError = sName + ": setting up the parameters returned " + QwResultMeaning(eResult);
        delete pEngine;
        return nullptr;
    }
    pEngine->m_pMeta = &in_meta;
    pEngine->m_applied = in_values;
    pEngine->m_uChannelConfig = in_uChannelConfig;
    pEngine->m_uChannels = QwChannelCount(in_uChannelConfig);
    const QwFormat format = {in_uSampleRate, in_uChannelConfig, 0};
    eResult = pEngine->m_instance.CreateEffect(in_record, format, static_cast<uint16_t>(in_uProcessFrames),
                                               std::move(in_media));
    if (eResult != QW_Success) {
        out_sError = sName + ": Init returned " + std::to_string(eResult) + " (" + QwResultMeaning(eResult) + ")";
        delete pEngine;
        return nullptr;
    }
    pEngine->m_bWholeRuns = in_bWholeRuns;
    pEngine->m_uChunkFrames = in_bWholeRuns ? in_uProcessFrames : QwLv2AdapterFrames(in_uProcessFrames);
    if (!in_bWholeRuns &&
        (pEngine->m_mmb.Init(&QwLv2SharedAllocator(), pEngine->m_uChunkFrames, pEngine->m_uChannels) != QW_Success ||
         pEngine->m_mmb.ProcessBlockFrames() != in_uProcessFrames)) {
        out_sError = sName + ": the block adapter could not be set up";
        delete pEngine;
        return nullptr;
    }
    pEngine->m_scratch.assign(static_cast<size_t>(pEngine->m_uChannels) * pEngine->m_uChunkFrames, 0.0f);
    return pEngine;
}

QwLv2Engine::~QwLv2Engine()
{
    // The effect keeps no pointer into the adapter, so the order does not matter.
    m_instance.Release();
    m_mmb.Term(&QwLv2SharedAllocator());
}

void QwLv2Engine::Update(uint32_t in_uRow, uint32_t in_uBits)
{
    if (m_applied[in_uRow] == in_uBits)
        return;
    m_applied[in_uRow] = in_uBits;
    m_instance.SetParam(m_pMeta->pParams[in_uRow].uId, &in_uBits, sizeof in_uBits);
}

void QwLv2Engine::Process(const float* const* in_apIn, float* const* in_apOut, uint32_t in_uFrames)
{
    QwEffectPlugin* pEffect = m_instance.Effect();
    for (uint32_t uDone = 0; uDone < in_uFrames;) {
        const uint32_t n = std::min(in_uFrames - uDone, m_uChunkFrames);
        for (uint32_t c = 0; c < m_uChannels; ++c)
            std::memcpy(&m_scratch[c * m_uChunkFrames], in_apIn[c] + uDone, n * sizeof(float));
        QwAudioBuffer buffer = {m_scratch.data(), m_uChannelConfig, QW_DataReady,
                                static_cast<uint16_t>(m_uChunkFrames), static_cast<uint16_t>(n)};
        if (m_bWholeRuns)
            pEffect->Execute(&buffer);
        else
            m_mmb.Run(buffer, m_tail, [] { return 0u; }, [&](QwAudioBuffer& io_block) { pEffect->Execute(&io_block); });
        // The latency covers every run length, so the adapter always fills the block; should
        // it not, the rest is silence rather than stale samples.
        const uint32_t uGot = std::min<uint32_t>(buffer.uValidFrames, n);
        for (uint32_t c = 0; c < m_uChannels; ++c) {
            std::memcpy(in_apOut[c] + uDone, &m_scratch[c * m_uChunkFrames], uGot * sizeof(float));
            std::fill(in_apOut[c] + uDone + uGot, in_apOut[c] + uDone + n, 0.0f);
        }
        uDone += n;
    }
}

void QwLv2Engine::Reset()
{
    m_mmb.ResetIndices();
    m_tail = QwTailHandler();
    if (m_instance.Effect())
        m_instance.Effect()->Reset();
}
