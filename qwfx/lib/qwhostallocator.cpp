#include "qwfx/lib/qwhostallocator.h"
#include <cstdint>
#include <cstdlib>

QwHostAllocator::~QwHostAllocator()
{
    for (auto& entry : m_live)
        std::free(entry.second.pRaw);
}

bool QwHostAllocator::ShouldFail(size_t in_uSize)
{
    ++m_uAllocCalls;
    if (m_uLimit != 0 && (in_uSize > m_uLimit || m_uBytesLive > m_uLimit - in_uSize)) {
        ++m_uLimitRefusals;
        if (in_uSize > m_uLargestRefused)
            m_uLargestRefused = in_uSize;
        return true;
    }
    if (m_uFailAt == 0)
        return false;
    if (m_uAllocCalls == m_uFailAt || (m_bFailAfter && m_uAllocCalls > m_uFailAt)) {
        ++m_uFailedCalls;
        return true;
    }
    return false;
}

void* QwHostAllocator::Record(void* in_pRaw, void* in_pUser, size_t in_uSize)
{
    if (!in_pRaw)
        return nullptr;
    m_live[in_pUser] = Block{in_pRaw, in_uSize};
    m_uBytesAllocated += in_uSize;
    m_uBytesLive += in_uSize;
    if (m_uBytesLive > m_uPeakBytesLive)
        m_uPeakBytesLive = m_uBytesLive;
    return in_pUser;
}

void* QwHostAllocator::Malloc(size_t in_uSize, const char*, int32_t)
{
    if (ShouldFail(in_uSize))
        return nullptr;
    void* p = std::malloc(in_uSize ? in_uSize : 1);
    return Record(p, p, in_uSize);
}

void* QwHostAllocator::MallocAligned(size_t in_uSize, uint32_t in_uAlignment, const char*, int32_t)
{
    if (ShouldFail(in_uSize))
        return nullptr;
    const size_t uAlign = in_uAlignment < alignof(std::max_align_t) ? alignof(std::max_align_t) : in_uAlignment;
    if (in_uSize > SIZE_MAX - uAlign)
        return nullptr;
    void* pRaw = std::malloc(in_uSize + uAlign);
    if (!pRaw)
        return nullptr;
    const uintptr_t uUser = (reinterpret_cast<uintptr_t>(pRaw) + uAlign) & ~(static_cast<uintptr_t>(uAlign) - 1);
    return Record(pRaw, reinterpret_cast<void*>(uUser), in_uSize);
}

void QwHostAllocator::Free(void* in_pMemory)
{
    ++m_uFreeCalls;
    auto it = m_live.find(in_pMemory);
    if (it == m_live.end()) {
        ++m_uBadFrees;
        return;
    }
    m_uBytesLive -= it->second.uSize;
    std::free(it->second.pRaw);
    m_live.erase(it);
}
