#include <gtest/gtest.h>
#include <cmath>
#include <cstring>
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

TEST(KvSkrelMultibandDistortionFX, ParameterBlockOfSixGroupsAndTwoCutoffs)
{
    TestHost host;
    Multiband fx(host, 2);
    std::vector<uint8_t> block(152, 0);
    for (uint32_t g = 0; g < 6; ++g) {
        const float afGroup[5] = {1.0f * g, 2.0f, 0.25f, 50.0f, -1.0f * g};
        std::memcpy(&block[24 * g], afGroup, 20);
        const uint32_t uAlgorithm = 10 + g;
        std::memcpy(&block[24 * g + 20], &uAlgorithm, 4);
    }
    const float afCutoffs[2] = {250.0f, 4000.0f};
    std::memcpy(&block[144], afCutoffs, 8);
    fx.pParams->Init(&host.allocator, block.data(), 152);
    ASSERT_EQ(fx.Init(), QW_Success);
    fx.Execute(512);
    SkrelMultibandDistImpl& impl = fx.Impl();
    EXPECT_EQ(impl.GetCutoff(0), 250.0f);
    EXPECT_EQ(impl.GetCutoff(1), 4000.0f);
    EXPECT_EQ(impl.GetAlgorithm(1, 2), 15u);     // group 5 = band 2, slot 1
    EXPECT_EQ(impl.GetParameter(0, 0, 1), 2.0f); // group 2 = band 1, slot 0: input gain 2 dB
    EXPECT_EQ(impl.GetParameter(4, 1, 0), -1.0f); // group 1 = band 0, slot 1: output gain -1 dB
}
