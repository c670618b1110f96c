// The slot grid: bad indices assert, Reset heals. (Slots in series are the effect's tests'.)
#include <gtest/gtest.h>
#include <cmath>
#include "distortion_test_util.h"
#include "support/testhost.h"

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
