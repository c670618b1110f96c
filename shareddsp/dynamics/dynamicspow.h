// r^e over a block, for the dynamics' gain targets: the work of two powf calls a sample, done
// in double precision lane by lane so that the float results are those of powf (the exact
// value rounded once) while the block runs as a vector loop. A portable version serves every
// processor and is the twin the AVX2 version is tested against; the AVX2 one is chosen at run
// time where the processor has it.
//
// Defined for finite r > 0 (the smallest normal float stands in for anything below it);
// callers keep other inputs out of what they use.
#pragma once
#include <cstdint>

typedef void (*DynamicsPowFn)(uint32_t in_uCount, const float* in_pBase, float in_fExponent, float* out_pResult);

void DynamicsPowPortable(uint32_t in_uCount, const float* in_pBase, float in_fExponent, float* out_pResult);
#if defined(__x86_64__)
void DynamicsPowAvx2(uint32_t in_uCount, const float* in_pBase, float in_fExponent, float* out_pResult);
#endif
// The fastest version this processor runs; decided once.
DynamicsPowFn DynamicsPowKernel();
