// Block copy and in-place reversal; three reversals rotate a buffer.
#pragma once
#include "host/qwassert.h"

// Copies the half-open run [first, last) forward to dest; returns the end of the copy.
template <class T>
T* common_copy(const T* first, const T* last, T* dest)
{
    QW_ASSERT(first < last);
    while (first < last)
        *dest++ = *first++;
    return dest;
}

template <class T>
void common_reverse(T* first, T* last)
{
    while (first < last && first < --last) {
        T tmp = *first;
        *first++ = *last;
        *last = tmp;
    }
}

// Rotates [first, last) left so that middle becomes the first element.
template <class T>
void common_rotate(T* first, T* middle, T* last)
{
    common_reverse(first, middle);
    common_reverse(middle, last);
    common_reverse(first, last);
}
