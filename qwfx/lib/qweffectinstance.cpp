#include "qwfx/lib/qweffectinstance.h"
#include <algorithm>

QwEffectInstance::~QwEffectInstance() { Release(); }

void QwEffectInstance::Release()
{
    // The effect keeps a pointer to the parameter object, so it goes first.
    if (m_pEffect) {
        m_pEffect->Term(&m_allocator);
        m_pEffect = nullptr;
    }
    if (m_pParams) {
        m_pParams->Term(&m_allocator);
        m_pParams = nullptr;
    }
    m_pContext.reset();
}

QwResult QwEffectInstance::CreateParams(const QwPluginRegistration& in_record, const std::vector<uint8_t>& in_block,
                                        uint32_t in_uPadTo)
{
    if (!in_record.pCreateParams)
        return QW_OutOfMemory;
    m_pParams = in_record.pCreateParams(&m_allocator);
    if (!m_pParams)
        return QW_OutOfMemory;
    m_paramBlock = in_block;
    m_paramBlock.resize(std::max<size_t>(in_block.size(), in_uPadTo), 0);
    const uint32_t uSize = static_cast<uint32_t>(in_block.size());
    return m_pParams->Init(&m_allocator, uSize ? m_paramBlock.data() : nullptr, uSize);
}

QwResult QwEffectInstance::SetParam(uint16_t in_uId, const void* in_pValue, uint32_t in_uSize)
{
    return m_pParams ? m_pParams->SetParam(in_uId, in_pValue, in_uSize) : QW_UnknownParam;
}

QwResult QwEffectInstance::CreateEffect(const QwPluginRegistration& in_record, const QwFormat& in_format,
                                        uint16_t in_uMaxFrames, std::vector<uint8_t> in_media)
{
    if (!in_record.pCreateFX || !m_pParams)
        return QW_OutOfMemory;
    m_pEffect = in_record.pCreateFX(&m_allocator);
    if (!m_pEffect)
        return QW_OutOfMemory;
    m_pContext.reset(new QwHostContext(in_uMaxFrames, std::move(in_media)));
    QwFormat format = in_format;
    return m_pEffect->Init(&m_allocator, m_pContext.get(), m_pParams, format);
}
