#include <gtest/gtest.h>
#include <cmath>
#include <complex>
#include <random>
#include <vector>
#include "kvdspbase/dsp/spectrumring.h"

namespace {

std::vector<float> Noise(size_t n, uint32_t seed)
{
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> dist(-1.0f, 1.0f);
    std::vector<float> v(n);
    for (float& x : v)
        x = dist(rng);
    return v;
}

} // namespace

// Both versions against the sum written out in double: the slot j steps back from the newest,
// wrapping round the ring, while the kernel index steps forward.
TEST(SpectrumRing, SumsRingTimesKernelsInEveryVersion)
{
    for (uint32_t uBins : {1u, 7u, 8u, 33u, 513u}) {
        const uint32_t uStride = 2 * uBins + 6, uSlots = 5, uNewest = 2;
        const std::vector<float> slots = Noise(uSlots * uStride, uBins), kernels = Noise(uSlots * uStride, uBins + 1);
        const std::vector<float> start = Noise(2 * uBins, uBins + 2);
        std::vector<std::complex<double>> want(uBins);
        for (uint32_t i = 0; i < uBins; ++i) {
            want[i] = std::complex<double>(start[2 * i], start[2 * i + 1]);
            for (uint32_t j = 0; j < uSlots; ++j) {
                const uint32_t s = (uNewest + uSlots - j) % uSlots;
                const std::complex<double> a(slots[s * uStride + 2 * i], slots[s * uStride + 2 * i + 1]);
                const std::complex<double> b(kernels[j * uStride + 2 * i], kernels[j * uStride + 2 * i + 1]);
                want[i] += a * b;
            }
        }
        for (bool bSimd : {false, true}) {
            std::vector<float> sum = start;
            SelectSpectrumRingMac(bSimd)(uBins, uStride, slots.data(), uSlots, uNewest, kernels.data(), sum.data());
            for (uint32_t i = 0; i < uBins; ++i) {
                // Five products of unit-size values: a few float ulps.
                EXPECT_NEAR(sum[2 * i], want[i].real(), 5e-6) << uBins << " " << i << " simd=" << bSimd;
                EXPECT_NEAR(sum[2 * i + 1], want[i].imag(), 5e-6) << uBins << " " << i << " simd=" << bSimd;
            }
        }
    }
}
