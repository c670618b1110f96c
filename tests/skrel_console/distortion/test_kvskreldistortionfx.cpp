// The single-band distortion effect through its host interfaces: parameters, the block road,
// short blocks and the digital state.
#include <gtest/gtest.h>
#include <cmath>
#include <vector>
#include "skrel_console/distortion/qwent/audioenginefx/kvskreldistortionfx.h"
#include "skrel_console/effectrig.h"

namespace {

typedef EffectRig<KvSkrelDistortionFX, KvSkrelDistortionFXParams> Rig;

void FillRamp(std::vector<float>& io_data)
{
    for (size_t i = 0; i < io_data.size(); ++i)
        io_data[i] = std::sin(0.37f * static_cast<float>(i)) * 0.9f;
}

} // namespace

TEST(KvSkrelDistortionFX, TwoSlotsInSeriesOnEveryChannel)
{
    TestHost host;
    Rig fx(host, 3, 64);
    ASSERT_EQ(fx.Init(), QW_Success);
    fx.Set(1, 0.0f);   // Drive1 0: unity drive
    fx.Set(5, 17u);    // tanh, trim -3 dB
    fx.Set(8, 1.0f);   // Character2 1: full-wave
    fx.Set(11, 12u);   // Wrecktifier
    fx.Set(10, 6.0f);  // OutputGain2
    FillRamp(fx.data);
    const std::vector<float> in = fx.data;
    fx.Execute(64);
    // slot 1 drives by 20 dB (Drive 5 on a 40 dB row) before rectifying; Mix 100 keeps only wet.
    for (size_t i = 0; i < in.size(); ++i) {
        const double u = std::tanh(static_cast<double>(in[i])) * std::pow(10.0, -3.0 / 20);
        EXPECT_NEAR(fx.data[i], std::fabs(u) * 10.0 * std::pow(10.0, 6.0 / 20), 1e-5) << i;
    }
}

TEST(KvSkrelDistortionFX, AlgorithmChangeUsesTheDriveSentInTheSameBlock)
{
    TestHost host;
    Rig fx(host, 1, 64);
    ASSERT_EQ(fx.Init(), QW_Success);
    fx.Execute(64);
    fx.Set(5, 2u);     // 4 dB row
    fx.Set(1, 10.0f);  // Drive 10: 4 dB
    fx.Execute(64);
    EXPECT_NEAR(fx.Impl().Dsp(0).Slot(3, 0).m_fDriveGain, std::pow(10.0, 4.0 / 20), 1e-6); // 4 dB row, Drive 10
    // An algorithm past the table from the host is reported and the old one kept.
    fx.Set(5, 48u);
    fx.Execute(64);
    EXPECT_EQ(host.asserts.Count("false"), 1u);
    EXPECT_EQ(fx.Impl().GetAlgorithm(0), 2u);
}

// The effect's Reset leaves the averaging rings as they are (the short-block rule and the
// guard's square wave are the tool's uneven-block test's and the algorithm tests').
TEST(KvSkrelDistortionFX, ResetKeepsTheAveragingRings)
{
    TestHost host;
    Rig fx(host, 1, 64);
    ASSERT_EQ(fx.Init(), QW_Success);
    fx.Set(5, 36u);    // Bit Aliasing
    fx.Set(2, 0.25f);  // n = 4
    FillRamp(fx.data);
    fx.Execute(64);
    const float fSum = fx.Impl().Dsp(0).Slot(3, 0).m_fAverageSum;
    EXPECT_GT(std::fabs(fSum), 0.1f); // the last four samples of the ramp
    EXPECT_EQ(fx.pFx->Reset(), QW_Success);
    EXPECT_EQ(fx.Impl().Dsp(0).Slot(3, 0).m_fAverageSum, fSum);
    EXPECT_EQ(fx.Impl().Dsp(0).Slot(3, 0).m_uBufferSamples, 4u);
}

TEST(KvSkrelDistortionFX, PendingAllocatorFailureKeepsTheFlagsForTheNextBlock)
{
    TestHost host;
    Rig fx(host, 1, 64);
    ASSERT_EQ(fx.Init(), QW_Success);
    fx.Execute(64);
    fx.Set(5, 17u);
    fx.Set(1, 0.0f);
    GetAllocatorBinding().m_bOutOfMemory = 1; // the sticky flag, as left by a failure elsewhere
    fx.Execute(64);
    EXPECT_TRUE(fx.pParams->m_bGainsChanged && fx.pParams->m_bAlgorithmsChanged);
    GetAllocatorBinding().m_bOutOfMemory = 0;
    FillRamp(fx.data);
    const float fIn = fx.data[3];
    fx.Execute(64);
    EXPECT_FALSE(fx.pParams->m_bGainsChanged || fx.pParams->m_bAlgorithmsChanged);
    EXPECT_NEAR(fx.data[3], std::tanh(static_cast<double>(fIn)) * std::pow(10.0, -3.0 / 20), 1e-6);
}

TEST(SkrelDistImpl, BypassRunsNothingAndBadCallsAreRefused)
{
    TestHost host;
    SkrelDistImpl impl(32, 48000.0f, 1, false);
    impl.SetAlgorithm(36, 0);
    EXPECT_TRUE(impl.SetBoolParameter(SkrelDistImpl::PARAM_BYPASS, true));
    std::vector<float> buf(32, 0.5f);
    float* pChannel = buf.data();
    impl.Process(32, &pChannel);
    EXPECT_EQ(buf, std::vector<float>(32, 0.5f));
    EXPECT_FALSE(impl.SetBoolParameter(3, true));
    EXPECT_FALSE(impl.SetFloatParameter(6, 1.0f)); // 6 is an algorithm
    EXPECT_FALSE(impl.SetFloatParameter(13, 1.0f));
    EXPECT_EQ(host.asserts.Count("false"), 3u);
    impl.SetDrive(1.0f, 2);
    EXPECT_EQ(host.asserts.Count("iEffectSlot < KvSkrel::NUM_DISTORTION_SLOTS"), 1u);
    impl.SetBoolParameter(SkrelDistImpl::PARAM_BYPASS, false);
    impl.Process(33, &pChannel); // more frames than the block
    EXPECT_EQ(host.asserts.Count("false"), 4u);
}
