// Closed ranges: both ends are inside.
#pragma once
#include <cstdint>

template <class T>
struct basic_range
{
    T m_lower;
    T m_upper;

    constexpr basic_range(T in_lower, T in_upper) : m_lower(in_lower), m_upper(in_upper) {}
    constexpr bool Contains(T x) const { return x >= m_lower && x <= m_upper; }
    constexpr T Lower() const { return m_lower; }
    constexpr T Upper() const { return m_upper; }
};

typedef basic_range<uint32_t> uint_range;
typedef basic_range<float> float_range;
typedef basic_range<double> double_range;
