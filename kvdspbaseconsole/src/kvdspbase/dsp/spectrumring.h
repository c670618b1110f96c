// The frequency-domain core of the partitioned convolvers: the sum over all partitions of the
// delay-line spectra times the partition kernels, in one pass per partition with a fused
// complex multiply-accumulate. Spectra are interleaved (re, im) pairs.
#pragma once
#include <cstdint>

// pSum[bins] += sum over j < uNumSlots of slot[(uNewest - j) mod uNumSlots] * kernel[j], where
// slot[i] starts at pSlots + i * uStride and kernel[j] at pKernels + j * uStride. With bAdd
// false the old contents of pSum are ignored: the first product is stored, not added, which
// saves clearing the sum beforehand and gives the same bits.
typedef void (*SpectrumRingMacFn)(uint32_t uBins, uint32_t uStride, const float* pSlots, uint32_t uNumSlots,
                                  uint32_t uNewest, const float* pKernels, float* pSum, bool bAdd);

void SpectrumRingMacPortable(uint32_t uBins, uint32_t uStride, const float* pSlots, uint32_t uNumSlots,
                             uint32_t uNewest, const float* pKernels, float* pSum, bool bAdd);
// The AVX2 version where the processor has it and bAllowSimd is set, else the portable one.
SpectrumRingMacFn SelectSpectrumRingMac(bool bAllowSimd);

// The ring sum of two rings of the same shape against the same kernels, into pSum and pSum2:
// the same bits as one call per ring, with each kernel read once for both.
typedef void (*SpectrumRingMacTwoFn)(uint32_t uBins, uint32_t uStride, const float* pSlots, const float* pSlots2,
                                     uint32_t uNumSlots, uint32_t uNewest, const float* pKernels, float* pSum,
                                     float* pSum2, bool bAdd);
SpectrumRingMacTwoFn SelectSpectrumRingMacTwo(bool bAllowSimd);

// pDst[bins] = pA[bins] * pB[bins], complex; pDst may be pA or pB. Every version rounds each
// product and then each sum or difference, as the portable loop does, so all give the same bits.
typedef void (*SpectrumMulFn)(uint32_t uBins, const float* pA, const float* pB, float* pDst);
void SpectrumMulPortable(uint32_t uBins, const float* pA, const float* pB, float* pDst);
SpectrumMulFn SelectSpectrumMul(bool bAllowSimd);
