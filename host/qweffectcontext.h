// What the host offers an effect at Init: the global context and plug-in media.
#pragma once
#include <cstdint>

class QwGlobalContext
{
public:
    // The largest block the host will ever pass to Execute.
    virtual uint16_t GetMaxFramesPerBlock() = 0;

protected:
    ~QwGlobalContext() = default;
};

class QwEffectContext
{
public:
    virtual QwGlobalContext* GetGlobalContext() = 0;
    // Data may stay null and size 0 when the host has no media at that index.
    virtual void GetPluginMedia(uint32_t in_uIndex, const uint8_t*& out_pData, uint32_t& out_uSize) = 0;

protected:
    ~QwEffectContext() = default;
};
