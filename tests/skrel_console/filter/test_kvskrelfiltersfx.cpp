#include <gtest/gtest.h>
#include <cmath>
#include <complex>
#include <vector>
#include "skrel_console/effectrig.h"
#include "skrel_console/filter/qwent/audioenginefx/kvskrelfiltersfx.h"
#include "support/dspreference.h"
#include "support/firstorderresponse.h"

namespace {

constexpr uint16_t MAX_FRAMES = 256;
typedef EffectRig<KvSkrelFiltersFX, KvSkrelFiltersFXParams> Rig;

typedef std::complex<long double> cld;

// A biquad's response from the textbook low- and high-pass designs (Q-based alpha), long double.
cld Biquad(bool in_bHighPass, long double in_fc, long double in_q, long double in_f, long double in_fs)
{
    const long double pi = 3.141592653589793238462643L;
    const long double w0 = 2.0L * pi * in_fc / in_fs, c = std::cos(w0), alpha = std::sin(w0) / (2.0L * in_q);
    const long double b0 = in_bHighPass ? (1.0L + c) / 2.0L : (1.0L - c) / 2.0L;
    const long double b1 = in_bHighPass ? -(1.0L + c) : 1.0L - c;
    const cld zi = std::polar(1.0L, -2.0L * pi * in_f / in_fs);
    return (b0 + b1 * zi + b0 * zi * zi) / ((1.0L + alpha) - 2.0L * c * zi + (1.0L - alpha) * zi * zi);
}

} // namespace

TEST(KvSkrelFiltersFX, DefaultsAreHighPassFlatPeakAndLowPass)
{
    TestHost host;
    Rig fx(host, 1, 4096);
    ASSERT_EQ(fx.Init(), QW_Success);
    // The impulse response of the chain against a 40 Hz high-pass (Q 0.5) times a 15 kHz
    // low-pass (Q 0.5); the 0 dB peak contributes exactly 1.
    fx.data[0] = 1.0f;
    fx.Execute(4096);
    for (double f : {20.0, 40.0, 100.0, 1000.0, 10000.0, 15000.0, 20000.0}) {
        const std::complex<double> h = DftAt(fx.data, f, 48000.0);
        const long double expected =
            std::abs(Biquad(true, 40.0L, 0.5L, f, 48000.0L) * Biquad(false, 15000.0L, 0.5L, f, 48000.0L));
        // The 40 Hz high-pass has decayed to below 1e-4 within the 4096 samples.
        EXPECT_NEAR(std::abs(h), static_cast<double>(expected), 2e-3) << f;
    }
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(KvSkrelFiltersFX, EmptyBlockStillAdvancesTheLfo)
{
    TestHost host;
    Rig fx(host, 1, MAX_FRAMES);
    ASSERT_EQ(fx.Init(), QW_Success);
    fx.Set(5, 1u);      // filter 0 modulated
    fx.Set(7, 100.0f);  // P = 4800 samples
    fx.Execute(0);
    EXPECT_EQ(fx.Impl().Channel(0)->GetLfoPosition(0), MAX_FRAMES);
    fx.Execute(10);
    EXPECT_EQ(fx.Impl().Channel(0)->GetLfoPosition(0), 2u * MAX_FRAMES);
}

TEST(KvSkrelFiltersFX, TypeAboveThirtySixFailsInitAndIsDroppedInExecute)
{
    TestHost host;
    {
        Rig fx(host, 2, MAX_FRAMES);
        fx.Set(12, 37u);
        EXPECT_EQ(fx.Init(), QW_OutOfMemory);
    }
    Rig fx(host, 2, MAX_FRAMES);
    ASSERT_EQ(fx.Init(), QW_Success);
    fx.Set(12, 37u);
    fx.Execute(MAX_FRAMES);
    EXPECT_EQ(fx.Impl().GetIntParam(12), 6u);
}

TEST(KvSkrelFiltersFX, TooLongABlockPassesUnfilteredAndNoChannelsIsNotRefused)
{
    TestHost host;
    Rig fx(host, 1, 64);
    ASSERT_EQ(fx.Init(), QW_Success);
    const std::vector<float> input = RefNoise(MAX_FRAMES, 20, 0.5f);
    std::vector<float> data = input;
    QwAudioBuffer buffer{data.data(), fx.format.uChannelConfig, QW_Success, MAX_FRAMES, MAX_FRAMES};
    fx.pFx->Execute(&buffer);
    EXPECT_EQ(data, input);
    EXPECT_EQ(host.asserts.Count("in_uFrames <= m_uMaxBlockFrames"), 1u);

    Rig none(host, 0, 64);
    EXPECT_EQ(none.Init(), QW_Success);
    // Every integer pushed at Init meets an empty chain list.
    EXPECT_EQ(host.asserts.Count("m_pFilters.size() > 0"), 9u);
}
