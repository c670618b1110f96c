// Unitary Walsh-Hadamard mix of the network's lines, applied as a fast transform in place.
#pragma once
#include <cstdint>

class Hadamard
{
public:
    // The check looks at the depth already stored, so a bad argument shows at the next call.
    void SetDepth(uint32_t in_sDepth);
    uint32_t GetDepth() const { return m_sDepth; }
    uint32_t GetSize() const { return m_uSize; }
    float GetScale() const { return m_fScale; }

    // One pointer per line; every line is in place over in_uFrames samples.
    void Transform(float* const* io_ppLines, uint32_t in_uFrames) const;
    void TransformVector(const float* in_pInput, float* out_pOutput) const;
    void TransformVectorInPlace(float* io_pVector) const;

private:
    uint32_t m_sDepth = 0;
    uint32_t m_uSize = 1;
    float m_fScale = 1.0f;
};
