// Memory of the filter-state layer. The layer keeps its own binding (an allocator slot and a
// failure flag, both owned elsewhere) so that it can sit below the containers; until
// SetIppAllocator is called it shares the module's allocator binding.
#pragma once
#include <cstddef>
#include <cstdint>
#include <new>
#include <utility>
#include "host/qwassert.h"
#include "host/qwpluginmemalloc.h"

// Points the layer at an allocator slot and a failure flag. Null for either restores the
// module's own binding.
void SetIppAllocator(QwPluginMemAlloc** in_ppAllocator, uint8_t* in_pbFailed);

// True while the bound failure flag is set: set-up calls then hand out no state.
bool IppAllocatorFailed();
// 16-byte aligned, zero-filled; null (and the failure flag set) when memory ran out.
void* IppAllocZeroed(size_t in_uBytes);
void IppFree(void* in_pMemory);

template <class T, class... Args>
T* IppNew(Args&&... args)
{
    void* pMemory = IppAllocZeroed(sizeof(T));
    if (!pMemory)
        return nullptr;
    return new (pMemory) T(std::forward<Args>(args)...);
}

template <class T>
void IppDelete(T* in_pObject)
{
    if (!in_pObject)
        return;
    in_pObject->~T();
    IppFree(in_pObject);
}

// A fixed-size array of plain numbers drawn from the layer's binding.
template <class T>
class QwIppVector
{
public:
    QwIppVector() = default;
    QwIppVector(const QwIppVector&) = delete;
    QwIppVector& operator=(const QwIppVector&) = delete;
    ~QwIppVector() { Release(); }

    // Replaces the contents with n zeros; false (and empty) when memory ran out.
    bool Allocate(uint32_t n)
    {
        Release();
        if (n == 0)
            return true;
        m_p = static_cast<T*>(IppAllocZeroed(sizeof(T) * static_cast<size_t>(n)));
        if (!m_p)
            return false;
        m_uSize = n;
        return true;
    }

    uint32_t size() const { return m_uSize; }
    T* data() { return m_p; }
    const T* data() const { return m_p; }
    T& operator[](uint32_t i)
    {
        QW_ASSERT(i < size());
        return m_p[i];
    }
    const T& operator[](uint32_t i) const
    {
        QW_ASSERT(i < size());
        return m_p[i];
    }

private:
    void Release()
    {
        IppFree(m_p);
        m_p = nullptr;
        m_uSize = 0;
    }

    T* m_p = nullptr;
    uint32_t m_uSize = 0;
};
