#include <gtest/gtest.h>
#include <random>
#include <vector>
#include "kvbase/common/common_allocator.h"
#include "skrel_console/filter/src/interface/skrelfiltersimpl.h"
#include "support/testhost.h"

namespace {

std::vector<float> Noise(size_t in_uCount)
{
    std::mt19937 rng(23);
    std::uniform_real_distribution<float> dist(-1.0f, 1.0f);
    std::vector<float> s(in_uCount);
    for (float& v : s)
        v = dist(rng);
    return s;
}

// Filter 0 a modulated ladder, filter 1 a driven SVF: enough state to show any mix-up of channels.
void Configure(SkrelFiltersImpl& io_impl)
{
    EXPECT_TRUE(io_impl.SetIntParam(0, FILTER_LADDER_BAND));
    EXPECT_TRUE(io_impl.SetIntParam(5, FILTER_MODE_MODULATED));
    EXPECT_TRUE(io_impl.SetFloatParam(7, 20.0f));
    EXPECT_TRUE(io_impl.SetFloatParam(3, 0.7f));
    EXPECT_TRUE(io_impl.SetIntParam(12, FILTER_SVF_DRIVEN_PEAK));
}

} // namespace

TEST(SkrelFiltersImpl, InterleavedMatchesDeinterleaved)
{
    TestHost host;
    SkrelFiltersImpl* pPlanar = QwNew<SkrelFiltersImpl>(128u, 48000.0f, 3u, false);
    SkrelFiltersImpl* pWoven = QwNew<SkrelFiltersImpl>(128u, 48000.0f, 3u, true);
    Configure(*pPlanar);
    Configure(*pWoven);
    const std::vector<float> input = Noise(3 * 128);
    for (uint32_t uFrames : {128u, 77u, 0u, 128u}) {
        std::vector<float> planar(3 * 128), woven(3 * uFrames);
        for (uint32_t c = 0; c < 3; ++c)
            for (uint32_t n = 0; n < uFrames; ++n) {
                planar[c * 128 + n] = input[c * 128 + n];
                woven[n * 3 + c] = input[c * 128 + n];
            }
        float* apChannels[3] = {planar.data(), planar.data() + 128, planar.data() + 256};
        pPlanar->ProcessDeinterleaved(uFrames, apChannels);
        pWoven->ProcessInterleaved(3 * uFrames, woven.data());
        for (uint32_t c = 0; c < 3; ++c)
            for (uint32_t n = 0; n < uFrames; ++n)
                ASSERT_EQ(woven[n * 3 + c], planar[c * 128 + n]) << uFrames << " " << c << " " << n;
    }
    // Channels differ (each has its own chain), and the LFO moved on by four whole blocks.
    EXPECT_EQ(pWoven->Channel(2)->GetLfoPosition(0), (4u * 128u) % 960u);
    QwDelete(pPlanar);
    QwDelete(pWoven);
    EXPECT_TRUE(host.allocator.Balanced());
}

TEST(SkrelFiltersImpl, SettersRouteByIdAndRefuseTheRest)
{
    TestHost host;
    SkrelFiltersImpl* pImpl = QwNew<SkrelFiltersImpl>(64u, 48000.0f, 2u, false);
    EXPECT_TRUE(pImpl->SetFloatParam(24 + 4, 7.5f));   // filter 2 gain: SetParam index 1
    EXPECT_EQ(pImpl->Channel(1)->GetParam(2, FILTER_PARAM_GAIN), 7.5f);
    EXPECT_TRUE(pImpl->SetFloatParam(12 + 9, -3.0f));  // filter 1 second gain: index 6
    EXPECT_EQ(pImpl->GetFloatParam(21), -3.0f);
    EXPECT_TRUE(pImpl->SetIntParam(24 + 6, LFO_TRIANGLE));
    EXPECT_EQ(pImpl->GetIntParam(30), static_cast<uint32_t>(LFO_TRIANGLE));
    EXPECT_FALSE(pImpl->SetIntParam(5, 3));            // mode 3 refused, old mode kept
    EXPECT_EQ(pImpl->GetIntParam(5), 0u);
    EXPECT_EQ(host.asserts.Total(), 0u);
    EXPECT_FALSE(pImpl->SetIntParam(1, 4));            // a float id
    EXPECT_FALSE(pImpl->SetFloatParam(12, 4.0f));      // an integer id
    EXPECT_FALSE(pImpl->SetIntParam(36, 0));
    EXPECT_EQ(host.asserts.Count("bKnown"), 3u);
    EXPECT_FALSE(pImpl->SetBoolParam(0, true));
    QwDelete(pImpl);
}
