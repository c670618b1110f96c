#include <gtest/gtest.h>
#include <cmath>
#include <vector>
#include "skrel_console/effectrig.h"
#include "skrel_console/mbdistortion/qwent/audioenginefx/kvskrelmultibanddistortionfx.h"
#include "support/firstorderresponse.h"

namespace {

struct Multiband : EffectRig<KvSkrelMultibandDistortionFX, KvSkrelMultibandDistortionFXParams>
{
    explicit Multiband(TestHost& io_host, uint32_t in_uChannels = 1) : EffectRig(io_host, in_uChannels, 512) {}
    // Impulse response of channel 0 over several blocks.
    std::vector<float> ImpulseResponse(uint32_t in_uBlocks)
    {
        std::vector<float> out;
        for (uint32_t b = 0; b < in_uBlocks; ++b) {
            std::fill(data.begin(), data.end(), 0.0f);
            data[0] = b == 0 ? 1.0f : 0.0f;
            Execute(512);
            out.insert(out.end(), data.begin(), data.begin() + 512);
        }
        return out;
    }
};

} // namespace

// With the distortion out of the way the bands must sum to the crossover's closed form.
TEST(KvSkrelMultibandDistortionFX, BandsSumToTheCrossoverResponse)
{
    TestHost host;
    // All algorithms none, cut-offs 300 Hz and 3 kHz: 1 + LP(c0) HP(c1), the lift in between.
    Multiband all(host);
    all.Set(36, 300.0f);
    all.Set(37, 3000.0f);
    ASSERT_EQ(all.Init(), QW_Success);
    // Band 2, slot 0 hard limits with its output 200 dB down: low band LP(c0) plus middle band
    // LP(c1) HP(c0) are left, at the default cut-offs of 5 and 10 kHz.
    Multiband silenced(host);
    silenced.Set(24 + 5, 13u);
    silenced.Set(24 + 4, -200.0f);
    ASSERT_EQ(silenced.Init(), QW_Success);
    const std::vector<float> hAll = all.ImpulseResponse(8), hSilenced = silenced.ImpulseResponse(8);
    for (double f : {50.0, 300.0, 700.0, 1000.0, 3000.0, 5000.0, 7000.0, 9000.0, 15000.0}) {
        const std::complex<double> expectedAll =
            1.0 + AnalogueFirstOrder(300.0, f, 48000.0, false) * AnalogueFirstOrder(3000.0, f, 48000.0, true);
        EXPECT_NEAR(std::abs(DftAt(hAll, f, 48000.0) - expectedAll), 0.0, 2e-4) << f;
        const std::complex<double> expectedSilenced =
            AnalogueFirstOrder(5000.0, f, 48000.0, false) +
            AnalogueFirstOrder(10000.0, f, 48000.0, false) * AnalogueFirstOrder(5000.0, f, 48000.0, true);
        EXPECT_NEAR(std::abs(DftAt(hSilenced, f, 48000.0) - expectedSilenced), 0.0, 2e-4) << f;
    }
    EXPECT_EQ(host.asserts.Total(), 0u);
}
