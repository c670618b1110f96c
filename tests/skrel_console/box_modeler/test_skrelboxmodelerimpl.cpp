#include <gtest/gtest.h>
#include <vector>
#include "skrel_console/box_modeler/src/interface/skrelboxmodelerimpl.h"
#include "support/testboxmodel.h"
#include "support/testhost.h"

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
}

