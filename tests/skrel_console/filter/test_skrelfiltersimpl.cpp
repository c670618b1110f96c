#include <gtest/gtest.h>
#include "kvbase/common/common_allocator.h"
#include "skrel_console/filter/src/interface/skrelfiltersimpl.h"
#include "support/testhost.h"

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
