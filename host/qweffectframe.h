// What every effect object shares: the members of the host-facing object, the Init steps that
// bind the allocator and build the implementation, Term, GetPluginInfo and TimeSkip.
// Impl is built as Impl(uMaxFrames, args...) and must offer Reset().
#pragma once
#include <new>
#include <utility>
#include "host/qwassert.h"
#include "host/qwplugin.h"
#include "host/qwtailhandler.h"
#include "kvbase/common/common_allocator.h"

template <class Impl>
class QwEffectFrame : public QwEffectPlugin
{
public:
    QwResult Term(QwPluginMemAlloc* in_pAllocator) override
    {
        if (m_pImpl) {
            m_pImpl->~Impl();
            in_pAllocator->Free(m_pImpl);
            m_pImpl = nullptr;
        }
        this->~QwEffectFrame();
        in_pAllocator->Free(this);
        return QW_Success;
    }

    QwResult Reset() override
    {
        if (m_pImpl)
            m_pImpl->Reset();
        return QW_Success;
    }

    QwResult GetPluginInfo(QwPluginMemAlloc*, QwPluginInfo& out_info) override
    {
        out_info.eType = QW_PLUGIN_TYPE_EFFECT;
        out_info.uBuildVersion = QW_BUILD_VERSION;
        out_info.bIsInPlace = true;
        return QW_Success;
    }

    // Skipped time never advances any DSP state.
    QwResult TimeSkip(uint32_t) override { return QW_DataReady; }

    Impl* GetImpl() const { return m_pImpl; }
    uint32_t GetTailFrames() const { return m_uTailFrames; }

    // Effect factory: members zeroed, tail in its start state, no DSP object yet.
    template <class Derived>
    static QwEffectPlugin* CreateAs(QwPluginMemAlloc* in_pAllocator)
    {
        void* pMemory = in_pAllocator->Malloc(sizeof(Derived), __FILE__, __LINE__);
        if (!pMemory)
            return nullptr;
        return new (pMemory) Derived();
    }

protected:
    // Init steps 1 and 2: refuse an unknown layout (when the effect filters layouts), then store.
    QwResult BeginInit(QwPluginMemAlloc* in_pAllocator, QwPluginParam* in_pParams, const QwFormat& in_format,
                       bool in_bFilterLayout)
    {
        if (in_bFilterLayout && !QwIsKnownSpeakerMask(QwSpeakerMask(in_format.uChannelConfig)))
            return QW_UnsupportedChannels;
        m_pParams = in_pParams;
        m_pAllocator = in_pAllocator;
        m_format = in_format;
        return QW_Success;
    }

    // Init steps 4 to 6: bind the allocator, build the implementation, report 52 on any failure.
    template <class... Args>
    QwResult BuildImpl(QwEffectContext* in_pContext, Args&&... args)
    {
        BindAllocator(m_pAllocator, 0, 0);
        Impl* pImpl = nullptr;
        void* pMemory = m_pAllocator->Malloc(sizeof(Impl), __FILE__, __LINE__);
        if (pMemory) {
            const uint16_t uMaxFrames =
                static_cast<uint16_t>(in_pContext->GetGlobalContext()->GetMaxFramesPerBlock() & 0xFFFFu);
            pImpl = new (pMemory) Impl(uMaxFrames, std::forward<Args>(args)...);
        }
        m_pImpl = pImpl;
        if (!pImpl || IsOutOfMemory())
            return QW_OutOfMemory;
        return QW_Success;
    }

    // Init step 7: media index 0, 79 when missing or empty.
    static QwResult FetchMedia(QwEffectContext* in_pContext, const uint8_t*& out_pData, uint32_t& out_uSize)
    {
        out_pData = nullptr;
        out_uSize = 0;
        in_pContext->GetPluginMedia(0, out_pData, out_uSize);
        if (!out_pData || out_uSize == 0)
            return QW_MediaMissing;
        return QW_Success;
    }

    QwPluginParam* m_pParams = nullptr;
    QwPluginMemAlloc* m_pAllocator = nullptr;
    QwFormat m_format = {0, 0, 0};
    Impl* m_pImpl = nullptr;
    QwTailHandler m_tail;
    uint32_t m_uTailFrames = 0;
};

// Channel pointers of a block, channel i at i x the block's stride; returns the count.
inline uint32_t QwGatherChannels(QwAudioBuffer& io_buffer, float** out_ppChannels, uint32_t in_uMaxChannels)
{
    const uint32_t uChannels = io_buffer.NumChannels();
    const uint32_t uCount = uChannels < in_uMaxChannels ? uChannels : in_uMaxChannels;
    for (uint32_t i = 0; i < uCount; ++i)
        out_ppChannels[i] = io_buffer.GetChannel(i);
    return uCount;
}

// Runs a fixed-size engine over a possibly short block: the valid frames go through a
// zero-padded scratch block so that the engine's state advances by the whole block size,
// and only the valid frames are copied back.
template <class Process>
void QwProcessPadded(float* io_pChannel, uint32_t in_uValidFrames, uint32_t in_uBlockFrames, float* io_pScratch,
                     Process&& in_process)
{
    if (in_uValidFrames < in_uBlockFrames) {
        for (uint32_t i = 0; i < in_uBlockFrames; ++i)
            io_pScratch[i] = 0.0f;
    }
    for (uint32_t i = 0; i < in_uValidFrames; ++i)
        io_pScratch[i] = io_pChannel[i];
    in_process(io_pScratch, in_uBlockFrames);
    for (uint32_t i = 0; i < in_uValidFrames; ++i)
        io_pChannel[i] = io_pScratch[i];
}
