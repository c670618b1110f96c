#include <gtest/gtest.h>
#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>
#include "skrel_console/dynamics/qwent/audioenginefx/kvskreldynamicsfx.h"
#include "skrel_console/effectrig.h"

namespace {

typedef KvSkrelDynamicsFXParams Params;

struct Rig : EffectRig<KvSkrelDynamicsFX, Params>
{
    using EffectRig::EffectRig;
    void Run(uint16_t in_uValid, float in_fLeft, float in_fRight = 0.0f)
    {
        std::fill(Channel(0), Channel(0) + buffer.uMaxFrames, in_fLeft);
        if (QwChannelCount(format.uChannelConfig) > 1)
            std::fill(Channel(1), Channel(1) + buffer.uMaxFrames, in_fRight);
        Execute(in_uValid);
    }
    const DynamicsStage& Stage(uint32_t c) { return Impl().GetDsp(c).GetStage(SkrelDynamicsImpl::EFFECT_STAGE); }
};

} // namespace

// Values sent after Init reach the engines; a loud left channel leaves the right alone.
TEST(KvSkrelDynamicsFX, ChannelsStayIndependent)
{
    TestHost host;
    Rig rig(host, 2, 64);
    ASSERT_EQ(rig.Init(), QW_Success);
    rig.Run(64, 0.0f);
    rig.Set(Params::ID_COMP_THRESHOLD, -20.0f);
    rig.Set(Params::ID_COMP_RATIO, 4.0f);
    rig.Set(Params::ID_COMP_ATTACK, 0.0f);
    rig.pFx->Reset();
    for (uint32_t b = 0; b < 4; ++b) {
        rig.Run(64, 1.0f, 0.05f); // right at -26 dB, under the threshold
        for (uint32_t i = 0; i < 64; ++i) {
            const float fGuard = 64 * b + i < 128 ? 1e-10f : -1e-10f;
            ASSERT_EQ(rig.Channel(1)[i], (0.05f + fGuard) + fGuard) << b << " " << i;
            // Left sits on 10^-0.75 or hunts just above it (release 200 ms).
            ASSERT_NEAR(rig.Channel(0)[i], std::pow(10.0, -0.75), 2e-3) << b << " " << i;
        }
    }
}

TEST(KvSkrelDynamicsFX, BypassResetAndOversizedBlocks)
{
    TestHost host;
    Rig rig(host, 2, 64);
    ASSERT_EQ(rig.Init(), QW_Success);
    rig.Set(Params::ID_COMP_THRESHOLD, -20.0f);
    rig.Set(Params::ID_COMP_RATIO, 4.0f);
    rig.Run(64, 1.0f, 1.0f);
    const DynamicsStage before = rig.Stage(0);
    ASSERT_LT(before.m_fCompGain, 0.99f);

    rig.Set(Params::ID_BYPASS, 2u); // any non-zero value
    rig.Run(64, 0.75f, -0.3f);
    EXPECT_TRUE(std::all_of(rig.Channel(0), rig.Channel(0) + 64, [](float f) { return f == 0.75f; }));
    EXPECT_EQ(std::memcmp(&before, &rig.Stage(0), sizeof before), 0); // the gain state stands still
    rig.Set(Params::ID_BYPASS, 0.0f);
    rig.Run(64, 1.0f, 1.0f);
    EXPECT_LT(rig.Stage(0).m_fCompGain, before.m_fCompGain);

    EXPECT_EQ(rig.pFx->Reset(), QW_Success);
    EXPECT_EQ(rig.Stage(0).m_fCompGain, 1.0f);
    EXPECT_EQ(rig.Stage(0).m_uOutputGuardCount, 0u);
    EXPECT_EQ(rig.Stage(0).m_fCompThresholdDb, -20.0f); // parameters survive

    // More valid frames than the block the effect was built for: reported, nothing processed.
    std::vector<float> big(2 * 128, 0.5f);
    QwAudioBuffer wide = {big.data(), rig.format.uChannelConfig, 0, 128, 100};
    rig.pFx->Execute(&wide);
    EXPECT_EQ(host.asserts.Count("false"), 1u);
    EXPECT_EQ(big[0], 0.5f);
}
