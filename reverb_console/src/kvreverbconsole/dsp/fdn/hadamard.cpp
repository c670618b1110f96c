#include "kvreverbconsole/dsp/fdn/hadamard.h"
#include <cmath>
#include "host/qwassert.h"

void Hadamard::SetDepth(uint32_t in_sDepth)
{
    QW_ASSERT(m_sDepth < 32);
    m_sDepth = in_sDepth;
    m_uSize = 1u << (in_sDepth & 31u);
    m_fScale = static_cast<float>(std::pow(2.0, static_cast<double>(in_sDepth) * -0.5));
}

void Hadamard::Transform(float* const* io_ppLines, uint32_t in_uFrames) const
{
    const float fScale = m_fScale;
    for (uint32_t s = 0; s < m_sDepth; ++s) {
        const uint32_t h = 1u << s;
        // The scaling rides on the last stage: the same products as a separate pass, one pass fewer.
        const bool bLast = s + 1 == m_sDepth;
        for (uint32_t g = 0; g < m_uSize; g += 2 * h) {
            for (uint32_t j = g; j < g + h; ++j) {
                float* pA = io_ppLines[j];
                float* pB = io_ppLines[j + h];
                if (bLast) {
                    for (uint32_t i = 0; i < in_uFrames; ++i) {
                        const float a = pA[i];
                        const float b = pB[i];
                        pA[i] = (a + b) * fScale;
                        pB[i] = (a - b) * fScale;
                    }
                } else {
                    for (uint32_t i = 0; i < in_uFrames; ++i) {
                        const float a = pA[i];
                        const float b = pB[i];
                        pA[i] = a + b;
                        pB[i] = a - b;
                    }
                }
            }
        }
    }
}

void Hadamard::TransformVector(const float* in_pInput, float* out_pOutput) const
{
    for (uint32_t i = 0; i < m_uSize; ++i)
        out_pOutput[i] = in_pInput[i];
    TransformVectorInPlace(out_pOutput);
}

void Hadamard::TransformVectorInPlace(float* io_pVector) const
{
    for (uint32_t s = 0; s < m_sDepth; ++s) {
        const uint32_t h = 1u << s;
        for (uint32_t g = 0; g < m_uSize; g += 2 * h) {
            for (uint32_t j = g; j < g + h; ++j) {
                const float a = io_pVector[j];
                const float b = io_pVector[j + h];
                io_pVector[j] = a + b;
                io_pVector[j + h] = a - b;
            }
        }
    }
    for (uint32_t j = 0; j < m_uSize; ++j)
        io_pVector[j] *= m_fScale;
}
