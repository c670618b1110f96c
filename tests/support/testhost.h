// The shared test host: an assertion recorder wired into the module's slot, a counting and
// failing allocator, and an effect context with a chosen block size and media.
#pragma once
#include <cstdint>
#include <vector>
#include "host/qwassert.h"
#include "host/qweffectcontext.h"
#include "kvbase/common/common_allocator.h"
#include "qwfx/lib/qwassertlog.h"
#include "qwfx/lib/qwhostallocator.h"

// Installs the recorder in the module's slot for its lifetime and binds a fresh allocator.
class TestHost
{
public:
    TestHost()
    {
        m_pPreviousHook = g_pQWPluginList.QwAssertHook;
        g_pQWPluginList.QwAssertHook = &QwAssertLog::Hook;
        BindAllocator(&allocator, 0, 0);
    }
    ~TestHost()
    {
        g_pQWPluginList.QwAssertHook = m_pPreviousHook;
        BindAllocator(nullptr, 0, 0);
    }

    QwAssertLog asserts;
    QwHostAllocator allocator;

private:
    QwAssertHookFn m_pPreviousHook;
};

class TestGlobalContext : public QwGlobalContext
{
public:
    explicit TestGlobalContext(uint16_t in_uMaxFrames) : uMaxFrames(in_uMaxFrames) {}
    uint16_t GetMaxFramesPerBlock() override { return uMaxFrames; }
    uint16_t uMaxFrames;
};

class TestEffectContext : public QwEffectContext
{
public:
    explicit TestEffectContext(uint16_t in_uMaxFrames) : global(in_uMaxFrames) {}
    QwGlobalContext* GetGlobalContext() override { return &global; }
    void GetPluginMedia(uint32_t, const uint8_t*& out_pData, uint32_t& out_uSize) override
    {
        out_pData = media.empty() ? nullptr : media.data();
        out_uSize = static_cast<uint32_t>(media.size());
    }
    TestGlobalContext global;
    std::vector<uint8_t> media;
};
