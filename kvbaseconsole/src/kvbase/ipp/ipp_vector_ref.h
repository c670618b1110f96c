// Element-wise vector calls in the naming of the public signal-processing library. Every call
// takes the element count first, then sources, then the destination; a count of 0 returns at
// once. Source and destination may be the same array or disjoint; partial overlap is not
// supported. Complex arrays are interleaved (re, im) pairs and counted in complex elements.
#pragma once
#include <cstdint>
#include "kvbase/common/common_range.h"

void ippsCopy_32f(uint32_t n, const float* pSrc, float* pDst);
void ippsCopy_64f(uint32_t n, const double* pSrc, double* pDst);
void ippsZero_32f(uint32_t n, float* pDst);
void ippsSet_32f(uint32_t n, float fValue, float* pDst);

void ippsAdd_32f_I(uint32_t n, const float* pSrc, float* pSrcDst);
void ippsAddProductC_32f(uint32_t n, const float* pSrc, float fConst, float* pSrcDst);
void ippsMul_32f(uint32_t n, const float* pSrc1, const float* pSrc2, float* pDst);
void ippsMul_32f_I(uint32_t n, const float* pSrc, float* pSrcDst);
void ippsMulC_32f(uint32_t n, const float* pSrc, float fConst, float* pDst);
void ippsMulC_32f_I(uint32_t n, float fConst, float* pSrcDst);
void ippsMulC_64f_I(uint32_t n, double dConst, double* pSrcDst);

void ippsMul_32fc(uint32_t n, const float* pSrc1, const float* pSrc2, float* pDst);
void ippsMul_32fc_I(uint32_t n, const float* pSrc, float* pSrcDst);
void ippsAddProduct_32fc(uint32_t n, const float* pSrc1, const float* pSrc2, float* pSrcDst);

// Single-precision sum in eight lanes over the runs of eight, the rest added after the lanes.
float ippsDotProd_32f(uint32_t n, const float* pSrc1, const float* pSrc2);
// The same eight lanes as a plain loop: the portable statement of what ippsDotProd_32f computes.
float DotProdEightLaneReference(uint32_t n, const float* pSrc1, const float* pSrc2);
double ippsDotProd_64f(uint32_t n, const double* pSrc1, const double* pSrc2);
// Squares are summed in double; the root is rounded to float.
float ippsNorm_L2_32f(uint32_t n, const float* pSrc);

void ippsAbs_32f(uint32_t n, const float* pSrc, float* pDst);
void ippsAbs_64f(uint32_t n, const double* pSrc, double* pDst);
void ippsAbs_32f_I(uint32_t n, float* pSrcDst);
void ippsAbs_64f_I(uint32_t n, double* pSrcDst);

void ippsMagnitude_32f(uint32_t n, const float* pRe, const float* pIm, float* pDst);
void ippsMagnitude_32fc(uint32_t n, const float* pSrc, float* pDst);
void ippsPowerSpectr_32fc(uint32_t n, const float* pSrc, float* pDst);

// Values strictly between -1e-10f and 1e-10f become 0; the bounds themselves stay.
void ippsThreshold_LTAbs_32f(uint32_t n, const float* pSrc, float* pDst);
void ippsThreshold_LTAbs_32f_I(uint32_t n, float* pSrcDst);

void ippsFlip_32f(uint32_t n, const float* pSrc, float* pDst);
void ippsFlip_32f_I(uint32_t n, float* pSrcDst);
void ippsFlip_64f_I(uint32_t n, double* pSrcDst);

// Clamps to [range.Lower(), range.Upper()].
void ippsClip_32f_I(uint32_t n, const float_range& range, float* pSrcDst);

// Direct linear convolution of nA and nB values into nA + nB - 1; pDst overlaps neither source.
void ippsConv_32f(uint32_t nA, const float* pSrcA, uint32_t nB, const float* pSrcB, float* pDst);

void ippsRealToCplx_32f(uint32_t n, const float* pRe, const float* pIm, float* pDst);
void ippsCplxToReal_32f(uint32_t n, const float* pSrc, float* pRe, float* pIm);
void ippsRealToCplx_16s(uint32_t n, const int16_t* pRe, const int16_t* pIm, int16_t* pDst);
void ippsCplxToReal_16s(uint32_t n, const int16_t* pSrc, int16_t* pRe, int16_t* pIm);

// Frame-major interleave of uChannels planar channels, and back.
void InterleaveChannels(uint32_t uFrames, uint32_t uChannels, const float* const* ppSrc, float* pDst);
void DeinterleaveChannels(uint32_t uFrames, uint32_t uChannels, const float* pSrc, float* const* ppDst);

// Least-squares line through pY[i] at x = fStart + fStep * i, summed in double. A count of 0
// leaves both results untouched.
void LinearRegression(uint32_t n, const float* pY, double dStart, double dStep, double& out_dSlope,
                      double& out_dIntercept);
