// The host's allocator: counts calls and bytes, can fail the k-th allocation on demand, holds
// to a budget of live bytes as a game engine's pool does, and tells whether every block was
// given back. Used by qwfx and by the tests.
#pragma once
#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include "host/qwpluginmemalloc.h"

class QwHostAllocator : public QwPluginMemAlloc
{
public:
    QwHostAllocator() = default;
    QwHostAllocator(const QwHostAllocator&) = delete;
    QwHostAllocator& operator=(const QwHostAllocator&) = delete;
    virtual ~QwHostAllocator();

    void* Malloc(size_t in_uSize, const char* in_pszFile, int32_t in_iLine) override;
    void* MallocAligned(size_t in_uSize, uint32_t in_uAlignment, const char* in_pszFile, int32_t in_iLine) override;
    void Free(void* in_pMemory) override;

    // The k-th allocation from now (1-based) returns null; 0 disarms.
    void FailAt(uint64_t in_uK) { m_uFailAt = in_uK ? m_uAllocCalls + in_uK : 0; }
    // Every allocation from the k-th on fails.
    void FailFrom(uint64_t in_uK)
    {
        FailAt(in_uK);
        m_bFailAfter = in_uK != 0;
    }

    // Live bytes may not exceed this; a request that would go past it returns null. 0: none.
    void SetLimit(uint64_t in_uBytes) { m_uLimit = in_uBytes; }
    uint64_t Limit() const { return m_uLimit; }
    uint64_t LimitRefusals() const { return m_uLimitRefusals; }
    uint64_t LargestRefused() const { return m_uLargestRefused; }

    uint64_t AllocCalls() const { return m_uAllocCalls; }
    uint64_t FreeCalls() const { return m_uFreeCalls; }
    uint64_t FailedCalls() const { return m_uFailedCalls; }
    uint64_t BytesAllocated() const { return m_uBytesAllocated; }
    uint64_t BytesLive() const { return m_uBytesLive; }
    uint64_t PeakBytesLive() const { return m_uPeakBytesLive; }
    size_t LiveBlocks() const { return m_live.size(); }
    bool Balanced() const { return m_live.empty(); }
    uint64_t BadFrees() const { return m_uBadFrees; }

private:
    bool ShouldFail(size_t in_uSize);
    void* Record(void* in_pRaw, void* in_pUser, size_t in_uSize);

    struct Block
    {
        void* pRaw;
        size_t uSize;
    };
    std::unordered_map<void*, Block> m_live;
    uint64_t m_uAllocCalls = 0;
    uint64_t m_uFreeCalls = 0;
    uint64_t m_uFailedCalls = 0;
    uint64_t m_uBytesAllocated = 0;
    uint64_t m_uBytesLive = 0;
    uint64_t m_uPeakBytesLive = 0;
    uint64_t m_uBadFrees = 0;
    uint64_t m_uFailAt = 0;
    uint64_t m_uLimit = 0;
    uint64_t m_uLimitRefusals = 0;
    uint64_t m_uLargestRefused = 0;
    bool m_bFailAfter = false;
};
