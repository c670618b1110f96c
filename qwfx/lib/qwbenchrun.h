// One bench preset of one effect, made ready to time the way qwfx bench times it: the layout
// the preset names, its settings applied, the effect initialised for one block length, then
// whole passes of the host's render loop over a programme. Shared by qwfx bench and the peer
// benchmark, so both measure the same loop.
#pragma once
#include <cstdint>
#include <string>
#include "qwfx/lib/qweffectinstance.h"
#include "qwfx/lib/qweffectmeta.h"
#include "qwfx/lib/qwhostallocator.h"
#include "qwfx/lib/qwlayout.h"
#include "qwfx/lib/qwplanaraudio.h"

// A preset may name its layout with the pseudo-setting layout=NAME (stereo when it does not);
// the rest are parameter settings.
bool QwSplitBenchLayout(const char* in_pszSettings, const QwLayout*& out_pLayout, std::string& out_sRest,
                        std::string& out_sError);

class QwBenchRun
{
public:
    QwBenchRun() : m_instance(m_allocator) {}
    QwBenchRun(const QwBenchRun&) = delete;
    QwBenchRun& operator=(const QwBenchRun&) = delete;

    // in_pMeta may be null (defaults). On failure out_sError says why.
    bool Prepare(const QwPluginRegistration& in_record, const QwEffectMeta* in_pMeta, const QwPresetMeta& in_preset,
                 uint32_t in_uSampleRate, uint16_t in_uBlockFrames, std::string& out_sError);
    const QwLayout& Layout() const { return *m_pLayout; }
    // CPU seconds of the calling thread for one pass over in_programme (channels as Layout()).
    double Time(const QwPlanarAudio& in_programme);
    // Calls the module's allocator received during the passes timed so far.
    uint64_t ExecuteAllocations() const { return m_uExecuteAllocs; }

private:
    QwHostAllocator m_allocator;
    QwEffectInstance m_instance;
    const QwLayout* m_pLayout = nullptr;
    uint16_t m_uBlockFrames = 512;
    uint64_t m_uExecuteAllocs = 0;
};
