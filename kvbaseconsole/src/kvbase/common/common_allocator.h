// The module-wide allocator binding: all container memory comes from the host through it,
// and a failed allocation sets a sticky flag instead of throwing.
#pragma once
#include <cstddef>
#include <cstdint>
#include <new>
#include <utility>
#include "host/qwpluginmemalloc.h"

struct QwAllocatorBinding
{
    QwPluginMemAlloc* m_pAllocator;
    uint8_t m_bOutOfMemory;
    uint8_t m_bLocked;
};

QwAllocatorBinding& GetAllocatorBinding();

void BindAllocator(QwPluginMemAlloc* in_pAllocator, uint8_t in_bOutOfMemory, uint8_t in_bLocked);
void* AllocBytes(size_t in_uSize, const char* in_pszFile, int32_t in_iLine);
void* AllocZeroed(size_t in_uCount, size_t in_uElementSize, const char* in_pszFile, int32_t in_iLine);
void* AllocZeroedAligned(size_t in_uCount, size_t in_uElementSize, uint32_t in_uAlignment,
                         const char* in_pszFile, int32_t in_iLine);
void FreeBytes(void* in_pMemory);

inline bool IsOutOfMemory() { return GetAllocatorBinding().m_bOutOfMemory != 0; }

// Constructs a T in memory from the binding; null (and the sticky flag) when memory ran out.
template <class T, class... Args>
T* QwNew(Args&&... args)
{
    void* pMemory = AllocBytes(sizeof(T), __FILE__, __LINE__);
    if (!pMemory)
        return nullptr;
    return new (pMemory) T(std::forward<Args>(args)...);
}

template <class T>
void QwDelete(T* in_pObject)
{
    if (!in_pObject)
        return;
    in_pObject->~T();
    FreeBytes(in_pObject);
}
