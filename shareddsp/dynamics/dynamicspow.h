// r^e over a block, for the dynamics' gain targets: the work of two powf calls a sample, done
// in double precision lane by lane so that the float results are those of powf (the exact
// value rounded once; powf differs from it by 1 ulp now and then) while the block runs as a
// vector loop. The AVX2 version (with FMA) is chosen at run time where the processor has it;
// elsewhere the block goes through powf itself, since the scalar form of the algorithm is no
// faster than powf. That scalar form stays as the portable twin the AVX2 version is tested
// against bit for bit.
//
// Defined for finite r > 0 (the smallest normal float stands in for anything below it);
// callers keep other inputs out of what they use.
#pragma once
#include <cstdint>

typedef void (*DynamicsPowFn)(uint32_t in_uCount, const float* in_pBase, float in_fExponent, float* out_pResult);

void DynamicsPowPortable(uint32_t in_uCount, const float* in_pBase, float in_fExponent, float* out_pResult);
// powf sample by sample.
void DynamicsPowLibm(uint32_t in_uCount, const float* in_pBase, float in_fExponent, float* out_pResult);
#if defined(__x86_64__)
void DynamicsPowAvx2(uint32_t in_uCount, const float* in_pBase, float in_fExponent, float* out_pResult);
#endif
// The fastest version this processor runs; decided once.
DynamicsPowFn DynamicsPowKernel();
