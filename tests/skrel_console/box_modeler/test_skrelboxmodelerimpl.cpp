#include <gtest/gtest.h>
#include <cmath>
#include <vector>
#include "skrel_console/box_modeler/src/interface/skrelboxmodelerimpl.h"
#include "support/testboxmodel.h"
#include "support/testhost.h"

TEST(SkrelBoxModelerImpl, InputGainActsOnWetAndDry)
{
    // Wet 0: out = in x input gain x model gain x output gain, for +6, -3 and +2 dB.
    TestHost host;
    const std::vector<uint8_t> blob = MakeBoxModelBlob(-3.0f, {0.7f, 0.2f});
    SkrelBoxModelerImpl impl(48000.0f, 1, 32, "", false);
    impl.SetMedia(uint32_t(blob.size()), blob.data());
    impl.SetIntParam(SkrelBoxModelerImpl::INT_MODEL, 0);
    EXPECT_TRUE(impl.SetFloatParam(2, 6.0f));
    EXPECT_TRUE(impl.SetFloatParam(3, 2.0f));
    EXPECT_TRUE(impl.SetFloatParam(4, 0.0f));
    std::vector<float> x(32);
    for (uint32_t i = 0; i < 32; ++i)
        x[i] = std::sin(0.3f * i);
    std::vector<float> y(x);
    float* p = y.data();
    impl.Process(32, &p);
    const double g = std::pow(10.0, (6.0 - 3.0 + 2.0) / 20.0);
    for (uint32_t i = 0; i < 32; ++i)
        ASSERT_NEAR(y[i], g * x[i], 1e-6) << i; // offsets of 1e-10 are below the tolerance
}

TEST(SkrelBoxModelerImpl, RefusalsAndPassThrough)
{
    TestHost host;
    SkrelBoxModelerImpl impl(48000.0f, 1, 32, "", false);
    std::vector<float> x(64, 0.5f);
    float* p = x.data();
    impl.Process(32, &p); // no model yet: untouched
    EXPECT_EQ(x[0], 0.5f);
    const std::vector<uint8_t> blob = MakeBoxModelBlob(0.0f, {2.0f});
    impl.SetMedia(uint32_t(blob.size()), blob.data());
    impl.SetIntParam(SkrelBoxModelerImpl::INT_MODEL, 0);
    impl.Process(33, &p); // more than a block: refused
    EXPECT_EQ(x[0], 0.5f);
    EXPECT_EQ(host.asserts.Count("in_uFrames <= m_uBlockFrames"), 1u);
    EXPECT_FALSE(impl.SetIntParam(2, 0));
    EXPECT_FALSE(impl.SetFloatParam(1, 0.0f));
    EXPECT_FALSE(impl.SetFloatParam(7, 0.0f));
    EXPECT_EQ(host.asserts.Total(), 4u);
    EXPECT_EQ(impl.GetMaxBlockFrames(), 1024u);
}

