// What the host serves an effect at Init: the block size and plug-in media index 0.
#pragma once
#include <cstdint>
#include <vector>
#include "host/qweffectcontext.h"

class QwHostContext : public QwEffectContext, public QwGlobalContext
{
public:
    QwHostContext(uint16_t in_uMaxFrames, std::vector<uint8_t> in_media)
        : m_uMaxFrames(in_uMaxFrames), m_media(std::move(in_media))
    {
    }
    virtual ~QwHostContext() = default;

    QwGlobalContext* GetGlobalContext() override { return this; }
    uint16_t GetMaxFramesPerBlock() override { return m_uMaxFrames; }
    // Only index 0 exists; any other index, or no media, leaves data null and size 0.
    void GetPluginMedia(uint32_t in_uIndex, const uint8_t*& out_pData, uint32_t& out_uSize) override;

private:
    uint16_t m_uMaxFrames;
    std::vector<uint8_t> m_media;
};
