// Conversions that assert what they assume and carry on regardless.
#pragma once
#include <cstdint>
#include <limits>
#include <type_traits>
#include "host/qwassert.h"

template <class T, class U>
inline bool implicit_cast_conversion_check(T, U in_u)
{
    if (std::is_floating_point<T>::value || std::is_floating_point<U>::value)
        return true;
    if (std::is_signed<U>::value && !std::is_signed<T>::value && static_cast<long double>(in_u) < 0)
        return false;
    const long double v = static_cast<long double>(in_u);
    return v >= static_cast<long double>(std::numeric_limits<T>::lowest()) &&
           v <= static_cast<long double>(std::numeric_limits<T>::max());
}

template <class T, class U>
inline T implicit_cast(U u)
{
    QW_ASSERT(implicit_cast_conversion_check(T(), u));
    return static_cast<T>(u);
}

// Passes for values that, rounded half away from zero, fit the target.
template <class T, class U>
inline bool round_cast_conversion_check(T, U in_u)
{
    const long double v = static_cast<long double>(in_u);
    if (!std::is_signed<T>::value) {
        if (v < 0)
            return v > -0.5L;
        return v < static_cast<long double>(std::numeric_limits<T>::max()) + 1.0L;
    }
    return v > static_cast<long double>(std::numeric_limits<T>::lowest()) - 0.5L &&
           v < static_cast<long double>(std::numeric_limits<T>::max()) + 0.5L;
}

// Truncation to 64 bits. A value beyond them, or NaN, gives INT64_MIN, the processor's own
// answer, rather than the undefined behaviour of a plain conversion.
template <class U>
inline int64_t truncate_to_int64(U in_u)
{
    if (in_u >= U(-9223372036854775808.0) && in_u < U(9223372036854775808.0))
        return static_cast<int64_t>(in_u);
    return std::numeric_limits<int64_t>::min();
}

// Rounds half away from zero, then truncates; the conversion happens even after a failed check.
template <class T, class U>
inline T round_cast(U u)
{
    static_assert(std::is_floating_point<U>::value, "round_cast converts from float or double");
    QW_ASSERT(round_cast_conversion_check(T(), u));
    const U r = u >= U(0) ? u + U(0.5) : u + U(-0.5);
    // Through a signed 64-bit value, so that -1 wraps to the target width instead of being undefined.
    return static_cast<T>(static_cast<uint64_t>(truncate_to_int64(r)));
}
