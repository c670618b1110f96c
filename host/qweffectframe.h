// What every effect object shares: the members of the host-facing object, the Init steps that
// bind the allocator and build the implementation, Term, GetPluginInfo and TimeSkip.
// Impl is built as Impl(uMaxFrames, args...) and must offer Reset().
#pragma once
#include <new>
#include <utility>
#include "host/qwassert.h"
#include "host/qwplugin.h"
#include "host/qwprocesspadded.h"
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

    // The parameter object given to Init, as the effect's own class.
    template <class Params>
    Params& ParamsAs() const
    {
        return *static_cast<Params*>(m_pParams);
    }

    // Applies one dirty group at the head of Execute: converts and hands over its values, then
    // clears the flag. If the allocator failed meanwhile the flag stays set, so the values are
    // sent again next block, and false tells the caller to skip this block.
    template <class Apply>
    static bool ApplyDirtyGroup(uint8_t& io_bDirty, Apply&& in_apply)
    {
        if (!io_bDirty)
            return true;
        in_apply();
        if (IsOutOfMemory())
            return false;
        io_bDirty = 0;
        return true;
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

// The most channels a block can carry: the count is the low byte of the channel configuration.
enum : uint32_t { QW_MAX_CHANNELS = 255 };

// Channel pointers for the effect's own channel count, channel i at i x the block's stride.
// Each goes through GetChannel, so a block with fewer channels than the effect was built for
// fires "in_uIndex < NumChannels()"; such a block then gathers nothing (returns 0), so that the
// caller runs nothing past its end. Otherwise returns the count. Callers keep the array on the
// stack, QW_MAX_CHANNELS long.
inline uint32_t QwGatherChannels(QwAudioBuffer& io_buffer, float** out_ppChannels, uint32_t in_uChannels)
{
    const uint32_t uCount = in_uChannels < QW_MAX_CHANNELS ? in_uChannels : QW_MAX_CHANNELS;
    for (uint32_t i = 0; i < uCount; ++i)
        out_ppChannels[i] = io_buffer.GetChannel(i);
    return uCount <= io_buffer.NumChannels() ? uCount : 0;
}
