#include <gtest/gtest.h>
#include <random>
#include <vector>
#include "skrel_console/dynamics/src/interface/skreldynamicsimpl.h"
#include "support/testhost.h"

TEST(SkrelDynamicsImpl, InterleavedEntryMatchesPlanarProcessing)
{
    TestHost host;
    SkrelDynamicsImpl planar(32, 48000.0f, 3, false), interleaved(32, 48000.0f, 3, true);
    for (SkrelDynamicsImpl* p : {&planar, &interleaved}) {
        p->SetFloatParam(SkrelDynamicsImpl::ID_COMP_THRESHOLD, -12.0f);
        p->SetFloatParam(SkrelDynamicsImpl::ID_COMP_RATIO, 3.0f);
        p->SetFloatParam(SkrelDynamicsImpl::ID_EXP_THRESHOLD, -30.0f);
        p->SetFloatParam(SkrelDynamicsImpl::ID_EXP_RATIO, 2.0f);
    }
    std::mt19937 rng(5);
    std::uniform_real_distribution<float> dist(-1.0f, 1.0f);
    for (uint32_t uFrames : {32u, 20u, 32u}) { // a short block in the middle pads both alike
        std::vector<float> channels(3 * 32), mixed(3 * uFrames);
        for (uint32_t c = 0; c < 3; ++c)
            for (uint32_t i = 0; i < uFrames; ++i)
                mixed[3 * i + c] = channels[32 * c + i] = dist(rng) * (c + 1) * 0.3f;
        float* apChannels[3] = {&channels[0], &channels[32], &channels[64]};
        planar.Process(uFrames, apChannels);
        interleaved.ProcessInterleaved(3 * uFrames, mixed.data());
        for (uint32_t c = 0; c < 3; ++c)
            for (uint32_t i = 0; i < uFrames; ++i)
                ASSERT_EQ(mixed[3 * i + c], channels[32 * c + i]) << "channel " << c << " frame " << i;
    }
    // More frames than the block: reported, nothing processed.
    std::vector<float> tooMany(3 * 33, 0.5f);
    interleaved.ProcessInterleaved(3 * 33, tooMany.data());
    EXPECT_EQ(host.asserts.Count("false"), 1u);
    EXPECT_EQ(tooMany[0], 0.5f);
}
