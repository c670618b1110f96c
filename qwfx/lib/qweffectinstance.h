// One effect instance as the host drives it: parameter object, effect object, their
// allocator and context, torn down in the order the module needs (effect first).
#pragma once
#include <cstdint>
#include <memory>
#include <string>
#include <vector>
#include "host/qwplugin.h"
#include "host/qwpluginregistration.h"
#include "qwfx/lib/qwhostcontext.h"

class QwEffectInstance
{
public:
    explicit QwEffectInstance(QwPluginMemAlloc& in_allocator) : m_allocator(in_allocator) {}
    ~QwEffectInstance();
    QwEffectInstance(const QwEffectInstance&) = delete;
    QwEffectInstance& operator=(const QwEffectInstance&) = delete;

    // Parameter factory, then Init with these bytes (size 0: defaults). The bytes are copied
    // into a zero-padded buffer of at least in_uPadTo bytes, because a short block makes the
    // module read past its end and that must not leave host memory.
    QwResult CreateParams(const QwPluginRegistration& in_record, const std::vector<uint8_t>& in_block,
                          uint32_t in_uPadTo);
    QwResult SetParam(uint16_t in_uId, const void* in_pValue, uint32_t in_uSize);
    // Effect factory, then Init. QW_OutOfMemory when a factory returns null.
    QwResult CreateEffect(const QwPluginRegistration& in_record, const QwFormat& in_format, uint16_t in_uMaxFrames,
                          std::vector<uint8_t> in_media);

    QwEffectPlugin* Effect() const { return m_pEffect; }
    QwPluginParam* Params() const { return m_pParams; }
    // Terminates the effect, then the parameter object.
    void Release();

private:
    QwPluginMemAlloc& m_allocator;
    QwPluginParam* m_pParams = nullptr;
    QwEffectPlugin* m_pEffect = nullptr;
    std::unique_ptr<QwHostContext> m_pContext;
    std::vector<uint8_t> m_paramBlock;
};
