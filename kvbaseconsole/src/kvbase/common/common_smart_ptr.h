// A shared pointer with a separately allocated, non-atomic count; the module is single-threaded
// per instance, so no atomic operation is needed.
#pragma once
#include <cstdint>
#include "host/qwassert.h"
#include "kvbase/common/common_allocator.h"

template <class T>
class common_smart_ptr
{
public:
    common_smart_ptr() = default;
    explicit common_smart_ptr(T* in_p) : m_px(in_p)
    {
        if (!in_p)
            return;
        m_pn = static_cast<int32_t*>(AllocBytes(sizeof(int32_t), nullptr, -1));
        if (!m_pn) {
            QwDelete(m_px);
            m_px = nullptr;
            return;
        }
        *m_pn = 1;
    }
    common_smart_ptr(const common_smart_ptr& in_other) : m_px(in_other.m_px), m_pn(in_other.m_pn)
    {
        if (m_pn)
            ++*m_pn;
    }
    common_smart_ptr& operator=(const common_smart_ptr& in_other)
    {
        if (this != &in_other) {
            common_smart_ptr copy(in_other);
            Swap(copy);
        }
        return *this;
    }
    ~common_smart_ptr() { Release(); }

    T* get() const
    {
        QW_ASSERT(m_px);
        return m_px;
    }
    T* operator->() const { return get(); }
    T& operator*() const { return *get(); }
    // Unchecked read, for tests of emptiness.
    T* raw() const { return m_px; }
    explicit operator bool() const { return m_px != nullptr; }
    int32_t use_count() const { return m_pn ? *m_pn : 0; }

    void reset(T* in_p = nullptr)
    {
        if (in_p == m_px)
            return;
        if (!m_pn) {
            // Nothing owned yet: behave as construction.
            common_smart_ptr fresh(in_p);
            Swap(fresh);
            return;
        }
        QW_ASSERT(m_pn && *m_pn > 0);
        --*m_pn;
        if (*m_pn == 0) {
            QwDelete(m_px);
            m_px = in_p;
            *m_pn = 1; // the count block is reused for the new object
            return;
        }
        m_px = nullptr;
        m_pn = static_cast<int32_t*>(AllocBytes(sizeof(int32_t), nullptr, -1));
        if (!m_pn) {
            QwDelete(in_p);
            return;
        }
        *m_pn = 1;
        m_px = in_p;
    }

private:
    void Swap(common_smart_ptr& io_other)
    {
        T* px = m_px;
        int32_t* pn = m_pn;
        m_px = io_other.m_px;
        m_pn = io_other.m_pn;
        io_other.m_px = px;
        io_other.m_pn = pn;
    }

    void Release()
    {
        if (!m_pn) {
            if (m_px)
                QW_ASSERT(!m_px);
            return;
        }
        if (--*m_pn == 0) {
            QwDelete(m_px);
            FreeBytes(m_pn);
        }
        m_px = nullptr;
        m_pn = nullptr;
    }

    T* m_px = nullptr;
    int32_t* m_pn = nullptr;
};
