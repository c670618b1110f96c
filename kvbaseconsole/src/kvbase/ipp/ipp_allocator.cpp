#include "kvbase/ipp/ipp_allocator.h"
#include <cstring>
#include "kvbase/common/common_allocator.h"

namespace
{
struct IppBinding
{
    QwPluginMemAlloc** m_ppAllocator;
    uint8_t* m_pbFailed;
};

IppBinding& Binding()
{
    static IppBinding s_binding = {nullptr, nullptr};
    return s_binding;
}

QwPluginMemAlloc** AllocatorSlot()
{
    IppBinding& binding = Binding();
    return binding.m_ppAllocator ? binding.m_ppAllocator : &GetAllocatorBinding().m_pAllocator;
}

uint8_t* FailedFlag()
{
    IppBinding& binding = Binding();
    return binding.m_pbFailed ? binding.m_pbFailed : &GetAllocatorBinding().m_bOutOfMemory;
}
} // namespace

void SetIppAllocator(QwPluginMemAlloc** in_ppAllocator, uint8_t* in_pbFailed)
{
    IppBinding& binding = Binding();
    const bool bBoth = in_ppAllocator && in_pbFailed;
    binding.m_ppAllocator = bBoth ? in_ppAllocator : nullptr;
    binding.m_pbFailed = bBoth ? in_pbFailed : nullptr;
}

bool IppAllocatorFailed() { return *FailedFlag() != 0; }

void* IppAllocZeroed(size_t in_uBytes)
{
    QwPluginMemAlloc* pAllocator = *AllocatorSlot();
    void* pMemory = pAllocator ? pAllocator->MallocAligned(in_uBytes, 16, __FILE__, __LINE__) : nullptr;
    if (!pMemory) {
        *FailedFlag() = 1;
        return nullptr;
    }
    std::memset(pMemory, 0, in_uBytes);
    return pMemory;
}

void IppFree(void* in_pMemory)
{
    if (!in_pMemory)
        return;
    (*AllocatorSlot())->Free(in_pMemory);
}
