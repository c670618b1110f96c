// The slot grid: slots chain in the caller's order, bad indices assert, Reset heals.
#include <gtest/gtest.h>
#include <cmath>
#include "distortion_test_util.h"
#include "support/testhost.h"

TEST(DistortionDsp, SlotOneTakesSlotZerosOutput)
{
    TestHost host;
    DistortionDsp dsp(48000.0f);
    SlotSetting a;
    a.uAlgorithm = 17; // tanh, trim -3
    a.fOutputDb = 2.0f;
    SlotSetting b;
    b.uAlgorithm = 22; // Blues Driver, trim 0
    b.fMix = 75.0f;
    ApplySetting(dsp, a, 3, 0);
    ApplySetting(dsp, b, 3, 1);
    std::vector<float> buf = {0.7f, -0.4f, 2.0f};
    const std::vector<float> in = buf;
    dsp.Process(3, 0, 3, buf.data());
    dsp.Process(3, 1, 3, buf.data());
    for (size_t i = 0; i < in.size(); ++i) {
        const double u = std::tanh(static_cast<double>(in[i])) * DbGain(-3) * DbGain(2);
        const double fBlues = (std::fabs(u) + 1) * u / (u * u + 1);
        EXPECT_NEAR(buf[i], 0.75 * fBlues + 0.25 * u, 2e-6) << i;
    }
    // Other bands are separate records.
    EXPECT_EQ(dsp.GetAlgorithm(0, 0), 0u);
    EXPECT_EQ(dsp.GetAlgorithm(3, 1), 22u);
}

// Out-of-grid calls are reported, one each, and write nothing.
TEST(DistortionDsp, BadIndicesAssertAndChangeNothing)
{
    TestHost host;
    DistortionDsp dsp(48000.0f);
    dsp.SetParameter(3, 5, 9.0f, 0);
    for (uint32_t i = 0; i < 5; ++i)
        EXPECT_NE(dsp.GetParameter(3, i, 0), 9.0f);
    dsp.SetAlgorithm(4, 1, 0);
    dsp.SetAlgorithm(0, 1, 2);
    for (uint32_t b = 0; b < KvSkrel::NUM_BANDS; ++b)
        EXPECT_EQ(dsp.GetAlgorithm(b, 0) + dsp.GetAlgorithm(b, 1), 0u) << b;
    EXPECT_EQ(host.asserts.Total(), 3u);
}

TEST(DistortionDsp, ResetHealsAnOutOfRangeAlgorithmAndClearsTheRing)
{
    TestHost host;
    DistortionDsp dsp(48000.0f);
    dsp.SetAlgorithm(1, 36, 0);
    dsp.SetParameter(1, 2, 0.25f, 0);
    std::vector<float> ones(6, 1.0f);
    dsp.Process(1, 0, 6, ones.data());
    const float fDriveBefore = dsp.Slot(2, 1).m_fDriveGain;
    dsp.SetAlgorithm(2, 60, 1);
    EXPECT_EQ(host.asserts.Count("iAlgorithm < NUM_DISTORTION_ALGORITHMS"), 1u);
    EXPECT_EQ(dsp.GetAlgorithm(2, 1), 60u);
    EXPECT_EQ(dsp.Slot(2, 1).m_fDriveGain, fDriveBefore); // no row to derive from
    dsp.Reset();
    EXPECT_EQ(host.asserts.Count("false"), 1u);
    EXPECT_EQ(dsp.GetAlgorithm(2, 1), 0u);
    // The next block restarts the average from empty.
    std::vector<float> next(2, 1.0f);
    dsp.Process(1, 0, 2, next.data());
    EXPECT_NEAR(next[0], 0.25, 1e-6);
}
