// An optional value that remembers whether it was ever set.
#pragma once
#include "host/qwassert.h"

template <class T>
class checked_value
{
public:
    checked_value() : m_value(), m_bValid(false) {}
    checked_value(const T& in_value) : m_value(in_value), m_bValid(true) {}

    checked_value& operator=(const T& in_value)
    {
        m_value = in_value;
        m_bValid = true;
        return *this;
    }

    bool IsValid() const { return m_bValid; }
    void Invalidate() { m_bValid = false; }

    const T& Get() const
    {
        QW_ASSERT(IsValid());
        return m_value;
    }
    operator const T&() const { return Get(); }
    // For helpers that have already reported an invalid operand.
    const T& Unchecked() const { return m_value; }

private:
    T m_value;
    bool m_bValid;
};

// Comparison and arithmetic helpers: an invalid operand is reported, then used as it stands.
template <class T>
bool checked_equal(const checked_value<T>& val1, const checked_value<T>& val2)
{
    QW_ASSERT(val1.IsValid() && val2.IsValid());
    return val1.Unchecked() == val2.Unchecked();
}

template <class T>
bool checked_equal(const checked_value<T>& val1, const T& val2)
{
    QW_ASSERT(val1.IsValid());
    return val1.Unchecked() == val2;
}

template <class T>
bool checked_equal(const T& val1, const checked_value<T>& val2)
{
    QW_ASSERT(val2.IsValid());
    return val1 == val2.Unchecked();
}

template <class T>
bool checked_less(const checked_value<T>& val1, const checked_value<T>& val2)
{
    QW_ASSERT(val1.IsValid() && val2.IsValid());
    return val1.Unchecked() < val2.Unchecked();
}

template <class T>
T checked_add(const checked_value<T>& val1, const checked_value<T>& val2)
{
    QW_ASSERT(val1.IsValid() && val2.IsValid());
    return val1.Unchecked() + val2.Unchecked();
}

template <class T>
T checked_add(const checked_value<T>& val1, const T& val2)
{
    QW_ASSERT(val1.IsValid());
    return val1.Unchecked() + val2;
}
