#include <gtest/gtest.h>
#include "filterharness.h"
#include "kvbase/common/common_allocator.h"
#include "shareddsp/filters/filterstatesvfscaled.h"
#include "shareddsp/filters/prefilter_dsp.h"
#include "support/dspreference.h"
#include "support/testhost.h"

using namespace filtertest;

namespace {

// Owns a prefilter with filters 1 and 2 off, so that filter 0 is all that acts.
struct OneFilter
{
    explicit OneFilter(uint32_t in_uType)
    {
        p = QwNew<PrefilterDsp>(FS);
        p->SetType(0, in_uType);
        p->SetMode(1, FILTER_MODE_OFF);
        p->SetMode(2, FILTER_MODE_OFF);
    }
    ~OneFilter() { QwDelete(p); }
    PrefilterDsp* operator->() const { return p; }
    PrefilterDsp* p;
};

} // namespace

TEST(PrefilterDsp, LfoShapesAtChosenPhases)
{
    struct Case
    {
        uint32_t uShape;
        float t;
        float v;
    };
    // sin(6.2831855 t): t = 0.25 gives sin(1.5707964) = 1, t = 0.75 gives -1.
    // Triangle: 2t below one half, then 1 - ((t - 0.5 + t) - 0.5): 0.75 -> 1 - 0.5 = 0.5, 1 -> 0.
    const Case aCases[] = {
        {LFO_SINE, 0.0f, 0.5f},       {LFO_SINE, 0.25f, 1.0f},     {LFO_SINE, 0.75f, 0.0f},
        {LFO_SQUARE, 0.49f, 0.0f},    {LFO_SQUARE, 0.5f, 1.0f},    {LFO_SQUARE, 0.99f, 1.0f},
        {LFO_RAMP_UP, 0.3f, 0.3f},    {LFO_RAMP_DOWN, 0.3f, 0.7f}, {LFO_TRIANGLE, 0.25f, 0.5f},
        {LFO_TRIANGLE, 0.5f, 1.0f},   {LFO_TRIANGLE, 0.75f, 0.5f}, {LFO_TRIANGLE, 1.0f, 0.0f},
        {LFO_RAMP_UP, 1.25f, 1.25f}, // a phase past 1 is evaluated as it stands
    };
    for (const Case& c : aCases) {
        float v = -1.0f;
        EXPECT_TRUE(PrefilterDsp::LfoValue(c.uShape, c.t, v));
        EXPECT_NEAR(v, c.v, 1e-6f) << c.uShape << " at " << c.t;
    }
}

TEST(PrefilterDsp, ModulatedCoefficientsAreHeldForFiftySamples)
{
    TestHost host;
    // Ramp-up LFO over P = round(5 ms x 48 kHz) = 240 samples, frequency from 200 to 8000 Hz.
    // Chunk j starts at sample 50 j, where the position is 50 j mod 240, so v = (50 j mod 240) / 240.
    OneFilter dsp(FILTER_SVF_SCALED_LOW);
    dsp->SetParam(0, FILTER_PARAM_FREQUENCY, 200.0f);
    dsp->SetParam(0, FILTER_PARAM_FREQUENCY2, 8000.0f);
    dsp->SetParam(0, FILTER_PARAM_RESONANCE, 0.5f);
    dsp->SetParam(0, FILTER_PARAM_RESONANCE2, 0.5f);
    dsp->SetParam(0, FILTER_PARAM_LFO_PERIOD, 5.0f);
    dsp->SetLfoShape(0, LFO_RAMP_UP);
    dsp->SetMode(0, FILTER_MODE_MODULATED);
    const std::vector<float> input = RefNoise(1000, 21, 0.5f);
    std::vector<float> got = input;
    dsp->Process(static_cast<uint32_t>(got.size()), got.data());

    FilterStateNone settings;
    settings.m_uType = FILTER_SVF_SCALED_LOW;
    FilterStateSvfScaled reference(&settings);
    std::vector<float> expected = input;
    for (uint32_t j = 0; j * 50 < expected.size(); ++j) {
        const float v = static_cast<float>((50 * j) % 240) * (1.0f / 240.0f);
        reference.Update(FS, 200.0f + (8000.0f - 200.0f) * v, 0.0f, 0.0f, 0.5f);
        reference.Process(50, expected.data() + 50 * j);
    }
    EXPECT_EQ(got, expected);
    EXPECT_EQ(dsp->GetLfoPosition(0), 1000u % 240u);
}

// Only the modulated mode moves the LFO, and a call of no frames does not: 2 x 128 of 240.
TEST(PrefilterDsp, LfoPositionStandsInModesZeroAndTwo)
{
    TestHost host;
    OneFilter dsp(FILTER_SVF_ONE_STAGE);
    dsp->SetParam(0, FILTER_PARAM_LFO_PERIOD, 5.0f); // P = 240
    std::vector<float> block(128, 0.1f);
    for (uint32_t uMode : {FILTER_MODE_MODULATED, FILTER_MODE_STATIC, FILTER_MODE_OFF, FILTER_MODE_MODULATED}) {
        dsp->SetMode(0, uMode);
        dsp->Process(128, block.data());
        dsp->Process(0, block.data());
    }
    EXPECT_EQ(dsp->GetLfoPosition(0), 256u % 240u);
}

TEST(PrefilterDsp, ShapeFiveAndZeroPeriodAssertAndSkip)
{
    TestHost host;
    OneFilter dsp(FILTER_LADDER_LOW);
    EXPECT_TRUE(dsp->SetLfoShape(0, 5));
    dsp->SetMode(0, FILTER_MODE_MODULATED);
    const std::vector<float> input = RefNoise(300, 21, 0.5f);
    for (int block = 1; block <= 2; ++block) {
        std::vector<float> s = input;
        dsp->Process(300, s.data());
        EXPECT_EQ(s, input);
        EXPECT_EQ(host.asserts.Total(), static_cast<size_t>(block));
    }
    EXPECT_EQ(dsp->GetLfoPosition(0), 0u);

    // 0.01 ms at 48 kHz rounds to P = 0.
    host.asserts.Clear();
    dsp->SetLfoShape(0, LFO_SINE);
    dsp->SetParam(0, FILTER_PARAM_LFO_PERIOD, 0.01f);
    std::vector<float> s = input;
    dsp->Process(300, s.data());
    EXPECT_EQ(s, input);
    EXPECT_EQ(host.asserts.Count("uPeriod > 0"), 1u);
}

TEST(PrefilterDsp, TypeChangeWithinAClassClearsTheMemory)
{
    TestHost host;
    std::vector<float> impulse(400, 0.0f);
    impulse[0] = 1.0f;
    OneFilter fresh(FILTER_LADDER_BAND);
    std::vector<float> expected = impulse;
    fresh->Process(400, expected.data());

    OneFilter used(FILTER_LADDER_LOW);
    std::vector<float> noise = RefNoise(400, 21, 0.9f);
    used->Process(400, noise.data());
    EXPECT_TRUE(used->SetType(0, FILTER_LADDER_BAND));
    std::vector<float> got = impulse;
    used->Process(400, got.data());
    EXPECT_EQ(got, expected);

    // The same type again only reconfigures: the memory stays.
    used->Process(400, noise.data());
    EXPECT_TRUE(used->SetType(0, FILTER_LADDER_BAND));
    got = impulse;
    used->Process(400, got.data());
    EXPECT_NE(got, expected);
}

TEST(PrefilterDsp, SettersRefuseWhatIsOutOfRange)
{
    TestHost host;
    PrefilterDsp dsp(FS);
    EXPECT_FALSE(dsp.SetType(1, NUM_FILTER_TYPES));
    EXPECT_EQ(dsp.GetType(1), FILTER_BIQUAD_PEAK);
    EXPECT_EQ(host.asserts.Count("in_uType < NUM_FILTER_TYPES"), 1u);
    EXPECT_FALSE(dsp.SetMode(1, 3));
    EXPECT_FALSE(dsp.SetLfoShape(1, 6));
    EXPECT_FALSE(dsp.SetMode(3, 0));
    EXPECT_EQ(dsp.GetMode(1), 0u);
    EXPECT_EQ(dsp.GetLfoShape(1), 0u);
    EXPECT_FALSE(dsp.SetParam(1, 9, 1.0f));
    EXPECT_EQ(host.asserts.Count("in_uIndex < NUM_FILTER_PARAMS"), 1u);
}
