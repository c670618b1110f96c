#include <gtest/gtest.h>
#include "kvdspbase/dsp/spectrumring.h"
#include "support/dspreference.h"

// Both versions against the sum written out in double: the slot steps back from the newest,
// wrapping round the ring, while the kernel index steps forward. Without bAdd the old sum is
// ignored (a stale value left there would show), and with no slots the result is zero.
TEST(SpectrumRing, ProductsAndRingSumsInEveryVersion)
{
    for (uint32_t uBins : {1u, 7u, 8u, 33u, 513u}) {
        const uint32_t uStride = 2 * uBins + 6, uNewest = 2;
        const std::vector<float> slots = RefNoise(8 * uStride, uBins), kernels = RefNoise(7 * uStride, uBins + 1);
        const std::vector<float> start = RefNoise(2 * uBins, uBins + 2);
        // The single product: against double, and the vector version in place, bit for bit
        // against the portable loop (neither fuses a multiply into an addition).
        std::vector<float> mul(2 * uBins), mulSimd(start);
        std::vector<cd> wantMul(uBins);
        for (uint32_t i = 0; i < uBins; ++i)
            wantMul[i] = cd(kernels[2 * i], kernels[2 * i + 1]) * cd(start[2 * i], start[2 * i + 1]);
        SpectrumMulPortable(uBins, kernels.data(), start.data(), mul.data());
        SelectSpectrumMul(true)(uBins, kernels.data(), mulSimd.data(), mulSimd.data());
        EXPECT_LT(RefRelativeRms(RefPairs(mul), wantMul), 1e-6) << uBins;
        EXPECT_EQ(mulSimd, mul) << uBins;
        for (uint32_t uSlots : {0u, 5u}) { // two passes of two slots, one of one
            std::vector<cd> products(uBins);
            for (uint32_t i = 0; i < uBins; ++i)
                for (uint32_t j = 0; j < uSlots; ++j) {
                    const uint32_t s = (uNewest + uSlots - j) % uSlots;
                    products[i] += cd(slots[s * uStride + 2 * i], slots[s * uStride + 2 * i + 1]) *
                                   cd(kernels[j * uStride + 2 * i], kernels[j * uStride + 2 * i + 1]);
                }
            for (bool bSimd : {false, true})
                for (bool bAdd : {false, true}) {
                    std::vector<cd> want = bAdd ? RefPairs(start) : std::vector<cd>(uBins);
                    for (uint32_t i = 0; i < uBins; ++i)
                        want[i] += products[i];
                    std::vector<float> sum = start;
                    SelectSpectrumRingMac(bSimd)(uBins, uStride, slots.data(), uSlots, uNewest, kernels.data(),
                                                 sum.data(), bAdd);
                    // Seven products of unit-size values: a few float ulps (absolute when want is zero).
                    EXPECT_LT(RefRelativeRms(RefPairs(sum), want), 1e-6)
                        << uBins << " slots=" << uSlots << " simd=" << bSimd << " add=" << bAdd;
                    // Two rings at once (the second one slot on): each sum bit for bit as alone.
                    std::vector<float> sum2 = start, one = start, two = start;
                    SelectSpectrumRingMac(bSimd)(uBins, uStride, slots.data() + uStride, uSlots, uNewest,
                                                 kernels.data(), sum2.data(), bAdd);
                    SelectSpectrumRingMacTwo(bSimd)(uBins, uStride, slots.data(), slots.data() + uStride, uSlots,
                                                    uNewest, kernels.data(), one.data(), two.data(), bAdd);
                    EXPECT_TRUE(one == sum && two == sum2) << uBins << " slots=" << uSlots << " simd=" << bSimd;
                }
        }
    }
}
