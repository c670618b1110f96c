// One effect of the module as an LV2 instance runs it: the parameter and effect objects, and
// the block adapter that turns the host's runs of any length into whole process blocks.
//
// The effects pad a short block to their whole block and advance time by the whole block, so
// they must only ever see whole blocks. The adapter is QwMismatchBuffering, given a host block
// size H of about two thirds of the process block B: then its ring is two blocks and its primed
// latency L = 3H - B is at least B - 1, which is what any run length needs. (After a run of n
// frames the ring holds L + n frames past the read point, all of them processed but the last
// partial block, at most B - 1 frames; so n frames are ready whenever L >= B - 1.) Runs longer
// than H go through in pieces of at most H.
#pragma once
#include <atomic>
#include <cstdint>
#include <string>
#include <vector>
#include "host/qwmismatchbuffering.h"
#include "host/qwpluginregistration.h"
#include "host/qwtailhandler.h"
#include "qwfx/lib/qweffectinstance.h"
#include "qwfx/lib/qweffectmeta.h"

// malloc and free: thread-safe, shared by every instance, since the module keeps one allocator
// binding for all its effects. Only Init, the worker and Term reach it; never the audio thread.
class QwLv2Allocator : public QwPluginMemAlloc
{
public:
    void* Malloc(size_t in_uSize, const char* in_pszFile, int32_t in_iLine) override;
    void* MallocAligned(size_t in_uSize, uint32_t in_uAlignment, const char* in_pszFile, int32_t in_iLine) override;
    void Free(void* in_pMemory) override;
};
QwLv2Allocator& QwLv2SharedAllocator();

// The process block for a host block length: the next power of two, from 64 to 1024.
uint32_t QwLv2ProcessFrames(uint32_t in_uHostBlockFrames);
// The host block size handed to the adapter for process block B: ceil((2B - 1) / 3).
uint32_t QwLv2AdapterFrames(uint32_t in_uProcessFrames);

// A port value as the module stores it: an f32's bits, or a u32 rounded half away from zero
// and held to the table's range (choice lists index arrays inside the module).
uint32_t QwLv2ValueBits(const QwParamMeta& in_param, float in_fValue);

class QwLv2Engine
{
public:
    // Everything that allocates happens here, off the audio thread. in_values holds the bits
    // of every table row; they are in place before Init. in_bWholeRuns: every run is exactly
    // in_uProcessFrames long, so no adapter. Null and out_sError on failure.
    static QwLv2Engine* Create(const QwPluginRegistration& in_record, const QwEffectMeta& in_meta,
                               uint32_t in_uChannelConfig, uint32_t in_uSampleRate,
                               uint32_t in_uProcessFrames, bool in_bWholeRuns,
                               const std::vector<uint32_t>& in_values, std::vector<uint8_t> in_media,
                               std::string& out_sError);
    ~QwLv2Engine();
    QwLv2Engine(const QwLv2Engine&) = delete;
    QwLv2Engine& operator=(const QwLv2Engine&) = delete;

    // Audio thread from here on: nothing allocates.
    // Hands a value to the effect through SetParam unless it is the one it already has.
    void Update(uint32_t in_uRow, uint32_t in_uBits);
    uint32_t Applied(uint32_t in_uRow) const { return m_applied[in_uRow]; }
    // Any number of frames; the output is the input's effect L frames later.
    void Process(const float* const* in_apIn, float* const* in_apOut, uint32_t in_uFrames);
    uint32_t LatencyFrames() const { return m_mmb.LatencyFrames(); }
    // Empties the adapter and resets the effect's state (activate).
    void Reset();

    // The file the media came from, empty for the built-in media; fixed at Create.
    std::string sMediaPath;

private:
    QwLv2Engine() : m_instance(QwLv2SharedAllocator()) {}

    const QwEffectMeta* m_pMeta = nullptr;
    QwEffectInstance m_instance;
    QwMismatchBuffering m_mmb;
    QwTailHandler m_tail;
    std::vector<float> m_scratch;     // channel-major, stride m_uChunkFrames
    std::vector<uint32_t> m_applied;  // the bits the effect was last given, per table row
    uint32_t m_uChunkFrames = 0;
    uint32_t m_uChannelConfig = 0;
    uint32_t m_uChannels = 0;
    bool m_bWholeRuns = false;
};

// How often the module reported an assertion, process-wide; the hook only counts, so that it
// is safe on the audio thread.
extern std::atomic<uint64_t> g_qwLv2AssertCount;
void QwLv2AssertHook(const char* in_pszExpression, const char* in_pszFile, int in_iLine);
