#include <gtest/gtest.h>
#include <cmath>
#include <vector>
#include "skrel_console/box_modeler/qwent/audioenginefx/kvskrelboxmodelerfx.h"
#include "skrel_console/effectrig.h"
#include "support/dspreference.h"
#include "support/testboxmodel.h"

namespace {

typedef KvSkrelBoxModelerFXParams Params;

struct Rig : EffectRig<KvSkrelBoxModelerFX, Params>
{
    Rig(TestHost& io_host, uint32_t in_uChannels, uint16_t in_uMaxFrames, uint32_t in_uMask,
        const std::vector<uint8_t>& in_media)
        : EffectRig(io_host, in_uChannels, in_uMaxFrames, in_uMask)
    {
        context.media = in_media;
    }
    // Runs whole host blocks of a mono stream; returns what came back.
    std::vector<float> RunMono(const std::vector<float>& in_x)
    {
        std::vector<float> y;
        const uint16_t uH = buffer.uMaxFrames;
        for (size_t uPos = 0; uPos < in_x.size(); uPos += uH) {
            std::copy(in_x.begin() + uPos, in_x.begin() + uPos + uH, data.begin());
            Execute(uH);
            y.insert(y.end(), data.begin(), data.begin() + buffer.uValidFrames);
        }
        return y;
    }
};

// A host that hands over media of no bytes from a non-null pointer.
class EmptyMediaContext : public TestEffectContext
{
public:
    EmptyMediaContext() : TestEffectContext(512) {}
    void GetPluginMedia(uint32_t, const uint8_t*& out_pData, uint32_t& out_uSize) override
    {
        out_pData = aBytes;
        out_uSize = 0;
    }
    uint8_t aBytes[4] = {};
};

} // namespace

TEST(KvSkrelBoxModelerFX, MediaMissingOrEmptyGives79)
{
    TestHost host;
    Rig none(host, 2, 512, QW_MASK_STEREO, {});
    EXPECT_EQ(none.Init(), QW_MediaMissing);
    EXPECT_TRUE(none.pFx->ProbeFlag());
    EXPECT_EQ(none.pFx->ProbeCode(), 1u);
    Rig empty(host, 2, 512, QW_MASK_STEREO, {});
    EmptyMediaContext context;
    EXPECT_EQ(empty.pFx->Init(&host.allocator, &context, empty.pParams, empty.format), QW_MediaMissing);
}

TEST(KvSkrelBoxModelerFX, ConvolvesWithModelAndGainsWithoutRing)
{
    // H = 256: no ring, no latency. Input, model and output gains act on both paths:
    // y = 10^((6 - 2 + 4) / 20) (0.4 (x * h) + 0.6 x) at wet 40.
    TestHost host;
    const std::vector<float> h = RefNoise(300, 1);
    Rig rig(host, 1, 256, QW_MASK_MONO, MakeBoxModelBlob(-2.0f, h));
    ASSERT_EQ(rig.Init(), QW_Success);
    EXPECT_EQ(rig.pFx->LatencyFrames(), 0u);
    rig.Set(Params::ID_INPUT_GAIN, 6.0f);
    rig.Set(Params::ID_OUTPUT_GAIN, 4.0f);
    rig.Set(Params::ID_WET, 40.0f);
    const std::vector<float> x = RefNoise(2048, 2);
    const std::vector<float> y = rig.RunMono(x);
    ASSERT_EQ(y.size(), x.size());
    const std::vector<double> ref = RefConvolution(x, h);
    const double g = std::pow(10.0, 8.0 / 20.0);
    for (size_t n = 0; n < x.size(); ++n)
        ASSERT_NEAR(y[n], g * (0.4 * ref[n] + 0.6 * x[n]), 3e-5) << n; // float FFT over 300 taps of unit-range noise
    EXPECT_EQ(host.asserts.Total(), 0u);
}

TEST(KvSkrelBoxModelerFX, ModelOrModeAfterInitIsDropped)
{
    TestHost host;
    const std::vector<uint8_t> media = MakeBoxModelBlob(0.0f, RefNoise(200, 4));
    Rig a(host, 1, 256, QW_MASK_MONO, media), b(host, 1, 256, QW_MASK_MONO, media);
    ASSERT_EQ(a.Init(), QW_Success);
    ASSERT_EQ(b.Init(), QW_Success);
    const std::vector<float> x = RefNoise(768, 5);
    EXPECT_EQ(a.RunMono(x), b.RunMono(x));
    a.Set(Params::ID_MODEL, 5u);
    a.Set(Params::ID_MODE, 2u);
    EXPECT_EQ(a.RunMono(x), b.RunMono(x)); // a reload would have cleared the ringing state
}

TEST(KvSkrelBoxModelerFX, SurroundChannelOrders)
{
    // Silence through a unit tap with 64-frame blocks: block b gives engine channel n of C the
    // offsets of counters 64 (bC + n) and on, which are + for (bC + n) mod 4 in {0, 1} and - for
    // {2, 3}, twice (input and output side). Over four blocks the signs on block channel k tell
    // which engine position k was given, up to n mod 4.
    struct Layout
    {
        uint32_t uMask;
        std::vector<uint8_t> order;
    };
    const Layout aLayouts[] = {{QW_MASK_STEREO, {0, 1}},
                               {QW_MASK_MONO, {0}},
                               {QW_MASK_4_0, {0, 1, 2, 3}},
                               {QW_MASK_5_0, {0, 1, 3, 4, 2}},
                               {QW_MASK_5_1, {0, 1, 3, 4, 2, 5}},
                               {QW_MASK_7_1, {0, 1, 2, 5, 6, 3, 4, 7}}};
    for (const Layout& layout : aLayouts) {
        TestHost host;
        const uint32_t uChannels = uint32_t(layout.order.size());
        Rig rig(host, uChannels, 64, layout.uMask, MakeBoxModelBlob(0.0f, {1.0f}));
        ASSERT_EQ(rig.Init(), QW_Success);
        for (uint32_t b = 0; b < 4; ++b) {
            std::fill(rig.data.begin(), rig.data.end(), 0.0f);
            rig.Execute(64);
            for (uint32_t n = 0; n < uChannels; ++n) {
                const float fExpected = (b * uChannels + n) % 4 < 2 ? 2e-10f : -2e-10f;
                const uint32_t k = layout.order[n];
                for (uint32_t i = 0; i < 64; ++i)
                    ASSERT_NEAR(rig.Channel(k)[i], fExpected, 1e-16) << "mask " << layout.uMask << " channel " << k;
            }
        }
    }
}

// Host blocks that are not a multiple of the process block go through a ring; a trim and a
// length change rebuild the kernel inside Execute without allocating.
TEST(KvSkrelBoxModelerFX, RingedHostBlocks)
{
    const std::vector<uint8_t> media = MakeBoxModelBlob(-1.0f, RefNoise(2048, 7));
    for (uint16_t H : {uint16_t(1000), uint16_t(3000)}) {
        TestHost host;
        Rig rig(host, 6, H, QW_MASK_5_1, media);
        ASSERT_EQ(rig.Init(), QW_Success);
        const uint64_t uBefore = host.allocator.AllocCalls();
        for (int k = 0; k < 40; ++k) {
            if (k == 10) {
                rig.Set(Params::ID_TRIM_LEVEL, 3.0f);
                rig.Set(Params::ID_LENGTH_FRACTION, 0.5f);
            }
            rig.Execute(k % 3 ? H : uint16_t(k * 37 % H), k < 35 ? QW_DataReady : QW_InputEnded);
        }
        EXPECT_EQ(host.allocator.AllocCalls(), uBefore) << H;
        EXPECT_EQ(host.asserts.Total(), 0u);
    }
}

TEST(KvSkrelBoxModelerFX, TailCarriesTheResponseOut)
{
    // An impulse in the last input frame through 700 taps of 1, 2, 3...: with H = 1000 the
    // stream ends mid-block and the host must get all 700 taps back (at the latency), then 17.
    TestHost host;
    std::vector<float> h(700);
    for (size_t i = 0; i < h.size(); ++i)
        h[i] = float(i + 1) / 700.0f;
    Rig rig(host, 1, 1000, QW_MASK_MONO, MakeBoxModelBlob(0.0f, h));
    ASSERT_EQ(rig.Init(), QW_Success);
    rig.Execute(1000);
    std::vector<float> y(rig.data);
    std::fill(rig.data.begin(), rig.data.end(), 0.0f);
    rig.data[499] = 1.0f; // frame 1499 of the stream, the last one
    uint16_t uValid = 500;
    for (int k = 0; k < 20 && rig.buffer.eState != QW_InputEnded; ++k) {
        rig.Execute(uValid, QW_InputEnded); // the host says so on every call once the input has ended
        y.insert(y.end(), rig.data.begin(), rig.data.begin() + rig.buffer.uValidFrames);
        std::fill(rig.data.begin(), rig.data.end(), 0.0f);
        uValid = 0;
    }
    EXPECT_EQ(rig.buffer.eState, uint32_t(QW_InputEnded));
    ASSERT_GE(y.size(), 1976u + 1500u + 699u);
    for (size_t i = 0; i < 700; ++i)
        ASSERT_NEAR(y[1976 + 1499 + i], h[i], 1e-6) << i;
}
