// Reads a packed little-endian parameter block front to back and counts what it consumed.
#pragma once
#include <cstdint>
#include <cstring>

class QwParamBlockReader
{
public:
    explicit QwParamBlockReader(const void* in_pBlock) : m_pBytes(static_cast<const uint8_t*>(in_pBlock)) {}

    uint32_t ReadU32()
    {
        const uint8_t* p = m_pBytes + m_uConsumed;
        m_uConsumed += 4;
        return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) |
               (static_cast<uint32_t>(p[2]) << 16) | (static_cast<uint32_t>(p[3]) << 24);
    }
    int32_t ReadS32() { return static_cast<int32_t>(ReadU32()); }
    float ReadF32()
    {
        const uint32_t uBits = ReadU32();
        float f;
        std::memcpy(&f, &uBits, sizeof f);
        return f;
    }
    uint16_t ReadU16()
    {
        const uint8_t* p = m_pBytes + m_uConsumed;
        m_uConsumed += 2;
        return static_cast<uint16_t>(p[0] | (p[1] << 8));
    }
    uint8_t ReadU8() { return m_pBytes[m_uConsumed++]; }

    uint32_t Consumed() const { return m_uConsumed; }

private:
    const uint8_t* m_pBytes;
    uint32_t m_uConsumed = 0;
};

// SetParam copies the value's bits as they are; the size argument is not looked at.
template <class T>
inline void QwStoreRaw(T& out_field, const void* in_pValue)
{
    std::memcpy(&out_field, in_pValue, sizeof(T));
}
