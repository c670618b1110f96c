// The block pow of the dynamics' gain targets: against powf on a table of bases and exponents
// (the exact value rounded once; powf is within 1 ulp of it, so the two may differ by 1 ulp),
// and the AVX2 version bit for bit against the portable one.
#include <gtest/gtest.h>
#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <vector>
#include "shareddsp/dynamics/dynamicspow.h"

namespace {

// Distance in units in the last place between two positive floats.
int64_t UlpDistance(float in_fA, float in_fB)
{
    int32_t iA, iB;
    std::memcpy(&iA, &in_fA, sizeof iA);
    std::memcpy(&iB, &in_fB, sizeof iB);
    return std::llabs(static_cast<int64_t>(iA) - iB);
}

// Bases over the whole positive float range: a geometric sweep from the smallest normal up,
// plus the ends and the values near 1 where ln r is small and its relative error counts most.
std::vector<float> Bases()
{
    std::vector<float> bases = {FLT_MIN, FLT_MAX, 1.0f, std::nextafter(1.0f, 2.0f), std::nextafter(1.0f, 0.0f),
                                0.70710677f, 0.70710683f, 1.4142135f, 2.0f, 0.5f};
    for (float r = FLT_MIN; r < 1e38f; r *= 1.0137f)
        bases.push_back(r);
    return bases;
}

} // namespace

TEST(DynamicsPow, PortableWithinOneUlpOfPowf)
{
    // Compressor exponents 1/ratio - 1 (ratios 1.5 to 100) and expander slopes - 1.
    const float afExponents[] = {-0.33333334f, -0.5f, -0.75f, -0.99f, 1.0f, 2.0f, 0.25f, -0.1f};
    const std::vector<float> bases = Bases();
    std::vector<float> out(bases.size());
    for (float fExponent : afExponents) {
        DynamicsPowPortable(static_cast<uint32_t>(bases.size()), bases.data(), fExponent, out.data());
        size_t uExact = 0, uInRange = 0;
        for (size_t i = 0; i < bases.size(); ++i) {
            const float fRef = std::pow(bases[i], fExponent);
            if (fRef == 0.0f || std::isinf(fRef)) {
                // Outside the float range powf gives 0 or inf; so does a correct rounding.
                ASSERT_EQ(out[i], fRef) << bases[i] << "^" << fExponent;
                continue;
            }
            ASSERT_LE(UlpDistance(out[i], fRef), 1) << bases[i] << "^" << fExponent << " = " << out[i];
            uExact += out[i] == fRef;
            ++uInRange;
        }
        // Both round nearly every value the same way.
        EXPECT_GT(uExact, uInRange * 99 / 100) << fExponent;
    }
}

TEST(DynamicsPow, Avx2EqualsPortableBitForBit)
{
#if defined(__x86_64__)
    __builtin_cpu_init();
    if (!__builtin_cpu_supports("avx2") || !__builtin_cpu_supports("fma"))
        GTEST_SKIP() << "no AVX2 and FMA on this processor";
    std::vector<float> bases = Bases();
    // Outside the domain both clamp the same way: zero, denormal, negative, infinite, NaN.
    for (float f : {0.0f, 1e-40f, -2.0f, INFINITY, NAN})
        bases.push_back(f);
    for (float fExponent : {-0.75f, 1.0f, -0.123f}) {
        // Odd lengths run the portable tail too.
        for (uint32_t uCount : {static_cast<uint32_t>(bases.size()), 7u}) {
            std::vector<float> portable(uCount), avx2(uCount);
            DynamicsPowPortable(uCount, bases.data(), fExponent, portable.data());
            DynamicsPowAvx2(uCount, bases.data(), fExponent, avx2.data());
            ASSERT_EQ(0, std::memcmp(portable.data(), avx2.data(), uCount * sizeof(float))) << fExponent;
        }
    }
#else
    GTEST_SKIP() << "x86-64 only";
#endif
}
