#include "shareddsp/dynamics/dynamicspow.h"
#include <cmath>
#include <cstring>
#include "shareddsp/dynamics/dynamicspowconsts.h"

using namespace dynamicspow;

namespace {

double PowOne(float in_fBase, double in_dExponent)
{
    uint32_t uBits;
    std::memcpy(&uBits, &in_fBase, sizeof uBits);
    uBits = uBits < MIN_NORMAL_BITS ? MIN_NORMAL_BITS : uBits > MAX_FINITE_BITS ? MAX_FINITE_BITS : uBits;
    const uint32_t uShift = uBits - SQRT_HALF_BITS;
    const int32_t k = static_cast<int32_t>(uShift) >> 23;
    const uint32_t uMantissa = uBits - (uShift & 0xff800000u);
    float fM;
    std::memcpy(&fM, &uMantissa, sizeof fM);
    const double m = fM;
    const double s = (m - 1.0) / (m + 1.0);
    const double z = s * s;
    double p = LOG_COEFFS[7];
    for (int i = 6; i >= 0; --i)
        p = std::fma(p, z, LOG_COEFFS[i]);
    const double dK = k;
    // ln r = k ln2 + s p, the large part last so that its rounding is the only one that counts.
    double y = in_dExponent * (dK * LN2_LO + s * p + dK * LN2_HI);
    y = y < -EXPONENT_LIMIT ? -EXPONENT_LIMIT : y > EXPONENT_LIMIT ? EXPONENT_LIMIT : y;
    const double dRounded = y * INV_LN2 + ROUND_MAGIC;
    const double n = dRounded - ROUND_MAGIC;
    const double f = (y - n * LN2_HI) - n * LN2_LO;
    double e = EXP_COEFFS[12];
    for (int i = 11; i >= 0; --i)
        e = std::fma(e, f, EXP_COEFFS[i]);
    // The low bits of dRounded hold n in two's complement; |n| < 300, so n + 1023 fills the
    // exponent field exactly and the rest shifts out.
    uint64_t uRounded;
    std::memcpy(&uRounded, &dRounded, sizeof uRounded);
    const uint64_t uScale = (uRounded + 1023u) << 52;
    double dScale;
    std::memcpy(&dScale, &uScale, sizeof dScale);
    return e * dScale;
}

} // namespace

void DynamicsPowPortable(uint32_t in_uCount, const float* in_pBase, float in_fExponent, float* out_pResult)
{
    const double dExponent = in_fExponent;
    for (uint32_t i = 0; i < in_uCount; ++i)
        out_pResult[i] = static_cast<float>(PowOne(in_pBase[i], dExponent));
}

void DynamicsPowLibm(uint32_t in_uCount, const float* in_pBase, float in_fExponent, float* out_pResult)
{
    for (uint32_t i = 0; i < in_uCount; ++i)
        out_pResult[i] = std::pow(in_pBase[i], in_fExponent);
}

DynamicsPowFn DynamicsPowKernel()
{
#if defined(__x86_64__)
    // After the first call the check reads a word the runtime keeps; no lock, no static.
    __builtin_cpu_init();
    if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma"))
        return &DynamicsPowAvx2;
#endif
    return &DynamicsPowLibm;
}
