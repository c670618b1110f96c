// A vector whose memory comes from the allocator binding. Growth stops while the sticky
// out-of-memory flag is set, so callers compare sizes after every resize.
#pragma once
#include <cstdint>
#include <new>
#include <utility>
#include "host/qwassert.h"
#include "kvbase/common/common_allocator.h"

template <class T, bool ALIGNED = false>
class common_vector
{
public:
    typedef uint32_t size_type;
    typedef T* iterator;
    typedef const T* const_iterator;

    common_vector() = default;
    common_vector(const common_vector& in_other) { CopyFrom(in_other); }
    common_vector(common_vector&& io_other) noexcept { Steal(io_other); }
    ~common_vector() { Release(); }

    common_vector& operator=(const common_vector& in_other)
    {
        if (this != &in_other) {
            clear();
            CopyFrom(in_other);
        }
        return *this;
    }
    common_vector& operator=(common_vector&& io_other) noexcept
    {
        if (this != &io_other) {
            Release();
            Steal(io_other);
        }
        return *this;
    }

    size_type size() const { return static_cast<size_type>(m_pEnd - m_pBegin); }
    size_type capacity() const { return static_cast<size_type>(m_pEndOfStorage - m_pBegin); }
    bool empty() const { return m_pEnd == m_pBegin; }

    T& operator[](size_type i)
    {
        QW_ASSERT(i < size());
        return m_pBegin[i];
    }
    const T& operator[](size_type i) const
    {
        QW_ASSERT(i < size());
        return m_pBegin[i];
    }

    T* data() { return m_pBegin; }
    const T* data() const { return m_pBegin; }
    iterator begin() { return m_pBegin; }
    iterator end() { return m_pEnd; }
    const_iterator begin() const { return m_pBegin; }
    const_iterator end() const { return m_pEnd; }
    T& back() { return (*this)[size() - 1]; }

    void reserve(size_type n) { Grow(n); }

    void resize(size_type n, const T& in_value = T())
    {
        if (n > size()) {
            Grow(n);
            if (IsOutOfMemory() || capacity() < n)
                return;
            while (m_pEnd != m_pBegin + n)
                new (m_pEnd++) T(in_value);
        } else {
            while (m_pEnd != m_pBegin + n)
                (--m_pEnd)->~T();
        }
    }

    // Returns false when the vector could not grow.
    bool push_back(const T& in_value)
    {
        const size_type n = size() + 1;
        Grow(n);
        if (capacity() < n)
            return false;
        new (m_pEnd++) T(in_value);
        return true;
    }

    void clear() { resize(0); }

private:
    void Grow(size_type n)
    {
        if (capacity() >= n || IsOutOfMemory())
            return;
        const size_type uOld = capacity();
        const size_type uNew = 2 * uOld > n ? 2 * uOld : n;
        T* pNew = static_cast<T*>(ALIGNED ? AllocZeroedAligned(uNew, sizeof(T), 16, __FILE__, __LINE__)
                                          : AllocZeroed(uNew, sizeof(T), __FILE__, __LINE__));
        if (!pNew)
            return;
        const size_type uSize = size();
        for (size_type i = 0; i < uSize; ++i)
            new (pNew + i) T(m_pBegin[i]);
        for (size_type i = 0; i < uSize; ++i)
            m_pBegin[i].~T();
        FreeBytes(m_pBegin);
        m_pBegin = pNew;
        m_pEnd = pNew + uSize;
        m_pEndOfStorage = pNew + uNew;
    }

    void CopyFrom(const common_vector& in_other)
    {
        Grow(in_other.size());
        if (capacity() < in_other.size())
            return;
        for (const T* p = in_other.m_pBegin; p != in_other.m_pEnd; ++p)
            new (m_pEnd++) T(*p);
    }

    void Steal(common_vector& io_other)
    {
        m_pBegin = io_other.m_pBegin;
        m_pEnd = io_other.m_pEnd;
        m_pEndOfStorage = io_other.m_pEndOfStorage;
        io_other.m_pBegin = io_other.m_pEnd = io_other.m_pEndOfStorage = nullptr;
    }

    void Release()
    {
        while (m_pEnd != m_pBegin)
            (--m_pEnd)->~T();
        FreeBytes(m_pBegin);
        m_pBegin = m_pEnd = m_pEndOfStorage = nullptr;
    }

    T* m_pBegin = nullptr;
    T* m_pEnd = nullptr;
    T* m_pEndOfStorage = nullptr;
};

// 16-byte aligned storage for float buffers that the vector kernels read.
template <class T>
using common_aligned_vector = common_vector<T, true>;
