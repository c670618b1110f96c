#include "kvbase/common/common_allocator.h"
#include <cstring>

QwAllocatorBinding& GetAllocatorBinding()
{
    static QwAllocatorBinding s_binding = {nullptr, 0, 0};
    return s_binding;
}

void BindAllocator(QwPluginMemAlloc* in_pAllocator, uint8_t in_bOutOfMemory, uint8_t in_bLocked)
{
    QwAllocatorBinding& binding = GetAllocatorBinding();
    if (!binding.m_bLocked) {
        binding.m_pAllocator = in_pAllocator;
        binding.m_bOutOfMemory = in_bOutOfMemory;
        binding.m_bLocked = in_bLocked;
    }
    binding.m_bOutOfMemory = 0;
}

void* AllocBytes(size_t in_uSize, const char* in_pszFile, int32_t in_iLine)
{
    QwAllocatorBinding& binding = GetAllocatorBinding();
    void* pMemory = binding.m_pAllocator ? binding.m_pAllocator->Malloc(in_uSize, in_pszFile, in_iLine) : nullptr;
    if (!pMemory)
        binding.m_bOutOfMemory = 1;
    return pMemory;
}

void* AllocZeroed(size_t in_uCount, size_t in_uElementSize, const char* in_pszFile, int32_t in_iLine)
{
    const size_t uBytes = in_uCount * in_uElementSize;
    void* pMemory = AllocBytes(uBytes, in_pszFile, in_iLine);
    if (pMemory)
        std::memset(pMemory, 0, uBytes);
    return pMemory;
}

void* AllocZeroedAligned(size_t in_uCount, size_t in_uElementSize, uint32_t in_uAlignment,
                         const char* in_pszFile, int32_t in_iLine)
{
    QwAllocatorBinding& binding = GetAllocatorBinding();
    const size_t uBytes = in_uCount * in_uElementSize;
    void* pMemory = binding.m_pAllocator
                        ? binding.m_pAllocator->MallocAligned(uBytes, in_uAlignment, in_pszFile, in_iLine)
                        : nullptr;
    if (!pMemory) {
        binding.m_bOutOfMemory = 1;
        return nullptr;
    }
    std::memset(pMemory, 0, uBytes);
    return pMemory;
}

void FreeBytes(void* in_pMemory)
{
    if (!in_pMemory)
        return;
    GetAllocatorBinding().m_pAllocator->Free(in_pMemory);
}
