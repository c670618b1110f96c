#include <gtest/gtest.h>
#include <cmath>
#include <cstring>
#include <vector>
#include "skrel_console/delay/qwent/audioenginefx/kvskreldelayfx.h"
#include "skrel_console/effectrig.h"

namespace {

typedef EffectRig<KvSkrelDelayFX, KvSkrelDelayFXParams> Rig;

// dry, wet, low cut, Q, high cut, Q, delay, feedback, amount; mode
struct DelayBlock
{
    float afValues[9];
    uint32_t uMode;
};
const DelayBlock CLEAN_WET = {{0.0f, 100.0f, 20.0f, 0.2f, 20000.0f, 0.2f, 40.0f, 0.0f, 0.25f}, 5};

// Item n at byte 4n, little-endian.
void Load(Rig& io_rig, const DelayBlock& in_block)
{
    uint8_t aBytes[40];
    std::memcpy(aBytes, in_block.afValues, 36);
    std::memcpy(aBytes + 36, &in_block.uMode, 4);
    EXPECT_EQ(io_rig.pParams->SetParamsBlock(aBytes, 40), QW_Success);
}

} // namespace

TEST(KvSkrelDelayFX, FirstBlockPushesEveryValueModeAfterFloats)
{
    TestHost host;
    Rig rig(host, 5, 128); // no channel layout is refused
    // Amount 1 and mode 3 arrive in one block: the ring and the mask come from amount 1.
    const DelayBlock block = {{50, 60, 100, 0.5f, 8000, 0.7f, 500, 30, 1.0f}, 3};
    Load(rig, block);
    ASSERT_EQ(rig.Init(), QW_Success);
    rig.Execute(128);
    ASSERT_EQ(rig.Impl().NumChannels(), 5u);
    for (uint32_t c = 0; c < 5; ++c) {
        const SkrelDelayDsp* pEngine = rig.Impl().GetEngine(c);
        for (uint32_t i = 0; i < 9; ++i)
            EXPECT_EQ(pEngine->GetParam(i), block.afValues[i]) << i;
        EXPECT_EQ(pEngine->GetMode(), 3u);
        EXPECT_EQ(pEngine->GetAverageLength(), 8u);
        EXPECT_EQ(pEngine->GetBitMask(), 0xFC000000u);
    }
    // An out-of-range value is stored by the parameter object and ignored by the engine.
    rig.Set(7, 300.0f);
    rig.Execute(128);
    EXPECT_EQ(rig.Impl().GetFeedbackPercent(), 30.0f);
    EXPECT_EQ(host.asserts.Total(), 0u);
}

// The tail the engine reports (the blocks the host gets from it are the tool's delay-tail test's).
TEST(KvSkrelDelayFX, TailFollowsFeedbackAndRequestedDelay)
{
    TestHost host;
    struct Case { float fFeedback; float fDelay; uint32_t uExpected; };
    // 100 dB of decay at 20 log10(1/f) dB a pass: f = 0.5 falls 6.0206 dB a pass, 16.6096 passes
    // of 200 ms at 48 kHz (9600 samples) = 159452.5. Above 100 percent f counts as 0.999, which in
    // single precision is 0.99900001287: 100 / 0.00868911 dB = 11507.32 passes = 110470240.
    // A 10 ms request counts as 10 ms (480 samples): 7972.6. 30 percent, 40 ms: 100 / 10.4576 dB
    // = 9.5624 passes x 1920 = 18359.8. Below half a percent: one block.
    const Case cases[] = {
        {50.0f, 200.0f, 159452u}, {101.0f, 200.0f, 110470240u}, {200.0f, 200.0f, 110470240u},
        {50.0f, 10.0f, 7972u},    {100.0f, 200.0f, 0u},         {0.49f, 200.0f, 256u},
        {0.0f, 200.0f, 256u},     {30.0f, 40.0f, 18359u},
    };
    for (const Case& c : cases) {
        DelayBlock block = CLEAN_WET;
        block.afValues[6] = c.fDelay;
        block.afValues[7] = c.fFeedback;
        Rig rig(host, 2, 256);
        Load(rig, block);
        ASSERT_EQ(rig.Init(), QW_Success);
        rig.Execute(256); // the tail reads the engine, so push the values first
        const double fTail = rig.Impl().GetTailFrames();
        EXPECT_NEAR(fTail, c.uExpected, 1e-6 * c.uExpected + 1.0) << c.fFeedback << " % " << c.fDelay << " ms";
    }
}
